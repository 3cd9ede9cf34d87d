#include "objects/pdf_object_security.h"

#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "security/pdf_security.h"

PDF_Result PDF_Security_Crypt(const uint8_t* key, uint8_t key_length, PDF_Object* object, uint8_t* data,
                              uint64_t length) {
  if (key == nullptr || object == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  // The number and generation are the object's own, never the table's.
  uint32_t number = static_cast<uint32_t>(PDF_Object_Get_Number(object));
  uint32_t generation = static_cast<uint32_t>(PDF_Object_Get_Generation(object));
  return PDF_Security_Crypt_Data(key, key_length, number, generation, data, length);
}

PDF_Result PDF_Security_Decrypt_Bytes(PDF_File* file, PDF_Object* object, uint8_t* data, uint64_t length) {
  // Kept: the no-key state fails here, at the first string or stream of an
  // object loaded anyway, and not earlier; the operations that read content
  // test that state themselves and give -240 before any lookup.
  if (file == nullptr || file->key == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Security_Crypt(file->key->bytes, file->key->length, object, data, length);
}

PDF_Result PDF_Security_Encrypt_Bytes(const PDF_Write_Key* write_key, PDF_Object* object, uint8_t* data,
                                      uint64_t length) {
  if (write_key == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_Security_Crypt(write_key->bytes, write_key->length, object, data, length);
}
