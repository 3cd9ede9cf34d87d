#include <gtest/gtest.h>

#include <string>

#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"
#include "support/test_memory.h"

namespace {

int32_t Failing_Free(void* block, void*) {
  free(block);
  return -42;
}

TEST(PdfMemory, CreateRefusesMissingArgumentsBeforeAllocating) {
  Test_Allocator allocator{};
  PDF_Memory* memory = nullptr;
  EXPECT_EQ(PDF_Memory_Create(nullptr, Test_Alloc, &allocator, Test_Free, &allocator), -500);
  EXPECT_EQ(PDF_Memory_Create(&memory, nullptr, &allocator, Test_Free, &allocator), -500);
  EXPECT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, nullptr, &allocator), -500);
  EXPECT_EQ(allocator.requests, 0u);
}

TEST(PdfMemory, CreateFailureLeavesNullAndReportsOutOfMemory) {
  Test_Allocator allocator{};
  allocator.fail_at = 1;
  PDF_Memory* memory = reinterpret_cast<PDF_Memory*>(&allocator);
  EXPECT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator), -7);
  EXPECT_EQ(memory, nullptr);
}

TEST(PdfMemory, AllocFreeDeleteRoundTrip) {
  Test_Allocator allocator{};
  PDF_Memory* memory = nullptr;
  ASSERT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator), 0);
  EXPECT_EQ(PDF_Memory_Alloc(memory, 0), nullptr);
  EXPECT_EQ(PDF_Memory_Alloc(nullptr, 16), nullptr);
  uint64_t requests = allocator.requests;
  char* block = static_cast<char*>(PDF_Memory_Alloc(memory, 16));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(allocator.requests, requests + 1);
  EXPECT_EQ(PDF_Memory_Free(memory, &block), 0);
  EXPECT_EQ(block, nullptr);
  // A second release of the cleared holder never reaches the callback.
  uint64_t frees = allocator.frees;
  EXPECT_EQ(PDF_Memory_Free(memory, &block), -8);
  EXPECT_EQ(PDF_Memory_Free(nullptr, &block), -8);
  EXPECT_EQ(PDF_Memory_Free(memory, static_cast<void**>(nullptr)), -8);
  EXPECT_EQ(allocator.frees, frees);
  EXPECT_EQ(PDF_Memory_Delete(&memory), 0);
  EXPECT_EQ(memory, nullptr);
  EXPECT_EQ(PDF_Memory_Delete(&memory), -500);
  EXPECT_EQ(PDF_Memory_Delete(nullptr), -500);
  EXPECT_EQ(allocator.live, 0);
}

TEST(PdfMemory, FreeCallbackFailureStillClearsTheHolder) {
  Test_Allocator allocator{};
  PDF_Memory* memory = nullptr;
  ASSERT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Failing_Free, nullptr), 0);
  void* block = PDF_Memory_Alloc(memory, 8);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(PDF_Memory_Free(memory, &block), -42);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(PDF_Memory_Delete(&memory), -42);
  EXPECT_EQ(memory, nullptr);
}

struct Message_Fixture {
  Test_Allocator allocator{};
  Test_Message_Log log;
  PDF_Memory* memory = nullptr;
};

TEST(PdfMessage, ReportFormatsAndPassesCodeAndLevel) {
  Message_Fixture f;
  ASSERT_EQ(PDF_Memory_Create(&f.memory, Test_Alloc, &f.allocator, Test_Free, &f.allocator), 0);
  PDF_Message* message = nullptr;
  ASSERT_EQ(PDF_Message_Create(&message, f.memory, Test_Message_Callback, &f.log), 0);
  PDF_Message_Report(message, 10, 11, "Unable to read object %d (invalid offset in cross reference table).\n", 17);
  ASSERT_EQ(f.log.messages.size(), 1u);
  EXPECT_EQ(f.log.messages[0].text, "Unable to read object 17 (invalid offset in cross reference table).\n");
  EXPECT_EQ(f.log.messages[0].code, 10);
  EXPECT_EQ(f.log.messages[0].level, 11);
  // A null reporter drops the report.
  PDF_Message_Report(nullptr, -7, 91, "dropped");
  EXPECT_EQ(f.log.messages.size(), 1u);
  EXPECT_EQ(PDF_Message_Delete(&message, f.memory), 0);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(PDF_Message_Delete(&message, f.memory), -500);
  EXPECT_EQ(PDF_Memory_Delete(&f.memory), 0);
  EXPECT_EQ(f.allocator.live, 0);
}

