// Shared by the filter tests: a runner for the whole-buffer decoders over the
// test allocator, and a fixture with a cross-reference table for indirect
// Filter and DecodeParms values; zlib's deflate for input.
#ifndef INVOICE_EXTRACT_FILTER_TEST_SUPPORT_H
#define INVOICE_EXTRACT_FILTER_TEST_SUPPORT_H

#include <zlib.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_xref_table.h"
#include "runtime/pdf_memory.h"
#include "support/test_memory.h"
#include "support/test_objects.h"

inline const uint8_t* Decoder_Bytes(const std::string& text) { return reinterpret_cast<const uint8_t*>(text.data()); }

inline std::string Random_Bytes(size_t count, uint32_t seed) {
  std::mt19937 generator(seed);
  std::string bytes(count, '\0');
  for (char& c : bytes) c = static_cast<char>(generator() & 0xFF);
  return bytes;
}

inline std::string Deflate(const std::string& data, int level = Z_DEFAULT_COMPRESSION) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(&out[0]), &size, Decoder_Bytes(data), data.size(), level), Z_OK);
  out.resize(size);
  return out;
}

typedef PDF_Result (*Decode_Function)(PDF_Memory*, const uint8_t*, uint64_t, uint8_t**, uint64_t*);

struct Decode_Outcome {
  PDF_Result result;
  std::string output;
  std::vector<uint64_t> sizes;  // every request, in order
  int64_t live_after_release;   // blocks left once the output is released
};

// Decodes, checks that a success leaves only the output and a failure no
// output at all, and releases the output.
inline Decode_Outcome Decoder_Run(Decode_Function decode, const std::string& input, Test_Allocator* allocator) {
  PDF_Memory test_memory = Test_Memory(allocator);
  PDF_Memory* memory = &test_memory;
  uint8_t* buffer = reinterpret_cast<uint8_t*>(allocator);  // must be cleared
  uint64_t length = 99;
  Decode_Outcome outcome{decode(memory, Decoder_Bytes(input), input.size(), &buffer, &length), "", {}, 0};
  if (outcome.result == 0) {
    outcome.output.assign(reinterpret_cast<const char*>(buffer), length);
    EXPECT_EQ(allocator->live, 1);
    PDF_Memory_Free(memory, &buffer);
  } else {
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(length, 0u);
  }
  outcome.sizes = allocator->sizes;
  outcome.live_after_release = allocator->live;
  return outcome;
}

class Filter_Fixture : public Objects_Fixture {
 protected:
  // Numbered objects for indirect Filter and DecodeParms values: 7 to 11 for
  // the reading of the entries, 17 to 20 for the chain.
  void SetUp() override {
    Objects_Fixture::SetUp();
    Give_Empty_Table();
    for (const char* text :
         {"7 0 obj <</Predictor 12 /EarlyChange 0>>", "8 0 obj [<</Predictor 12>>]", "9 0 obj /LZWDecode",
          "10 0 obj [/FlateDecode /LZWDecode]", "11 0 obj 12", "17 0 obj <</Predictor 12 /Columns 4>>",
          "19 0 obj /FlateDecode", "20 0 obj [/FlateDecode /FlateDecode]"}) {
      PDF_Object* object = nullptr;
      ASSERT_NE(PDF_Object_Read(&object, file, Input(text), 0), 0u) << text;
      ASSERT_EQ(PDF_Xref_Table_Add_Entry(file->xref_table->table, file, object, 0, 0, 0, 'n'), 0);
    }
  }

  static PDF_Stream* Of(PDF_Data_Object* object) {
    return static_cast<PDF_Stream*>(PDF_Data_Object_Get_Direct_Value(object, PDF_Data_Type_Stream));
  }

  // A stream on file with the entries, the data and a Length that fits it.
  PDF_Data_Object* Stream(const std::string& entries, const std::string& data = "") {
    PDF_Data_Object* object =
        Value("<<" + entries + " /Length " + std::to_string(data.size()) + ">>\nstream\n" + data + "\nendstream");
    EXPECT_EQ(PDF_Data_Object_Get_Type(object), PDF_Data_Type_Stream) << entries;
    return object;
  }
};

#endif
