// The manual: --help reads as a man page, the built man page is the same
// text, and every option that it names is one that the tool takes.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "invoice_extract.h"
#include "support/pdf_builder.h"
#include "support/tool_fixture.h"

namespace {

const char* const kSections[] = {"NAME",   "SYNOPSIS",    "DESCRIPTION", "COMMANDS", "OPTIONS",
                                 "OUTPUT", "CONTAINMENT", "EXIT STATUS", "EXAMPLES"};

// --help is the manual with its sections in order, and the built man page is
// the same manual as troff, its sections in the same order.
TEST(Tool_Help, HelpAndTheBuiltManPageAreOneManual) {
  Program_Run run = Run_Tool({"--help"});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.err, "");
  const std::string troff = Run_Tool({"--manual-troff"}).out;
  EXPECT_EQ(troff.compare(0, 4, ".TH "), 0);
  size_t last = 0, last_troff = 0;
  for (const char* section : kSections) {
    size_t at = ("\n" + run.out).find("\n" + std::string(section) + "\n");
    size_t at_troff = troff.find("\n.SH " + std::string(section) + "\n");
    ASSERT_NE(at, std::string::npos) << section;
    ASSERT_NE(at_troff, std::string::npos) << section;
    EXPECT_GE(at, last) << section;
    EXPECT_GT(at_troff, last_troff) << section;
    last = at;
    last_troff = at_troff;
  }
  // Options are written with escaped hyphens, so that they can be copied.
  EXPECT_NE(troff.find("\\-\\-output\\-dir"), std::string::npos);
  std::string built;
  ASSERT_TRUE(Test_Read_File(kTool.substr(0, kTool.rfind('/')) + "/invoice-extract.1", &built));
  EXPECT_EQ(built, troff);
  EXPECT_EQ(Run_Tool({"--version"}).out, "invoice-extract " INVOICE_EXTRACT_VERSION_STRING
                                         " (invoice_extract library " INVOICE_EXTRACT_VERSION_STRING ")\n");
  EXPECT_EQ(Run_Tool({"check", "--help"}).out, run.out);
  EXPECT_EQ(Run_Tool({"help"}).out, run.out);
  std::istringstream text(run.out);
  for (std::string line; std::getline(text, line);) EXPECT_LE(line.size(), 80u) << line;
}

TEST(Tool_Help, EveryOptionTheManualNamesIsTaken) {
  // The tags of the OPTIONS section: "       -o, --output-dir DIR".
  const std::string manual = Run_Tool({"--help"}).out;
  const size_t begin = manual.find("\nOPTIONS\n");
  const size_t end = manual.find("\n\n", manual.find("\n\nOUTPUT\n") - 1);
  ASSERT_NE(begin, std::string::npos);
  std::set<std::string> options;
  const std::regex tag("\n       (-[^\n]*)");
  const std::string section = manual.substr(begin, end - begin);
  for (auto match = std::sregex_iterator(section.begin(), section.end(), tag); match != std::sregex_iterator();
       ++match) {
    std::istringstream names((*match)[1].str());
    for (std::string name; names >> name;) {
      if (name.back() == ',') name.pop_back();
      if (name[0] == '-') options.insert(name);
    }
  }
  ASSERT_GE(options.size(), 20u);
  for (const std::string& name : options) {
    if (name == "--help" || name == "-h" || name == "--version") continue;
    // Without a PATH every run is a usage error, but never for an unknown option.
    for (const char* command : {"check", "extract", "inspect"}) {
      Program_Run run = Run_Tool({command, name});
      EXPECT_EQ(run.exit_status, 2);
      EXPECT_EQ(run.err.find("unknown option"), std::string::npos) << command << " " << name << ": " << run.err;
    }
  }
}

}  // namespace
