// Strings: the name-tree comparison and decryption into the literal form.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "objects/pdf_object.h"
#include "objects/pdf_string.h"
#include "support/test_cipher.h"
#include "support/test_objects.h"

namespace {

const uint8_t* U(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

using String_Ops = Objects_Fixture;

TEST_F(String_Ops, CompareDecodesOnTheFlyWithTheShortOctalRule) {
  const struct {
    const char* raw;
    std::string plain;
    int32_t expected;
  } cases[] = {
      {"abc", "abd", -1},
      {"abd", "abc", 1},
      {"\\101", "A", -1},                       // not "A" but 1: one digit alone, the second is passed over
      {"\\101", std::string("\x01") + "1", 0},  // ... and the third stands for itself
      {"a\\\nb", "axb", 0},                     // a line continuation uses up one plain byte
  };
  for (const auto& c : cases) {
    PDF_String* string = nullptr;
    ASSERT_EQ(PDF_String_Create(&string, file, U(c.raw), 1, strlen(c.raw), false), 0);
    EXPECT_EQ(PDF_String_Compare(string, U(c.plain.data()), 1, c.plain.size()), c.expected) << c.raw;
    EXPECT_EQ(PDF_String_Compare(string, U(c.plain.data()), 2, c.plain.size()), 2) << "kind must match";
    PDF_String_Delete(&string, file);
  }
}

// Decryption leaves the plain bytes in the literal form. Run with every
// allocation failing in turn: the refused temporary block answers -500,
// with the bytes already deciphered.
TEST_F(String_Ops, DecryptionUnderAllocationFailure) {
  Test_Install_Key(file, "key-3");
  PDF_Object* container = nullptr;
  ASSERT_EQ(PDF_Object_Create(&container, file, nullptr, 3, 0, 0), 0);
  const std::string raw = Test_Octal_Literal(Test_Encipher("key-3", 3, 0, "aA(b)")) + "\\\n";
  bool temporary_refused = false;
  for (uint64_t n = 1;; ++n) {
    PDF_String* string = nullptr;
    ASSERT_EQ(PDF_String_Create(&string, file, U(raw.c_str()), 1, raw.size(), false), 0);
    Fail_Request(n);
    PDF_Result result = PDF_String_Decrypt(string, file, container);
    bool failed = Failure_Reached();
    Stop_Failing();
    if (failed) {
      EXPECT_TRUE(result == PDF_RESULT_INVALID_ARGUMENT || result == PDF_RESULT_OUT_OF_MEMORY) << result;
      temporary_refused |= result == PDF_RESULT_INVALID_ARGUMENT;
    } else {
      ASSERT_EQ(result, 0);
      EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), "aA\\(b\\)");
      EXPECT_EQ(PDF_String_Decrypt(string, file, container), 0) << "a second call is harmless";
      EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), "aA\\(b\\)");
    }
    PDF_String_Delete(&string, file);
    if (!failed) break;
  }
  EXPECT_TRUE(temporary_refused);
  EXPECT_EQ(PDF_Object_Delete(&container, file, PDF_DELETE_MODE_RELEASE), 0);
}

}  // namespace
