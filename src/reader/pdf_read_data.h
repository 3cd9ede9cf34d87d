// Positional reader: the only door through which the library sees input. It
// keeps no cursor; every operation takes an absolute position and token
// operations return how many bytes they used (0: nothing there). Byte by byte
// reads are served from a few windows of the input read ahead.
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

struct PDF_Read_Windows;

struct PDF_Read_Data {
  PDF_Read_Callback read;
  void* context;
  uint32_t hold_count;
  PDF_Read_Windows* windows;  // bytes read ahead; made on first use, owned; null at creation
};

// The bytes that one-byte reads are served from: a few aligned windows of the
// input, each filled by one call of the callback, the least recently used
// making room. A window never crosses a multiple of its size, so a callback
// that cuts or refuses positions (a 32-bit seek) answers for the whole window
// as it would for each of its bytes; where a window comes back short, the
// bytes past it are asked for one at a time, as before. The memory comes from
// the C runtime, not from the document's allocator, so that the library's
// allocations and what a failed one does stay as they were; without it every
// byte is asked for. Readers over bytes in memory (PDF_Read_Data_Read_Memory)
// need none: their bytes are read in place.
enum { PDF_READ_WINDOW = 1024, PDF_READ_WINDOWS = 4 };

struct PDF_Read_Window {
  uint64_t start;   // position of bytes[0], a multiple of PDF_READ_WINDOW
  uint64_t length;  // bytes the callback delivered; 0: empty
  uint64_t last_use;
  uint8_t bytes[PDF_READ_WINDOW];
};

struct PDF_Read_Windows {
  uint64_t clock;
  uint32_t last;  // the window that served the last byte
  PDF_Read_Window window[PDF_READ_WINDOWS];
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
