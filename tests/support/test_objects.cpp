#include "support/test_objects.h"

#include <cstdlib>

#include "reader/pdf_xref_table.h"
#include "runtime/pdf_message.h"

void* Test_Arena_Alloc(uint64_t size, void* data) {
  Test_Arena* arena = static_cast<Test_Arena*>(data);
  arena->requests += 1;
  if (arena->fail_at != 0 && arena->requests == arena->fail_at) return nullptr;
  // A size no machine can give (a length of -1, say) fails like exhausted memory.
  if (size > (uint64_t{1} << 40)) return nullptr;
  void* block = malloc(size);
  if (block != nullptr) arena->live.insert(block);
  return block;
}

int32_t Test_Arena_Free(void* block, void* data) {
  Test_Arena* arena = static_cast<Test_Arena*>(data);
  if (block == nullptr) return -8;
  if (arena->live.erase(block) == 0) {
    ADD_FAILURE() << "block freed twice or never allocated here";
    return -8;
  }
  free(block);
  return 0;
}

void Objects_Fixture::SetUp() {
  memory.alloc = Test_Arena_Alloc;
  memory.alloc_data = &arena;
  memory.free = Test_Arena_Free;
  memory.free_data = &arena;
  ASSERT_EQ(PDF_Message_Create(&message, &memory, Test_Message_Callback, &log), 0);
  ASSERT_EQ(PDF_File_New(&file, &memory, message), 0);
}

void Objects_Fixture::TearDown() {
  Stop_Failing();
  if (file != nullptr) {
    if (file->xref_table != nullptr) {
      EXPECT_EQ(PDF_Body_Delete(&file->xref_table, file), 0);
    }
    EXPECT_EQ(PDF_File_Delete(&file), 0);
  }
  if (message != nullptr) {
    EXPECT_EQ(PDF_Message_Delete(&message, &memory), 0);
  }
  EXPECT_EQ(arena.live.size(), expected_leaks) << "blocks left behind";
  for (void* block : arena.live) free(block);
  arena.live.clear();
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
    EXPECT_EQ(PDF_Data_Object_Delete(object, file, mode), 0);
  }
  EXPECT_EQ(*object, nullptr);
}

size_t Objects_Fixture::Free_Since(const std::set<void*>& snapshot) {
  size_t count = 0;
  for (auto it = arena.live.begin(); it != arena.live.end();) {
    if (snapshot.count(*it) == 0) {
      free(*it);
      it = arena.live.erase(it);
      count += 1;
    } else {
      ++it;
    }
  }
  return count;
}

size_t Objects_Fixture::Resource_Reports(const std::string& text) const {
  size_t count = 0;
  for (const Test_Message& entry : log.messages) {
    if (entry.text == text && entry.code == -7 && entry.level == 91) count += 1;
  }
  return count;
}
