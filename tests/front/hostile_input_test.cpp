// One table of hostile inputs. Every row goes through both exported calls,
// whose results it names, and once more through the library over the
// counting allocator and a counting reader, the way the calls drive it: the
// row then must leave nothing allocated, and its work stays under bounds that
// do not depend on the machine (allocation requests, bytes read).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "document/pdf_document.h"
#include "document/pdf_embedded_file.h"
#include "front/zugf_identify.h"
#include "front/zugf_process.h"
#include "invoice_extract.h"
#include "runtime/pdf_limits.h"
#include "support/hazard_pdfs.h"
#include "support/invoice_builder.h"
#include "support/pdf_builder.h"
#include "support/test_memory.h"
#include "support/test_objects.h"

namespace {

// A read callback over a file descriptor that counts the bytes it delivers,
// served from one block held in memory (the library reads a byte at a time).
struct Counted_File {
  int descriptor;
  uint64_t bytes_read;
  uint64_t block_start;
  uint64_t block_length;
  char block[1 << 16];
};

uint64_t Counted_File_Read(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char*, void* context) {
  Counted_File* file = static_cast<Counted_File*>(context);
  if (mode != 1 || buffer == nullptr) return 0;
  if (position < file->block_start || position >= file->block_start + file->block_length) {
    ssize_t got = pread(file->descriptor, file->block, sizeof(file->block), static_cast<off_t>(position));
    file->block_start = position;
    file->block_length = got > 0 ? static_cast<uint64_t>(got) : 0;
  }
  uint64_t inside = position - file->block_start;
  uint64_t delivered = 0;
  if (position >= file->block_start && inside < file->block_length) {
    delivered = count < file->block_length - inside ? count : file->block_length - inside;
    memcpy(buffer, file->block + inside, delivered);
  }
  if (delivered < count && delivered == file->block_length - inside) {
    // The rest straight from the file.
    ssize_t got = pread(file->descriptor, static_cast<char*>(buffer) + delivered, count - delivered,
                        static_cast<off_t>(position + delivered));
    if (got > 0) delivered += static_cast<uint64_t>(got);
  }
  file->bytes_read += delivered;
  return delivered;
}

struct Work {
  uint64_t requests;  // allocation requests
  uint64_t bytes_read;
  int64_t left;      // blocks still allocated after the release
  uint64_t largest;  // the largest block asked for
};

// The library's path of an extraction (open, level, identification, decode,
// info, read), over the counting allocator and reader.
Work Library_Path(const std::string& path) {
  Test_Allocator allocator{};
  static Counted_File file;
  file.descriptor = open(path.c_str(), O_RDONLY);
  file.bytes_read = 0;
  file.block_start = 0;
  file.block_length = 0;
  PDF_Document* document = nullptr;
  if (PDF_Document_Create(&document, Test_Alloc, &allocator, Test_Free, &allocator, Counted_File_Read, &file, nullptr,
                          nullptr, PDF_TOLERANCE_SHORT_STREAMS) == PDF_RESULT_OK) {
    uint32_t part = 0;
    char conformance = 0;
    if (PDF_Document_Get_Pdfa_Level(document, &part, &conformance, nullptr) == PDF_RESULT_OK) {
      ZUGF_Context context = {};
      context.document = document;
      if (ZUGF_Identify_Invoice(&context, &part) == ZUGF_OK &&
          PDF_Document_Decode_Embedded_File(document, context.invoice_object_id) == PDF_RESULT_OK) {
        PDF_Embedded_File_Info info = {};
        if (PDF_Document_Get_Embedded_File_Info(document, context.invoice_object_id, &info) == PDF_RESULT_OK &&
            info.filter_count == 0 && info.length < (1u << 20)) {
          std::vector<char> bytes(info.length + 1);
          PDF_Document_Read_Embedded_File(document, context.invoice_object_id, bytes.data());
        }
      }
    }
    PDF_Document_Release(&document);
  }
  close(file.descriptor);
  uint64_t largest = 0;
  for (uint64_t size : allocator.sizes) largest = size > largest ? size : largest;
  Work work{allocator.requests, file.bytes_read, allocator.live, largest};
  Test_Allocator_Reclaim(&allocator);
  return work;
}

struct Hostile_Row {
  const char* name;
  std::function<std::string()> bytes;
  int32_t check;
  int32_t extract;
  uint64_t max_requests;
  uint64_t max_bytes_read;
};

const int32_t kInvoice = ZUGF_RESULT_INVOICE;
const int32_t kNotPdfa3 = ZUGF_RESULT_NOT_PDFA3;
const int32_t kNoFile = ZUGF_RESULT_NO_INVOICE_FILE;
const int32_t kFailed = ZUGF_RESULT_EXTRACT_FAILED;
const int32_t kMemory = ZUGF_RESULT_OUT_OF_MEMORY;

const std::vector<Hostile_Row>& Rows() {
  static const std::vector<Hostile_Row> rows = {
      // Loops.
      {"a Prev that names its own section ends the chain there", Hazard_Prev_Cycle_Pdf, kNotPdfa3, kNotPdfa3, 200,
       20000},
      {"a Prev loop through the invoice's table reads each section once", Hazard_Prev_Loop_Through_Invoice_Pdf,
       kInvoice, kInvoice, 2000, 40000},
      {"a stream section in the loop, objects compressed in each other, object streams extending each other",
       Hazard_Xref_Stream_Loop_Pdf, kInvoice, kInvoice, 2000, 40000},
      {"a table that announces two billion entries", [] { return Hazard_Xref_Count_Past_End_Pdf(2000000000); },
       ZUGF_RESULT_BAD_INPUT, ZUGF_RESULT_BAD_INPUT, 1000, 100000},
      {"a Kids node that names itself", Hazard_Kids_Cycle_Pdf, kNoFile, kNoFile, 2000, 20000},
      {"a Kids loop back to the root beside the invoice's leaf", Hazard_Kids_Cycle_Beside_Leaf_Pdf, kInvoice, kInvoice,
       2000, 40000},
      {"a stream whose Length refers to the stream itself", Hazard_Self_Length_Pdf, kInvoice, kInvoice, 2000, 40000},
      {"chains of 20000 objects, each leading to the next", [] { return Hazard_Long_Chains_Pdf(20000); }, kInvoice,
       kInvoice, 600000, 8u << 20},
      // Nesting.
      {"1000000 unclosed arrays in the catalog", [] { return Hazard_Deep_Nesting_Pdf(1000000); }, kNotPdfa3, kNotPdfa3,
       1000, 2u << 20},
      // Beside the invoice, where the extraction no longer reads.
      {"1000000 nested arrays in an object beside the invoice",
       [] { return Hazard_Deep_Value_Invoice_Pdf(1000000, false); }, kInvoice, kInvoice, 1000, 64u << 10},
      {"100000 nested dictionaries in an object the extraction loads",
       [] { return Hazard_Deep_Value_Invoice_Pdf(100000, true); }, kInvoice, kInvoice, 300000, 4u << 20},
      {"60 levels that each read the levels below again, 2^60 values without the ceiling",
       [] { return Hazard_Reread_Nesting_Pdf(60); }, kInvoice, kFailed, 200000, 40000},
      {"a name tree 1000 nodes deep", [] { return Hazard_Deep_Name_Tree_Pdf(1000); }, kNoFile, kNoFile, 20000, 400000},
      {"a name tree as deep as the limit allows", [] { return Hazard_Deep_Name_Tree_Pdf(255); }, kInvoice, kInvoice,
       20000, 400000},
      // Metadata.
      {"an empty pdfaid:conformance", [] { return Hazard_Empty_Conformance_Pdf(""); }, kNotPdfa3, kNotPdfa3, 200,
       20000},
      {"a pdfaid:conformance one letter off", [] { return Hazard_Empty_Conformance_Pdf("X"); }, kNotPdfa3, kNotPdfa3,
       200, 20000},
      {"a pdfaid:conformance one letter too long", [] { return Hazard_Empty_Conformance_Pdf("BB"); }, kNotPdfa3,
       kNotPdfa3, 200, 20000},
      // Decoding.
      {"a Flate bomb of 1 GiB in 1 MB", [] { return Hazard_Flate_Bomb_Pdf(1ull << 30); }, kInvoice, kFailed, 2000,
       4u << 20},
      // Lengths.
      {"a Length of 2000000000 in a small file", [] { return Hazard_Long_Length_Pdf(2000000000); }, kInvoice, kMemory,
       2000, 40000},
  };
  return rows;
}

typedef Memory_Fixture Hostile_Input;

TEST_F(Hostile_Input, EveryRowGetsItsResultsWithBoundedWorkAndNothingLeft) {
  const std::string xml = Test_Temp_Path("hostile.xml");
  for (const Hostile_Row& row : Rows()) {
    SCOPED_TRACE(row.name);
    const std::string pdf = Temp_File("hostile.pdf", row.bytes());
    EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), row.check);
    remove(xml.c_str());
    EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), row.extract);
    std::string written;
    EXPECT_EQ(Test_Read_File(xml, &written), row.extract == kInvoice);
    if (row.extract == kInvoice) {
      EXPECT_EQ(written, Invoice_Sample_Xml());
    }
    remove(xml.c_str());

    Work work = Library_Path(pdf);
    EXPECT_EQ(work.left, 0) << "blocks left allocated";
    EXPECT_LE(work.requests, row.max_requests);
    EXPECT_LE(work.bytes_read, row.max_bytes_read);
    EXPECT_LE(work.largest, 2 * PDF_DECODED_SIZE_LIMIT) << "no block beyond what one decode may hold";
    remove(pdf.c_str());
  }
}

