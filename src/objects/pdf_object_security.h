// The per-object cipher applied to the objects of a file: the number and
// generation come from the object, the key from the file's read key record or
// from a write key record.
#ifndef INVOICE_EXTRACT_PDF_OBJECT_SECURITY_H
#define INVOICE_EXTRACT_PDF_OBJECT_SECURITY_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Object;
struct PDF_Write_Key;

// PDF_Security_Crypt_Data with the object's own number and generation (never
// the table's). -500 for a null object, and for whatever the cipher refuses.
PDF_Result PDF_Security_Crypt(const uint8_t* key, uint8_t key_length, PDF_Object* object, uint8_t* data,
                              uint64_t length);
// PDF_Security_Crypt with the file's read key record; -500 for a null file and
// for a file without a key record.
PDF_Result PDF_Security_Decrypt_Bytes(PDF_File* file, PDF_Object* object, uint8_t* data, uint64_t length);
// PDF_Security_Crypt with a write key record; -500 for a null record.
PDF_Result PDF_Security_Encrypt_Bytes(const PDF_Write_Key* write_key, PDF_Object* object, uint8_t* data,
                                      uint64_t length);

#endif
