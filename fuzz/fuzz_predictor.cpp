// Predictors over a buffer: the first six bytes choose the predictor, the
// colors and the columns; the rest is the data, decoded in place.
#include <cstdint>
#include <cstring>
#include <vector>

#include "filters/pdf_predictor.h"
#include "runtime/pdf_result.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 6) return 0;
  static const uint8_t kPredictors[] = {1, 2, 10, 11, 12, 13, 14, 15};
  uint8_t selector = data[0];
  uint8_t predictor = (selector & 0x80) != 0 ? selector : kPredictors[selector % 8];
  uint8_t colors = data[1];
  uint32_t columns = 0;
  memcpy(&columns, data + 2, 4);
  // Mostly small rows, so that rows repeat; sometimes any 32-bit count.
  if ((selector & 0x40) == 0) columns %= 64;
  std::vector<uint8_t> buffer(data + 6, data + size);
  uint64_t length = 0xFFFFFFFFFFFFFFFFull;
  PDF_Result result = PDF_Predictor_Decode(buffer.data(), buffer.size(), colors, columns, predictor, &length);
  if (result == PDF_RESULT_OK && predictor != 1 && length > buffer.size()) __builtin_trap();
  return 0;
}
