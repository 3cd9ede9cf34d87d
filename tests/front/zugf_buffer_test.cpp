// The buffer calls against the path calls: the same bytes in memory and in a
// file must give the same result and the same XML.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "invoice_extract.h"
#include "support/corpus.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"

namespace {

// Both pairs of calls over the bytes of one file; the differences, or "".
std::string Compare_Calls(const std::string& pdf, const std::string& bytes, const std::string& xml_path) {
  std::string differences;
  const int32_t path_check = ZUGF_Check_Zugferd(pdf.c_str());
  const int32_t buffer_check = ZUGF_Check_Zugferd_Buffer(bytes.data(), bytes.size());
  if (path_check != buffer_check) {
    differences += "check " + std::to_string(path_check) + " against " + std::to_string(buffer_check) + "; ";
  }
  remove(xml_path.c_str());
  const int32_t path_extract = ZUGF_Extract_Zugferd(pdf.c_str(), xml_path.c_str());
  std::string written;
  const bool exists = Test_Read_File(xml_path, &written);
  void* xml = &differences;  // must be cleared by the call
  size_t xml_size = 99;
  const int32_t buffer_extract = ZUGF_Extract_Zugferd_Buffer(bytes.data(), bytes.size(), &xml, &xml_size);
  if (path_extract != buffer_extract) {
    differences += "extract " + std::to_string(path_extract) + " against " + std::to_string(buffer_extract) + "; ";
  }
  if (buffer_extract == ZUGF_RESULT_INVOICE) {
    if (xml == nullptr || !exists || written != std::string(static_cast<const char*>(xml), xml_size)) {
      differences += "the XML differs; ";
    }
  } else if (xml != nullptr || xml_size != 0) {
    differences += "XML handed over on failure; ";
  }
  ZUGF_Free(xml);
  remove(xml_path.c_str());
  return differences;
}

TEST(Buffer, SameAnswersAsThePathCallsForTheSameBytes) {
  // Every file of the shared corpus (PDFs of every verdict, and text files
  // that are no PDF), then built files for the codes the corpus lacks.
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(kCorpus)) {
    if (entry.is_regular_file()) files.push_back(entry.path().string());
  }
  ASSERT_GE(files.size(), 15u) << "the corpus is not under " << kCorpus;
  std::sort(files.begin(), files.end());
  std::string invoice;
  ASSERT_TRUE(Test_Read_File(kCorpus + "invoices/ZUGFeRD_1p0_BASIC_Einfach.pdf", &invoice));
  Invoice_Options undecodable;
  undecodable.embedded_entries = " /Filter /ASCIIHexDecode";
  Invoice_Options no_attachment;
  no_attachment.attachment_name = "invoice.xml";
  const struct {
    const char* name;
    std::string bytes;
  } built[] = {
      {"built-undecodable.pdf", Invoice_Build_Pdf(undecodable)},
      {"built-no-attachment.pdf", Invoice_Build_Pdf(no_attachment)},
      {"built-half-invoice.pdf", invoice.substr(0, invoice.size() / 2)},
      {"built-one-byte.pdf", "%"},
  };
  for (const auto& file : built) {
    files.push_back(Test_Temp_Path(file.name));
    ASSERT_TRUE(Test_Write_File(files.back(), file.bytes));
  }

  std::string failures;
  const std::string xml_path = Test_Temp_Path("buffer.xml");
  for (const std::string& file : files) {
    std::string bytes;
    ASSERT_TRUE(Test_Read_File(file, &bytes)) << file;
    const std::string differences = Compare_Calls(file, bytes, xml_path);
    if (!differences.empty()) failures += file + ": " + differences + "\n";
  }
  EXPECT_EQ(failures, "");
  for (const auto& file : built) remove(Test_Temp_Path(file.name).c_str());
}

TEST(Buffer, PromisedErrors) {
  const std::string pdf = Invoice_Build_Pdf(Invoice_Options());
  void* xml = nullptr;
  size_t xml_size = 0;
  const struct {
    const char* name;
    const void* data;
    size_t size;
    void** xml;
    size_t* xml_size;
    int32_t check;  // of the same data and size
    int32_t extract;
  } cases[] = {
      {"an invoice", pdf.data(), pdf.size(), &xml, &xml_size, ZUGF_RESULT_INVOICE, ZUGF_RESULT_INVOICE},
      {"null data", nullptr, pdf.size(), &xml, &xml_size, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
      {"size 0", pdf.data(), 0, &xml, &xml_size, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
      {"null data before null outputs", nullptr, 0, nullptr, nullptr, ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT},
      {"null xml", pdf.data(), pdf.size(), nullptr, &xml_size, ZUGF_RESULT_INVOICE, ZUGF_RESULT_EXTRACT_FAILED},
      {"null xml_size", pdf.data(), pdf.size(), &xml, nullptr, ZUGF_RESULT_INVOICE, ZUGF_RESULT_EXTRACT_FAILED},
  };
  for (const auto& c : cases) {
    xml = &xml;  // stale values that every call must clear
    xml_size = 7;
    EXPECT_EQ(ZUGF_Check_Zugferd_Buffer(c.data, c.size), c.check) << c.name;
    EXPECT_EQ(ZUGF_Extract_Zugferd_Buffer(c.data, c.size, c.xml, c.xml_size), c.extract) << c.name;
    if (c.extract == ZUGF_RESULT_INVOICE) {
      ASSERT_NE(xml, nullptr) << c.name;
      EXPECT_EQ(std::string(static_cast<const char*>(xml), xml_size), Invoice_Sample_Xml()) << c.name;
      ZUGF_Free(xml);
    } else {
      if (c.xml != nullptr) {
        EXPECT_EQ(xml, nullptr) << c.name << ": *xml is null on failure";
      }
      if (c.xml_size != nullptr) {
        EXPECT_EQ(xml_size, 0u) << c.name;
      }
    }
  }
  ZUGF_Free(nullptr);  // allowed, does nothing
}

}  // namespace
