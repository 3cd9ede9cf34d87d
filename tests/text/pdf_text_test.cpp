#include "text/pdf_text.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>

#include "support/test_objects.h"

namespace {

std::string Hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char c : bytes) hex += std::string(hex.empty() ? "" : " ") + digits[c >> 4] + digits[c & 15];
  return hex;
}

std::string Failed(PDF_Result result) { return "failed " + std::to_string(result); }

class Text_Test : public Memory_Fixture {
 protected:
  // Measures, then writes with each allocation request failing in turn (a
  // conversion makes exactly one, and failing it leaves nothing behind);
  // answers the written bytes in hex, or the failure, after checking that
  // measuring agrees on the result and the size.
  template <typename Convert>
  std::string Run(Convert convert) {
    uint64_t measured = 0, length = 0;
    PDF_Result measure = convert(nullptr, nullptr, &measured, true);
    for (uint64_t fail = 1;; ++fail) {
      char dummy = 0, *text = &dummy;
      allocator.fail_at = allocator.requests + fail;
      PDF_Result result = convert(memory, &text, &length, false);
      allocator.fail_at = 0;
      if (result == PDF_RESULT_OUT_OF_MEMORY) {
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(fail, 1u);
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(allocator.live, 1);  // the PDF_Memory alone
        continue;
      }
      EXPECT_EQ(measure, result);
      if (result != PDF_RESULT_OK) return Failed(result);
      EXPECT_EQ(fail, 2u);  // the one request failed once
      EXPECT_EQ(measured, length);
      EXPECT_EQ(text[length], 0);
      std::string out(text, length);
      PDF_Memory_Free(memory, &text);
      return Hex(out);
    }
  }

  // Also checks that measuring picks the same form, and that the wide form is marked.
  std::string From_UTF8(const std::string& in, bool force_wide) {
    uint8_t wide[2] = {force_wide, force_wide};
    std::string out = Run([&](PDF_Memory* m, char** text, uint64_t* length, bool measure) {
      return PDF_Text_From_UTF8(m, in.data(), in.size(), reinterpret_cast<uint8_t**>(text), length, &wide[measure],
                                measure);
    });
    EXPECT_EQ(wide[0], wide[1]);
    EXPECT_TRUE(out.compare(0, 6, "failed") == 0 || (wide[0] != 0) == (out.compare(0, 5, "fe ff") == 0));
    return out;
  }

  std::string To_UTF8(const std::string& in, PDF_Text_Encoding encoding) {
    return Run([&](PDF_Memory* m, char** text, uint64_t* length, bool measure) {
      return PDF_Text_To_UTF8(m, in.data(), in.size(), encoding, text, length, measure);
    });
  }
};

