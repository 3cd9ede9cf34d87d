#include "text/pdf_text.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>
#include <vector>

#include "support/test_memory.h"

namespace {

class Text_Test : public ::testing::Test {
 protected:
  void SetUp() override {
    allocator = Test_Allocator{};
    ASSERT_EQ(PDF_Memory_Create(&memory, Test_Alloc, &allocator, Test_Free, &allocator), PDF_RESULT_OK);
  }
  void TearDown() override {
    PDF_Memory_Delete(&memory);
    EXPECT_EQ(allocator.live, 0);
  }

  // Full conversion; checks that measuring alone gives the same size and form.
  PDF_Result From_UTF8(const std::string& input, bool force_wide, std::string* out, bool* out_wide) {
    uint8_t wide_measured = force_wide ? 1 : 0;
    uint64_t measured = 0;
    PDF_Result measure_result =
        PDF_Text_From_UTF8(nullptr, input.data(), input.size(), nullptr, &measured, &wide_measured, true);
    uint8_t wide = force_wide ? 1 : 0;
    uint8_t* text = nullptr;
    uint64_t length = 0;
    int64_t live = allocator.live;
    PDF_Result result = PDF_Text_From_UTF8(memory, input.data(), input.size(), &text, &length, &wide, false);
    EXPECT_EQ(measure_result, result);
    if (result != PDF_RESULT_OK) {
      EXPECT_EQ(text, nullptr);
      EXPECT_EQ(allocator.live, live);
      return result;
    }
    EXPECT_EQ(measured, length);
    EXPECT_EQ(wide_measured, wide);
    EXPECT_EQ(text[length], 0);
    out->assign(reinterpret_cast<const char*>(text), length);
    *out_wide = wide != 0;
    PDF_Memory_Free(memory, &text);
    return result;
  }

  PDF_Result To_UTF8(const std::string& input, PDF_Text_Encoding encoding, std::string* out,
                     uint64_t* out_measured = nullptr) {
    uint64_t measured = 0;
    PDF_Result measure_result =
        PDF_Text_To_UTF8(nullptr, input.data(), input.size(), encoding, nullptr, &measured, true);
    char* text = nullptr;
    uint64_t length = 0;
    PDF_Result result = PDF_Text_To_UTF8(memory, input.data(), input.size(), encoding, &text, &length, false);
    EXPECT_EQ(measure_result, result);
    if (out_measured != nullptr) {
      *out_measured = measured;
    } else if (result == PDF_RESULT_OK) {
      EXPECT_EQ(measured, length);
    }
    if (result != PDF_RESULT_OK) {
      EXPECT_EQ(text, nullptr);
      return result;
    }
    EXPECT_EQ(text[length], 0);
    out->assign(text, length);
    PDF_Memory_Free(memory, &text);
    return result;
  }

  Test_Allocator allocator;
  PDF_Memory* memory = nullptr;
};

std::string Hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string hex;
  for (unsigned char c : bytes) {
    if (!hex.empty()) hex += ' ';
    hex += digits[c >> 4];
    hex += digits[c & 15];
  }
  return hex;
}

// ---------------------------------------------------------------- From UTF-8

struct From_UTF8_Case {
  const char* label;
  std::string input;
  bool force_wide;
  std::string expected;  // bytes
  bool expected_wide;
};

