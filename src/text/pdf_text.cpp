#include "text/pdf_text.h"
#include "runtime/pdf_memory.h"

namespace {

// Windows-1252: only the differences from Latin-1, in 0x80 to 0x9F.
// Kept: the five positions that Windows-1252 leaves undefined (0x81, 0x8D,
// 0x8F, 0x90, 0x9D) are 0, so those bytes become the C1 control of the same
// number rather than an error or a replacement character.
constexpr uint32_t win_ansi_table[256] = {
    // 0x00 - 0x7F: the byte itself
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // 0x80 - 0x8F
    0x20AC, 0, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0, 0x017D, 0,
    // 0x90 - 0x9F
    0, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0, 0x017E,
    0x0178,
    // 0xA0 - 0xFF: the byte itself
};

// PDFDocEncoding: only the differences from Latin-1, in 0x18 to 0x1F and
// 0x80 to 0xA0.
// Kept: four places differ from the published table: 0x8A is a hyphen-minus
// rather than U+2212, and 0x9C, 0x9E and 0x9F are 0 so that they fall through
// to the Windows-1252 table (U+0153, U+017E, U+0178). Names and texts read
// from files convert to exactly these characters.
constexpr uint32_t pdf_doc_table[256] = {
    // 0x00 - 0x17: the byte itself
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // 0x18 - 0x1F
    0x02D8, 0x02C7, 0x02C6, 0x02D9, 0x02DD, 0x02DB, 0x02DA, 0x02DC,
    // 0x20 - 0x7F: the byte itself
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    // 0x80 - 0x8F
    0x2022, 0x2020, 0x2021, 0x2026, 0x2014, 0x2013, 0x0192, 0x2044, 0x2039, 0x203A, 0x002D, 0x2030, 0x201E, 0x201C,
    0x201D, 0x2018,
    // 0x90 - 0x9F
    0x2019, 0x201A, 0x2122, 0xFB01, 0xFB02, 0x0141, 0x0152, 0x0160, 0x0178, 0x017D, 0x0131, 0x0142, 0, 0x0161, 0, 0,
    // 0xA0
    0x20AC,
    // 0xA1 - 0xFF: the byte itself
};

static_assert(win_ansi_table[0x7F] == 0 && win_ansi_table[0x80] == 0x20AC && win_ansi_table[0x9F] == 0x0178 &&
                  win_ansi_table[0xA0] == 0,
              "Windows-1252 entries out of place");
static_assert(pdf_doc_table[0x17] == 0 && pdf_doc_table[0x18] == 0x02D8 && pdf_doc_table[0x20] == 0 &&
                  pdf_doc_table[0x80] == 0x2022 && pdf_doc_table[0xA0] == 0x20AC && pdf_doc_table[0xA1] == 0,
              "PDFDocEncoding entries out of place");

// The byte at index, or 0 behind the end of the input. Readers that run past
// the end (a UTF-8 sequence cut short, an odd last byte of UTF-16, the partner
// of a trailing high surrogate) thus see a NUL there rather than whatever
// follows the caller's buffer.
inline uint8_t Byte_At(const uint8_t* bytes, uint64_t length, uint64_t index) {
  return index < length ? bytes[index] : 0;
}

uint32_t Significant_Bits(uint32_t value) {
  uint32_t bits = 0;
  while (value != 0) {
    bits += 1;
    value >>= 1;
  }
  return bits;
}

// Reads one UTF-8 character at *position and moves past it. single tells a
// byte below 0x80 from a decoded sequence.
// Kept: overlong forms and values above U+10FFFF that fit in 21 bits are
// accepted; only more than 21 bits is refused.
PDF_Result Read_UTF8_Char(const uint8_t* input, uint64_t length, uint64_t* position, uint32_t* code, bool* single) {
  uint8_t lead = input[*position];
  if (lead < 0x80) {
    *code = lead;
    *single = true;
    *position += 1;
    return PDF_RESULT_OK;
  }
  if ((lead & 0x40) == 0) return PDF_RESULT_BAD_UTF8;
  uint32_t count = 2;
  while (count < 8 && (lead & (0x80u >> count)) != 0) count += 1;
  if (count > 4) return PDF_RESULT_BAD_UTF8;
  uint32_t value = lead & (0xFFu >> (count + 1));
  for (uint32_t k = 1; k < count; ++k) {
    uint8_t next = Byte_At(input, length, *position + k);
    if ((next & 0xC0) != 0x80) return PDF_RESULT_BAD_UTF8;
    value = (value << 6) | (next & 0x3F);
  }
  if (Significant_Bits(value) > 21) return PDF_RESULT_BAD_UTF8;
  *code = value;
  *single = false;
  *position += count;
  return PDF_RESULT_OK;
}

// Reads the next code point of a PDF_Text_To_UTF8 source at *position and
// moves past it. A high surrogate needs the position plus pair_room bytes to
// lie before the end; otherwise the pass stops there and the answer is false.
bool Read_Source_Unit(const uint8_t* input, uint64_t length, PDF_Text_Encoding encoding, bool little_endian,
                      uint64_t pair_room, uint64_t* position, uint32_t* code) {
  uint64_t at = *position;
  if (encoding == PDF_TEXT_UTF16) {
    uint32_t first = Byte_At(input, length, at);
    uint32_t second = Byte_At(input, length, at + 1);
    // Kept: an odd last byte is not dropped but makes a unit with the byte
    // behind the input, which reads as 0.
    uint32_t unit = little_endian ? (second << 8) | first : (first << 8) | second;
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      if (at + pair_room >= length) return false;
      // Kept: the low unit is assembled in the byte order opposite to the
      // text's, and neither it nor the pair is checked, so a surrogate pair
      // never gives the character it encodes.
      uint32_t third = Byte_At(input, length, at + 2);
      uint32_t fourth = Byte_At(input, length, at + 3);
      uint32_t low = little_endian ? (third << 8) | fourth : (fourth << 8) | third;
      *code = ((unit - 0xD800) << 10) + low + 0x2400;
      *position = at + 4;
      return true;
    }
    *code = unit;
    *position = at + 2;
    return true;
  }
  uint8_t byte = input[at];
  uint32_t mapped = 0;
  if (encoding == PDF_TEXT_PDF_DOC) mapped = pdf_doc_table[byte];
  if (mapped == 0 && encoding != PDF_TEXT_LATIN1) mapped = win_ansi_table[byte];
  *code = mapped != 0 ? mapped : byte;
  *position = at + 1;
  return true;
}

