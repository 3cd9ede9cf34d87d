// RC4 and the per-object key written apart from the library, so that tests of
// decryption compare against values that the code under test didn't make,
// and a way to put a read key record on a file by hand.
#ifndef INVOICE_EXTRACT_TEST_CIPHER_H
#define INVOICE_EXTRACT_TEST_CIPHER_H

#include <cstdint>
#include <string>

#include "reader/pdf_file.h"

// RC4 of data under key (1 to 256 bytes).
std::string Test_RC4(const std::string& key, const std::string& data);
// MD5 of the bytes, hashed by Nettle called directly.
std::string Test_MD5(const std::string& bytes);
// The RC4 key of one object: MD5 over the file key, three bytes of the
// number and two of the generation, low byte first, cut to 5 more bytes than
// the file key and at most 16.
std::string Test_Object_Key(const std::string& file_key, uint32_t number, uint32_t generation);
// RC4 under the object's key: enciphers and deciphers alike.
std::string Test_Encipher(const std::string& file_key, uint32_t number, uint32_t generation, const std::string& data);
// Installs a read key record holding the bytes (at most 255) on the file,
// allocated from the file's memory so that the file releases it.
void Test_Install_Key(PDF_File* file, const std::string& key);
// The bytes as a hexadecimal string body, each digit followed by a space.
std::string Test_Spaced_Hex(const std::string& bytes);
// The bytes as a literal string body, each byte as a three-digit octal escape.
std::string Test_Octal_Literal(const std::string& bytes);

#endif
