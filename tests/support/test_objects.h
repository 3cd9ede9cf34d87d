// The fixture family of the library tests. Memory_Fixture: a PDF_Memory over
// the counting test allocator, which can fail one chosen request and whose
// leftovers are counted and reclaimed at the end, and files written for the
// test, removed at the end. Objects_Fixture adds a file
// context with a message log and readers over strings that live as long as
// the test.
#ifndef INVOICE_EXTRACT_TEST_OBJECTS_H
#define INVOICE_EXTRACT_TEST_OBJECTS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "objects/pdf_data_object.h"
#include "reader/pdf_file.h"
#include "support/test_memory.h"

class Memory_Fixture : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

 public:
  // Fails the nth allocation request from now on (1 is the next one).
  void Fail_Request(uint64_t n) { allocator.fail_at = allocator.requests + n; }
  void Stop_Failing() { allocator.fail_at = 0; }
  bool Failure_Reached() const { return allocator.fail_at != 0 && allocator.requests >= allocator.fail_at; }
  std::set<void*> Snapshot() const { return allocator.blocks; }
  // Releases the blocks allocated since the snapshot and still live; returns
  // how many there were.
  size_t Free_Since(const std::set<void*>& snapshot);
  // Writes the bytes to a temporary file of this name, removed at the end of
  // the test, and answers its path.
  std::string Temp_File(const std::string& name, const std::string& bytes);

  Test_Allocator allocator{};
  PDF_Memory* memory = nullptr;
  // Blocks a test leaves behind on purpose, released by the fixture.
  size_t expected_leaks = 0;
  std::vector<std::string> temp_files;
};

class Objects_Fixture : public Memory_Fixture {
 protected:
  void SetUp() override;
  void TearDown() override;

 public:
  // A reader over the bytes, valid until the end of the test.
  PDF_Read_Data* Input(const std::string& bytes);
  // PDF_Data_Object_Read at position 0 of a new reader over the text.
  uint64_t Parse(const std::string& text, PDF_Data_Object** out);
  // Parses the text, which must be one value, and fails the test otherwise.
  PDF_Data_Object* Value(const std::string& text);
  void Delete(PDF_Data_Object** object, uint32_t mode = PDF_DELETE_MODE_RELEASE);
  // Gives the file an empty cross-reference table, for tests that add
  // numbered objects by hand; the fixture releases it.
  void Give_Empty_Table();

  Test_Message_Log log;
  PDF_Message* message = nullptr;
  PDF_File* file = nullptr;
  std::deque<Test_Input> inputs;
};

#endif
