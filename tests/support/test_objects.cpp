#include "support/test_objects.h"

#include <cstdio>
#include <cstdlib>

#include "reader/pdf_xref_table.h"
#include "runtime/pdf_message.h"
#include "support/pdf_builder.h"

void Memory_Fixture::SetUp() {
  ASSERT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator), PDF_RESULT_OK);
}

void Memory_Fixture::TearDown() {
  Stop_Failing();
  if (memory != nullptr) {
    EXPECT_EQ(PDF_Memory_Delete(&memory), PDF_RESULT_OK);
  }
  EXPECT_EQ(allocator.bad_frees, 0u) << "blocks freed twice or never allocated here";
  EXPECT_EQ(Test_Allocator_Reclaim(&allocator), static_cast<int64_t>(expected_leaks)) << "blocks left behind";
  for (const std::string& path : temp_files) remove(path.c_str());
}

std::string Memory_Fixture::Temp_File(const std::string& name, const std::string& bytes) {
  std::string path = Test_Temp_Path(name);
  EXPECT_TRUE(Test_Write_File(path, bytes)) << path;
  temp_files.push_back(path);
  return path;
}

size_t Memory_Fixture::Free_Since(const std::set<void*>& snapshot) {
  size_t count = 0;
  for (auto it = allocator.blocks.begin(); it != allocator.blocks.end();) {
    if (snapshot.count(*it) == 0) {
      free(*it);
      it = allocator.blocks.erase(it);
      allocator.live -= 1;
      count += 1;
    } else {
      ++it;
    }
  }
  return count;
}

void Objects_Fixture::SetUp() {
  Memory_Fixture::SetUp();
  ASSERT_EQ(PDF_Message_Create(&message, memory, Test_Message_Callback, &log), PDF_RESULT_OK);
  ASSERT_EQ(PDF_File_New(&file, memory, message), PDF_RESULT_OK);
}

void Objects_Fixture::Give_Empty_Table() {
  PDF_Xref_Table* table = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), PDF_RESULT_OK);
  ASSERT_EQ(PDF_Body_Create(&file->xref_table, file, table, nullptr, false), PDF_RESULT_OK);
}

void Objects_Fixture::TearDown() {
  Stop_Failing();
  if (file != nullptr) {
    if (file->xref_table != nullptr) {
      EXPECT_EQ(PDF_Body_Delete(&file->xref_table, file), PDF_RESULT_OK);
    }
    EXPECT_EQ(PDF_File_Delete(&file), PDF_RESULT_OK);
  }
  if (message != nullptr) {
    EXPECT_EQ(PDF_Message_Delete(&message, memory), PDF_RESULT_OK);
  }
  Memory_Fixture::TearDown();
}

PDF_Read_Data* Objects_Fixture::Input(const std::string& bytes) {
  inputs.emplace_back();
  inputs.back().bytes = bytes;
  return Test_Input_Reader(&inputs.back());
}

uint64_t Objects_Fixture::Parse(const std::string& text, PDF_Data_Object** out) {
  return PDF_Data_Object_Read(out, file, Input(text), 0);
}

PDF_Data_Object* Objects_Fixture::Value(const std::string& text) {
  PDF_Data_Object* object = nullptr;
  uint64_t count = Parse(text, &object);
  EXPECT_NE(count, 0u) << text;
  EXPECT_NE(object, nullptr) << text;
  return object;
}

void Objects_Fixture::Delete(PDF_Data_Object** object, uint32_t mode) {
  if (*object != nullptr) {
    EXPECT_EQ(PDF_Data_Object_Delete(object, file, mode), PDF_RESULT_OK);
  }
  EXPECT_EQ(*object, nullptr);
}
