#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "front/zugf_callbacks.h"
#include "front/zugf_process.h"
#include "invoice_extract.h"
#include "support/pdf_builder.h"

namespace {

struct Exported_Case {
  std::string name;
  bool null_path;
  std::string content;  // written to a file unless the path is special
  std::string path;     // used as is when not empty
};

TEST(Exported, UnusableInputGivesMinusTenFromBothCalls) {
  const Exported_Case cases[] = {
      {"null path", true, "", ""},
      {"empty path", false, "", "<empty>"},
      {"missing file", false, "", "/nonexistent/folder/file.pdf"},
      {"empty file", false, "", ""},
      {"shorter than 9 bytes", false, "%PDF-1.", ""},
      {"no startxref", false, "%PDF-1.7\n1 0 obj\n<<>>\nendobj\ntrailer\n<<>>\n%%EOF\n", ""},
      {"bad number behind startxref", false, "%PDF-1.7\n1 0 obj\nstartxref\nx\n%%EOF\n", ""},
      {"a folder", false, "", "/"},
  };
  for (const Exported_Case& c : cases) {
    std::string path = c.path;
    if (path.empty()) {
      path = Test_Temp_Path("exported.pdf");
      ASSERT_TRUE(Test_Write_File(path, c.content));
    } else if (path == "<empty>") {
      path = "";
    }
    const char* pdf = c.null_path ? nullptr : path.c_str();
    std::string output = Test_Temp_Path("exported.xml");
    remove(output.c_str());
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf), ZUGF_RESULT_BAD_INPUT) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf, output.c_str()), ZUGF_RESULT_BAD_INPUT) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf, nullptr), ZUGF_RESULT_BAD_INPUT) << c.name;
    FILE* written = fopen(output.c_str(), "rb");
    EXPECT_EQ(written, nullptr) << c.name << ": no output on failure";
    if (written != nullptr) fclose(written);
    if (c.path.empty()) remove(path.c_str());
  }
}

TEST(Exported, SharedLibraryExportsOnlyTheTwoEntryPoints) {
  void* library = dlopen(INVOICE_EXTRACT_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  auto check = reinterpret_cast<int32_t (*)(const char*)>(dlsym(library, "ZUGF_Check_Zugferd"));
  auto extract = reinterpret_cast<int32_t (*)(const char*, const char*)>(dlsym(library, "ZUGF_Extract_Zugferd"));
  ASSERT_NE(check, nullptr);
  ASSERT_NE(extract, nullptr);
  EXPECT_EQ(check(nullptr), ZUGF_RESULT_BAD_INPUT);
  EXPECT_EQ(extract("", nullptr), ZUGF_RESULT_BAD_INPUT);
  for (const char* hidden : {"ZUGF_Process_File", "PDF_Document_Create", "PDF_Memory_Alloc", "PDF_Read_Data_Read",
                             "_Z17ZUGF_Process_FilePKcS0_"}) {
    EXPECT_EQ(dlsym(library, hidden), nullptr) << hidden;
  }
  dlclose(library);
}

TEST(Callbacks, AllocAndFree) {
  void* block = ZUGF_Alloc_Callback(16, nullptr);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(ZUGF_Free_Callback(block, nullptr), 0);
  EXPECT_EQ(ZUGF_Free_Callback(nullptr, nullptr), PDF_RESULT_NOTHING_TO_FREE);
}

struct Read_Case {
  std::string name;
  uint32_t mode;
  uint64_t offset;
  uint64_t size;
  bool with_buffer;
  bool by_path;
  uint64_t result;
  std::string bytes;
};

TEST(Callbacks, ReadSeeksByModeAndReadsBytes) {
  const std::string content = "0123456789";
  const std::string path = Test_Temp_Path("read.bin");
  ASSERT_TRUE(Test_Write_File(path, content));
  const Read_Case cases[] = {
      {"absolute", 1, 3, 4, true, false, 4, "3456"},
      {"absolute past the end", 1, 20, 4, true, false, 0, ""},
      {"short at the end", 1, 8, 4, true, false, 2, "89"},
      {"from the end", 2, static_cast<uint64_t>(-4), 4, true, false, 4, "6789"},
      {"current position", 0, 9, 3, true, false, 3, "012"},
      {"offset cut to 32 bits", 1, (1ull << 32) + 2, 2, true, false, 2, "23"},
      {"negative seek fails", 1, 0xFFFFFFFFull, 2, true, false, 0, ""},
      {"size 0", 1, 0, 0, true, false, 0, ""},
      {"no buffer", 1, 0, 4, false, false, 0, ""},
      {"by path", 1, 5, 2, true, true, 2, "56"},
  };
  for (const Read_Case& c : cases) {
    FILE* stream = fopen(path.c_str(), "rb");
    ASSERT_NE(stream, nullptr);
    char buffer[16] = {};
    uint64_t result = ZUGF_Read_Callback(c.with_buffer ? buffer : nullptr, c.mode, c.offset, c.size,
                                         c.by_path ? path.c_str() : nullptr, c.by_path ? nullptr : stream);
    EXPECT_EQ(result, c.result) << c.name;
    EXPECT_EQ(std::string(buffer, result), c.bytes) << c.name;
    fclose(stream);
  }
  char buffer[4];
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, 0, 4, nullptr, nullptr), 0u);
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, 0, 4, "/nonexistent/file", nullptr), 0u);
  remove(path.c_str());
}

TEST(ResultMapping, OpenAndExtractionStagesDiffer) {
  struct Case {
    PDF_Result library;
    int32_t open;
    int32_t extract;
  };
  const Case cases[] = {
      {PDF_RESULT_OK, ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {PDF_RESULT_FILTER_LEFT, ZUGF_RESULT_CANNOT_DECODE, ZUGF_RESULT_CANNOT_DECODE},
      {PDF_RESULT_UNREADABLE, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
      {PDF_RESULT_OUTPUT_FAILED, ZUGF_RESULT_EXTRACT_FAILED, ZUGF_RESULT_EXTRACT_FAILED},
      {PDF_RESULT_OUT_OF_MEMORY, ZUGF_RESULT_OUT_OF_MEMORY, ZUGF_RESULT_OUT_OF_MEMORY},
      {PDF_RESULT_BAD_TRAILER, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_EXTRACT_FAILED},
      {PDF_RESULT_NO_KEY, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_EXTRACT_FAILED},
      {PDF_RESULT_INVALID_ARGUMENT, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_EXTRACT_FAILED},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ZUGF_Map_Open_Result(c.library), c.open) << c.library;
    EXPECT_EQ(ZUGF_Map_Extract_Result(c.library), c.extract) << c.library;
  }
}

}  // namespace

namespace {

int Open_Descriptors() {
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) count += 1;
  }
  return count;
}

TEST(Callbacks, FailedSeekLeavesAStreamOpenedByPathOpen) {
  // A stream that the callback opened itself is not closed when the seek
  // fails: the leak is the callback's documented behaviour.
  const std::string path = Test_Temp_Path("leak.bin");
  ASSERT_TRUE(Test_Write_File(path, "abc"));
  char buffer[4];
  int before = Open_Descriptors();
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, 0xFFFFFFFFull, 2, path.c_str(), nullptr), 0u);
  EXPECT_EQ(Open_Descriptors(), before + 1);
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, 1, 2, path.c_str(), nullptr), 2u);
  EXPECT_EQ(Open_Descriptors(), before + 1);  // the successful read closed its own stream
  remove(path.c_str());
}

}  // namespace
