#include "security/pdf_security.h"

#include <nettle/arcfour.h>
#include <nettle/md5.h>

#include <cstring>

// Bytes of the per-object key that RC4 takes at most.
static const size_t kMaxCipherKey = 16;

PDF_Result PDF_Security_Crypt_Data(const uint8_t* key, uint8_t key_length, uint32_t number, uint32_t generation,
                                   uint8_t* data, uint64_t length) {
  if (key == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (data == nullptr && length != 0) return PDF_RESULT_INVALID_ARGUMENT;
  // Kept: the cipher takes 32-bit lengths; a larger run is refused whole
  // rather than enciphered in parts with one key stream.
  if (length > 0xFFFFFFFFu) return PDF_RESULT_INVALID_ARGUMENT;
  if (length == 0) return PDF_RESULT_OK;
  // Kept: the test for an unset key looks at the first 16 bytes of the key
  // whatever its length, so a short key counts as set when a byte behind it
  // isn't zero, and a key is refused when its first 16 bytes are zero even
  // though a byte further on isn't.
  bool all_zero = true;
  for (size_t i = 0; i < kMaxCipherKey; ++i) {
    if (key[i] != 0) all_zero = false;
  }
  if (all_zero) return PDF_RESULT_INVALID_ARGUMENT;

  uint8_t material[PDF_KEY_CAPACITY + 5];
  memcpy(material, key, key_length);
  material[key_length] = static_cast<uint8_t>(number);
  material[key_length + 1] = static_cast<uint8_t>(number >> 8);
  material[key_length + 2] = static_cast<uint8_t>(number >> 16);
  material[key_length + 3] = static_cast<uint8_t>(generation);
  material[key_length + 4] = static_cast<uint8_t>(generation >> 8);

  uint8_t digest[MD5_DIGEST_SIZE];
  struct md5_ctx hash;
  md5_init(&hash);
  md5_update(&hash, static_cast<size_t>(key_length) + 5, material);
  md5_digest(&hash, sizeof(digest), digest);

  size_t cipher_key_length = static_cast<size_t>(key_length) + 5;
  if (cipher_key_length > kMaxCipherKey) cipher_key_length = kMaxCipherKey;
  struct arcfour_ctx cipher;
  arcfour_set_key(&cipher, cipher_key_length, digest);
  arcfour_crypt(&cipher, static_cast<size_t>(length), data, data);
  return PDF_RESULT_OK;
}
