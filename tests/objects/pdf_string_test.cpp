// Strings and names: storage rules, in-place decoders, the name-tree
// comparison, escaping and the decryption hook.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "objects/pdf_name.h"
#include "objects/pdf_object.h"
#include "objects/pdf_string.h"
#include "support/test_cipher.h"
#include "support/test_objects.h"

namespace {

const uint8_t* U(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

std::string Content(const PDF_String* string) {
  return string->bytes == nullptr ? std::string() : std::string(reinterpret_cast<char*>(string->bytes), string->length);
}

TEST(String_Decode, LiteralEscapesLineEndsAndOctal) {
  const std::pair<std::string, std::string> cases[] = {
      {"a\\(b\\)c\\\\", "a(b)c\\"},
      {"\\b\\f\\n\\r\\t", "\b\f\n\r\t"},
      {"a\\\nb", "ab"},
      {"a\\\r\nb", "ab"},
      {"a\\\rb", "ab"},
      {"\\101\\60\\7x", "A0\ax"},
      {"\\1011", "A1"},  // at most three digits
      {"\\777", "\xff"},
      {"\\400", std::string(1, '\0')},  // cut to 8 bits
      {"a\\qb", "ab"},                  // an unknown escape drops both bytes
      {"a\\", "a"},                     // a trailing backslash ends the walk
      {"a\r\nb", "a\nb"},
      {"a\n\rb", "a\n\nb"},
      {"", ""},
  };
  for (const auto& c : cases) {
    std::string buffer = c.first + '#';
    uint64_t counted = 99;
    ASSERT_EQ(PDF_String_Decode_Literal(reinterpret_cast<uint8_t*>(&buffer[0]), c.first.size(), &counted, true), 0);
    EXPECT_EQ(buffer, c.first + '#') << "count-only writes nothing";
    uint64_t length = 99;
    ASSERT_EQ(PDF_String_Decode_Literal(reinterpret_cast<uint8_t*>(&buffer[0]), c.first.size(), &length, false), 0);
    EXPECT_EQ(length, counted);
    EXPECT_EQ(buffer.substr(0, length), c.second) << c.first;
  }
}

TEST(String_Decode, HexPairsSpacesAndOddDigits) {
  const std::pair<std::string, std::string> cases[] = {
      {"4 1", "A"},
      {" 4\n1 42 ", "AB"},
      {"6a6B", "jk"},
      {"", ""},
      {"414", "A@"},                   // the missing digit counts as 0
      {"4G", std::string(1, '\x04')},  // strtol stops at the first non-digit
  };
  for (const auto& c : cases) {
    std::string buffer = c.first + '#';
    uint64_t length = 99;
    ASSERT_EQ(PDF_String_Decode_Hex(reinterpret_cast<uint8_t*>(&buffer[0]), c.first.size(), &length, false), 0);
    EXPECT_EQ(buffer.substr(0, length), c.second) << c.first;
    EXPECT_EQ(buffer[length], '\0') << "terminated";
  }
  uint64_t length = 0;
  EXPECT_EQ(PDF_String_Decode_Hex(nullptr, 5, &length, true), 0) << "count-only doesn't look at the bytes";
  EXPECT_EQ(length, 3u);
}

class String_Ops : public Objects_Fixture {
 protected:
  PDF_String* Make(const char* raw, uint32_t kind = 1) {
    PDF_String* string = nullptr;
    EXPECT_EQ(PDF_String_Create(&string, file, U(raw), kind, strlen(raw), false), 0) << raw;
    return string;
  }
};

TEST_F(String_Ops, CompareDecodesOnTheFlyWithTheShortOctalRule) {
  const struct {
    const char* raw;
    std::string plain;
    int32_t expected;
  } cases[] = {
      {"abc", "abc", 0},
      {"abc", "abd", -1},
      {"abd", "abc", 1},
      {"abc", "ab", 1},
      {"ab", "abc", -1},
      {"a\\(b", "a(b", 0},
      {"\\n\\t", "\n\t", 0},
      {"\\q", "q", 0},                          // another escaped byte means itself
      {"\\101", "A", -1},                       // not "A" but 1: one digit alone, the second is passed over
      {"\\101", std::string("\x01") + "1", 0},  // ... and the third stands for itself
      {"a\\\nb", "axb", 0},                     // a line continuation uses up one plain byte
      {"a\\", "ab", -1},                        // a backslash at the very end
      {"\xff", "\x01", 1},                      // unsigned comparison
  };
  for (const auto& c : cases) {
    PDF_String* string = Make(c.raw);
    EXPECT_EQ(PDF_String_Compare(string, U(c.plain.data()), 1, c.plain.size()), c.expected) << c.raw;
    EXPECT_EQ(PDF_String_Compare(string, U(c.plain.data()), 2, c.plain.size()), 2) << "kind must match";
    PDF_String_Delete(&string, file);
  }
}

TEST_F(String_Ops, EqualsIsADifferenceFlagAndWrittenLengthCountsDelimiters) {
  PDF_String* string = Make("abc");
  EXPECT_FALSE(PDF_String_Equals(string, U("abc"), 1, 3));
  EXPECT_TRUE(PDF_String_Equals(string, U("abd"), 1, 3));
  EXPECT_TRUE(PDF_String_Equals(string, U("abc"), 2, 3));
  EXPECT_TRUE(PDF_String_Equals(string, U("ab"), 1, 2));
  EXPECT_EQ(PDF_String_Get_Written_Length(string, nullptr, nullptr), 5u);
  string->kind = 0;
  EXPECT_EQ(PDF_String_Get_Written_Length(string, nullptr, nullptr), 3u);
  PDF_String_Delete(&string, file);
}

TEST_F(String_Ops, EscapeWritesEightBytesInLiteralForm) {
  const std::string plain = std::string("a\n\r\b\t\f()\\z") + '\0' + "\x80";
  uint8_t* escaped = nullptr;
  uint64_t length = 0;
  ASSERT_EQ(PDF_String_Escape(memory, U(plain.data()), plain.size(), &escaped, &length), 0);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(escaped), length + 1),
            std::string("a\\n\\r\\b\\t\\f\\(\\)\\\\z") + '\0' + "\x80" + '\0');
  PDF_Memory_Free(memory, &escaped);
}

