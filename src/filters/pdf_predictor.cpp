#include "filters/pdf_predictor.h"

namespace {

// Running sums per component within each row.
void PDF_Predictor_Decode_Tiff(uint8_t* buffer, uint64_t length, uint8_t colors, uint32_t row_bytes) {
  // Rows without a byte have nothing to sum, and stepping by them would never
  // get anywhere.
  if (row_bytes == 0) return;
  for (uint64_t row = 0; row < length; row += row_bytes) {
    uint64_t end = length - row < row_bytes ? length : row + row_bytes;
    for (uint64_t i = row + colors; i < end; ++i) buffer[i] = static_cast<uint8_t>(buffer[i] + buffer[i - colors]);
  }
}

uint8_t PDF_Predictor_Paeth(uint8_t left, uint8_t up, uint8_t upper_left) {
  int16_t estimate = static_cast<int16_t>(left + up - upper_left);
  int16_t to_left = static_cast<int16_t>(estimate > left ? estimate - left : left - estimate);
  int16_t to_up = static_cast<int16_t>(estimate > up ? estimate - up : up - estimate);
  int16_t to_upper_left = static_cast<int16_t>(estimate > upper_left ? estimate - upper_left : upper_left - estimate);
  if (to_left <= to_up && to_left <= to_upper_left) return left;
  if (to_up <= to_upper_left) return up;
  return upper_left;
}

// Rows of one tag byte and row_bytes data bytes, compacted to row_bytes each.
// The output never overtakes the input: each byte is read before anything is
// written over it, and the previous decoded row stays intact until the row
// after it is done.
PDF_Result PDF_Predictor_Decode_Png(uint8_t* buffer, uint64_t length, uint8_t colors, uint32_t row_bytes,
                                    uint64_t* out_length) {
  uint64_t in = 0;
  uint64_t out = 0;
  const uint8_t* previous = nullptr;  // previous decoded row; null in the first row
  while (in < length) {
    uint8_t tag = buffer[in++];
    if (tag > 4) return PDF_RESULT_MALFORMED_FILTER;
    uint64_t count = length - in < row_bytes ? length - in : row_bytes;
    const uint8_t* stored = buffer + in;
    uint8_t* row = buffer + out;
    for (uint64_t j = 0; j < count; ++j) {
      uint8_t left = j >= colors ? row[j - colors] : 0;
      uint8_t up = previous != nullptr ? previous[j] : 0;
      uint8_t add = 0;
      switch (tag) {
        case 0:
          break;
        case 1:
          add = left;
          break;
        case 2:
          add = up;
          break;
        case 3:
          // Kept: not the PNG average. In the first row this is a plain
          // running sum, and in later rows the first colors bytes take up
          // whole; only the bytes after them take the halved sum. These are
          // the bytes that real files are decoded to.
          if (previous == nullptr) {
            add = left;
          } else if (j < colors) {
            add = up;
          } else {
            add = static_cast<uint8_t>((up + left) >> 1);
          }
          break;
        default: {
          uint8_t upper_left = previous != nullptr && j >= colors ? previous[j - colors] : 0;
          add = PDF_Predictor_Paeth(left, up, upper_left);
          break;
        }
      }
      row[j] = static_cast<uint8_t>(stored[j] + add);
    }
    previous = row;
    in += count;
    out += count;
  }
  *out_length = out;
  return PDF_RESULT_OK;
}

}  // namespace

PDF_Result PDF_Predictor_Decode(uint8_t* buffer, uint64_t length, uint8_t colors, uint32_t columns, uint8_t predictor,
                                uint64_t* out_length) {
  if (predictor == 1) return PDF_RESULT_OK;
  if (predictor != 2 && (predictor < 10 || predictor > 15)) return PDF_RESULT_MALFORMED_FILTER;
  if ((buffer == nullptr && length != 0) || out_length == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  // Kept: the row size is a 32-bit product; a Columns that makes it wrap
  // gives short rows (or none) rather than a refusal.
  uint32_t row_bytes = static_cast<uint32_t>(colors) * columns;
  if (predictor == 2) {
    PDF_Predictor_Decode_Tiff(buffer, length, colors, row_bytes);
    *out_length = length;
    return PDF_RESULT_OK;
  }
  return PDF_Predictor_Decode_Png(buffer, length, colors, row_bytes, out_length);
}