TEST_F(Text_Test, FromUTF8PicksTheNarrowestForm) {
  const From_UTF8_Case cases[] = {
      {"printable ASCII stays narrow", "ABC", false, "ABC", false},
      {"empty text", "", false, "", false},
      {"forced wide empty text is the mark alone", "", true, "\xFE\xFF", true},
      {"forced wide", "AB", true, std::string("\xFE\xFF\0A\0B", 6), true},
      {"a tab widens every character", "A\tB", false, std::string("\xFE\xFF\0A\0\t\0B", 8), true},
      {"control character first", "\nA", false, std::string("\xFE\xFF\0\n\0A", 6), true},
      {"DEL widens", "A\x7F", false, std::string("\xFE\xFF\0A\0\x7F", 6), true},
      {"U+00A1 to U+00FF stay narrow", "\xC2\xA1x\xC3\xA9\xC3\xBF", false, "\xA1x\xE9\xFF", false},
      {"U+00A0 widens", "a\xC2\xA0" "b", false, std::string("\xFE\xFF\0a\0\xA0\0b", 8), true},
      {"U+0080 widens", "\xC2\x80", false, std::string("\xFE\xFF\0\x80", 4), true},
      {"a BMP character after narrow ones", "xy\xE2\x82\xAC", false, std::string("\xFE\xFF\0x\0y\x20\xAC", 8),
       true},
      {"narrow characters after the switch take two bytes", "\xE2\x82\xAC\xC3\xA9z", false,
       std::string("\xFE\xFF\x20\xAC\0\xE9\0z", 8), true},
      // Beyond 16 bits: DB, (code >> 10) - 64, DF, low byte. Not UTF-16.
      {"U+1F600 in the four-byte form", "\xF0\x9F\x98\x80", false, std::string("\xFE\xFF\xDB\x3D\xDF\x00", 6),
       true},
      {"U+10000", "A\xF0\x90\x80\x80", false, std::string("\xFE\xFF\0A\xDB\x00\xDF\x00", 8), true},
      {"U+10FFFF", "\xF4\x8F\xBF\xBF", false, "\xFE\xFF\xDB\xFF\xDF\xFF", true},
      {"above U+10FFFF within 21 bits passes", "\xF7\xBF\xBF\xBF", false, "\xFE\xFF\xDB\xBF\xDF\xFF", true},
      {"an overlong A is a sequence and widens", "\xC1\x81", false, std::string("\xFE\xFF\0A", 4), true},
      {"an overlong U+00E9 stays narrow", "\xE0\x83\xA9", false, "\xE9", false},
  };
  for (const From_UTF8_Case& c : cases) {
    SCOPED_TRACE(c.label);
    std::string out;
    bool wide = false;
    ASSERT_EQ(From_UTF8(c.input, c.force_wide, &out, &wide), PDF_RESULT_OK);
    EXPECT_EQ(Hex(out), Hex(c.expected));
    EXPECT_EQ(wide, c.expected_wide);
  }
}

