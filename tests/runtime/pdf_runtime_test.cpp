#include <gtest/gtest.h>

#include <string>

#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"
#include "support/test_objects.h"

namespace {

TEST(PdfMemory, ContractOfCreateAllocFreeDelete) {
  Test_Allocator allocator{};
  PDF_Memory* memory = nullptr;
  // Missing arguments are refused before anything is allocated.
  EXPECT_EQ(PDF_Memory_Create(nullptr, Test_Alloc, &allocator, Test_Free, &allocator), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, nullptr, &allocator), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(allocator.requests, 0u);
  allocator.fail_at = 1;
  EXPECT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator), PDF_RESULT_OUT_OF_MEMORY);
  EXPECT_EQ(memory, nullptr);

  allocator.fail_at = 0;
  ASSERT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator), 0);
  EXPECT_EQ(PDF_Memory_Alloc(memory, 0), nullptr);
  char* block = static_cast<char*>(PDF_Memory_Alloc(memory, 16));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(PDF_Memory_Free(memory, &block), 0);
  EXPECT_EQ(block, nullptr);
  // A release of nothing is -8 and never reaches the callback.
  uint64_t frees = allocator.frees;
  EXPECT_EQ(PDF_Memory_Free(memory, &block), PDF_RESULT_NOTHING_TO_FREE);
  EXPECT_EQ(PDF_Memory_Free(nullptr, &block), PDF_RESULT_NOTHING_TO_FREE);
  EXPECT_EQ(PDF_Memory_Free(memory, nullptr), PDF_RESULT_NOTHING_TO_FREE);
  EXPECT_EQ(allocator.frees, frees);
  EXPECT_EQ(PDF_Memory_Delete(&memory), 0);
  EXPECT_EQ(memory, nullptr);
  EXPECT_EQ(PDF_Memory_Delete(&memory), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(allocator.live, 0);

  // A failing release callback still clears the holder, and its code travels up.
  ASSERT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator), PDF_RESULT_OK);
  allocator.free_result = -42;
  void* other = PDF_Memory_Alloc(memory, 8);
  EXPECT_EQ(PDF_Memory_Free(memory, &other), -42);
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(PDF_Memory_Delete(&memory), -42);
  EXPECT_EQ(memory, nullptr);
  EXPECT_EQ(allocator.live, 0);
}

typedef Objects_Fixture PdfMessage;

TEST_F(PdfMessage, ReportFormatsAndCutsAt1023Characters) {
  const size_t lengths[] = {1022, 1023, 1024, 5000};
  for (size_t length : lengths) {
    log.messages.clear();
    std::string text(length, 'x');
    PDF_Message_Report(message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE, "%d:%s", 7, text.c_str());
    ASSERT_EQ(log.messages.size(), 1u);
    std::string expected = ("7:" + text).substr(0, 1023);
    EXPECT_EQ(log.messages[0].text, expected) << length;
    EXPECT_EQ(log.messages[0].code, PDF_RESULT_OUT_OF_MEMORY);
    EXPECT_EQ(log.messages[0].level, PDF_LEVEL_RESOURCE);
  }
  PDF_Message_Report(nullptr, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE, "dropped");  // no reporter: nothing happens
}

TEST_F(PdfMessage, CreateFailureIsHeardDirectlyAndHoldsAreHonoured) {
  PDF_Message* second = nullptr;
  allocator.fail_at = allocator.requests + 1;
  EXPECT_EQ(PDF_Message_Create(&second, memory, Test_Message_Callback, &log), PDF_RESULT_OUT_OF_MEMORY);
  EXPECT_EQ(second, nullptr);
  ASSERT_EQ(log.messages.size(), 1u);
  EXPECT_EQ(log.messages[0].text, "Unable to create message object");
  EXPECT_EQ(log.messages[0].level, PDF_LEVEL_RESOURCE);
  EXPECT_EQ(PDF_Message_Create(&second, memory, nullptr, &log), PDF_RESULT_INVALID_ARGUMENT);

  PDF_Message* own = nullptr;
  ASSERT_EQ(PDF_Message_Create(&own, memory, Test_Message_Callback, &log), PDF_RESULT_OK);
  const int64_t live = allocator.live;
  own->hold_count = 2;
  PDF_Message* holder = own;
  EXPECT_EQ(PDF_Message_Delete(&holder, memory), PDF_RESULT_OK);
  EXPECT_EQ(holder, nullptr);
  EXPECT_EQ(allocator.live, live) << "still held once";
  EXPECT_EQ(PDF_Message_Delete(&own, memory), PDF_RESULT_OK);
  EXPECT_EQ(allocator.live, live - 1);
  EXPECT_EQ(PDF_Message_Delete(&own, memory), PDF_RESULT_INVALID_ARGUMENT);
}

}  // namespace