TEST_F(Text_Test, FromUTF8PicksTheNarrowestForm) {
  const struct {
    const char* label;
    std::string input;
    bool force_wide;
    std::string expected;
  } cases[] = {
      {"printable ASCII stays narrow", "ABC", false, "ABC"},
      {"empty text", "", false, ""},
      {"forced wide empty text is the mark alone", "", true, "\xFE\xFF"},
      {"forced wide", "AB", true, std::string("\xFE\xFF\0A\0B", 6)},
      {"a tab widens every character", "A\tB", false, std::string("\xFE\xFF\0A\0\t\0B", 8)},
      {"DEL widens", "A\x7F", false, std::string("\xFE\xFF\0A\0\x7F", 6)},
      {"U+00A1 to U+00FF stay narrow", "\xC2\xA1x\xC3\xA9\xC3\xBF", false, "\xA1x\xE9\xFF"},
      {"U+00A0 widens", "a\xC2\xA0", false, std::string("\xFE\xFF\0a\0\xA0", 6)},
      {"U+0080 widens", "\xC2\x80", false, std::string("\xFE\xFF\0\x80", 4)},
      {"narrow characters around a BMP one take two bytes", "x\xE2\x82\xAC\xC3\xA9", false,
       std::string("\xFE\xFF\0x\x20\xAC\0\xE9", 8)},
      // Beyond 16 bits: DB, (code >> 10) - 64, DF, low byte. Not UTF-16.
      {"U+1F600 in the four-byte form", "\xF0\x9F\x98\x80", false, std::string("\xFE\xFF\xDB\x3D\xDF\x00", 6)},
      {"U+10FFFF", "\xF4\x8F\xBF\xBF", false, "\xFE\xFF\xDB\xFF\xDF\xFF"},
      {"above U+10FFFF within 21 bits passes", "\xF7\xBF\xBF\xBF", false, "\xFE\xFF\xDB\xBF\xDF\xFF"},
      {"an overlong A is a sequence and widens", "\xC1\x81", false, std::string("\xFE\xFF\0A", 4)},
      {"an overlong U+00E9 stays narrow", "\xE0\x83\xA9", false, "\xE9"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(From_UTF8(c.input, c.force_wide), Hex(c.expected));
  }
  for (const char* malformed :
       {"\x80", "AB\xBF", "\xF8\x88\x80\x80\x80", "\xFF", "\xC3\x41", "\xE2\x82\x41", "A\xE2\x82", "A\xC3"}) {
    EXPECT_EQ(From_UTF8(malformed, false), Failed(PDF_RESULT_BAD_UTF8)) << Hex(malformed);
  }
  // The caller's buffer goes on with a valid continuation byte that must not be read.
  uint8_t wide = 0, *text = nullptr;
  uint64_t length = 99;
  EXPECT_EQ(PDF_Text_From_UTF8(memory, "\xC3\xA9", 1, &text, &length, &wide, false), PDF_RESULT_BAD_UTF8);
  EXPECT_EQ(length, 0u);
}

// Windows-1252 as the C library knows it, byte by byte; the five bytes that
// it leaves undefined become C1 controls.
TEST_F(Text_Test, WinAnsiAgreesWithTheCLibrary) {
  iconv_t converter = iconv_open("UTF-8", "CP1252");
  if (converter == reinterpret_cast<iconv_t>(-1)) GTEST_SKIP() << "no CP1252 converter";
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    char in = static_cast<char>(byte), wanted[8], *in_at = &in, *out_at = wanted;
    size_t in_left = 1, out_left = sizeof(wanted);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    std::string win_ansi;
    if (iconv(converter, &in_at, &in_left, &out_at, &out_left) == static_cast<size_t>(-1)) {
      ASSERT_TRUE(byte == 0x81 || byte == 0x8D || byte == 0x8F || byte == 0x90 || byte == 0x9D);
      win_ansi = std::string("\xC2", 1) + in;
    } else {
      win_ansi.assign(wanted, sizeof(wanted) - out_left);
    }
    EXPECT_EQ(To_UTF8(std::string(1, in), PDF_TEXT_WIN_ANSI), Hex(win_ansi));
  }
  iconv_close(converter);
}