TEST_F(Text_Test, FromUTF8RefusesMalformedInput) {
  const struct {
    const char* label;
    std::string input;
  } cases[] = {
      {"lone continuation byte first", "\x80"},
      {"continuation byte after text", "AB\xBF"},
      {"five-byte lead", "\xF8\x88\x80\x80\x80"},
      {"six-byte lead", "\xFC\x84\x80\x80\x80\x80"},
      {"0xFF", "\xFF"},
      {"second byte not a continuation", "\xC3\x41"},
      {"third byte not a continuation", "\xE2\x82\x41"},
      {"sequence cut at the end", "A\xE2\x82"},
      {"lead byte last", "A\xC3"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    std::string out;
    bool wide = false;
    EXPECT_EQ(From_UTF8(c.input, false, &out, &wide), PDF_RESULT_BAD_UTF8);
  }
}

TEST_F(Text_Test, FromUTF8ReadsNothingBehindTheInput) {
  // The caller's buffer goes on with a valid continuation byte, but the
  // sequence ends with the given length and meets a NUL instead.
  const char buffer[] = "\xC3\xA9";
  uint8_t wide = 0;
  uint8_t* text = nullptr;
  uint64_t length = 99;
  EXPECT_EQ(PDF_Text_From_UTF8(memory, buffer, 1, &text, &length, &wide, false), PDF_RESULT_BAD_UTF8);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(allocator.live, 1);  // the PDF_Memory alone
}

TEST_F(Text_Test, FromUTF8ArgumentChecks) {
  uint8_t wide = 0;
  uint8_t* text = nullptr;
  uint64_t length = 0;
  EXPECT_EQ(PDF_Text_From_UTF8(memory, nullptr, 0, &text, &length, &wide, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_From_UTF8(memory, "A", 1, &text, nullptr, &wide, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_From_UTF8(memory, "A", 1, &text, &length, nullptr, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_From_UTF8(nullptr, "A", 1, &text, &length, &wide, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_From_UTF8(memory, "A", 1, nullptr, &length, &wide, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(allocator.requests, 1u);  // the PDF_Memory alone

  // Measuring needs neither memory nor a place for the text, and allocates nothing.
  EXPECT_EQ(PDF_Text_From_UTF8(nullptr, "A\tB", 3, nullptr, &length, &wide, true), PDF_RESULT_OK);
  EXPECT_EQ(length, 8u);
  EXPECT_EQ(wide, 1);
  EXPECT_EQ(allocator.requests, 1u);
}

TEST_F(Text_Test, EmptyInputAllocatesOneByteForTheNul) {
  uint8_t wide = 0;
  uint8_t* text = nullptr;
  uint64_t length = 7;
  uint64_t before = allocator.requests;
  ASSERT_EQ(PDF_Text_From_UTF8(memory, "", 0, &text, &length, &wide, false), PDF_RESULT_OK);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(text[0], 0);
  EXPECT_EQ(allocator.requests, before + 1);
  PDF_Memory_Free(memory, &text);

  char* utf8 = nullptr;
  for (PDF_Text_Encoding encoding : {PDF_TEXT_LATIN1, PDF_TEXT_WIN_ANSI, PDF_TEXT_PDF_DOC, PDF_TEXT_UTF16}) {
    length = 7;
    ASSERT_EQ(PDF_Text_To_UTF8(memory, "", 0, encoding, &utf8, &length, false), PDF_RESULT_OK);
    ASSERT_NE(utf8, nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(utf8[0], 0);
    PDF_Memory_Free(memory, &utf8);
  }
}

// ------------------------------------------------------------------ To UTF-8

struct To_UTF8_Case {
  const char* label;
  std::string input;
  PDF_Text_Encoding encoding;
  std::string expected;
};

// Windows-1252 as the C library knows it, byte by byte; the five bytes that
// it leaves undefined become C1 controls.
TEST_F(Text_Test, WinAnsiAgreesWithTheSystemConverter) {
  iconv_t converter = iconv_open("UTF-8", "CP1252");
  if (converter == reinterpret_cast<iconv_t>(-1)) GTEST_SKIP() << "no CP1252 converter";
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    char in[1] = {static_cast<char>(byte)};
    char expected[8] = {0};
    char* in_pointer = in;
    size_t in_left = 1;
    char* out_pointer = expected;
    size_t out_left = sizeof(expected);
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    size_t done = iconv(converter, &in_pointer, &in_left, &out_pointer, &out_left);
    std::string wanted;
    if (done == static_cast<size_t>(-1)) {
      ASSERT_TRUE(byte == 0x81 || byte == 0x8D || byte == 0x8F || byte == 0x90 || byte == 0x9D);
      wanted = std::string("\xC2", 1) + static_cast<char>(byte);
    } else {
      wanted.assign(expected, sizeof(expected) - out_left);
    }
    std::string out;
    ASSERT_EQ(To_UTF8(std::string(1, static_cast<char>(byte)), PDF_TEXT_WIN_ANSI, &out), PDF_RESULT_OK);
    EXPECT_EQ(Hex(out), Hex(wanted));
  }
  iconv_close(converter);
}

TEST_F(Text_Test, PdfDocEncodingTable) {
  // The published assignments, with the three deliberate departures noted.
  const uint32_t high[] = {
      0x2022, 0x2020, 0x2021, 0x2026, 0x2014, 0x2013, 0x0192, 0x2044,  // 0x80
      0x2039, 0x203A, 0x002D /* not U+2212 */, 0x2030, 0x201E, 0x201C, 0x201D, 0x2018,
      0x2019, 0x201A, 0x2122, 0xFB01, 0xFB02, 0x0141, 0x0152, 0x0160,  // 0x90
      0x0178, 0x017D, 0x0131, 0x0142, 0x0153 /* from 1252 */, 0x0161, 0x017E /* from 1252 */,
      0x0178 /* undefined, from 1252 */, 0x20AC};                      // 0xA0
  const uint32_t low[] = {0x02D8, 0x02C7, 0x02C6, 0x02D9, 0x02DD, 0x02DB, 0x02DA, 0x02DC};  // 0x18
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    uint32_t code = static_cast<uint32_t>(byte);
    if (byte >= 0x80 && byte <= 0xA0) code = high[byte - 0x80];
    if (byte >= 0x18 && byte <= 0x1F) code = low[byte - 0x18];
    uint32_t count = 0;
    uint32_t packed = PDF_UTF8_Encode_Code_Point(code, &count);
    std::string wanted;
    for (uint32_t k = count; k > 0; --k) wanted += static_cast<char>(packed >> (8 * (k - 1)));
    std::string out;
    ASSERT_EQ(To_UTF8(std::string(1, static_cast<char>(byte)), PDF_TEXT_PDF_DOC, &out), PDF_RESULT_OK);
    EXPECT_EQ(Hex(out), Hex(wanted));
  }
}

TEST_F(Text_Test, ToUTF8FromLatin1AndUTF16) {
  const To_UTF8_Case cases[] = {
      {"Latin-1 is the byte", "A\xE9\x80\x9F\xFF", PDF_TEXT_LATIN1, "A\xC3\xA9\xC2\x80\xC2\x9F\xC3\xBF"},
      {"big-endian mark", std::string("\xFE\xFF\0A\0\xE9", 6), PDF_TEXT_UTF16, "A\xC3\xA9"},
      {"little-endian mark", std::string("\xFF\xFE" "A\0\xAC\x20", 6), PDF_TEXT_UTF16, "A\xE2\x82\xAC"},
      {"no mark is big-endian", std::string("\0A\0B", 4), PDF_TEXT_UTF16, "AB"},
      {"FF FE without room for a unit is no mark", std::string("\xFF\xFE", 2), PDF_TEXT_UTF16, "\xEF\xBF\xBE"},
      {"FE FF alone is the character U+FEFF", std::string("\xFE\xFF", 2), PDF_TEXT_UTF16, "\xEF\xBB\xBF"},
      {"an odd last byte is read with a zero", std::string("\xFE\xFF\x41", 3), PDF_TEXT_UTF16, "\xE4\x84\x80"},
      {"little-endian odd last byte", std::string("\xFF\xFE\x41", 3), PDF_TEXT_UTF16, "A"},
      // The low unit of a pair is read in the opposite byte order.
      {"D83D DE00 does not give U+1F600", std::string("\xFE\xFF\xD8\x3D\xDE\x00", 6), PDF_TEXT_UTF16,
       "\xF0\x91\xA3\x9E"},
      {"the same pair little-endian", std::string("\xFF\xFE\x3D\xD8\x00\xDE", 6), PDF_TEXT_UTF16,
       "\xF0\x91\xA3\x9E"},
      {"a swapped DC00 gives U+10000", std::string("\xD8\x00\x00\xDC", 4), PDF_TEXT_UTF16, "\xF0\x90\x80\x80"},
      {"the low unit isn't checked", std::string("\xD8\x00\x41\x00", 4), PDF_TEXT_UTF16, "\xE2\x91\x81"},
      {"a lone low surrogate is a code point", std::string("\xDC\x00\0A", 4), PDF_TEXT_UTF16, "\xED\xB0\x80" "A"},
      {"beyond U+10FFFF becomes a space", std::string("\xDB\xFF\xFF\xFF\0A", 6), PDF_TEXT_UTF16, " A"},
  };
  for (const To_UTF8_Case& c : cases) {
    SCOPED_TRACE(c.label);
    std::string out;
    ASSERT_EQ(To_UTF8(c.input, c.encoding, &out), PDF_RESULT_OK);
    EXPECT_EQ(Hex(out), Hex(c.expected));
  }
}

TEST_F(Text_Test, TrailingHighSurrogateWritesOneCharacterMoreThanMeasured) {
  // The measuring pass stops at the high surrogate in the last two bytes; the
  // writing pass combines it with two bytes from behind the input, which read
  // as zero whatever the caller's buffer holds there.
  const std::string buffer("\0A\xD8\x3D\x12\x34", 6);
  uint64_t measured = 0;
  std::string out;
  ASSERT_EQ(To_UTF8(buffer.substr(0, 4), PDF_TEXT_UTF16, &out, &measured), PDF_RESULT_OK);
  EXPECT_EQ(measured, 1u);
  EXPECT_EQ(Hex(out), Hex("A\xF0\x91\xA0\x80"));  // ((0x3D << 10) + 0 + 0x2400) = U+11800

  char* text = nullptr;
  uint64_t length = 0;
  ASSERT_EQ(PDF_Text_To_UTF8(memory, buffer.data(), 4, PDF_TEXT_UTF16, &text, &length, false), PDF_RESULT_OK);
  EXPECT_EQ(Hex(std::string(text, length)), Hex("A\xF0\x91\xA0\x80"));
  PDF_Memory_Free(memory, &text);

  // With an odd last byte both passes stop.
  ASSERT_EQ(To_UTF8(std::string("\0A\xD8", 3), PDF_TEXT_UTF16, &out, &measured), PDF_RESULT_OK);
  EXPECT_EQ(measured, 1u);
  EXPECT_EQ(out, "A");
}

TEST_F(Text_Test, ToUTF8ArgumentChecks) {
  char* text = nullptr;
  uint64_t length = 0;
  for (PDF_Text_Encoding encoding : {3u, 5u, 0xFFFFFFFFu}) {
    EXPECT_EQ(PDF_Text_To_UTF8(memory, "A", 1, encoding, &text, &length, false), PDF_RESULT_INVALID_ARGUMENT);
    EXPECT_EQ(PDF_Text_To_UTF8(nullptr, "A", 1, encoding, nullptr, &length, true), PDF_RESULT_INVALID_ARGUMENT);
  }
  EXPECT_EQ(PDF_Text_To_UTF8(memory, nullptr, 0, PDF_TEXT_LATIN1, &text, &length, false),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_To_UTF8(memory, "A", 1, PDF_TEXT_LATIN1, &text, nullptr, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_To_UTF8(nullptr, "A", 1, PDF_TEXT_LATIN1, &text, &length, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_To_UTF8(memory, "A", 1, PDF_TEXT_LATIN1, nullptr, &length, false),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(allocator.requests, 1u);
  EXPECT_EQ(PDF_Text_To_UTF8(nullptr, "\x80\x80", 2, PDF_TEXT_WIN_ANSI, nullptr, &length, true), PDF_RESULT_OK);
  EXPECT_EQ(length, 6u);
}

// ----------------------------------------------------- code points and hex

TEST(Text_Code_Point_Test, EncodesUTF8Bytes) {
  const struct {
    uint32_t code_point;
    uint32_t packed;
    uint32_t count;
  } cases[] = {
      {0x00, 0x00, 1},         {0x7F, 0x7F, 1},           {0x80, 0xC280, 2},         {0x7FF, 0xDFBF, 2},
      {0x800, 0xE0A080, 3},    {0xD800, 0xEDA080, 3},     {0xFFFF, 0xEFBFBF, 3},     {0x10000, 0xF0908080, 4},
      {0x10FFFF, 0xF48FBFBF, 4}, {0x110000, 0, 0},        {0xFFFFFFFF, 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code_point);
    uint32_t count = 99;
    EXPECT_EQ(PDF_UTF8_Encode_Code_Point(c.code_point, &count), c.packed);
    EXPECT_EQ(count, c.count);
  }
  EXPECT_EQ(PDF_UTF8_Encode_Code_Point(0x41, nullptr), 0u);
}

TEST_F(Text_Test, ToHexWritesUppercasePairs) {
  const std::string input("\x00\x7F\x80\xFF\x0A\xab", 6);
  char* text = nullptr;
  uint64_t length = 0;
  ASSERT_EQ(PDF_Text_To_Hex(memory, input.data(), input.size(), &text, &length, false), PDF_RESULT_OK);
  EXPECT_EQ(length, 12u);
  EXPECT_STREQ(text, "007F80FF0AAB");
  PDF_Memory_Free(memory, &text);

  ASSERT_EQ(PDF_Text_To_Hex(memory, "", 0, &text, &length, false), PDF_RESULT_OK);
  EXPECT_EQ(length, 0u);
  EXPECT_STREQ(text, "");
  PDF_Memory_Free(memory, &text);

  // Measuring needs no input.
  EXPECT_EQ(PDF_Text_To_Hex(nullptr, nullptr, 21, nullptr, &length, true), PDF_RESULT_OK);
  EXPECT_EQ(length, 42u);
  EXPECT_EQ(PDF_Text_To_Hex(memory, input.data(), 1, &text, nullptr, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_To_Hex(memory, nullptr, 1, &text, &length, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_To_Hex(nullptr, input.data(), 1, &text, &length, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Text_To_Hex(memory, input.data(), 1, nullptr, &length, false), PDF_RESULT_INVALID_ARGUMENT);
}

TEST_F(Text_Test, EveryConversionFailsCleanlyWithoutMemory) {
  const struct {
    const char* label;
    PDF_Result (*convert)(PDF_Memory* memory, char** out_text, uint64_t* out_length);
  } conversions[] = {
      {"from UTF-8",
       [](PDF_Memory* m, char** text, uint64_t* length) {
         uint8_t wide = 0;
         return PDF_Text_From_UTF8(m, "A\xC3\xA9", 3, reinterpret_cast<uint8_t**>(text), length, &wide, false);
       }},
      {"to UTF-8",
       [](PDF_Memory* m, char** text, uint64_t* length) {
         return PDF_Text_To_UTF8(m, "\x80", 1, PDF_TEXT_PDF_DOC, text, length, false);
       }},
      {"to hex",
       [](PDF_Memory* m, char** text, uint64_t* length) { return PDF_Text_To_Hex(m, "\x80", 1, text, length, false); }},
  };
  for (const auto& conversion : conversions) {
    SCOPED_TRACE(conversion.label);
    uint64_t failures = 0;
    for (uint64_t fail = 1;; ++fail) {
      allocator.fail_at = allocator.requests + fail;
      char dummy = 0;
      char* text = &dummy;
      uint64_t length = 5;
      PDF_Result result = conversion.convert(memory, &text, &length);
      allocator.fail_at = 0;
      if (result == PDF_RESULT_OK) {
        EXPECT_NE(text, nullptr);
        PDF_Memory_Free(memory, &text);
        break;
      }
      EXPECT_EQ(result, PDF_RESULT_OUT_OF_MEMORY);
      EXPECT_EQ(text, nullptr);
      EXPECT_EQ(length, 0u);
      EXPECT_EQ(allocator.live, 1);
      failures += 1;
      ASSERT_LT(failures, 5u);
    }
    EXPECT_EQ(failures, 1u);  // one allocation a conversion
  }
}

// ------------------------------------------------------------- byte helpers

TEST(Text_Byte_Helper_Test, LengthCountsToTheFirstNul) {
  EXPECT_EQ(PDF_Text_Length("abc"), 3u);
  EXPECT_EQ(PDF_Text_Length(""), 0u);
  EXPECT_EQ(PDF_Text_Length("ab\0cd"), 2u);
  EXPECT_EQ(PDF_Text_Length(nullptr), 0u);
}

TEST(Text_Byte_Helper_Test, BytesDifferIsAFlag) {
  const char a[] = "abcdef";
  const char b[] = "abcdeX";
  const char c[] = "Xbcdef";
  const char d[] = "zzzzzz";
  EXPECT_EQ(PDF_Bytes_Differ(a, "abcdef", 6), 0);
  EXPECT_EQ(PDF_Bytes_Differ(a, b, 6), 1);
  EXPECT_EQ(PDF_Bytes_Differ(a, c, 6), 1);
  EXPECT_EQ(PDF_Bytes_Differ(c, a, 6), 1);  // no order
  EXPECT_EQ(PDF_Bytes_Differ(a, b, 5), 0);
  EXPECT_EQ(PDF_Bytes_Differ(a, d, 0), 0);
  EXPECT_EQ(PDF_Bytes_Differ(nullptr, nullptr, 0), 0);
  EXPECT_EQ(PDF_Bytes_Differ(a, nullptr, 1), 1);
}

}  // namespace
