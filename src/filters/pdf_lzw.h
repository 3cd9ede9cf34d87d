// The LZW decoder: one pass over the codes, which carries on into a larger
// output buffer whenever the present one is too small, up to the ceiling of
// pdf_decode_limit.h.
//
// Codes are 9 to 12 bits wide, most significant bit first; 256 clears the
// table and 257 ends the data. The width always grows one code early (after
// the entries 510, 1022 and 2046 are filled), whatever the stream's
// EarlyChange says.
#ifndef INVOICE_EXTRACT_PDF_LZW_H
#define INVOICE_EXTRACT_PDF_LZW_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Memory;

enum {
  PDF_LZW_TABLE_SIZE = 4096,
  PDF_LZW_CLEAR_CODE = 256,
  PDF_LZW_END_CODE = 257,
  PDF_LZW_FIRST_FREE = 258,
};

// One entry of the code table. A string is its prefix entry (next) plus one
// byte (value); first_char and length let a string be written backwards
// straight into the output without a search or a stack.
struct PDF_LZW_Code {
  PDF_LZW_Code* next;  // entry of the string without its last byte; null for a single byte
  uint16_t length;     // length of the string, this byte included; 0: not in use
  uint8_t value;       // last byte of the string
  uint8_t first_char;  // first byte of the string
};

struct PDF_LZW_State {
  uint16_t code_bits;        // present code width, 9 to 12
  uint16_t old_code_limit;   // set to 510, not read
  uint32_t next_data;        // bit accumulator
  int32_t next_bits;         // bits waiting in next_data
  uint32_t code_mask;        // (1 << code_bits) - 1
  uint32_t restart;          // set to 0, not read
  PDF_LZW_Code* old_code;    // entry of the previous code; starts one entry before the table
  PDF_LZW_Code* free_entry;  // next entry to fill
  PDF_LZW_Code* max_entry;   // the width grows once this entry has been filled
  PDF_LZW_Code* table;       // PDF_LZW_TABLE_SIZE entries; owned
  void* scratch;             // never set; released by PDF_LZW_Cleanup when not null
};

// What the decoder passes from stage to stage.
struct PDF_LZW_Source {
  PDF_LZW_State* state;  // owned
  const uint8_t* input;
  uint64_t input_length;
  const uint8_t* read_pointer;
  uint64_t read_left;
};

// Results of PDF_LZW_Run besides the negative codes.
enum {
  PDF_LZW_RUN_FINISHED = 0,      // the end code was seen, or the input ended
  PDF_LZW_RUN_NOT_FINISHED = 1,  // the output buffer is full, or the next string doesn't fit in it
  PDF_LZW_RUN_NO_END = 2,        // a clear code directly followed by the end code
};

// Decodes input into a new buffer from PDF_Memory_Alloc, which the caller owns
// and releases. The buffer is as a rule larger than *out_length. Both out
// parameters are cleared first. A failing call leaves nothing allocated.
//
// The buffer sizes are those of a decoder that ran every pass from the first
// code: twice the input (at least 8 bytes), then half again as large while
// a pass would not finish, until the size passes PDF_LZW_Input_Limit; each
// growth carries the decoded bytes over and goes on from the code that did
// not fit. No buffer is larger than PDF_DECODED_SIZE_LIMIT plus one byte
// (room for the end code): data that decodes to more than the ceiling gives
// -300.
PDF_Result PDF_LZW_Decode(PDF_Memory* memory, const uint8_t* input, uint64_t input_length, uint8_t** out_buffer,
                          uint64_t* out_length);

// Output size past which the decoder stops growing its buffer.
uint64_t PDF_LZW_Input_Limit(uint64_t input_length);
// First output size tried.
uint64_t PDF_LZW_Initial_Size(uint64_t input_length);

// The stages of PDF_LZW_Decode.
PDF_Result PDF_LZW_Setup(PDF_Memory* memory, PDF_LZW_Source* source, const uint8_t* input, uint64_t input_length);
PDF_Result PDF_LZW_Reset(PDF_LZW_Source* source);
// Decodes on from where the last run stopped (from the first code after
// PDF_LZW_Reset) into output, after the *out_count bytes already there, until
// out_size bytes are there or the data says otherwise; *out_count is then the
// count of bytes in output. A string that doesn't fit in the room left is not
// begun: the run stops before its code, which the next run, given more room,
// reads again.
PDF_Result PDF_LZW_Run(PDF_Memory* memory, PDF_LZW_Source* source, uint8_t* output, uint64_t out_size,
                       uint64_t* out_count);
// Releases the scratch block, the table and the state.
PDF_Result PDF_LZW_Cleanup(PDF_Memory* memory, PDF_LZW_Source* source);
// Releases the output buffer, then everything PDF_LZW_Cleanup releases.
void PDF_LZW_Abort(PDF_Memory* memory, PDF_LZW_Source* source, uint8_t** buffer);

#endif