TEST(PdfMessage, LongTextIsCutAt1023Characters) {
  struct Case {
    size_t length;
    size_t expected;
  };
  const Case cases[] = {{1022, 1022}, {1023, 1023}, {1024, 1023}, {5000, 1023}};
  for (const Case& c : cases) {
    Message_Fixture f;
    ASSERT_EQ(PDF_Memory_Create(&f.memory, Test_Alloc, &f.allocator, Test_Free, &f.allocator), 0);
    PDF_Message* message = nullptr;
    ASSERT_EQ(PDF_Message_Create(&message, f.memory, Test_Message_Callback, &f.log), 0);
    std::string text(c.length, 'x');
    text[0] = 'a';
    PDF_Message_Report(message, -7, 91, "%s", text.c_str());
    ASSERT_EQ(f.log.messages.size(), 1u);
    EXPECT_EQ(f.log.messages[0].text.size(), c.expected) << c.length;
    EXPECT_EQ(f.log.messages[0].text, text.substr(0, c.expected));
    PDF_Message_Delete(&message, f.memory);
    PDF_Memory_Delete(&f.memory);
  }
}

TEST(PdfMessage, FailedCreationIsReportedDirectly) {
  Message_Fixture f;
  ASSERT_EQ(PDF_Memory_Create(&f.memory, Test_Alloc, &f.allocator, Test_Free, &f.allocator), 0);
  f.allocator.fail_at = f.allocator.requests + 1;
  int user_data_marker = 0;
  PDF_Message* message = reinterpret_cast<PDF_Message*>(&user_data_marker);
  Test_Message_Log* log = &f.log;
  EXPECT_EQ(PDF_Message_Create(&message, f.memory, Test_Message_Callback, log), -7);
  EXPECT_EQ(message, nullptr);
  ASSERT_EQ(f.log.messages.size(), 1u);
  EXPECT_EQ(f.log.messages[0].text, "Unable to create message object");
  EXPECT_EQ(f.log.messages[0].code, -7);
  EXPECT_EQ(f.log.messages[0].level, 91);
  EXPECT_EQ(PDF_Message_Create(nullptr, f.memory, Test_Message_Callback, log), -500);
  EXPECT_EQ(PDF_Message_Create(&message, f.memory, nullptr, log), -500);
  PDF_Memory_Delete(&f.memory);
  EXPECT_EQ(f.allocator.live, 0);
}

TEST(PdfMessage, DeleteHonoursExtraHolds) {
  Message_Fixture f;
  ASSERT_EQ(PDF_Memory_Create(&f.memory, Test_Alloc, &f.allocator, Test_Free, &f.allocator), 0);
  PDF_Message* message = nullptr;
  ASSERT_EQ(PDF_Message_Create(&message, f.memory, Test_Message_Callback, &f.log), 0);
  EXPECT_EQ(message->hold_count, 1u);
  message->hold_count = 2;
  PDF_Message* second = message;
  EXPECT_EQ(PDF_Message_Delete(&message, f.memory), 0);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(f.allocator.live, 2);  // memory and the still-held reporter
  EXPECT_EQ(PDF_Message_Delete(&second, f.memory), 0);
  EXPECT_EQ(f.allocator.live, 1);
  PDF_Memory_Delete(&f.memory);
}

}  // namespace
