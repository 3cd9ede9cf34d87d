// Per-object encryption of byte runs for the security handler.
#ifndef INVOICE_EXTRACT_PDF_SECURITY_H
#define INVOICE_EXTRACT_PDF_SECURITY_H

#include <cstdint>

#include "document/pdf_file.h"
#include "runtime/pdf_result.h"

struct PDF_Object;

// Decrypts data in place with the file's key, keyed by the object's number
// and generation.
PDF_Result PDF_Security_Decrypt_Bytes(PDF_File* file, PDF_Object* object, uint8_t* data, uint64_t length);
// Encrypts data in place with the writing side's key.
PDF_Result PDF_Security_Encrypt_Bytes(void* write_key, PDF_Object* object, uint8_t* data, uint64_t length);

#endif
