// The per-object cipher: a known answer, its refusals, and strings
// enciphered with the write record, checked against an RC4 and key
// derivation written in the tests.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "objects/pdf_object.h"
#include "objects/pdf_object_security.h"
#include "objects/pdf_string.h"
#include "security/pdf_security.h"
#include "support/test_cipher.h"
#include "support/test_objects.h"

namespace {

std::string From_Hex(const std::string& hex) {
  std::string out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return out;
}

uint8_t* Bytes(std::string* text) { return reinterpret_cast<uint8_t*>(&(*text)[0]); }

class Security : public Objects_Fixture {
 protected:
  PDF_Object* Object(uint64_t number, uint64_t generation) {
    PDF_Object* object = nullptr;
    EXPECT_EQ(PDF_Object_Create(&object, file, nullptr, number, generation, 0), 0);
    made.push_back(object);
    return object;
  }
  void TearDown() override {
    for (PDF_Object*& object : made) EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
    Objects_Fixture::TearDown();
  }
  std::vector<PDF_Object*> made;
};

TEST_F(Security, KnownAnswerWithoutAnyHashOfOurOwn) {
  // The file key "message d" with number 'i' 'g' 'e' and generation 's' 't'
  // (low byte first) makes the MD5 input "message digest", whose digest is
  // published; the RC4 key is its first 9 + 5 bytes.
  uint8_t key[16] = {'m', 'e', 's', 's', 'a', 'g', 'e', ' ', 'd'};
  PDF_Object* object = Object(0x656769, 0x7473);
  // The comparisons here and below rest on the test's own RC4 and MD5.
  ASSERT_EQ(Test_RC4("Secret", "Attack at dawn"), From_Hex("45a01f645fc35b383552544b9bf5"));
  ASSERT_EQ(Test_MD5("message digest"), From_Hex("f96b697d7cb7938d525a2f31aaf161d0"));
  const std::string rc4_key = From_Hex("f96b697d7cb7938d525a2f31aaf1");
  std::string data = "Attack at dawn";
  ASSERT_EQ(PDF_Security_Crypt(key, 9, object, Bytes(&data), data.size()), 0);
  EXPECT_EQ(data, Test_RC4(rc4_key, "Attack at dawn"));
  ASSERT_EQ(PDF_Security_Crypt(key, 9, object, Bytes(&data), data.size()), 0);
  EXPECT_EQ(data, "Attack at dawn") << "the same call deciphers";
}

TEST_F(Security, CryptRefusalsLeaveTheDataAlone) {
  uint8_t key[32] = {'k', 'e', 'y'};
  uint8_t zero[32] = {};
  uint8_t short_zero[32] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7};  // set only behind a 5-byte key
  uint8_t late[32] = {};
  late[16] = 1;  // set only behind the first 16 bytes
  PDF_Object* object = Object(4, 0);
  const struct {
    const char* name;
    const uint8_t* key;
    uint8_t key_length;
    bool with_object;
    bool with_data;
    uint64_t length;
    PDF_Result result;
  } cases[] = {
      {"null key", nullptr, 3, true, true, 3, PDF_RESULT_INVALID_ARGUMENT},
      {"null object", key, 3, false, true, 3, PDF_RESULT_INVALID_ARGUMENT},
      {"null data", key, 3, true, false, 3, PDF_RESULT_INVALID_ARGUMENT},
      {"null data, length 0", key, 3, true, false, 0, PDF_RESULT_OK},
      {"more than 32 bits of length", key, 3, true, true, 0x100000000ull, PDF_RESULT_INVALID_ARGUMENT},
      {"all-zero key", zero, 5, true, true, 3, PDF_RESULT_INVALID_ARGUMENT},
      {"all-zero key, length 0", zero, 5, true, true, 0, PDF_RESULT_OK},
      {"zero 5-byte key with a set byte behind it", short_zero, 5, true, true, 3, PDF_RESULT_OK},
      {"set byte only after the first 16", late, 20, true, true, 3, PDF_RESULT_INVALID_ARGUMENT},
  };
  for (const auto& c : cases) {
    std::string data = "abc";
    PDF_Result result = PDF_Security_Crypt(c.key, c.key_length, c.with_object ? object : nullptr,
                                           c.with_data ? Bytes(&data) : nullptr, c.length);
    EXPECT_EQ(result, c.result) << c.name;
    if (result != PDF_RESULT_OK || c.length == 0) {
      EXPECT_EQ(data, "abc") << c.name;
    } else {
      EXPECT_EQ(data, Test_Encipher(std::string(reinterpret_cast<const char*>(c.key), c.key_length), 4, 0, "abc"))
          << c.name;
    }
  }
}

TEST_F(Security, StringsEncryptWithTheWriteRecord) {
  PDF_Object* object = Object(3, 0);
  PDF_Write_Key* write_key = static_cast<PDF_Write_Key*>(PDF_Memory_Alloc(memory, sizeof(PDF_Write_Key)));
  ASSERT_NE(write_key, nullptr);
  memset(write_key, 0, sizeof(PDF_Write_Key));
  write_key->length = 5;
  memcpy(write_key->bytes, "write", 5);
  file->write_security = write_key;  // released with the file
  Test_Install_Key(file, "write");   // the same key on the read side

  PDF_String* string = nullptr;
  ASSERT_EQ(PDF_String_Create(&string, file, reinterpret_cast<const uint8_t*>("a\\(b"), 1, 4, false), 0);
  ASSERT_EQ(PDF_String_Encrypt(string, object, file), 0);
  EXPECT_EQ(string->kind, 1u);
  EXPECT_EQ(string->decrypted, 0) << "encryption doesn't consult or set the flag";
  const uint64_t enciphered_length = string->length;
  ASSERT_EQ(PDF_String_Decrypt(string, file, object), 0);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), "a\\(b");

  // Measuring enciphers, measures and enciphers back; not for the Encrypt
  // dictionary's own object.
  EXPECT_EQ(PDF_String_Get_Written_Length(string, file, object), enciphered_length + 2);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), "a\\(b");
  ASSERT_EQ(PDF_Object_Set_Type(object, PDF_Object_Type_Encrypt), 0);
  EXPECT_EQ(PDF_String_Get_Written_Length(string, file, object), 6u);
  PDF_String_Delete(&string, file);
}

}  // namespace