TEST_F(String_Ops, SetKeepsALargeEnoughBlockAndAppendGrowsExactly) {
  PDF_String* string = Make("hello world");
  uint8_t* block = string->bytes;
  EXPECT_EQ(string->capacity, 12u);
  ASSERT_EQ(PDF_String_Set(string, file, U("hi"), 2, 2, false), 0);
  EXPECT_EQ(string->bytes, block) << "a shorter text keeps the block";
  EXPECT_EQ(string->capacity, 12u);
  EXPECT_EQ(string->kind, 2u);
  ASSERT_EQ(PDF_String_Append(string, file, U("0123456789"), 10), 0);
  EXPECT_EQ(Content(string), "hi0123456789");
  EXPECT_EQ(string->capacity, 13u) << "no growth factor";
  EXPECT_EQ(PDF_String_Append(string, file, nullptr, 3), PDF_RESULT_MISSING_DATA);
  EXPECT_EQ(PDF_String_Append(string, file, nullptr, 0), 0);
  ASSERT_EQ(PDF_String_Set(string, file, nullptr, 1, 0, false), 0);
  EXPECT_EQ(string->bytes[0], 0);
  ASSERT_EQ(PDF_String_Set(string, file, U("(x)"), 1, 3, true), 0);
  EXPECT_EQ(Content(string), "\\(x\\)");
  EXPECT_EQ(string->capacity, 6u);
  // A copy keeps the kind and the raw bytes, in a block of its own.
  PDF_String* copy = nullptr;
  ASSERT_EQ(PDF_String_Copy(&copy, file, string, 0), 0);
  EXPECT_NE(copy->bytes, string->bytes);
  EXPECT_EQ(Content(copy), "\\(x\\)");
  PDF_String_Delete(&copy, file);
  PDF_String_Delete(&string, file);
  EXPECT_EQ(string, nullptr);
}

TEST_F(String_Ops, NamesCreateCompareAndGetText) {
  PDF_Name* name = nullptr;
  for (const char* bad : {"a b", "a/b", "a%", "(", ")", "<", ">", "[", "]", "{", "}", "a\tb", "a\nb", "\r", "\f"}) {
    EXPECT_EQ(PDF_Name_Create(&name, file, bad), PDF_RESULT_BAD_NAME_TEXT) << bad;
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
}

TEST_F(String_Ops, DecryptDecodesIntoLiteralFormOnce) {
  // The file wrote the ciphertext of `plain` in hexadecimal with spaces
  // between the digits, or in literal form as octal escapes (with a line
  // continuation in the middle); decryption leaves the plain bytes in the
  // literal form.
  const std::string key = "\x01\x23\x45\x67\x89";
  PDF_Object* container = nullptr;
  ASSERT_EQ(PDF_Object_Create(&container, file, nullptr, 7, 2, 0), 0);
  Test_Install_Key(file, key);
  const struct {
    std::string plain;
    uint32_t kind;
    std::string content;
  } cases[] = {
      {"A", 2, "A"}, {"()\\", 2, "\\(\\)\\\\"}, {"\n", 2, "\\n"}, {"aA)", 1, "aA\\)"}, {"xy", 1, "xy"}, {"", 2, ""},
  };
  for (const auto& c : cases) {
    const std::string cipher = Test_Encipher(key, 7, 2, c.plain);
    std::string raw = c.kind == 2 ? Test_Spaced_Hex(cipher) : Test_Octal_Literal(cipher);
    if (c.kind == 1) raw.insert(raw.size() / 2 / 4 * 4, "\\\n");
    PDF_String* string = Make(raw.c_str(), c.kind);
    for (int pass = 0; pass < 2; ++pass) {  // a second walk is harmless
      ASSERT_EQ(PDF_String_Decrypt(string, file, container), 0) << c.plain;
      EXPECT_EQ(Content(string), c.content) << c.plain;
    }
    EXPECT_EQ(string->kind, c.content.empty() ? c.kind : 1u) << "stored in the literal form";
    EXPECT_EQ(string->decrypted, 1);
    PDF_String_Delete(&string, file);
  }
  PDF_String* name = Make("N", 0);
  EXPECT_EQ(PDF_String_Decrypt(name, file, container), PDF_RESULT_INVALID_ARGUMENT) << "kind 0 can't be decrypted";
  PDF_String_Delete(&name, file);
  EXPECT_EQ(PDF_Object_Delete(&container, file, PDF_DELETE_MODE_RELEASE), 0);
}

TEST_F(String_Ops, NullArguments) {
  uint64_t length = 0;
  uint8_t* escaped = nullptr;
  EXPECT_EQ(PDF_String_Decode_Literal(nullptr, 3, &length, false), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_String_Escape(memory, nullptr, 0, &escaped, &length), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_String_Compare(nullptr, U("a"), 1, 1), 2);
  EXPECT_TRUE(PDF_String_Equals(nullptr, U("abc"), 1, 3));
  EXPECT_EQ(PDF_String_Get_Written_Length(nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(PDF_Name_Get_Text(nullptr), nullptr);
}

}  // namespace
