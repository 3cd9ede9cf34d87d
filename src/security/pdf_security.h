// The Standard security handler's per-object cipher: RC4, keyed for each
// object by MD5 over the file key and the object's number and generation.
// Only bytes and numbers here; objects/pdf_object_security.h applies it to
// the objects of a file.
//
// The library derives no file key of its own: a key record exists only where
// a caller installs one on the file (key for reading, write_security for
// writing). Without a record every decryption is refused.
#ifndef INVOICE_EXTRACT_PDF_SECURITY_H
#define INVOICE_EXTRACT_PDF_SECURITY_H

#include <cstdint>

#include "runtime/pdf_result.h"

// Room for as many key bytes as the 8-bit length can count.
enum : uint32_t { PDF_KEY_CAPACITY = 255 };

// The read side's key record, owned by the PDF_File that holds it.
struct PDF_Key {
  uint8_t length;                   // key bytes in use
  uint8_t reserved;                 // not read by the cipher
  uint8_t bytes[PDF_KEY_CAPACITY];  // the file key
};

// The write side's key record (PDF_File::write_security).
struct PDF_Write_Key {
  uint8_t length;
  uint8_t bytes[PDF_KEY_CAPACITY];
};

// Runs RC4 in place over data with the key of one object: MD5 over the
// key_length bytes of key, the low three bytes of number and the low two of
// generation, cut to key_length + 5 bytes and at most 16. The same call
// encrypts and decrypts. key must hold at least 16 bytes, and at least
// key_length. -500 for a null key, null data with a non-zero length, a length
// above 4294967295, or a key whose first 16 bytes are all zero; a length of 0
// is success without any key work.
PDF_Result PDF_Security_Crypt_Data(const uint8_t* key, uint8_t key_length, uint32_t number, uint32_t generation,
                                   uint8_t* data, uint64_t length);

#endif
