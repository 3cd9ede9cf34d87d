#include "objects/pdf_string.h"
#include "runtime/pdf_memory.h"

#include <cstdlib>
#include <cstring>

#include "objects/pdf_object.h"
#include "objects/pdf_object_security.h"
#include "reader/pdf_file.h"
#include "reader/pdf_read_data.h"

static bool Is_Octal(uint8_t byte) { return byte >= '0' && byte <= '7'; }

static bool Is_Hex_Digit(uint8_t byte) {
  return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f') || (byte >= 'A' && byte <= 'F');
}

PDF_Result PDF_String_Create(PDF_String** out_string, PDF_File* file, const uint8_t* bytes, uint32_t kind,
                             uint64_t length, bool escape) {
  if (out_string == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_string = nullptr;
  PDF_String* string = PDF_Memory_Alloc_Zeroed<PDF_String>(file->memory);
  if (string == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  string->kind = kind;
  PDF_Result result = PDF_String_Set(string, file, bytes, kind, length, escape);
  if (result != PDF_RESULT_OK) {
    PDF_String_Delete(&string, file);
    return result;
  }
  *out_string = string;
  return PDF_RESULT_OK;
}

PDF_Result PDF_String_Set(PDF_String* string, PDF_File* file, const uint8_t* bytes, uint32_t kind, uint64_t length,
                          bool escape) {
  if (string == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (length == 0) {
    string->length = 0;
    if (string->bytes != nullptr) string->bytes[0] = 0;
    string->kind = kind;
    return PDF_RESULT_OK;
  }
  if (bytes == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (string->capacity < length + 1) {
    if (string->bytes != nullptr) PDF_Memory_Free(file->memory, &string->bytes);
    string->bytes = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, length + 1));
    if (string->bytes == nullptr) {
      string->capacity = 0;
      string->length = 0;
      return PDF_RESULT_OUT_OF_MEMORY;
    }
    string->capacity = length + 1;
  }
  memmove(string->bytes, bytes, length);
  string->bytes[length] = 0;
  string->length = length;
  string->kind = kind;
  if (escape) {
    uint8_t* escaped = nullptr;
    uint64_t escaped_length = 0;
    PDF_Result result = PDF_String_Escape(file->memory, string->bytes, string->length, &escaped, &escaped_length);
    if (result != PDF_RESULT_OK) return result;
    PDF_Memory_Free(file->memory, &string->bytes);
    string->bytes = escaped;
    string->length = escaped_length;
    string->capacity = escaped_length + 1;
  }
  return PDF_RESULT_OK;
}

PDF_Result PDF_String_Append(PDF_String* string, PDF_File* file, const uint8_t* bytes, uint64_t count) {
  if (string == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (count == 0) return PDF_RESULT_OK;
  if (bytes == nullptr) return PDF_RESULT_MISSING_DATA;
  uint64_t needed = string->length + count + 1;
  if (string->capacity < needed) {
    uint8_t* block = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, needed));
    if (block == nullptr) return PDF_RESULT_OUT_OF_MEMORY;  // the old block stays in place
    if (string->bytes != nullptr) {
      memcpy(block, string->bytes, string->length);
      PDF_Memory_Free(file->memory, &string->bytes);
    }
    string->bytes = block;
    string->capacity = needed;
  }
  memcpy(string->bytes + string->length, bytes, count);
  string->length += count;
  string->bytes[string->length] = 0;
  return PDF_RESULT_OK;
}

PDF_Result PDF_String_Delete(PDF_String** holder, PDF_File* file) {
  if (holder == nullptr || *holder == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  PDF_String* string = *holder;
  PDF_Result result = PDF_RESULT_OK;
  if (string->bytes != nullptr) result = PDF_Memory_Free(file->memory, &string->bytes);
  PDF_Result released = PDF_Memory_Free(file->memory, holder);
  return result != PDF_RESULT_OK ? result : released;
}

PDF_Result PDF_String_Copy(PDF_String** out_string, PDF_File* file, const PDF_String* source, int32_t) {
  if (out_string == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_string = nullptr;
  if (source == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  return PDF_String_Create(out_string, file, source->bytes, source->kind, source->length, false);
}

uint8_t* PDF_String_Get_Text(const PDF_String* string) { return string == nullptr ? nullptr : string->bytes; }

bool PDF_String_Equals(const PDF_String* string, const uint8_t* bytes, uint32_t kind, uint64_t length) {
  if (string == nullptr || string->bytes == nullptr || bytes == nullptr) return true;
  if (string->length != length || string->kind != kind) return true;
  return memcmp(string->bytes, bytes, length) != 0;
}

int32_t PDF_String_Compare(const PDF_String* string, const uint8_t* bytes, uint32_t kind, uint64_t length) {
  if (string == nullptr || string->bytes == nullptr || bytes == nullptr || string->kind != kind) return 2;
  const uint8_t* raw = string->bytes;
  const uint64_t raw_length = string->length;
  if (kind == PDF_STRING_KIND_LITERAL) {
    uint64_t at = 0;
    for (uint64_t i = 0; i < length; ++i) {
      if (at >= raw_length) return -1;
      uint8_t decoded = raw[at++];
      if (decoded == '\\') {
        if (at >= raw_length) return -1;
        uint8_t escaped = raw[at++];
        switch (escaped) {
          case '\n':
          case '\r':
            continue;  // a line continuation; it still uses up one plain byte
          case 'b':
            decoded = 8;
            break;
          case 'f':
            decoded = 12;
            break;
          case 'n':
            decoded = 10;
            break;
          case 'r':
            decoded = 13;
            break;
          case 't':
            decoded = 9;
            break;
          default:
            if (Is_Octal(escaped)) {
              // One digit's value alone; a second digit is passed over and a
              // third stands for itself.
              decoded = static_cast<uint8_t>(escaped - '0');
              if (at < raw_length && Is_Octal(raw[at])) at += 1;
            } else {
              decoded = escaped;  // "(", ")", backslash and any other byte
            }
            break;
        }
      }
      if (bytes[i] < decoded) return 1;
      if (bytes[i] > decoded) return -1;
    }
    return at < raw_length ? 1 : 0;
  }
  // Other kinds: pairwise steps over the shorter length.
  uint64_t shorter = raw_length < length ? raw_length : length;
  int32_t provisional = raw_length < length ? -1 : (raw_length > length ? 1 : 0);
  for (uint64_t i = 0; i < shorter; i += 2) {
    if (static_cast<int8_t>(raw[i]) > static_cast<int32_t>(bytes[i])) return 1;
    if (i + 1 < shorter && raw[i + 1] < bytes[i + 1]) return -1;
  }
  return provisional;
}

// Skips white space (not comments) and tests for the opening byte. Returns
// the bytes through it, 0 when another byte or the end comes first.
static uint64_t Read_Opening(PDF_Read_Data* reader, uint64_t position, uint8_t opening) {
  uint64_t count = 0;
  uint8_t byte = 0;
  for (;;) {
    if (PDF_Read_Data_Read(reader, &byte, position + count, 1) != 1) return 0;
    count += 1;
    if (!PDF_Read_Data_Is_Space(byte)) return byte == opening ? count : 0;
  }
}

enum { LITERAL_BUFFER_SIZE = 1024, HEX_BUFFER_SIZE = 1024 };

uint64_t PDF_String_Read_Literal(PDF_String* string, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (string == nullptr || file == nullptr || reader == nullptr) return 0;
  uint64_t count = Read_Opening(reader, position, '(');
  if (count == 0) return 0;
  if (PDF_String_Set(string, file, nullptr, PDF_STRING_KIND_LITERAL, 0, false) != PDF_RESULT_OK) return 0;
  int32_t depth = 1;
  bool escaped = false;
  uint8_t buffer[LITERAL_BUFFER_SIZE];
  uint64_t filled = 0;
  for (;;) {
    uint8_t byte = 0;
    if (PDF_Read_Data_Read(reader, &byte, position + count, 1) != 1) return 0;  // unterminated
    count += 1;
    buffer[filled++] = byte;
    bool complete = false;
    if (byte == '(') {
      if (!escaped) depth += 1;
      escaped = false;
    } else if (byte == ')') {
      if (!escaped) {
        depth -= 1;
        if (depth == 0) {
          complete = true;
          filled -= 1;  // the closing parenthesis is no content
        }
      }
      escaped = false;
    } else if (byte == '\\') {
      escaped = !escaped;
    } else {
      escaped = false;
    }
    if (filled == LITERAL_BUFFER_SIZE) {
      if (PDF_String_Append(string, file, buffer, filled) != PDF_RESULT_OK) return 0;
      filled = 0;
    }
    if (complete) break;
  }
  if (PDF_String_Append(string, file, buffer, filled) != PDF_RESULT_OK) return 0;
  return count;
}

uint64_t PDF_String_Read_Hex(PDF_String* string, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (string == nullptr || file == nullptr || reader == nullptr) return 0;
  uint64_t count = Read_Opening(reader, position, '<');
  if (count == 0) return 0;
  if (PDF_String_Set(string, file, nullptr, PDF_STRING_KIND_HEX, 0, false) != PDF_RESULT_OK) return 0;
  uint8_t buffer[HEX_BUFFER_SIZE];
  for (;;) {
    uint64_t delivered = PDF_Read_Data_Read(reader, buffer, position + count, HEX_BUFFER_SIZE);
    uint64_t scanned = 0;
    while (scanned < delivered && (Is_Hex_Digit(buffer[scanned]) || PDF_Read_Data_Is_Space(buffer[scanned]))) {
      scanned += 1;
    }
    if (PDF_String_Append(string, file, buffer, scanned) != PDF_RESULT_OK) return 0;
    count += scanned;
    if (scanned < HEX_BUFFER_SIZE) break;
  }
  uint8_t byte = 0;
  if (PDF_Read_Data_Read(reader, &byte, position + count, 1) != 1 || byte != '>') return 0;
  return count + 1;
}

uint64_t PDF_String_Read(PDF_String** out_string, PDF_File* file, PDF_Read_Data* reader, uint64_t position) {
  if (out_string == nullptr || file == nullptr || reader == nullptr) return 0;
  *out_string = nullptr;
  PDF_String* string = nullptr;
  if (PDF_String_Create(&string, file, nullptr, PDF_STRING_KIND_LITERAL, 0, false) != PDF_RESULT_OK) return 0;
  uint64_t count = PDF_String_Read_Literal(string, file, reader, position);
  if (count == 0) count = PDF_String_Read_Hex(string, file, reader, position);
  if (count == 0) {
    PDF_String_Delete(&string, file);
    return 0;
  }
  *out_string = string;
  return count;
}

PDF_Result PDF_String_Decode_Literal(uint8_t* bytes, uint64_t length, uint64_t* out_length, bool count_only) {
  if (out_length == nullptr || (bytes == nullptr && length != 0)) return PDF_RESULT_INVALID_ARGUMENT;
  uint64_t in = 0;
  uint64_t out = 0;
  while (in < length) {
    uint8_t byte = bytes[in++];
    if (byte == '\\') {
      if (in >= length) break;  // a trailing backslash ends the walk
      uint8_t escaped = bytes[in++];
      int32_t value = -1;  // -1: nothing is written
      switch (escaped) {
        case '\n':
          break;
        case '\r':
          if (in < length && bytes[in] == '\n') in += 1;
          break;
        case '(':
        case ')':
        case '\\':
          value = escaped;
          break;
        case 'b':
          value = 8;
          break;
        case 'f':
          value = 12;
          break;
        case 'n':
          value = 10;
          break;
        case 'r':
          value = 13;
          break;
        case 't':
          value = 9;
          break;
        default:
          if (Is_Octal(escaped)) {
            value = escaped - '0';
            for (int digits = 1; digits < 3 && in < length && Is_Octal(bytes[in]); ++digits) {
              value = value * 8 + (bytes[in++] - '0');
            }
            value &= 0xFF;
          }
          // Any other escaped byte is dropped together with the backslash.
          break;
      }
      if (value >= 0) {
        if (!count_only) bytes[out] = static_cast<uint8_t>(value);
        out += 1;
      }
    } else if (byte == '\r') {
      if (in < length && bytes[in] == '\n') in += 1;
      if (!count_only) bytes[out] = '\n';
      out += 1;
    } else {
      if (!count_only) bytes[out] = byte;
      out += 1;
    }
  }
  *out_length = out;
  return PDF_RESULT_OK;
}

PDF_Result PDF_String_Decode_Hex(uint8_t* bytes, uint64_t length, uint64_t* out_length, bool count_only) {
  if (out_length == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (count_only) {
    *out_length = (length + 1) / 2;
    return PDF_RESULT_OK;
  }
  if (bytes == nullptr && length != 0) return PDF_RESULT_INVALID_ARGUMENT;
  uint64_t in = 0;
  uint64_t out = 0;
  for (;;) {
    while (in < length && PDF_Read_Data_Is_Space(bytes[in])) in += 1;
    if (in >= length) break;
    char pair[3] = {static_cast<char>(bytes[in++]), '0', 0};
    while (in < length && PDF_Read_Data_Is_Space(bytes[in])) in += 1;
    if (in < length) pair[1] = static_cast<char>(bytes[in++]);
    bytes[out++] = static_cast<uint8_t>(strtol(pair, nullptr, 16));
  }
  if (bytes != nullptr) bytes[out] = 0;
  *out_length = out;
  return PDF_RESULT_OK;
}

PDF_Result PDF_String_Escape(PDF_Memory* memory, const uint8_t* bytes, uint64_t length, uint8_t** out_bytes,
                             uint64_t* out_length) {
  if (bytes == nullptr || out_bytes == nullptr || out_length == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  *out_bytes = nullptr;
  *out_length = 0;
  uint64_t extra = 0;
  for (uint64_t i = 0; i < length; ++i) {
    switch (bytes[i]) {
      case '\n':
      case '\r':
      case '\b':
      case '\t':
      case '\f':
      case '(':
      case ')':
      case '\\':
        extra += 1;
        break;
      default:
        break;
    }
  }
  uint8_t* block = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, length + extra + 1));
  if (block == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  uint64_t out = 0;
  for (uint64_t i = 0; i < length; ++i) {
    uint8_t byte = bytes[i];
    uint8_t letter = 0;
    switch (byte) {
      case '\n':
        letter = 'n';
        break;
      case '\r':
        letter = 'r';
        break;
      case '\b':
        letter = 'b';
        break;
      case '\t':
        letter = 't';
        break;
      case '\f':
        letter = 'f';
        break;
      case '(':
      case ')':
      case '\\':
        letter = byte;
        break;
      default:
        break;
    }
    if (letter != 0) {
      block[out++] = '\\';
      block[out++] = letter;
    } else {
      block[out++] = byte;
    }
  }
  block[out] = 0;
  *out_bytes = block;
  *out_length = out;
  return PDF_RESULT_OK;
}

// Decodes the string's form in place, runs the cipher over the plain bytes
// and stores the result in the literal form.
static PDF_Result Apply_Cipher(PDF_String* string, PDF_File* file, PDF_Object* container, bool decrypt) {
  uint64_t decoded_length = 0;
  PDF_Result result;
  if (string->kind == PDF_STRING_KIND_LITERAL) {
    result = PDF_String_Decode_Literal(string->bytes, string->length, &decoded_length, false);
  } else if (string->kind == PDF_STRING_KIND_HEX) {
    result = PDF_String_Decode_Hex(string->bytes, string->length, &decoded_length, false);
  } else {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  if (result != PDF_RESULT_OK) return result;
  const PDF_Write_Key* write_key = static_cast<const PDF_Write_Key*>(file->write_security);
  result = decrypt ? PDF_Security_Decrypt_Bytes(file, container, string->bytes, decoded_length)
                   : PDF_Security_Encrypt_Bytes(write_key, container, string->bytes, decoded_length);
  if (result != PDF_RESULT_OK) return result;
  uint8_t* plain = static_cast<uint8_t*>(PDF_Memory_Alloc(file->memory, decoded_length + 1));
  // Kept: a failed allocation of the temporary block answers -500, not -7.
  // The bytes are deciphered already, while length and kind still describe
  // the old form; the object load that called this discards the value.
  if (plain == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  memcpy(plain, string->bytes, decoded_length);
  result = PDF_String_Set(string, file, plain, PDF_STRING_KIND_LITERAL, decoded_length, true);
  PDF_Memory_Free(file->memory, &plain);
  return result;
}

PDF_Result PDF_String_Decrypt(PDF_String* string, PDF_File* file, PDF_Object* container) {
  if (string == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (string->decrypted) return PDF_RESULT_OK;
  string->decrypted = 1;
  if (string->length == 0) return PDF_RESULT_OK;
  return Apply_Cipher(string, file, container, true);
}

PDF_Result PDF_String_Encrypt(PDF_String* string, PDF_Object* container, PDF_File* file) {
  if (string == nullptr || file == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (string->length == 0) return PDF_RESULT_OK;
  return Apply_Cipher(string, file, container, false);
}

uint64_t PDF_String_Get_Written_Length(PDF_String* string, PDF_File* file, PDF_Object* container) {
  if (string == nullptr) return 0;
  bool cipher = file != nullptr && file->write_security != nullptr && container != nullptr &&
                container->type != PDF_Object_Type_Encrypt;
  if (cipher && PDF_String_Encrypt(string, container, file) != PDF_RESULT_OK) return 0;
  uint64_t length = string->length + (string->kind != PDF_STRING_KIND_NAME ? 2 : 0);
  if (cipher && PDF_String_Encrypt(string, container, file) != PDF_RESULT_OK) return 0;
  return length;
}

PDF_Result PDF_String_Set_Owner(PDF_String* string, PDF_Data_Object* owner) {
  if (string == nullptr || owner == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  string->owner = owner;
  return PDF_RESULT_OK;
}
