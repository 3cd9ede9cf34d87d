#include "reader/pdf_read_data.h"
#include "runtime/pdf_memory.h"
#include "runtime/pdf_message.h"

#include <cstdlib>
#include <cstring>

bool PDF_Read_Data_Is_Space(uint8_t byte) {
  return byte == 0 || byte == 9 || byte == 10 || byte == 12 || byte == 13 || byte == 32;
}

bool PDF_Read_Data_Is_Delimiter(uint8_t byte) {
  switch (byte) {
    case '/':
    case '<':
    case '>':
    case '[':
    case ']':
    case '(':
    case ')':
    case '{':
    case '}':
    case '%':
      return true;
    default:
      return false;
  }
}

static bool Is_Digit(uint8_t byte) { return byte >= '0' && byte <= '9'; }

PDF_Result PDF_Read_Data_Create(PDF_Read_Data** out_reader, PDF_Memory* memory, PDF_Read_Callback read, void* context,
                                PDF_Message* message) {
  if (out_reader == nullptr || read == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_reader = nullptr;
  PDF_Read_Data* reader = static_cast<PDF_Read_Data*>(PDF_Memory_Alloc(memory, sizeof(PDF_Read_Data)));
  if (reader == nullptr) {
    PDF_Message_Report(message, PDF_RESULT_OUT_OF_MEMORY, PDF_LEVEL_RESOURCE, "Unable to allocate read data object!");
    return PDF_RESULT_OUT_OF_MEMORY;
  }
  reader->read = read;
  reader->context = context;
  reader->hold_count = 1;
  reader->windows = nullptr;
  *out_reader = reader;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Read_Data_Release(PDF_Read_Data** holder, PDF_Memory* memory) {
  if (holder == nullptr || *holder == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_Read_Data* reader = *holder;
  reader->hold_count -= 1;
  if (reader->hold_count != 0) {
    *holder = nullptr;
    return PDF_RESULT_OK;
  }
  free(reader->windows);
  reader->windows = nullptr;
  return PDF_Memory_Free(memory, holder);
}

uint64_t PDF_Read_Data_Read_Memory(void* buffer, uint32_t mode, uint64_t position, uint64_t count, const char*,
                                   void* context) {
  const PDF_Memory_Source* source = static_cast<const PDF_Memory_Source*>(context);
  if (source == nullptr || buffer == nullptr || mode != PDF_READ_MODE_ABSOLUTE || (position >> 32) != 0) return 0;
  if (position >= source->size) return 0;
  if (count == 1) {
    *static_cast<uint8_t*>(buffer) = source->bytes[position];
    return 1;
  }
  uint64_t available = source->size - position;
  uint64_t n = count < available ? count : available;
  memcpy(buffer, source->bytes + position, n);
  return n;
}

static uint64_t Read_Through_Windows(PDF_Read_Data* reader, uint8_t* byte, uint64_t position);

uint64_t PDF_Read_Data_Read(PDF_Read_Data* reader, void* buffer, uint64_t position, uint64_t count) {
  if (reader == nullptr || buffer == nullptr || count == 0 || reader->read == nullptr) return 0;
  if (count == 1 && reader->read != PDF_Read_Data_Read_Memory) {
    return Read_Through_Windows(reader, static_cast<uint8_t*>(buffer), position);
  }
  return reader->read(buffer, PDF_READ_MODE_ABSOLUTE, position, count, nullptr, reader->context);
}

// The one-byte read of the callback, through the windows: the byte at
// position from the window that holds it, filling the least recently used
// one at the aligned start around position when none does. Where the
// callback delivered fewer bytes than reach position, or no window can be
// had, the byte is asked for alone, as it always was.
static uint64_t Read_Through_Windows(PDF_Read_Data* reader, uint8_t* byte, uint64_t position) {
  PDF_Read_Windows* windows = reader->windows;
  if (windows == nullptr) {
    windows = static_cast<PDF_Read_Windows*>(calloc(1, sizeof(PDF_Read_Windows)));
    if (windows == nullptr) return reader->read(byte, PDF_READ_MODE_ABSOLUTE, position, 1, nullptr, reader->context);
    reader->windows = windows;
  }
  windows->clock += 1;
  const uint64_t start = position & ~static_cast<uint64_t>(PDF_READ_WINDOW - 1);
  PDF_Read_Window* window = &windows->window[windows->last];
  if (window->length == 0 || window->start != start) {
    uint32_t victim = 0;
    window = nullptr;
    for (uint32_t i = 0; i < PDF_READ_WINDOWS; ++i) {
      PDF_Read_Window* candidate = &windows->window[i];
      if (candidate->length != 0 && candidate->start == start) {
        window = candidate;
        windows->last = i;
        break;
      }
      if (candidate->last_use < windows->window[victim].last_use) victim = i;
    }
    if (window == nullptr) {
      window = &windows->window[victim];
      windows->last = victim;
      window->start = start;
      window->length =
          reader->read(window->bytes, PDF_READ_MODE_ABSOLUTE, start, PDF_READ_WINDOW, nullptr, reader->context);
      if (window->length > PDF_READ_WINDOW) window->length = 0;  // no callback delivers more than it is asked
    }
  }
  window->last_use = windows->clock;
  if (position - start < window->length) {
    *byte = window->bytes[position - start];
    return 1;
  }
  return reader->read(byte, PDF_READ_MODE_ABSOLUTE, position, 1, nullptr, reader->context);
}

// One byte at position; false at the end of the input.
static bool Read_Byte(PDF_Read_Data* reader, uint64_t position, uint8_t* byte) {
  if (reader == nullptr || reader->read == nullptr) return false;
  if (reader->read == PDF_Read_Data_Read_Memory) {
    // Bytes in memory are read in place, as the callback reads them.
    const PDF_Memory_Source* source = static_cast<const PDF_Memory_Source*>(reader->context);
    if (source == nullptr || (position >> 32) != 0 || position >= source->size) return false;
    *byte = source->bytes[position];
    return true;
  }
  return Read_Through_Windows(reader, byte, position) == 1;
}

uint64_t PDF_Read_Data_Skip_Line(PDF_Read_Data* reader, uint64_t position, uint8_t* out_byte) {
  uint64_t count = 0;
  uint8_t byte = 0;
  while (Read_Byte(reader, position + count, &byte)) {
    count += 1;
    if (byte == 13 || byte == 10) {
      if (out_byte != nullptr) *out_byte = byte;
      return count;
    }
  }
  return 0;
}

uint64_t PDF_Read_Data_Skip_Space(PDF_Read_Data* reader, uint64_t position, uint8_t* out_byte) {
  uint64_t count = 0;
  uint8_t byte = 0;
  for (;;) {
    if (!Read_Byte(reader, position + count, &byte)) return 0;
    count += 1;
    if (byte == '%') {
      // A comment up to the line end; the line end becomes the current byte.
      // Without a line end the '%' itself is the significant byte.
      count += PDF_Read_Data_Skip_Line(reader, position + count, &byte);
    }
    if (!PDF_Read_Data_Is_Space(byte)) {
      if (out_byte != nullptr) *out_byte = byte;
      return count;
    }
  }
}

uint64_t PDF_Read_Data_Read_Keyword(PDF_Read_Data* reader, char* buffer, uint64_t* in_out_length, uint64_t position) {
  if (reader == nullptr || buffer == nullptr || in_out_length == nullptr) return PDF_READ_INVALID_ARGUMENT;
  uint64_t capacity = *in_out_length;
  if (capacity == 0) return 0;
  uint8_t byte = 0;
  uint64_t skipped = PDF_Read_Data_Skip_Space(reader, position, &byte);
  if (skipped == 0) return 0;
  skipped -= 1;  // the token starts at the significant byte
  uint64_t start = position + skipped;
  uint64_t length = 0;
  while (Read_Byte(reader, start + length, &byte) && !PDF_Read_Data_Is_Space(byte) &&
         !PDF_Read_Data_Is_Delimiter(byte)) {
    if (length == capacity) return 0;
    buffer[length] = static_cast<char>(byte);
    length += 1;
  }
  *in_out_length = length;
  return skipped + length;
}

uint64_t PDF_Read_Data_Read_Number(PDF_Read_Data* reader, double* out_value, uint8_t* out_decimals, uint64_t position) {
  if (reader == nullptr || out_value == nullptr || out_decimals == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_value = 0.0;
  *out_decimals = 0;
  uint8_t byte = 0;
  uint64_t skipped = PDF_Read_Data_Skip_Space(reader, position, &byte);
  if (skipped == 0) return 0;
  uint64_t at = position + skipped - 1;
  double sign = 1.0;
  if (byte == '-' || byte == '+') {
    if (byte == '-') sign = -1.0;
    at += 1;
    if (!Read_Byte(reader, at, &byte)) return 0;
  }
  double value = 0.0;
  uint8_t decimals = 0;
  bool digits = false;
  while (Is_Digit(byte)) {
    digits = true;
    value = 10.0 * value + (byte - '0');
    at += 1;
    if (!Read_Byte(reader, at, &byte)) byte = 0;
  }
  if (byte == '.') {
    double scale = 1.0;
    bool fraction = false;
    at += 1;
    if (!Read_Byte(reader, at, &byte)) byte = 0;
    while (Is_Digit(byte)) {
      fraction = true;
      digits = true;
      scale *= 0.1;
      value += scale * (byte - '0');
      decimals = static_cast<uint8_t>(decimals + 1);
      at += 1;
      if (!Read_Byte(reader, at, &byte)) byte = 0;
    }
    if (!fraction) decimals = 1;
  }
  if (!digits) return 0;
  if (!PDF_Read_Data_Is_Space(byte) && !PDF_Read_Data_Is_Delimiter(byte)) return 0;
  *out_value = sign * value;
  *out_decimals = decimals;
  return at - position;
}

uint64_t PDF_Read_Data_Read_Integer(PDF_Read_Data* reader, uint64_t* out_value, uint64_t position, int32_t* out_sign) {
  if (out_sign != nullptr) *out_sign = 1;
  if (reader == nullptr || out_value == nullptr) return PDF_READ_INVALID_ARGUMENT;
  *out_value = 0;
  uint8_t byte = 0;
  uint64_t skipped = PDF_Read_Data_Skip_Space(reader, position, &byte);
  if (skipped == 0) return 0;
  uint64_t at = position + skipped - 1;
  if (byte == '-') {
    if (out_sign != nullptr) *out_sign = -1;
    at += 1;
    if (!Read_Byte(reader, at, &byte)) return 0;
  }
  if (!Is_Digit(byte)) return 0;
  uint64_t value = 0;
  while (Is_Digit(byte)) {
    value = value * 10 + static_cast<uint64_t>(byte - '0');  // wraps, as it stands
    at += 1;
    if (!Read_Byte(reader, at, &byte)) return 0;  // an integer needs a terminator
  }
  if (!PDF_Read_Data_Is_Space(byte)) return 0;
  *out_value = value;
  return at - position + 1;
}

uint64_t PDF_Text_Read_Integer(const uint8_t* bytes, uint64_t length, int32_t* out_value) {
  if (out_value == nullptr) return 0;
  *out_value = 0;
  if (length == 0 || bytes == nullptr) return 0;
  uint64_t at = 0;
  while (at < length && PDF_Read_Data_Is_Space(bytes[at])) ++at;
  if (at == length) return 0;
  bool negative = false;
  if (bytes[at] == '-' || bytes[at] == '+') {
    negative = bytes[at] == '-';
    ++at;
    if (at == length) return 0;
  }
  if (bytes[at] < '0' || bytes[at] > '9') return 0;
  // Summed in 32 bits; a longer run of digits simply wraps.
  uint32_t value = 0;
  while (at < length && bytes[at] >= '0' && bytes[at] <= '9') {
    value = value * 10u + static_cast<uint32_t>(bytes[at] - '0');
    ++at;
  }
  if (negative) value = 0u - value;
  *out_value = static_cast<int32_t>(value);
  return at;
}
