// The bridge over metadata streams read from PDF syntax.
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

#include "filters/pdf_stream.h"
#include "objects/pdf_dictionary.h"
#include "support/test_objects.h"
#include "xmp/pdf_xmp.h"
#include "xmp/pdf_xmp_lock.h"

namespace {

const std::string level_packet =
    "<x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
    "<rdf:Description rdf:about='' xmlns:pdfaid='http://www.aiim.org/pdfa/ns/id/' pdfaid:part='3' "
    "pdfaid:conformance='B'/></rdf:RDF></x:xmpmeta>";

std::string Deflate(const std::string& data) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(&out[0]), &size, reinterpret_cast<const Bytef*>(data.data()),
                      static_cast<uLong>(data.size()), 9),
            Z_OK);
  out.resize(size);
  return out;
}

std::string Stream_Text(const std::string& entries, const std::string& data, size_t length) {
  return "<< /Length " + std::to_string(length) + entries + " >>\nstream\n" + data + "\nendstream";
}

class XMP_Stream_Test : public Objects_Fixture {
 protected:
  void SetUp() override {
    Objects_Fixture::SetUp();
    ASSERT_EQ(PDF_XMP_Lock_Create(), PDF_RESULT_OK);
  }
  void TearDown() override {
    if (stream != nullptr) PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
    if (dictionary != nullptr) PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
    Objects_Fixture::TearDown();
  }
  PDF_Stream* Read(const std::string& text) {
    EXPECT_NE(PDF_Stream_Read(&stream, &dictionary, file, Input(text), 0), 0u) << text;
    EXPECT_NE(stream, nullptr) << text;
    return stream;
  }

  PDF_Stream* stream = nullptr;
  PDF_Dictionary* dictionary = nullptr;
};

TEST_F(XMP_Stream_Test, ReadsTheDecodedDataOfTheStream) {
  const std::string deflated = Deflate(level_packet);
  const struct {
    const char* label;
    std::string text;
  } cases[] = {
      {"plain", Stream_Text("", level_packet, level_packet.size())},
      // The length is taken after decoding: the compressed length would cut
      // the packet short.
      {"deflated", Stream_Text(" /Filter /FlateDecode", deflated, deflated.size())},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    PDF_XMP* xmp = nullptr;
    ASSERT_EQ(PDF_XMP_Create_From_Stream(&xmp, &memory, Read(c.text)), PDF_RESULT_OK);
    ASSERT_NE(xmp, nullptr);
    uint32_t part = 0;
    char conformance = 0;
    EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, &part, &conformance), PDF_PDFA_3B);
    EXPECT_EQ(part, 3u);
    EXPECT_EQ(conformance, 'B');
    EXPECT_EQ(PDF_XMP_Delete(&xmp, &memory), PDF_RESULT_OK);
    EXPECT_EQ(xmp, nullptr);
    PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
  }
}

TEST_F(XMP_Stream_Test, StreamsWithoutUsableBytesGiveAnEmptyRecord) {
  const struct {
    const char* label;
    std::string text;  // empty: no stream at all
  } cases[] = {
      {"no stream", ""},
      {"empty stream", Stream_Text("", "", 0)},
      {"filter without a decoder", Stream_Text(" /Filter /DCTDecode", level_packet, level_packet.size())},
      {"data that doesn't inflate", Stream_Text(" /Filter /FlateDecode", level_packet, level_packet.size())},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    PDF_Stream* source = c.text.empty() ? nullptr : Read(c.text);
    PDF_XMP* xmp = nullptr;
    ASSERT_EQ(PDF_XMP_Create_From_Stream(&xmp, &memory, source), PDF_RESULT_OK);
    ASSERT_NE(xmp, nullptr);
    EXPECT_EQ(PDF_XMP_Get_Pdfa_Level(xmp, nullptr, nullptr), PDF_PDFA_NONE);
    const char* value = nullptr;
    uint64_t length = 9;
    EXPECT_EQ(PDF_XMP_Get_Property(xmp, "http://www.aiim.org/pdfa/ns/id/", "part", &value, &length),
              PDF_RESULT_OK);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(PDF_XMP_Delete(&xmp, &memory), PDF_RESULT_OK);
    if (stream != nullptr) PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
  }
  log.messages.clear();
}

TEST_F(XMP_Stream_Test, StreamBytesThatDontParseAreRejected) {
  const std::string junk = "<x:xmpmeta><unclosed>";
  PDF_XMP* xmp = nullptr;
  EXPECT_EQ(PDF_XMP_Create_From_Stream(&xmp, &memory, Read(Stream_Text("", junk, junk.size()))),
            PDF_RESULT_XMP_REJECTED);
  EXPECT_EQ(xmp, nullptr);
}

}  // namespace
