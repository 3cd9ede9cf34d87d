// Strings and names share one structure that keeps the file's bytes as they
// stand: a literal keeps its escapes, a hexadecimal string stays hex text, a
// name keeps any number-sign sequence. Decoding happens only at decryption
// and comparison.
#ifndef INVOICE_EXTRACT_PDF_STRING_H
#define INVOICE_EXTRACT_PDF_STRING_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "runtime/pdf_result.h"

struct PDF_Memory;

struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;

enum : uint32_t {
  PDF_STRING_KIND_NAME = 0,
  PDF_STRING_KIND_LITERAL = 1,
  PDF_STRING_KIND_HEX = 2,
};

struct PDF_String {
  PDF_Data_Object* owner;  // wrapping variant; owns nothing
  uint8_t* bytes;          // content with a NUL behind it; null when nothing was ever stored
  uint32_t kind;           // 0 name, 1 literal, 2 hexadecimal
  uint64_t capacity;       // size of the block at bytes, 0 if none
  uint64_t length;         // content length without the NUL
  uint8_t decrypted;       // set once PDF_String_Decrypt has run
};

PDF_Result PDF_String_Create(PDF_String** out_string, PDF_File* file, const uint8_t* bytes, uint32_t kind,
                             uint64_t length, bool escape);
PDF_Result PDF_String_Set(PDF_String* string, PDF_File* file, const uint8_t* bytes, uint32_t kind, uint64_t length,
                          bool escape);
PDF_Result PDF_String_Append(PDF_String* string, PDF_File* file, const uint8_t* bytes, uint64_t count);
PDF_Result PDF_String_Delete(PDF_String** holder, PDF_File* file);
// Copies kind and raw bytes, without escaping; copy mode ignored.
PDF_Result PDF_String_Copy(PDF_String** out_string, PDF_File* file, const PDF_String* source, int32_t copy_mode);
uint8_t* PDF_String_Get_Text(const PDF_String* string);
// Difference flag: false when equal, true when different.
bool PDF_String_Equals(const PDF_String* string, const uint8_t* bytes, uint32_t kind, uint64_t length);
// -1, 0 or 1 comparing the caller's plain bytes with the string's raw text
// decoded on the fly; 2 for an invalid call.
int32_t PDF_String_Compare(const PDF_String* string, const uint8_t* bytes, uint32_t kind, uint64_t length);

uint64_t PDF_String_Read(PDF_String** out_string, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
uint64_t PDF_String_Read_Literal(PDF_String* string, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
uint64_t PDF_String_Read_Hex(PDF_String* string, PDF_File* file, PDF_Read_Data* reader, uint64_t position);

// In-place decoders; with count_only they only compute the out length.
PDF_Result PDF_String_Decode_Literal(uint8_t* bytes, uint64_t length, uint64_t* out_length, bool count_only);
PDF_Result PDF_String_Decode_Hex(uint8_t* bytes, uint64_t length, uint64_t* out_length, bool count_only);
// New block holding the bytes in literal form (eight bytes escaped), NUL-terminated.
PDF_Result PDF_String_Escape(PDF_Memory* memory, const uint8_t* bytes, uint64_t length, uint8_t** out_bytes,
                             uint64_t* out_length);

PDF_Result PDF_String_Decrypt(PDF_String* string, PDF_File* file, PDF_Object* container);
PDF_Result PDF_String_Encrypt(PDF_String* string, PDF_Object* container, PDF_File* file);
uint64_t PDF_String_Get_Written_Length(PDF_String* string, PDF_File* file, PDF_Object* container);
PDF_Result PDF_String_Set_Owner(PDF_String* string, PDF_Data_Object* owner);

#endif
