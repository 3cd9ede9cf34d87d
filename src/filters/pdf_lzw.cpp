#include "filters/pdf_lzw.h"
#include "runtime/pdf_memory.h"

#include <cstdint>
#include <cstring>

namespace {

// Marks a code read that found the input used up.
const uint32_t PDF_LZW_NO_INPUT = 0xFFFFFFFFu;

// The position one entry before the table, which old_code holds until the
// first code has been seen. It is only ever compared, never dereferenced, so
// it is formed as an address rather than by pointer arithmetic.
PDF_LZW_Code* PDF_LZW_Before_Table(PDF_LZW_Code* table) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): formed only to be compared, as said above
  return reinterpret_cast<PDF_LZW_Code*>(reinterpret_cast<uintptr_t>(table) - sizeof(PDF_LZW_Code));
}

bool PDF_LZW_In_Table(const PDF_LZW_Code* table, const PDF_LZW_Code* entry) {
  uintptr_t start = reinterpret_cast<uintptr_t>(table);
  uintptr_t address = reinterpret_cast<uintptr_t>(entry);
  return address >= start && address < start + sizeof(PDF_LZW_Code) * PDF_LZW_TABLE_SIZE;
}

// Reads one code, most significant bit first. Every code takes at least one
// new byte, two when the bits left over from the last one and the new byte are
// still fewer than the width. When the input is used up the result is
// PDF_LZW_NO_INPUT, so that data without an end code stops where it ends.
inline uint32_t PDF_LZW_Read_Code(const uint8_t** read_pointer, uint64_t* read_left, uint32_t* next_data,
                                  int32_t* next_bits, uint32_t code_bits, uint32_t code_mask) {
  if (*read_left == 0) return PDF_LZW_NO_INPUT;
  *next_data = (*next_data << 8) | **read_pointer;
  *read_pointer += 1;
  *read_left -= 1;
  *next_bits += 8;
  if (*next_bits < static_cast<int32_t>(code_bits)) {
    if (*read_left == 0) return PDF_LZW_NO_INPUT;
    *next_data = (*next_data << 8) | **read_pointer;
    *read_pointer += 1;
    *read_left -= 1;
    *next_bits += 8;
  }
  uint32_t code = (*next_data >> (*next_bits - static_cast<int32_t>(code_bits))) & code_mask;
  *next_bits -= static_cast<int32_t>(code_bits);
  return code;
}

}  // namespace

uint64_t PDF_LZW_Input_Limit(uint64_t input_length) { return input_length * 1365; }

uint64_t PDF_LZW_Initial_Size(uint64_t input_length) { return (input_length > 4 ? input_length : 4) * 2; }

