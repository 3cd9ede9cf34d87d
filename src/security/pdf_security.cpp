#include "security/pdf_security.h"

// The file key is never derived yet, so there is nothing to run the cipher
// with: both entries leave the bytes as they are and report success.
PDF_Result PDF_Security_Decrypt_Bytes(PDF_File*, PDF_Object*, uint8_t*, uint64_t) { return PDF_RESULT_OK; }

PDF_Result PDF_Security_Encrypt_Bytes(void*, PDF_Object*, uint8_t*, uint64_t) { return PDF_RESULT_OK; }
