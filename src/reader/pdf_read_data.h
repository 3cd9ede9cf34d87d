// Positional reader: the only door through which the library sees input. It
// keeps no cursor and no buffer; every operation takes an absolute position and
// token operations return how many bytes they used (0: nothing there).
#ifndef INVOICE_EXTRACT_PDF_READ_DATA_H
#define INVOICE_EXTRACT_PDF_READ_DATA_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Memory;
struct PDF_Message;

// Returns the number of bytes delivered into buffer. Mode 1 reads at an
// absolute position from the start of the input; the library always uses it.
typedef uint64_t (*PDF_Read_Callback)(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char* path,
                                      void* context);

enum { PDF_READ_MODE_ABSOLUTE = 1, PDF_READ_MODE_FROM_END = 2 };

// A negative result code carried in an unsigned count (null arguments).
const uint64_t PDF_READ_INVALID_ARGUMENT = static_cast<uint64_t>(static_cast<int64_t>(PDF_RESULT_INVALID_ARGUMENT));

struct PDF_Read_Data {
  PDF_Read_Callback read;
  void* context;
  uint32_t hold_count;
  void* reserved;  // set to zero, not read
};

// Context of PDF_Read_Data_Read_Memory: a block of bytes owned by the caller,
// which must outlive every reader over it.
struct PDF_Memory_Source {
  const uint8_t* bytes;
  uint64_t size;
};

PDF_Result PDF_Read_Data_Create(PDF_Read_Data** out_reader, PDF_Memory* memory, PDF_Read_Callback read, void* context,
                                PDF_Message* message);
PDF_Result PDF_Read_Data_Release(PDF_Read_Data** holder, PDF_Memory* memory);

// Read callback over a PDF_Memory_Source given as context, for parsing bodies
// held in memory. Reads only with mode 1 and positions below 2^32.
uint64_t PDF_Read_Data_Read_Memory(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char* path,
                                   void* context);

uint64_t PDF_Read_Data_Read(PDF_Read_Data* reader, void* buffer, uint64_t position, uint64_t count);
uint64_t PDF_Read_Data_Skip_Line(PDF_Read_Data* reader, uint64_t position, uint8_t* out_byte);
uint64_t PDF_Read_Data_Skip_Space(PDF_Read_Data* reader, uint64_t position, uint8_t* out_byte);
uint64_t PDF_Read_Data_Read_Keyword(PDF_Read_Data* reader, char* buffer, uint64_t* in_out_length, uint64_t position);
uint64_t PDF_Read_Data_Read_Number(PDF_Read_Data* reader, double* out_value, uint8_t* out_decimals, uint64_t position);
uint64_t PDF_Read_Data_Read_Integer(PDF_Read_Data* reader, uint64_t* out_value, uint64_t position, int32_t* out_sign);

// An optionally signed decimal integer after white space (no comments), read
// from at most length bytes already in memory, such as the decoded data of an
// object stream. The digits are summed in 32 bits without any overflow check.
// Returns the bytes used, the terminator not counted, or 0 when no digit
// follows.
uint64_t PDF_Text_Read_Integer(const uint8_t* bytes, uint64_t length, int32_t* out_value);

// Byte classes of the file syntax.
bool PDF_Read_Data_Is_Space(uint8_t byte);      // 0, 9, 10, 12, 13, 32
bool PDF_Read_Data_Is_Delimiter(uint8_t byte);  // / < > [ ] ( ) { } %

#endif