uint64_t UTF8_Size(uint32_t code) {
  if (code < 0x80) return 1;
  if (code < 0x800) return 2;
  if (code < 0x10000) return 3;
  if (code < 0x110000) return 4;
  return 1;  // written as a space
}

}  // namespace

PDF_Result PDF_Text_From_UTF8(PDF_Memory* memory, const void* input, uint64_t length, uint8_t** out_text,
                              uint64_t* out_length, uint8_t* wide, bool measure_only) {
  if (input == nullptr || out_length == nullptr || wide == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (!measure_only && (memory == nullptr || out_text == nullptr)) return PDF_RESULT_INVALID_ARGUMENT;
  if (out_text != nullptr) *out_text = nullptr;
  *out_length = 0;
  const uint8_t* bytes = static_cast<const uint8_t*>(input);

  // First pass: the size and the form.
  bool is_wide = *wide != 0;
  uint64_t size = is_wide ? 2 : 0;
  // Kept: the narrow form holds U+0020 to U+007E and U+00A1 to U+00FF only; a
  // control character such as a tab or line feed, or any of U+0080 to
  // U+00A0, makes the whole text wide.
  for (uint64_t position = 0; position < length;) {
    uint32_t code = 0;
    bool single = false;
    PDF_Result result = Read_UTF8_Char(bytes, length, &position, &code, &single);
    if (result != PDF_RESULT_OK) return result;
    if (single) {
      if (!is_wide) {
        if (code >= 32 && code <= 126) {
          size += 1;
          continue;
        }
        // Everything so far doubles and the mark goes in front.
        is_wide = true;
        size = (size + 1) * 2;
      }
      size += 2;
    } else {
      if (!is_wide) {
        if (code >= 0xA1 && code <= 0xFF) {
          size += 1;
          continue;
        }
        is_wide = true;
        size = size * 2 + 2;
      }
      size += Significant_Bits(code) <= 16 ? 2 : 4;
    }
  }
  if (measure_only) {
    *out_length = size;
    *wide = is_wide ? 1 : 0;
    return PDF_RESULT_OK;
  }

  // Second pass: the text.
  uint8_t* text = static_cast<uint8_t*>(PDF_Memory_Alloc(memory, size + 1));
  if (text == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  uint64_t written = 0;
  if (is_wide) {
    text[written++] = 0xFE;
    text[written++] = 0xFF;
  }
  for (uint64_t position = 0; position < length;) {
    uint32_t code = 0;
    bool single = false;
    PDF_Result result = Read_UTF8_Char(bytes, length, &position, &code, &single);
    if (result != PDF_RESULT_OK) {
      PDF_Memory_Free(memory, &text);
      return result;
    }
    if (single) {
      if (is_wide) text[written++] = 0;
      text[written++] = static_cast<uint8_t>(code);
    } else if (is_wide) {
      if (Significant_Bits(code) <= 16) {
        text[written++] = static_cast<uint8_t>(code >> 8);
        text[written++] = static_cast<uint8_t>(code);
      } else {
        // Kept: not UTF-16. The first and third bytes are constants and the
        // character can't be read back from these four bytes (U+1F600 is
        // DB 3D DF 00); this is what the library writes for such characters.
        uint32_t high = (code >> 10) - 64;
        text[written++] = 0xDB;
        text[written++] = static_cast<uint8_t>(high);
        text[written++] = 0xDF;
        text[written++] = static_cast<uint8_t>(code);
      }
    } else {
      if (Significant_Bits(code) > 8) {
        PDF_Memory_Free(memory, &text);
        return PDF_RESULT_INVALID_ARGUMENT;
      }
      text[written++] = static_cast<uint8_t>(code);
    }
  }
  text[written] = 0;
  *out_text = text;
  *out_length = written;
  *wide = is_wide ? 1 : 0;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Text_To_UTF8(PDF_Memory* memory, const void* input, uint64_t length, PDF_Text_Encoding encoding,
                            char** out_text, uint64_t* out_length, bool measure_only) {
  if (input == nullptr || out_length == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (!measure_only && (memory == nullptr || out_text == nullptr)) return PDF_RESULT_INVALID_ARGUMENT;
  if (encoding != PDF_TEXT_LATIN1 && encoding != PDF_TEXT_WIN_ANSI && encoding != PDF_TEXT_PDF_DOC &&
      encoding != PDF_TEXT_UTF16) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  if (out_text != nullptr) *out_text = nullptr;
  *out_length = 0;
  const uint8_t* bytes = static_cast<const uint8_t*>(input);

  uint64_t start = 0;
  bool little_endian = false;
  // Kept: a mark is looked for only in three bytes or more, so the two bytes
  // FE FF alone are the character U+FEFF, and FF FE alone U+FFFE.
  if (encoding == PDF_TEXT_UTF16 && length >= 3) {
    if (bytes[0] == 0xFE && bytes[1] == 0xFF) {
      start = 2;
    } else if (bytes[0] == 0xFF && bytes[1] == 0xFE) {
      start = 2;
      little_endian = true;
    }
  }

  // First pass. A high surrogate with no whole unit behind it ends the pass.
  uint64_t size = 0;
  bool stopped = false;
  for (uint64_t position = start; position < length;) {
    uint32_t code = 0;
    if (!Read_Source_Unit(bytes, length, encoding, little_endian, 2, &position, &code)) {
      stopped = true;
      break;
    }
    size += UTF8_Size(code);
  }
  if (measure_only) {
    *out_length = size;
    return PDF_RESULT_OK;
  }

  // Second pass.
  // Kept: its test before a pair wants only one byte behind the high unit,
  // so a high surrogate in the last two bytes, where the first pass stopped,
  // is combined here with two bytes from behind the input (read as 0) and
  // gives one character more than was measured: the length written can
  // exceed what measure_only answered. The allocation keeps room for it.
  uint64_t room = stopped ? size + 4 : size;
  char* text = static_cast<char*>(PDF_Memory_Alloc(memory, room + 1));
  if (text == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  *out_text = text;
  uint64_t written = 0;
  for (uint64_t position = start; position < length;) {
    uint32_t code = 0;
    if (!Read_Source_Unit(bytes, length, encoding, little_endian, 1, &position, &code)) break;
    uint32_t count = 0;
    uint32_t packed = PDF_UTF8_Encode_Code_Point(code, &count);
    // Kept: a code point above U+10FFFF becomes a space, the one
    // substitution here; nothing in this conversion is an error.
    if (count == 0) {
      packed = 0x20;
      count = 1;
    }
    for (uint32_t k = count; k > 0; --k) text[written++] = static_cast<char>(packed >> (8 * (k - 1)));
  }
  text[written] = 0;
  *out_length = written;
  return PDF_RESULT_OK;
}

PDF_Result PDF_Text_To_Hex(PDF_Memory* memory, const void* input, uint64_t length, char** out_text,
                           uint64_t* out_length, bool measure_only) {
  if (out_length == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (!measure_only && (input == nullptr || memory == nullptr || out_text == nullptr)) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  uint64_t size = length * 2;
  if (measure_only) {
    *out_length = size;
    return PDF_RESULT_OK;
  }
  *out_text = nullptr;
  *out_length = 0;
  char* text = static_cast<char*>(PDF_Memory_Alloc(memory, size + 1));
  if (text == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  static const char digits[] = "0123456789ABCDEF";
  const uint8_t* bytes = static_cast<const uint8_t*>(input);
  for (uint64_t i = 0; i < length; ++i) {
    text[2 * i] = digits[bytes[i] >> 4];
    text[2 * i + 1] = digits[bytes[i] & 0x0F];
  }
  text[size] = 0;
  *out_text = text;
  *out_length = size;
  return PDF_RESULT_OK;
}

// Kept: surrogate code points are encoded as three bytes like any other, so
// a lone surrogate read from UTF-16 comes out as such bytes.
uint32_t PDF_UTF8_Encode_Code_Point(uint32_t code_point, uint32_t* out_count) {
  if (out_count == nullptr) return 0;
  if (code_point < 0x80) {
    *out_count = 1;
    return code_point;
  }
  if (code_point < 0x800) {
    *out_count = 2;
    return ((0xC0 | (code_point >> 6)) << 8) | (0x80 | (code_point & 0x3F));
  }
  if (code_point < 0x10000) {
    *out_count = 3;
    return ((0xE0 | (code_point >> 12)) << 16) | ((0x80 | ((code_point >> 6) & 0x3F)) << 8) |
           (0x80 | (code_point & 0x3F));
  }
  if (code_point <= 0x10FFFF) {
    *out_count = 4;
    return ((0xF0 | (code_point >> 18)) << 24) | ((0x80 | ((code_point >> 12) & 0x3F)) << 16) |
           ((0x80 | ((code_point >> 6) & 0x3F)) << 8) | (0x80 | (code_point & 0x3F));
  }
  *out_count = 0;
  return 0;
}

uint64_t PDF_Text_Length(const char* text) {
  if (text == nullptr) return 0;
  uint64_t length = 0;
  while (text[length] != 0) length += 1;
  return length;
}

int32_t PDF_Bytes_Differ(const void* first, const void* second, uint64_t count) {
  if (count == 0 || first == second) return 0;
  if (first == nullptr || second == nullptr) return 1;
  const uint8_t* a = static_cast<const uint8_t*>(first);
  const uint8_t* b = static_cast<const uint8_t*>(second);
  for (uint64_t i = count; i > 0; --i) {
    if (a[i - 1] != b[i - 1]) return 1;
  }
  return 0;
}
