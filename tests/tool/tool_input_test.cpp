// Where the tool's files come from: arguments, folders, lists on standard
// input (lines or NUL-separated), and the command line's own errors.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "invoice_extract.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"
#include "support/tool_fixture.h"

namespace {

class Tool_Input : public Tool_Folder {
 protected:
  std::vector<std::string> Files_Of(const Program_Run& run) {
    std::vector<std::string> files;
    for (const Json_Value& line : Json_Lines(run.out)) files.push_back(Text_Of(line, "file"));
    return files;
  }
};

TEST_F(Tool_Input, FoldersGiveTheirPdfFilesInAnyCaseSortedWithoutFollowingFolderLinks) {
  Invoice("b.PDF");
  Invoice("a.pdf");
  Invoice("notes.txt");
  Invoice("a.pdf.bak");
  ASSERT_EQ(mkdir((folder_ + "/sub").c_str(), 0755), 0);
  Invoice("sub/c.Pdf");
  ASSERT_EQ(symlink("sub", (folder_ + "/link-to-sub").c_str()), 0);
  ASSERT_EQ(symlink("a.pdf", (folder_ + "/link.pdf").c_str()), 0);
  Program_Run run = Run_Tool({"check", "--json", "--jobs", "2", folder_});
  EXPECT_EQ(run.exit_status, 0) << run.err;
  const std::vector<std::string> want = {folder_ + "/a.pdf", folder_ + "/b.PDF", folder_ + "/link.pdf",
                                         folder_ + "/sub/c.Pdf"};
  EXPECT_EQ(Files_Of(run), want);
}

TEST_F(Tool_Input, ListOnStandardInputKeepsItsOrderAndExpandsFolders) {
  const std::string b = Invoice("b.pdf");
  const std::string a = Invoice("a.pdf");
  ASSERT_EQ(mkdir((folder_ + "/inner").c_str(), 0755), 0);
  const std::string inner = Invoice("inner/z.pdf");
  // A carriage return before a line end and empty lines are dropped.
  Program_Run run = Run_Tool({"check", "--json", "-"}, b + "\r\n\n" + a + "\n" + folder_ + "/inner\n" + a);
  EXPECT_EQ(run.exit_status, 0) << run.err;
  EXPECT_EQ(Files_Of(run), (std::vector<std::string>{b, a, inner, a}));
}

TEST_F(Tool_Input, NulSeparatedListCarriesNamesWithNewlines) {
  const std::string odd = Invoice("new\nline.pdf");
  const std::string plain = Invoice("plain.pdf");
  const std::string list = odd + std::string(1, '\0') + plain + std::string(1, '\0');
  Program_Run run = Run_Tool({"check", "--json", "-0", "-"}, list);
  EXPECT_EQ(run.exit_status, 0) << run.err;
  EXPECT_EQ(Files_Of(run), (std::vector<std::string>{odd, plain}));

  // Read as lines, the same bytes name files that don't exist.
  Program_Run lines = Run_Tool({"check", "--json", "-"}, odd + "\n");
  std::vector<Json_Value> results = Json_Lines(lines.out);
  ASSERT_EQ(results.size(), 2u);
  for (const Json_Value& result : results) EXPECT_EQ(Number_Of(result, "result"), ZUGF_RESULT_BAD_INPUT);
  EXPECT_EQ(lines.exit_status, 1);
}

TEST_F(Tool_Input, AMissingFileGetsTheLibraryVerdictAndItsReason) {
  const std::string missing = folder_ + "/missing.pdf";
  Program_Run run = Run_Tool({"check", "--explain", missing});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_EQ(run.out, missing + ": " + ZUGF_Describe_Result(ZUGF_RESULT_BAD_INPUT) +
                         ": cannot be opened: " + strerror(ENOENT) + "\n");
}

TEST_F(Tool_Input, AnEmptyFolderIsNoFailure) {
  Program_Run run = Run_Tool({"check", folder_});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.out, "");
  EXPECT_NE(run.err.find("no PDF files found"), std::string::npos) << run.err;
}

TEST_F(Tool_Input, UsageErrorsExitWithTwoAndProcessNothing) {
  const std::string file = Invoice("a.pdf");
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"verify", file},
      {"check"},
      {"check", "--frobnicate", file},
      {"check", "-x", file},
      {"extract", file},
      {"check", "--force", file},
      {"inspect", "--explain", file},
      {"check", "--jobs", "0", file},
      {"check", "--jobs", "many", file},
      {"check", "--timeout", "soon", file},
      {"check", "--timeout", "-1", file},
      {"check", "--memory-limit", "12Q", file},
      {"check", "--json=yes", file},
      {"check", "--jobs"},
      {"check", "-", "-"},
      {"extract", "--output-dir", file + "/cannot-be-a-folder", file},
  };
  for (const std::vector<std::string>& arguments : cases) {
    std::string shown;
    for (const std::string& argument : arguments) shown += argument + " ";
    Program_Run run = Run_Tool(arguments);
    EXPECT_EQ(run.exit_status, 2) << shown << run.err;
    EXPECT_EQ(run.out, "") << shown;
    EXPECT_EQ(run.err.compare(0, 17, "invoice-extract: "), 0) << shown << run.err;
  }
}

TEST_F(Tool_Input, OptionsTakeTheirValuesInEveryForm) {
  const std::string file = Invoice("a.pdf");
  const std::vector<std::vector<std::string>> cases = {
      {"check", "-j2", file},
      {"check", "-j", "2", file},
      {"check", "--jobs=2", file},
      {"check", "--jobs", "2", file},
      {"check", file, "--timeout", "2.5s"},
      {"check", "-0q", "--", file},
      {"check", "--memory-limit", "1.5G", file},
      {"check", "--memory-limit=none", file},
      {"check", "-m", "512MiB", file},
  };
  for (const std::vector<std::string>& arguments : cases) {
    Program_Run run = Run_Tool(arguments);
    EXPECT_EQ(run.exit_status, 0) << arguments[1] << " " << run.err;
    EXPECT_EQ(run.out, file + ": ZUGFeRD invoice\n") << arguments[1];
  }
}

}  // namespace