// An invoice whose objects all lie beyond 4 GiB, in a sparse file: read at
// the right places, it is the same invoice, with the same XML.
TEST_F(Hostile_Input, AnInvoiceBeyondFourGibibytesIsReadAtItsOffsets) {
  const uint64_t shift = (5ull << 30) + 12345;
  const std::string path = Test_Temp_Path("beyond-4-gib.pdf");
  struct statvfs space = {};
  if (statvfs(path.substr(0, path.rfind('/')).c_str(), &space) != 0) GTEST_SKIP() << "no file system at " << path;
  int descriptor = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  ASSERT_GE(descriptor, 0) << path;
  temp_files.push_back(path);
  const std::string head = Hazard_Shifted_Invoice_Head();
  const std::string invoice = Hazard_Shifted_Invoice_Pdf(shift);
  bool written = write(descriptor, head.data(), head.size()) == static_cast<ssize_t>(head.size()) &&
                 ftruncate(descriptor, static_cast<off_t>(shift)) == 0 &&
                 pwrite(descriptor, invoice.data(), invoice.size(), static_cast<off_t>(shift)) ==
                     static_cast<ssize_t>(invoice.size());
  struct stat status = {};
  fstat(descriptor, &status);
  close(descriptor);
  if (!written || static_cast<uint64_t>(status.st_blocks) * 512 > (64u << 20)) {
    GTEST_SKIP() << "the temporary file system (" << path << ") does not keep a 5 GiB file sparse";
  }
  ASSERT_EQ(static_cast<uint64_t>(status.st_size), shift + invoice.size());

  const std::string xml = Test_Temp_Path("beyond-4-gib.xml");
  EXPECT_EQ(ZUGF_Check_Zugferd(path.c_str()), ZUGF_RESULT_INVOICE);
  EXPECT_EQ(ZUGF_Extract_Zugferd(path.c_str(), xml.c_str()), ZUGF_RESULT_INVOICE);
  std::string extracted;
  EXPECT_TRUE(Test_Read_File(xml, &extracted));
  EXPECT_EQ(extracted, Invoice_Sample_Xml());
  remove(xml.c_str());

  Work work = Library_Path(path);
  EXPECT_EQ(work.left, 0);
  EXPECT_LE(work.requests, 2000u);
  // The reader's windows count whole (1 KiB for each one-byte read that
  // fills one): megabytes, against the 5 GiB that the file spans.
  EXPECT_LE(work.bytes_read, 8u << 20) << "the file is read where its offsets point, not through";
}

}  // namespace
