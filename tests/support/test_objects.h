// Fixture for object-model tests: a file context over an allocator that knows
// every live block (so that a test can count what an operation left behind
// and the fixture can release it) and can fail one chosen request, a message
// log, and readers over strings that live as long as the test.
#ifndef INVOICE_EXTRACT_TEST_OBJECTS_H
#define INVOICE_EXTRACT_TEST_OBJECTS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <set>
#include <string>

#include "reader/pdf_file.h"
#include "objects/pdf_data_object.h"
#include "support/test_memory.h"

struct Test_Arena {
  uint64_t requests = 0;
  uint64_t fail_at = 0;  // request number that fails; 0 never
  std::set<void*> live;
};

void* Test_Arena_Alloc(uint64_t size, void* arena);
int32_t Test_Arena_Free(void* block, void* arena);

class Objects_Fixture : public ::testing::Test {
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

  // Fails the nth allocation request from now on (1 is the next one).
  void Fail_Request(uint64_t n) { arena.fail_at = arena.requests + n; }
  void Stop_Failing() { arena.fail_at = 0; }
  bool Failure_Reached() const { return arena.fail_at != 0 && arena.requests >= arena.fail_at; }
  std::set<void*> Snapshot() const { return arena.live; }
  // Releases the blocks allocated since the snapshot and still live; returns
  // how many there were.
  size_t Free_Since(const std::set<void*>& snapshot);
  // The number of level-91 reports with the text.
  size_t Resource_Reports(const std::string& text) const;

  Test_Arena arena;
  PDF_Memory memory{};
  Test_Message_Log log;
  PDF_Message* message = nullptr;
  PDF_File* file = nullptr;
  std::deque<Test_Input> inputs;
  // Blocks a test leaves behind on purpose, released by the fixture.
  size_t expected_leaks = 0;
};

#endif
