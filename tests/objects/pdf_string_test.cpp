// Strings and names: storage rules, in-place decoders, the name-tree
// comparison, escaping and the decryption hook.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "objects/pdf_name.h"
#include "objects/pdf_string.h"
#include "support/test_objects.h"

namespace {

const uint8_t* U(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

std::string Content(const PDF_String* string) {
  return string->bytes == nullptr ? std::string() : std::string(reinterpret_cast<char*>(string->bytes), string->length);
}

struct Decode_Case {
  std::string raw;
  std::string decoded;
};

TEST(String_Decode_Literal, EscapesLineEndsAndOctal) {
  const Decode_Case cases[] = {
      {"abc", "abc"},
      {"a\\(b\\)c\\\\", "a(b)c\\"},
      {"\\b\\f\\n\\r\\t", "\b\f\n\r\t"},
      {"a\\\nb", "ab"},
      {"a\\\r\nb", "ab"},
      {"a\\\rb", "ab"},
      {"\\101\\60\\7x", "A0\ax"},
      {"\\1011", "A1"},               // at most three digits
      {"\\777", "\xff"},              // cut to 8 bits
      {"\\400", std::string(1, '\0')},
      {"a\\qb", "ab"},                // an unknown escape drops both bytes
      {"a\\", "a"},                   // a trailing backslash ends the walk
      {"a\rb", "a\nb"},
      {"a\r\nb", "a\nb"},
      {"a\n\rb", "a\n\nb"},
      {"", ""},
  };
  for (const auto& c : cases) {
    std::string buffer = c.raw + '#';
    uint64_t counted = 99;
    ASSERT_EQ(PDF_String_Decode_Literal(reinterpret_cast<uint8_t*>(&buffer[0]), c.raw.size(), &counted, true), 0);
    EXPECT_EQ(buffer, c.raw + '#') << "count-only writes nothing";
    uint64_t length = 99;
    ASSERT_EQ(PDF_String_Decode_Literal(reinterpret_cast<uint8_t*>(&buffer[0]), c.raw.size(), &length, false), 0);
    EXPECT_EQ(length, counted);
    EXPECT_EQ(buffer.substr(0, length), c.decoded) << c.raw;
  }
  uint64_t length = 0;
  EXPECT_EQ(PDF_String_Decode_Literal(nullptr, 3, &length, false), -500);
}

TEST(String_Decode_Hex, PairsSpacesAndOddDigits) {
  const Decode_Case cases[] = {
      {"41", "A"},
      {"4 1", "A"},
      {" 4\n1 42 ", "AB"},
      {"414", "A@"},  // the missing digit counts as 0
      {"6a6B", "jk"},
      {"", ""},
      {"4G", std::string(1, '\x04')},  // strtol stops at the first non-digit
  };
  for (const auto& c : cases) {
    std::string buffer = c.raw + '#';
    uint64_t length = 99;
    ASSERT_EQ(PDF_String_Decode_Hex(reinterpret_cast<uint8_t*>(&buffer[0]), c.raw.size(), &length, false), 0);
    EXPECT_EQ(buffer.substr(0, length), c.decoded) << c.raw;
    EXPECT_EQ(buffer[length], '\0') << "terminated";
  }
  uint64_t length = 0;
  // Count-only doesn't look at the bytes.
  EXPECT_EQ(PDF_String_Decode_Hex(nullptr, 5, &length, true), 0);
  EXPECT_EQ(length, 3u);
}

using String_Ops = Objects_Fixture;

TEST_F(String_Ops, CompareDecodesOnTheFlyWithTheShortOctalRule) {
  struct {
    const char* raw;
    std::string plain;
    int32_t expected;
  } cases[] = {
      {"abc", "abc", 0},
      {"abc", "abd", -1},     // caller's byte larger
      {"abd", "abc", 1},      // caller's byte smaller
      {"abc", "ab", 1},       // raw text remains
      {"ab", "abc", -1},      // raw text used up
      {"a\\(b", "a(b", 0},
      {"\\n\\t", "\n\t", 0},
      {"\\q", "q", 0},        // another escaped byte means itself
      {"\\101", "A", -1},     // not "A" but 1: one digit alone, the second is passed over
      {"\\101", std::string("\x01") + "1", 0},  // ... and the third stands for itself
      {"\\5", "\x05", 0},
      {"a\\\nb", "axb", 0},   // a line continuation uses up one plain byte
      {"a\\", "ab", -1},      // a backslash at the very end
      {"\xff", "\x01", 1},    // unsigned comparison
  };
  for (const auto& c : cases) {
    PDF_String* string = nullptr;
    ASSERT_EQ(PDF_String_Create(&string, file, U(c.raw), 1, strlen(c.raw), false), 0);
    EXPECT_EQ(PDF_String_Compare(string, U(c.plain.data()), 1, c.plain.size()), c.expected) << c.raw;
    EXPECT_EQ(PDF_String_Compare(string, U(c.plain.data()), 2, c.plain.size()), 2) << "kind must match";
    PDF_String_Delete(&string, file);
  }
  EXPECT_EQ(PDF_String_Compare(nullptr, U("a"), 1, 1), 2);
}

TEST_F(String_Ops, EscapeWritesEightBytesInLiteralForm) {
  const std::string plain = std::string("a\n\r\b\t\f()\\z") + '\0' + "\x80";
  uint8_t* escaped = nullptr;
  uint64_t length = 0;
  ASSERT_EQ(PDF_String_Escape(&memory, U(plain.data()), plain.size(), &escaped, &length), 0);
  const std::string expected = std::string("a\\n\\r\\b\\t\\f\\(\\)\\\\z") + '\0' + "\x80";
  EXPECT_EQ(std::string(reinterpret_cast<char*>(escaped), length), expected);
  EXPECT_EQ(escaped[length], 0);
  PDF_Memory_Free(&memory, &escaped);
  EXPECT_EQ(PDF_String_Escape(&memory, nullptr, 0, &escaped, &length), -500);
}

TEST_F(String_Ops, SetKeepsALargeEnoughBlockAndAppendGrowsExactly) {
  PDF_String* string = nullptr;
  ASSERT_EQ(PDF_String_Create(&string, file, U("hello world"), 1, 11, false), 0);
  uint8_t* block = string->bytes;
  EXPECT_EQ(string->capacity, 12u);
  ASSERT_EQ(PDF_String_Set(string, file, U("hi"), 2, 2, false), 0);
  EXPECT_EQ(string->bytes, block) << "a shorter text keeps the block";
  EXPECT_EQ(string->capacity, 12u);
  EXPECT_EQ(Content(string), "hi");
  EXPECT_EQ(string->kind, 2u);
  ASSERT_EQ(PDF_String_Append(string, file, U("0123456789"), 10), 0);
  EXPECT_EQ(Content(string), "hi0123456789");
  EXPECT_EQ(string->capacity, 13u) << "no growth factor";
  EXPECT_EQ(PDF_String_Append(string, file, nullptr, 3), -11);
  EXPECT_EQ(PDF_String_Append(string, file, nullptr, 0), 0);
  ASSERT_EQ(PDF_String_Set(string, file, nullptr, 1, 0, false), 0);
  EXPECT_EQ(string->length, 0u);
  EXPECT_EQ(string->bytes[0], 0);
  ASSERT_EQ(PDF_String_Set(string, file, U("(x)"), 1, 3, true), 0);
  EXPECT_EQ(Content(string), "\\(x\\)");
  EXPECT_EQ(string->capacity, 6u);
  PDF_String_Delete(&string, file);
  EXPECT_EQ(string, nullptr);
}

TEST_F(String_Ops, EqualsIsADifferenceFlag) {
  PDF_String* string = nullptr;
  ASSERT_EQ(PDF_String_Create(&string, file, U("abc"), 1, 3, false), 0);
  EXPECT_FALSE(PDF_String_Equals(string, U("abc"), 1, 3));
  EXPECT_TRUE(PDF_String_Equals(string, U("abd"), 1, 3));
  EXPECT_TRUE(PDF_String_Equals(string, U("abc"), 2, 3));
  EXPECT_TRUE(PDF_String_Equals(string, U("ab"), 1, 2));
  EXPECT_TRUE(PDF_String_Equals(string, nullptr, 1, 3));
  EXPECT_TRUE(PDF_String_Equals(nullptr, U("abc"), 1, 3));
  PDF_String_Delete(&string, file);
}

TEST_F(String_Ops, NamesCreateCompareAndGetText) {
  PDF_Name* name = nullptr;
  for (const char* bad : {"a b", "a/b", "a%", "(", ")", "<", ">", "[", "]", "{", "}", "a\tb", "a\nb", "\r", "\f"}) {
    EXPECT_EQ(PDF_Name_Create(&name, file, bad), -14) << bad;
    EXPECT_EQ(name, nullptr);
  }
  ASSERT_EQ(PDF_Name_Create(&name, file, "Type"), 0);
  EXPECT_FALSE(PDF_Name_Compare(name, "Type"));
  EXPECT_TRUE(PDF_Name_Compare(name, "T#79pe"));
  EXPECT_TRUE(PDF_Name_Compare(name, "Typ"));
  EXPECT_TRUE(PDF_Name_Compare(name, nullptr));
  EXPECT_STREQ(PDF_Name_Get_Text(name), "Type");
  PDF_Name_Delete(&name, file);

  ASSERT_EQ(PDF_Name_Create(&name, file, ""), 0);
  EXPECT_EQ(PDF_Name_Get_Text(name), nullptr) << "an empty name stores no bytes";
  EXPECT_FALSE(PDF_Name_Compare(name, nullptr)) << "an empty name equals null";
  PDF_Name_Delete(&name, file);
  EXPECT_TRUE(PDF_Name_Compare(nullptr, "x")) << "a null name differs from every text";
  EXPECT_EQ(PDF_Name_Get_Text(nullptr), nullptr);
}

TEST_F(String_Ops, WrittenLengthCountsDelimiters) {
  PDF_String* string = nullptr;
  ASSERT_EQ(PDF_String_Create(&string, file, U("abc"), 1, 3, false), 0);
  EXPECT_EQ(PDF_String_Get_Written_Length(string, nullptr, nullptr), 5u);
  string->kind = 0;
  EXPECT_EQ(PDF_String_Get_Written_Length(string, nullptr, nullptr), 3u);
  EXPECT_EQ(PDF_String_Get_Written_Length(nullptr, nullptr, nullptr), 0u);
  PDF_String_Delete(&string, file);
}

TEST_F(String_Ops, DecryptDecodesIntoLiteralFormOnce) {
  struct {
    const char* raw;
    uint32_t kind;
    std::string content;
  } cases[] = {
      {"4 1", 2, "A"},
      {"28 29 5c", 2, "\\(\\)\\\\"},
      {"0a", 2, "\\n"},
      {"a\\101\\)", 1, "aA\\)"},
      {"x\\\ny", 1, "xy"},
      {"", 2, ""},
  };
  for (const auto& c : cases) {
    PDF_String* string = nullptr;
    ASSERT_EQ(PDF_String_Create(&string, file, U(c.raw), c.kind, strlen(c.raw), false), 0);
    ASSERT_EQ(PDF_String_Decrypt(string, file, nullptr), 0) << c.raw;
    EXPECT_EQ(Content(string), c.content) << c.raw;
    EXPECT_EQ(string->kind, c.content.empty() ? c.kind : 1u) << "stored in the literal form";
    EXPECT_EQ(string->decrypted, 1);
    // A second walk is harmless.
    std::string before = Content(string);
    ASSERT_EQ(PDF_String_Decrypt(string, file, nullptr), 0);
    EXPECT_EQ(Content(string), before);
    PDF_String_Delete(&string, file);
  }
  PDF_String* name = nullptr;
  ASSERT_EQ(PDF_String_Create(&name, file, U("N"), 0, 1, false), 0);
  EXPECT_EQ(PDF_String_Decrypt(name, file, nullptr), -500) << "kind 0 can't be decrypted";
  PDF_String_Delete(&name, file);
}

TEST_F(String_Ops, CopyKeepsKindAndRawBytes) {
  PDF_String* string = nullptr;
  ASSERT_EQ(PDF_String_Create(&string, file, U("a\\)"), 2, 3, false), 0);
  string->decrypted = 1;
  PDF_String* copy = nullptr;
  ASSERT_EQ(PDF_String_Copy(&copy, file, string, 0), 0);
  EXPECT_NE(copy->bytes, string->bytes);
  EXPECT_EQ(Content(copy), "a\\)");
  EXPECT_EQ(copy->kind, 2u);
  PDF_String_Delete(&copy, file);
  PDF_String_Delete(&string, file);
}

}  // namespace