// PDFDocEncoding: the published assignments at both ends of the two ranges
// that differ from Latin-1, and the four places where this table departs.
TEST_F(Text_Test, PdfDocEncodingRowsThatMatter) {
  const std::pair<uint8_t, const char*> cases[] = {
      {0x17, "17"},
      {0x18, "cb 98"},
      {0x1F, "cb 9c"},
      {0x7F, "7f"},
      {0x80, "e2 80 a2"},
      {0x8A, "2d"} /* a hyphen-minus, not U+2212 */,
      {0x9C, "c5 93"} /* from 1252 */,
      {0x9E, "c5 be"} /* from 1252 */,
      {0x9F, "c5 b8"} /* undefined there, from 1252 */,
      {0xA0, "e2 82 ac"},
      {0xA1, "c2 a1"},
      {0xFF, "c3 bf"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(To_UTF8(std::string(1, static_cast<char>(c.first)), PDF_TEXT_PDF_DOC), c.second) << int(c.first);
  }
}

TEST_F(Text_Test, ToUTF8FromLatin1AndUTF16) {
  const struct {
    const char* label;
    std::string input;
    PDF_Text_Encoding encoding;
    std::string expected;
  } cases[] = {
      {"Latin-1 is the byte", "A\xE9\x80\x9F\xFF", PDF_TEXT_LATIN1, "A\xC3\xA9\xC2\x80\xC2\x9F\xC3\xBF"},
      {"big-endian mark", std::string("\xFE\xFF\0A\0\xE9", 6), PDF_TEXT_UTF16, "A\xC3\xA9"},
      {"little-endian mark",
       std::string("\xFF\xFE"
                   "A\0\xAC\x20",
                   6),
       PDF_TEXT_UTF16, "A\xE2\x82\xAC"},
      {"no mark is big-endian", std::string("\0A\0B", 4), PDF_TEXT_UTF16, "AB"},
      {"FF FE without room for a unit is no mark", std::string("\xFF\xFE", 2), PDF_TEXT_UTF16, "\xEF\xBF\xBE"},
      {"FE FF alone is the character U+FEFF", std::string("\xFE\xFF", 2), PDF_TEXT_UTF16, "\xEF\xBB\xBF"},
      {"an odd last byte is read with a zero", std::string("\xFE\xFF\x41", 3), PDF_TEXT_UTF16, "\xE4\x84\x80"},
      {"little-endian odd last byte", std::string("\xFF\xFE\x41", 3), PDF_TEXT_UTF16, "A"},
      // The low unit of a pair is read in the opposite byte order.
      {"D83D DE00 does not give U+1F600", std::string("\xFE\xFF\xD8\x3D\xDE\x00", 6), PDF_TEXT_UTF16,
       "\xF0\x91\xA3\x9E"},
      {"the same pair little-endian", std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6), PDF_TEXT_UTF16, "\xF0\x91\xA3\x9E"},
      {"a swapped DC00 gives U+10000", std::string("\xD8\x00\x00\xDC", 4), PDF_TEXT_UTF16, "\xF0\x90\x80\x80"},
      {"the low unit isn't checked", std::string("\xD8\x00\x41\x00", 4), PDF_TEXT_UTF16, "\xE2\x91\x81"},
      {"a lone low surrogate is a code point", std::string("\xDC\x00\0A", 4), PDF_TEXT_UTF16,
       "\xED\xB0\x80"
       "A"},
      {"beyond U+10FFFF becomes a space", std::string("\xDB\xFF\xFF\xFF\0A", 6), PDF_TEXT_UTF16, " A"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    EXPECT_EQ(To_UTF8(c.input, c.encoding), Hex(c.expected));
  }
  for (PDF_Text_Encoding encoding : {PDF_TEXT_LATIN1, PDF_TEXT_WIN_ANSI, PDF_TEXT_PDF_DOC, PDF_TEXT_UTF16}) {
    EXPECT_EQ(To_UTF8("", encoding), "") << encoding;
  }
  for (PDF_Text_Encoding encoding : {3u, 5u, 0xFFFFFFFFu}) {
    EXPECT_EQ(To_UTF8("A", encoding), Failed(PDF_RESULT_INVALID_ARGUMENT)) << encoding;
  }
}

TEST_F(Text_Test, TrailingHighSurrogateWritesOneCharacterMoreThanMeasured) {
  // The measuring pass stops at the high surrogate in the last two bytes; the
  // writing pass combines it with two bytes from behind the input, which read
  // as zero whatever the caller's buffer holds there.
  const std::string buffer("\0A\xD8\x3D\x12\x34", 6);
  uint64_t measured = 0, length = 0;
  char* text = nullptr;
  ASSERT_EQ(PDF_Text_To_UTF8(nullptr, buffer.data(), 4, PDF_TEXT_UTF16, nullptr, &measured, true), PDF_RESULT_OK);
  EXPECT_EQ(measured, 1u);
  ASSERT_EQ(PDF_Text_To_UTF8(memory, buffer.data(), 4, PDF_TEXT_UTF16, &text, &length, false), PDF_RESULT_OK);
  EXPECT_EQ(Hex(std::string(text, length)), Hex("A\xF0\x91\xA0\x80"));  // ((0x3D << 10) + 0 + 0x2400) = U+11800
  PDF_Memory_Free(memory, &text);
  // With an odd last byte both passes stop.
  EXPECT_EQ(To_UTF8(std::string("\0A\xD8", 3), PDF_TEXT_UTF16), Hex("A"));
}

TEST_F(Text_Test, ArgumentChecks) {
  uint8_t wide = 0, *bytes = nullptr;
  char* text = nullptr;
  uint64_t length = 0;
  const PDF_Result refused[] = {
      PDF_Text_From_UTF8(memory, nullptr, 0, &bytes, &length, &wide, false),
      PDF_Text_From_UTF8(memory, "A", 1, &bytes, &length, nullptr, false),
      PDF_Text_From_UTF8(nullptr, "A", 1, &bytes, &length, &wide, false),
      PDF_Text_To_UTF8(memory, "A", 1, PDF_TEXT_LATIN1, &text, nullptr, false),
      PDF_Text_To_UTF8(memory, "A", 1, PDF_TEXT_LATIN1, nullptr, &length, false),
      PDF_Text_To_Hex(memory, nullptr, 1, &text, &length, false),
  };
  for (PDF_Result result : refused) EXPECT_EQ(result, PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(allocator.requests, 1u);  // the PDF_Memory alone
  EXPECT_EQ(PDF_UTF8_Encode_Code_Point(0x41, nullptr), 0u);
  // Measuring hex needs no input.
  EXPECT_EQ(PDF_Text_To_Hex(nullptr, nullptr, 21, nullptr, &length, true), PDF_RESULT_OK);
  EXPECT_EQ(length, 42u);
}

TEST(Text_Code_Point_Test, EncodesUTF8Bytes) {
  const struct {
    uint32_t code_point, packed, count;
  } cases[] = {
      {0x00, 0x00, 1},           {0x7F, 0x7F, 1},       {0x80, 0xC280, 2},     {0x7FF, 0xDFBF, 2},
      {0x800, 0xE0A080, 3},      {0xD800, 0xEDA080, 3}, {0xFFFF, 0xEFBFBF, 3}, {0x10000, 0xF0908080, 4},
      {0x10FFFF, 0xF48FBFBF, 4}, {0x110000, 0, 0},      {0xFFFFFFFF, 0, 0},
  };
  for (const auto& c : cases) {
    uint32_t count = 99;
    EXPECT_EQ(PDF_UTF8_Encode_Code_Point(c.code_point, &count), c.packed) << c.code_point;
    EXPECT_EQ(count, c.count) << c.code_point;
  }
}

TEST_F(Text_Test, ToHexWritesUppercasePairs) {
  for (const std::string& in : {std::string("\x00\x7F\x80\xFF\x0A\xab", 6), std::string()}) {
    EXPECT_EQ(Run([&](PDF_Memory* m, char** text, uint64_t* length, bool measure) {
                return PDF_Text_To_Hex(m, in.data(), in.size(), text, length, measure);
              }),
              Hex(in.empty() ? "" : "007F80FF0AAB"));
  }
}

TEST(Text_Byte_Helper_Test, LengthAndBytesDiffer) {
  EXPECT_EQ(PDF_Text_Length("ab\0cd"), 2u);
  EXPECT_EQ(PDF_Text_Length(""), 0u);
  EXPECT_EQ(PDF_Text_Length(nullptr), 0u);
  const char a[] = "abcdef";
  EXPECT_EQ(PDF_Bytes_Differ(a, "abcdef", 6), 0);
  EXPECT_EQ(PDF_Bytes_Differ(a, "abcdeX", 6), 1);
  EXPECT_EQ(PDF_Bytes_Differ("Xbcdef", a, 6), 1);  // a flag, not an order
  EXPECT_EQ(PDF_Bytes_Differ(a, "abcdeX", 5), 0);
  EXPECT_EQ(PDF_Bytes_Differ(nullptr, nullptr, 0), 0);
  EXPECT_EQ(PDF_Bytes_Differ(a, nullptr, 1), 1);
}

}  // namespace
