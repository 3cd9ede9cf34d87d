// The filter chain over whole streams: decoding in place, the bookkeeping of
// the Filter and DecodeParms entries, and passing over or refusing filters
// without a decoder.
#include <gtest/gtest.h>

#include <string>

#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_filter.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_stream_decode.h"
#include "reader/pdf_xref_table.h"
#include "support/filter_test_support.h"
#include "support/lzw_encoder.h"
#include "support/test_show.h"

namespace {

std::string LZW(const std::string& data) { return Test_LZW_Encode(data); }

const std::string kText = "Zwei Rechnungen, eine Datei: " + std::string(300, 'x') + " und Schluss.";

// PNG rows of four bytes, one colour: a row stored as is, then a row stored
// as differences to the row above.
const std::string kPng_Rows = std::string(
    "\x00"
    "abcd"
    "\x02\x01\x01\x01\x01",
    10);
const std::string kPng_Decoded = "abcdbcde";

class Chain : public Filter_Fixture {
 protected:
  static std::string Data(PDF_Stream* stream) {
    return stream->data == nullptr ? "" : std::string(reinterpret_cast<char*>(stream->data), stream->length);
  }
  static std::string Entry(PDF_Stream* stream, const char* key) { return Show(PDF_Stream_Find_Value(stream, key)); }
};

TEST_F(Chain, DecodesInOrderAndStrikesWhatItDecoded) {
  const std::string bad = Deflate(kText).substr(0, 20), old("\x00\x01\x02", 3);
  const struct {
    std::string entries, raw;
    PDF_Result result;
    std::string data, filter = "-", decode_parms = "-";  // afterwards; "" when not loaded
    bool report_unsupported = true;
    std::string report = "";  // of -107, at level 11
  } cases[] = {
      {"/Filter /LZWDecode", LZW(kText), 0, kText},
      {"/Filter 19 0 R", Deflate(kText), 0, kText},  // the reference struck
      {"/Filter /FlateDecode /DecodeParms <</Predictor 12 /Columns 4>>", Deflate(kPng_Rows), 0, kPng_Decoded},
      // One-element arrays go as a whole.
      {"/Filter [/FlateDecode] /DecodeParms [<</Predictor 10 /Columns 4>>]", Deflate(kPng_Rows), 0, kPng_Decoded},
      {"/Filter /FlateDecode /DecodeParms <</Predictor 2 /Colors 2 /Columns 2>>",
       Deflate(std::string("\x01\x10\x01\x10", 4)), 0, std::string("\x01\x10\x02\x20", 4)},
      {"/Filter /FlateDecode /DecodeParms 5", Deflate(kText), 0, kText},  // parameters of no use dropped silently
      // Bits other than 8 matter only to a predictor.
      {"/Filter /FlateDecode /DecodeParms <</BitsPerComponent 1>>", Deflate(kText), 0, kText},
      // Parameters are not range-checked (266 is 10), and a reference in a
      // parameter array is not followed: the data stays predicted.
      {"/Filter /FlateDecode /DecodeParms <</Predictor 266 /Columns 4>>", Deflate(kPng_Rows), 0, kPng_Decoded},
      {"/Filter /FlateDecode /DecodeParms [17 0 R]", Deflate(kPng_Rows), 0, kPng_Rows},
      {"/Filter [/ASCII85Decode /FlateDecode] /DecodeParms [null 17 0 R]", Deflate(kPng_Rows), 0, kPng_Rows,
       "[/ASCII85Decode]", "[null]", false},
      // Passed over, or refused before or after a decoded step. The next
      // filter runs on the bytes as they are.
      {"/Filter [/FlateDecode /ASCII85Decode]", Deflate(kText), 0, kText, "[/ASCII85Decode]", "-", false},
      {"/Filter [/ASCII85Decode /FlateDecode]", kText, PDF_RESULT_BAD_COMPRESSED_DATA, kText,
       "[/ASCII85Decode /FlateDecode]", "-", false},
      {"/Filter [/ASCII85Decode /FlateDecode] /DecodeParms [null <</Columns 3>>]", Deflate(kText), 0, kText,
       "[/ASCII85Decode]", "[null]", false},
      {"/Filter /Fl", kText, 0, kText, "/Fl", "-", false},
      {"/Filter [/ASCII85Decode /FlateDecode]", Deflate(kText), PDF_RESULT_UNSUPPORTED_FILTER, Deflate(kText),
       "[/ASCII85Decode /FlateDecode]", "-", true, "unsupported stream filter (3)"},
      {"/Filter [/FlateDecode /AHx]", Deflate(kText), PDF_RESULT_UNSUPPORTED_FILTER, kText, "[/AHx]", "-", true,
       "unsupported stream filter (0)"},
      // With n decodable filters the removal at the first index not below the
      // entries left fails with -25, after all the decoding; with three the
      // middle one strikes the wrong entry. A shorter parameter array fails
      // its removal too.
      {"/Filter [/FlateDecode /FlateDecode]", Deflate(Deflate(kText)), PDF_RESULT_INDEX_OUT_OF_RANGE, kText,
       "[/FlateDecode]"},
      {"/Filter [/FlateDecode /LZWDecode /FlateDecode] /DecodeParms [<</Columns 10>> <</Columns 11>> <</Columns 12>>]",
       Deflate(LZW(Deflate(kText))), PDF_RESULT_INDEX_OUT_OF_RANGE, kText, "[/LZWDecode]", "[<</Columns 11>>]"},
      {"/Filter [/ASCII85Decode /FlateDecode] /DecodeParms [null]", Deflate(kText), PDF_RESULT_INDEX_OUT_OF_RANGE,
       kText, "[/ASCII85Decode]", "[null]", false},
      {"/Filter /FlateDecode", bad, PDF_RESULT_BAD_COMPRESSED_DATA, bad, "/FlateDecode"},
      {"/Filter /LZWDecode", old, PDF_RESULT_OLD_LZW, old, "/LZWDecode"},
      // Refused before loading: the stream stays on file.
      {"", kText, 0, ""},
      {"/Filter 5", kText, 0, "", "5"},
      {"/Filter [/FlateDecode 19 0 R]", kText, PDF_RESULT_MALFORMED_FILTER, "", "[/FlateDecode R19.0]"},
      {"/Filter [/FlateDecode] /DecodeParms <</Predictor 12>>", kText, PDF_RESULT_MALFORMED_FILTER, "",
       "[/FlateDecode]", "<</Predictor 12>>"},
      {"/Filter /FlateDecode /DecodeParms <</Predictor 12 /Columns 11 0 R>>", kText, PDF_RESULT_MALFORMED_FILTER, "",
       "/FlateDecode", "<</Predictor 12 /Columns R11.0>>"},
      // Empty: LZW decodes nothing into a buffer, and the release of the
      // missing raw data fails; Flate can't have a buffer of no bytes.
      {"/Filter /LZWDecode", "", PDF_RESULT_NOTHING_TO_FREE, "", "/LZWDecode", "-", false},
      {"/Filter /FlateDecode", "", PDF_RESULT_OUT_OF_MEMORY, "", "/FlateDecode", "-", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.entries);
    log.messages.clear();
    PDF_Data_Object* object = Stream(c.entries, c.raw);
    PDF_Stream* stream = Of(object);
    EXPECT_EQ(PDF_Stream_Decode(stream, c.report_unsupported), c.result);
    EXPECT_EQ(Data(stream), c.data);
    EXPECT_EQ(Entry(stream, "Filter"), c.filter);
    EXPECT_EQ(Entry(stream, "DecodeParms"), c.decode_parms);
    EXPECT_EQ(Entry(stream, "Length"), std::to_string(stream->length)) << "Length follows length";
    EXPECT_EQ(log.messages.size(), c.report.empty() ? 0u : 1u);
    if (!c.report.empty()) {
      EXPECT_EQ(log.messages[0].text + " " + std::to_string(log.messages[0].code) + " " +
                    std::to_string(log.messages[0].level),
                c.report + " -107 11");
      // Without the report the same filter is passed over in silence.
      EXPECT_EQ(PDF_Stream_Decode(stream, false), 0);
      EXPECT_EQ(log.messages.size(), 1u);
    } else if (c.result == 0 && c.filter == "-" && !c.data.empty()) {
      // Once the filters are gone a second decode does nothing.
      uint8_t* data = stream->data;
      EXPECT_EQ(PDF_Stream_Decode(stream, true), 0);
      EXPECT_EQ(stream->data, data);
    }
    Delete(&object);
  }
}

TEST_F(Chain, AfterMinus25TheLeftoverFilterRunsOnDecodedBytes) {
  // The indirect array is shortened in its own object.
  PDF_Data_Object* object = Stream("/Filter 20 0 R", Deflate(Deflate(kText)));
  PDF_Stream* stream = Of(object);
  EXPECT_EQ(PDF_Stream_Get_Dictionary(stream), stream->dictionary);
  EXPECT_EQ(PDF_Stream_Get_Dictionary(nullptr), nullptr);
  ASSERT_EQ(PDF_Stream_Decode(stream, true), PDF_RESULT_INDEX_OUT_OF_RANGE);
  ASSERT_EQ(Data(stream), kText) << "fully decoded all the same";
  EXPECT_EQ(Show(PDF_Object_Get_Value(PDF_Xref_Table_Get_Object(file->xref_table->table, 20, 0))), "[/FlateDecode]");
  // One filter is still named: the next run decodes plain text.
  EXPECT_EQ(PDF_Stream_Decode(stream, true), PDF_RESULT_BAD_COMPRESSED_DATA);
  EXPECT_EQ(Data(stream), kText);
  Delete(&object);
}

TEST_F(Chain, EarlyChangeIsReadButNotHeeded) {
  // The decoder widens one code early whatever the parameter says: data
  // written with the early change decodes under EarlyChange 0, data written
  // with the late change does not (its codes part once the table passes 253
  // entries).
  const std::string text = Random_Bytes(4000, 9);
  for (int early : {1, 0}) {
    PDF_Data_Object* object =
        Stream("/Filter /LZWDecode /DecodeParms <</EarlyChange 0>>", Test_LZW_Encode(text, early));
    PDF_Result result = PDF_Stream_Decode(Of(object), true);
    EXPECT_EQ(result == 0 && Data(Of(object)) == text, early == 1);
    Delete(&object);
  }
}

TEST_F(Chain, PredictorFailuresComeAfterTheRawDataIsGone) {
  const std::pair<std::string, PDF_Result> cases[] = {
      {"<</Predictor 12 /BitsPerComponent 16 /Columns 4>>", PDF_RESULT_NOT_SINGLE_BYTE},
      {"<</Predictor 3>>", PDF_RESULT_MALFORMED_FILTER},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    const std::string raw = Deflate(kPng_Rows);
    PDF_Data_Object* object = Stream("/Filter /FlateDecode /DecodeParms " + c.first, raw);
    PDF_Stream* stream = Of(object);
    EXPECT_EQ(PDF_Stream_Decode(stream, true), c.second);
    EXPECT_EQ(Entry(stream, "Filter"), "/FlateDecode");
    EXPECT_EQ(stream->data, nullptr) << "no data left";
    EXPECT_EQ(stream->length, raw.size()) << "length as it was";
    EXPECT_EQ(Entry(stream, "Length"), std::to_string(raw.size()));
    EXPECT_EQ(PDF_Stream_Decode(stream, true), PDF_RESULT_UNREADABLE) << "nothing to load from";
    Delete(&object);
  }
}

}  // namespace
