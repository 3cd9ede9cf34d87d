#include "filters/pdf_lzw.h"
#include "filters/pdf_decode_limit.h"
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

// Where a run stands in the input and the table: what PDF_LZW_Run keeps in
// locals, and what it goes back to when a string doesn't fit.
struct PDF_LZW_Cursor {
  const uint8_t* read_pointer;
  uint64_t read_left;
  uint32_t next_data;
  int32_t next_bits;
  uint32_t code_bits;
  uint32_t code_mask;
  PDF_LZW_Code* old_code;
  PDF_LZW_Code* free_entry;
  PDF_LZW_Code* max_entry;
};

// Reads one code, most significant bit first. Every code takes at least one
// new byte, two when the bits left over from the last one and the new byte are
// still fewer than the width. When the input is used up the result is
// PDF_LZW_NO_INPUT, so that data without an end code stops where it ends.
inline uint32_t PDF_LZW_Read_Code(PDF_LZW_Cursor* at) {
  if (at->read_left == 0) return PDF_LZW_NO_INPUT;
  at->next_data = (at->next_data << 8) | *at->read_pointer;
  at->read_pointer += 1;
  at->read_left -= 1;
  at->next_bits += 8;
  if (at->next_bits < static_cast<int32_t>(at->code_bits)) {
    if (at->read_left == 0) return PDF_LZW_NO_INPUT;
    at->next_data = (at->next_data << 8) | *at->read_pointer;
    at->read_pointer += 1;
    at->read_left -= 1;
    at->next_bits += 8;
  }
  uint32_t code = (at->next_data >> (at->next_bits - static_cast<int32_t>(at->code_bits))) & at->code_mask;
  at->next_bits -= static_cast<int32_t>(at->code_bits);
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
      out_count == nullptr || *out_count > out_size) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  // The run works on locals and stores them back when it stops, so that the
  // next run goes on from there. The table is shared: entries above
  // free_entry are cleared neither by a clear code nor between runs, and a
  // code may still refer to what they held.
  PDF_LZW_State* state = source->state;
  PDF_LZW_Code* const table = state->table;
  PDF_LZW_Cursor at = {source->read_pointer, source->read_left, state->next_data,  state->next_bits, state->code_bits,
                       state->code_mask,     state->old_code,   state->free_entry, state->max_entry};
  uint8_t* out = output + *out_count;
  uint8_t* const end = output + out_size;
  PDF_Result result = PDF_LZW_RUN_NOT_FINISHED;

  // Kept: the end code has to arrive while room is left: a run that fills
  // the buffer exactly answers 1, and the decoder grows the buffer as if it
  // had been too small.
  while (out < end) {
    const PDF_LZW_Cursor start = at;
    uint32_t code = PDF_LZW_Read_Code(&at);
    if (code == PDF_LZW_END_CODE || code == PDF_LZW_NO_INPUT) {
      result = PDF_LZW_RUN_FINISHED;
      break;
    }
    if (code == PDF_LZW_CLEAR_CODE) {
      // Clearing only resets the counters; the entries keep their contents.
      at.free_entry = table + PDF_LZW_FIRST_FREE;
      at.code_bits = 9;
      at.code_mask = 511;
      at.max_entry = table + 510;
      code = PDF_LZW_Read_Code(&at);
      if (code == PDF_LZW_NO_INPUT) {
        result = PDF_LZW_RUN_FINISHED;
        break;
      }
      if (code == PDF_LZW_END_CODE) {
        result = PDF_LZW_RUN_NO_END;
        break;
      }
      *out++ = static_cast<uint8_t>(code);
      at.old_code = table + code;
      continue;
    }

    PDF_LZW_Code* entry = table + code;
    if (!PDF_LZW_In_Table(table, at.free_entry)) return PDF_RESULT_BAD_COMPRESSED_DATA;  // table full
    // What the entry held before this code: a string that doesn't fit puts
    // it back, so that the code is read again against the same table.
    PDF_LZW_Code* const built = at.free_entry;
    const PDF_LZW_Code before = *built;
    built->next = at.old_code;
    if (!PDF_LZW_In_Table(table, at.old_code)) return PDF_RESULT_BAD_COMPRESSED_DATA;  // no clear code first
    built->first_char = at.old_code->first_char;
    built->length = static_cast<uint16_t>(at.old_code->length + 1);
    // A code at or beyond the entry being built refers to that string itself.
    built->value = entry < built ? entry->first_char : built->first_char;
    at.free_entry += 1;
    // Kept: the width grows one code early, once entry 510, 1022 or 2046 has
    // been filled, whatever EarlyChange says.
    if (at.free_entry > at.max_entry) {
      at.code_bits += 1;
      if (at.code_bits > 12) at.code_bits = 12;
      at.code_mask = (1u << at.code_bits) - 1;
      at.max_entry = table + at.code_mask - 1;
    }
    at.old_code = entry;

    if (code < 256) {
      *out++ = static_cast<uint8_t>(code);
      continue;
    }
    uint64_t length = entry->length;
    if (length == 0) return PDF_RESULT_BAD_COMPRESSED_DATA;
    if (length > static_cast<uint64_t>(end - out)) {
      *built = before;
      at = start;
      break;
    }
    uint8_t* write = out + length;
    const PDF_LZW_Code* link = entry;
    while (link != nullptr && write > out) {
      *--write = link->value;
      link = link->next;
    }
    if (link != nullptr) return PDF_RESULT_BAD_COMPRESSED_DATA;
    // A chain that ends before the string's length (damaged data) leaves the
    // first bytes of the string without a value: they are zeros, so that no
    // earlier contents of the memory show through.
    if (write > out) memset(out, 0, static_cast<size_t>(write - out));
    out += length;
  }

  source->read_pointer = at.read_pointer;
  source->read_left = at.read_left;
  state->next_data = at.next_data;
  state->next_bits = at.next_bits;
  state->code_bits = static_cast<uint16_t>(at.code_bits);
  state->code_mask = at.code_mask;
  state->old_code = at.old_code;
  state->free_entry = at.free_entry;
  state->max_entry = at.max_entry;
  *out_count = static_cast<uint64_t>(out - output);
  return result;
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

  // size is the buffer size the decoder has come to, exactly as when every
  // pass ran from the first code; capacity is what it holds, which stops at
  // the ceiling and room for the end code behind it.
  const uint64_t most = PDF_DECODED_SIZE_LIMIT + 1;
  uint64_t size = PDF_LZW_Initial_Size(input_length);
  uint64_t capacity = size < most ? size : most;
  uint8_t* buffer = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, capacity));
  if (buffer == nullptr) return PDF_RESULT_OUT_OF_MEMORY;

  PDF_LZW_Source source = {};
  PDF_Result result = PDF_LZW_Setup(memory, &source, input, input_length);
  if (result == PDF_RESULT_OK) result = PDF_LZW_Reset(&source);
  if (result != PDF_RESULT_OK) {
    PDF_LZW_Abort(memory, &source, &buffer);
    return result;
  }

  // count is what the buffer holds; handed is the count that a full buffer
  // last left, which is what the decoder hands over once the size passes the
  // limit. An empty input has a limit of 0, which the first size already
  // passes: nothing is decoded, and the output is empty.
  uint64_t count = 0;
  uint64_t handed = 0;
  for (;;) {
    if (size > limit) break;
    result = PDF_LZW_Run(memory, &source, buffer, capacity, &count);
    // Kept: a clear code directly followed by the end code is no end: a
    // buffer of any size gives the same, so the decoder's size would grow
    // past the limit with this count left. It is handed over at once.
    if (result == PDF_LZW_RUN_FINISHED || result == PDF_LZW_RUN_NO_END) {
      handed = count;
      break;
    }
    if (result != PDF_LZW_RUN_NOT_FINISHED) {
      PDF_LZW_Abort(memory, &source, &buffer);
      return result;
    }
    // The ceiling: the data goes on past it.
    if (capacity == most) {
      PDF_LZW_Abort(memory, &source, &buffer);
      return PDF_RESULT_BAD_COMPRESSED_DATA;
    }
    if (count == capacity) handed = count;
    // Kept: passing the limit is no failure: the count that a full buffer
    // last left is handed over (0 if none did), with the bytes decoded up to
    // it, whatever was decoded since.
    size = static_cast<uint64_t>(static_cast<double>(size) * 1.5);
    if (size > limit) break;
    uint64_t grown = size < most ? size : most;
    uint8_t* larger = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, grown));
    if (larger == nullptr) {
      PDF_LZW_Abort(memory, &source, &buffer);
      return PDF_RESULT_OUT_OF_MEMORY;
    }
    memcpy(larger, buffer, count);
    PDF_Memory_Free(memory, &buffer);
    buffer = larger;
    capacity = grown;
  }
  *out_buffer = buffer;
  *out_length = handed;
  PDF_LZW_Cleanup(memory, &source);
  return PDF_RESULT_OK;
}
