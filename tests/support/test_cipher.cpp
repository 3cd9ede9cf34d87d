#include "support/test_cipher.h"
#include "runtime/pdf_memory.h"

#include <nettle/arcfour.h>
#include <nettle/md5.h>

#include <cstring>

#include "security/pdf_security.h"

std::string Test_RC4(const std::string& key, const std::string& data) {
  struct arcfour_ctx context;
  arcfour_set_key(&context, key.size(), reinterpret_cast<const uint8_t*>(key.data()));
  std::string out(data.size(), '\0');
  arcfour_crypt(&context, data.size(), reinterpret_cast<uint8_t*>(&out[0]),
                reinterpret_cast<const uint8_t*>(data.data()));
  return out;
}

std::string Test_MD5(const std::string& bytes) {
  struct md5_ctx context;
  md5_init(&context);
  md5_update(&context, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
  uint8_t digest[MD5_DIGEST_SIZE];
  md5_digest(&context, sizeof(digest), digest);
  return std::string(reinterpret_cast<char*>(digest), sizeof(digest));
}

std::string Test_Object_Key(const std::string& file_key, uint32_t number, uint32_t generation) {
  std::string material = file_key;
  for (int shift : {0, 8, 16}) material += static_cast<char>((number >> shift) & 255);
  for (int shift : {0, 8}) material += static_cast<char>((generation >> shift) & 255);
  size_t size = file_key.size() + 5 < 16 ? file_key.size() + 5 : 16;
  return Test_MD5(material).substr(0, size);
}

std::string Test_Encipher(const std::string& file_key, uint32_t number, uint32_t generation, const std::string& data) {
  return Test_RC4(Test_Object_Key(file_key, number, generation), data);
}

void Test_Install_Key(PDF_File* file, const std::string& key) {
  PDF_Key* record = static_cast<PDF_Key*>(PDF_Memory_Alloc(file->memory, sizeof(PDF_Key)));
  if (record == nullptr) return;
  memset(record, 0, sizeof(PDF_Key));
  record->length = static_cast<uint8_t>(key.size());
  memcpy(record->bytes, key.data(), key.size() < sizeof(record->bytes) ? key.size() : sizeof(record->bytes));
  if (file->key != nullptr) PDF_Memory_Free(file->memory, &file->key);
  file->key = record;
}

std::string Test_Spaced_Hex(const std::string& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char b : bytes) out += std::string{kDigits[b >> 4], ' ', kDigits[b & 15], ' '};
  return out;
}

std::string Test_Octal_Literal(const std::string& bytes) {
  std::string out;
  for (unsigned char b : bytes) {
    out += std::string{'\\', static_cast<char>('0' + (b >> 6)), static_cast<char>('0' + ((b >> 3) & 7)),
                       static_cast<char>('0' + (b & 7))};
  }
  return out;
}