PDF_Result PDF_LZW_Setup(PDF_Memory* memory, PDF_LZW_Source* source, const uint8_t* input, uint64_t input_length) {
  if (source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_LZW_State* state = PDF_Memory_Alloc_Zeroed<PDF_LZW_State>(memory);
  if (state == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  source->state = state;
  source->input = input;
  source->input_length = input_length;
  source->read_pointer = input;
  source->read_left = input_length;

  PDF_LZW_Code* table = static_cast<PDF_LZW_Code*>(PDF_Memory_Alloc(memory, sizeof(PDF_LZW_Code) * PDF_LZW_TABLE_SIZE));
  if (table == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  state->table = table;
  for (int code = 255; code >= 0; --code) {
    table[code].next = nullptr;
    table[code].length = 1;
    table[code].value = static_cast<uint8_t>(code);
    table[code].first_char = static_cast<uint8_t>(code);
  }
  // The clear and end codes never get an entry, but damaged data can make
  // either of them the previous code; give both a defined, empty content.
  memset(&table[PDF_LZW_CLEAR_CODE], 0, sizeof(PDF_LZW_Code) * 2);
  return PDF_RESULT_OK;
}

PDF_Result PDF_LZW_Reset(PDF_LZW_Source* source) {
  if (source == nullptr || source->state == nullptr || source->state->table == nullptr) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  // A zero byte followed by one with its low bit set marks data written in the
  // old bit order, which is not decoded. Input shorter than two bytes can't
  // carry the mark.
  if (source->input_length >= 2 && source->input[0] == 0 && (source->input[1] & 1) != 0) {
    return PDF_RESULT_OLD_LZW;
  }
  PDF_LZW_State* state = source->state;
  PDF_LZW_Code* table = state->table;
  state->code_bits = 9;
  state->old_code_limit = 510;
  state->code_mask = 511;
  state->next_data = 0;
  state->next_bits = 0;
  state->restart = 0;
  state->free_entry = table + PDF_LZW_FIRST_FREE;
  state->max_entry = table + 510;
  state->old_code = PDF_LZW_Before_Table(table);
  memset(&table[PDF_LZW_FIRST_FREE], 0, sizeof(PDF_LZW_Code) * (PDF_LZW_TABLE_SIZE - PDF_LZW_FIRST_FREE));
  return PDF_RESULT_OK;
}

PDF_Result PDF_LZW_Run(PDF_Memory* memory, PDF_LZW_Source* source, uint8_t* output, uint64_t out_size,
                       uint64_t* out_count) {
  (void)memory;
  if (source == nullptr || source->state == nullptr || source->state->table == nullptr || output == nullptr ||
      out_count == nullptr) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  // Kept: every pass starts from the state that PDF_LZW_Reset left: the
  // working copies below are never written back. The table itself is shared
  // and keeps whatever earlier passes put into it; entries above free_entry
  // are cleared neither between passes nor by a clear code.
  const PDF_LZW_State* state = source->state;
  PDF_LZW_Code* const table = state->table;
  uint32_t code_bits = state->code_bits;
  uint32_t code_mask = state->code_mask;
  uint32_t next_data = state->next_data;
  int32_t next_bits = state->next_bits;
  PDF_LZW_Code* old_code = state->old_code;
  PDF_LZW_Code* free_entry = state->free_entry;
  PDF_LZW_Code* max_entry = state->max_entry;
  const uint8_t* read_pointer = source->read_pointer;
  uint64_t read_left = source->read_left;

  // Kept: the room is the output size taken as a signed 32-bit count, so a
  // buffer of 2 GiB or more gives no room, or less than it holds.
  int32_t room = static_cast<int32_t>(out_size);
  uint8_t* out = output;
  bool finished = false;

  // Kept: the end code has to arrive while room is left: a pass that fills
  // the buffer exactly answers 1 and is run again with a larger buffer.
  while (room > 0) {
    uint32_t code = PDF_LZW_Read_Code(&read_pointer, &read_left, &next_data, &next_bits, code_bits, code_mask);
    if (code == PDF_LZW_END_CODE || code == PDF_LZW_NO_INPUT) {
      finished = true;
      break;
    }
    if (code == PDF_LZW_CLEAR_CODE) {
      // Clearing only resets the counters; the entries keep their contents.
      free_entry = table + PDF_LZW_FIRST_FREE;
      code_bits = 9;
      code_mask = 511;
      max_entry = table + 510;
      code = PDF_LZW_Read_Code(&read_pointer, &read_left, &next_data, &next_bits, code_bits, code_mask);
      if (code == PDF_LZW_NO_INPUT) {
        finished = true;
        break;
      }
      // Kept: a clear code directly followed by the end code is no end: the
      // pass answers 1 as if the buffer had been too small, every larger
      // buffer gives the same, and the decoder hands over a buffer that holds
      // no decoded bytes once the size passes the limit.
      if (code == PDF_LZW_END_CODE) break;
      *out++ = static_cast<uint8_t>(code);
      room -= 1;
      old_code = table + code;
      continue;
    }

    PDF_LZW_Code* entry = table + code;
    if (!PDF_LZW_In_Table(table, free_entry)) return PDF_RESULT_BAD_COMPRESSED_DATA;  // table full
    free_entry->next = old_code;
    if (!PDF_LZW_In_Table(table, old_code)) return PDF_RESULT_BAD_COMPRESSED_DATA;  // no clear code first
    free_entry->first_char = old_code->first_char;
    free_entry->length = static_cast<uint16_t>(old_code->length + 1);
    // A code at or beyond the entry being built refers to that string itself.
    free_entry->value = entry < free_entry ? entry->first_char : free_entry->first_char;
    free_entry += 1;
    // Kept: the width grows one code early, once entry 510, 1022 or 2046 has
    // been filled, whatever EarlyChange says.
    if (free_entry > max_entry) {
      code_bits += 1;
      if (code_bits > 12) code_bits = 12;
      code_mask = (1u << code_bits) - 1;
      max_entry = table + code_mask - 1;
    }
    old_code = entry;

    if (code < 256) {
      *out++ = static_cast<uint8_t>(code);
      room -= 1;
      continue;
    }
    int32_t length = entry->length;
    if (length == 0) return PDF_RESULT_BAD_COMPRESSED_DATA;
    if (length > room) return PDF_LZW_RUN_NOT_FINISHED;  // the count is not stored
    uint8_t* write = out + length;
    const PDF_LZW_Code* link = entry;
    while (link != nullptr && write > out) {
      *--write = link->value;
      link = link->next;
    }
    if (link != nullptr) return PDF_RESULT_BAD_COMPRESSED_DATA;
    out += length;
    room -= length;
  }

  *out_count = static_cast<uint64_t>(out - output);
  return finished ? PDF_LZW_RUN_FINISHED : PDF_LZW_RUN_NOT_FINISHED;
}

PDF_Result PDF_LZW_Cleanup(PDF_Memory* memory, PDF_LZW_Source* source) {
  if (source == nullptr || source->state == nullptr) return PDF_RESULT_OK;
  PDF_LZW_State* state = source->state;
  PDF_Result result = PDF_RESULT_OK;
  if (state->scratch != nullptr) {
    PDF_Result freed = PDF_Memory_Free(memory, &state->scratch);
    if (result == PDF_RESULT_OK) result = freed;
  }
  if (state->table != nullptr) {
    PDF_Result freed = PDF_Memory_Free(memory, &state->table);
    if (result == PDF_RESULT_OK) result = freed;
  }
  PDF_Result freed = PDF_Memory_Free(memory, &source->state);
  if (result == PDF_RESULT_OK) result = freed;
  return result;
}

void PDF_LZW_Abort(PDF_Memory* memory, PDF_LZW_Source* source, uint8_t** buffer) {
  if (buffer != nullptr && *buffer != nullptr) PDF_Memory_Free(memory, buffer);
  PDF_LZW_Cleanup(memory, source);
}

PDF_Result PDF_LZW_Decode(PDF_Memory* memory, const uint8_t* input, uint64_t input_length, uint8_t** out_buffer,
                          uint64_t* out_length) {
  if (out_buffer != nullptr) *out_buffer = nullptr;
  if (out_length != nullptr) *out_length = 0;
  uint64_t limit = PDF_LZW_Input_Limit(input_length);
  if (memory == nullptr || out_buffer == nullptr || out_length == nullptr || (input == nullptr && input_length != 0)) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }

  uint64_t size = PDF_LZW_Initial_Size(input_length);
  uint8_t* buffer = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, size));
  if (buffer == nullptr) return PDF_RESULT_OUT_OF_MEMORY;

  PDF_LZW_Source source = {};
  PDF_Result result = PDF_LZW_Setup(memory, &source, input, input_length);
  if (result == PDF_RESULT_OK) result = PDF_LZW_Reset(&source);
  if (result != PDF_RESULT_OK) {
    PDF_LZW_Abort(memory, &source, &buffer);
    return result;
  }

  // Each pass decodes from the first code. When the buffer proves too small it
  // is replaced by one half as large again, until the size passes the limit.
  // Kept: passing the limit is no failure. The last buffer, fresh from the
  // allocator and never written, is handed over with the count of the last
  // pass that stored one (or 0), so the caller gets uninitialised bytes as
  // decoded data. An empty input has a limit of 0, which the first size
  // already passes: no pass runs, and the output is empty.
  uint64_t count = 0;
  bool finished = false;
  for (;;) {
    if (finished || size > limit) {
      *out_buffer = buffer;
      *out_length = count;
      PDF_LZW_Cleanup(memory, &source);
      return PDF_RESULT_OK;
    }
    result = PDF_LZW_Run(memory, &source, buffer, size, &count);
    if (result == PDF_LZW_RUN_FINISHED) {
      finished = true;
    } else if (result == PDF_LZW_RUN_NOT_FINISHED) {
      PDF_Memory_Free(memory, &buffer);
      size = static_cast<uint64_t>(static_cast<double>(size) * 1.5);
      buffer = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, size));
      if (buffer == nullptr) {
        PDF_LZW_Abort(memory, &source, &buffer);
        return PDF_RESULT_OUT_OF_MEMORY;
      }
    } else {
      PDF_LZW_Abort(memory, &source, &buffer);
      return result;
    }
  }
}
