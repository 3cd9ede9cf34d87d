// Decoding speed of the Flate and LZW decoders over one large stream each.
// Not a test: it prints MB/s of decoded output, so that changes to the
// decoders can be compared. Usage: decode_bench [megabytes of data, default 16]
#include <zlib.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "filters/pdf_flate.h"
#include "filters/pdf_lzw.h"
#include "runtime/pdf_memory.h"

// The LZW encoder of the test suite.
#include "support/lzw_encoder.h"

namespace {

struct Bench_Counter {
  uint64_t requests;
  uint64_t bytes;
};

void* Bench_Alloc(uint64_t size, void* data) {
  Bench_Counter* counter = static_cast<Bench_Counter*>(data);
  counter->requests += 1;
  counter->bytes += size;
  return malloc(size);
}

int32_t Bench_Free(void* block, void*) {
  if (block == nullptr) return -8;
  free(block);
  return 0;
}

// Text shaped like invoice lines: words and numbers, compressing about as
// well as real page content and XML do.
std::string Bench_Data(size_t size) {
  static const char* const words[] = {"<ram:LineTotalAmount>", "</ram:LineTotalAmount>", "Rechnung ", "Position ",
                                      "Stueck ",  "EUR ",  "net ", "VAT ", "BT ", "ET ", "Tf ", "Td ", "\n"};
  std::mt19937 generator(12345);
  std::string data;
  data.reserve(size + 64);
  char number[32];
  while (data.size() < size) {
    data += words[generator() % 13];
    if (generator() % 3 == 0) {
      snprintf(number, sizeof(number), "%u.%02u ", static_cast<unsigned>(generator() % 10000),
               static_cast<unsigned>(generator() % 100));
      data += number;
    }
  }
  data.resize(size);
  return data;
}

typedef PDF_Result (*Bench_Decoder)(PDF_Memory*, const uint8_t*, uint64_t, uint8_t**, uint64_t*);

// Decodes repeatedly for at least a second and at least three times, and
// prints the mean speed.
bool Bench_Run(const char* name, Bench_Decoder decoder, const std::string& encoded, const std::string& original) {
  Bench_Counter counter = {0, 0};
  PDF_Memory memory = {Bench_Alloc, &counter, Bench_Free, nullptr};
  const uint8_t* input = reinterpret_cast<const uint8_t*>(encoded.data());

  uint8_t* buffer = nullptr;
  uint64_t length = 0;
  PDF_Result result = decoder(&memory, input, encoded.size(), &buffer, &length);
  if (result != 0 || length != original.size() || original.compare(0, original.size(), reinterpret_cast<char*>(buffer),
                                                                   static_cast<size_t>(length)) != 0) {
    printf("%s: decoding failed (result %d, %llu bytes)\n", name, result, static_cast<unsigned long long>(length));
    PDF_Memory_Free(&memory, &buffer);
    return false;
  }
  PDF_Memory_Free(&memory, &buffer);
  uint64_t requests_per_decode = counter.requests;
  uint64_t bytes_per_decode = counter.bytes;

  int runs = 0;
  auto start = std::chrono::steady_clock::now();
  double seconds = 0;
  while (runs < 3 || seconds < 1.0) {
    decoder(&memory, input, encoded.size(), &buffer, &length);
    PDF_Memory_Free(&memory, &buffer);
    runs += 1;
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  double megabytes = static_cast<double>(original.size()) * runs / (1024.0 * 1024.0);
  printf("%-6s %10zu -> %10zu bytes  %2llu allocations (%llu bytes) per decode  %4d runs  %8.1f MB/s\n", name,
         encoded.size(), original.size(), static_cast<unsigned long long>(requests_per_decode),
         static_cast<unsigned long long>(bytes_per_decode), runs, megabytes / seconds);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  size_t megabytes = argc > 1 ? static_cast<size_t>(strtoul(argv[1], nullptr, 10)) : 16;
  if (megabytes == 0) megabytes = 16;
  std::string original = Bench_Data(megabytes * 1024 * 1024);

  uLongf flate_size = compressBound(static_cast<uLong>(original.size()));
  std::string flate(flate_size, '\0');
  if (compress2(reinterpret_cast<Bytef*>(&flate[0]), &flate_size, reinterpret_cast<const Bytef*>(original.data()),
                static_cast<uLong>(original.size()), Z_DEFAULT_COMPRESSION) != Z_OK) {
    printf("zlib could not compress the data\n");
    return 1;
  }
  flate.resize(flate_size);
  std::string lzw = Test_LZW_Encode(original);

  bool ok = Bench_Run("flate", PDF_Flate_Decode, flate, original);
  ok = Bench_Run("lzw", PDF_LZW_Decode, lzw, original) && ok;
  return ok ? 0 : 1;
}
