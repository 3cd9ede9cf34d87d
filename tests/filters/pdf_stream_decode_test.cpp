// The filter chain over whole streams: decoding in place, the bookkeeping of
// the Filter and DecodeParms entries, passing over or refusing filters
// without a decoder, and the two questions asked of a stream's data.
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>

#include "filters/pdf_lzw.h"
#include "filters/pdf_stream.h"
#include "filters/pdf_stream_decode.h"
#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "reader/pdf_xref_table.h"
#include "support/lzw_encoder.h"
#include "support/test_objects.h"

namespace {

std::string Deflate(const std::string& data) {
  uLongf size = compressBound(static_cast<uLong>(data.size()));
  std::string out(size, '\0');
  EXPECT_EQ(compress(reinterpret_cast<Bytef*>(&out[0]), &size, reinterpret_cast<const Bytef*>(data.data()),
                     static_cast<uLong>(data.size())),
            Z_OK);
  out.resize(size);
  return out;
}

std::string LZW(const std::string& data) { return Test_LZW_Encode(data); }

const std::string kText = "Zwei Rechnungen, eine Datei: " + std::string(300, 'x') + " und Schluss.";

// PNG rows of four bytes, one colour: a row stored as is, then a row stored
// as differences to the row above.
const std::string kPng_Rows = std::string("\x00" "abcd" "\x02\x01\x01\x01\x01", 10);
const std::string kPng_Decoded = "abcdbcde";

// A short text form of a value, for comparing what is left in a dictionary.
std::string Describe(PDF_Data_Object* object) {
  switch (PDF_Data_Object_Get_Type(object)) {
    case PDF_Data_Type_None:
      return "";
    case PDF_Data_Type_Null:
      return "null";
    case PDF_Data_Type_Reference:
      return "R";
    case PDF_Data_Type_Boolean:
      return *static_cast<PDF_Boolean*>(object->value) ? "true" : "false";
    case PDF_Data_Type_Number:
      return std::to_string(PDF_Number_Get_Long(static_cast<PDF_Number*>(object->value)));
    case PDF_Data_Type_Name:
      return "/" + std::string(PDF_Name_Get_Text(static_cast<PDF_Name*>(object->value)));
    case PDF_Data_Type_Array: {
      std::string text = "[";
      for (PDF_Array_Element* e = static_cast<PDF_Array*>(object->value)->first; e != nullptr; e = e->next) {
        text += (e == static_cast<PDF_Array*>(object->value)->first ? "" : " ") + Describe(e->value);
      }
      return text + "]";
    }
    case PDF_Data_Type_Dictionary: {
      std::string text = "<<";
      for (PDF_Dictionary_Entry* e = static_cast<PDF_Dictionary*>(object->value)->first; e != nullptr; e = e->next) {
        text += "/" + std::string(PDF_Name_Get_Text(e->key)) + " " + Describe(e->value);
        if (e->next != nullptr) text += " ";
      }
      return text + ">>";
    }
    default:
      return "?";
  }
}

class Chain : public Objects_Fixture {
 protected:
  void SetUp() override {
    Objects_Fixture::SetUp();
    PDF_Xref_Table* table = nullptr;
    ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
    ASSERT_EQ(PDF_Body_Create(&file->xref_table, file, table, nullptr, false), 0);
    Add("7 0 obj <</Predictor 12 /Columns 4>>");
    Add("9 0 obj /FlateDecode");
    Add("10 0 obj [/FlateDecode /FlateDecode]");
    Add("11 0 obj 4");
  }

  void Add(const std::string& text) {
    PDF_Object* object = nullptr;
    ASSERT_NE(PDF_Object_Read(&object, file, Input(text), 0), 0u) << text;
    ASSERT_EQ(PDF_Xref_Table_Add_Entry(file->xref_table->table, file, object, 0, 0, 0, 'n'), 0);
  }

  // A stream on file with the entries, the data and a Length that fits it.
  PDF_Data_Object* Stream(const std::string& entries, const std::string& data) {
    PDF_Data_Object* object =
        Value("<<" + entries + " /Length " + std::to_string(data.size()) + ">>\nstream\n" + data + "\nendstream");
    EXPECT_EQ(PDF_Data_Object_Get_Type(object), PDF_Data_Type_Stream) << entries;
    return object;
  }

  static PDF_Stream* Of(PDF_Data_Object* object) { return static_cast<PDF_Stream*>(object->value); }

  static std::string Data(PDF_Stream* stream) {
    if (stream->data == nullptr) return "";
    return std::string(reinterpret_cast<char*>(stream->data), stream->length);
  }

  static std::string Entry(PDF_Stream* stream, const char* key) {
    return Describe(PDF_Stream_Find_Value(stream, key));
  }
};

struct Decode_Case {
  std::string name;
  std::string entries;
  std::string raw;
  bool report_unsupported;
  PDF_Result result;
  std::string data;         // afterwards
  std::string filter;       // Filter entry afterwards, "" when gone
  std::string decode_parms; // DecodeParms entry afterwards
};

TEST_F(Chain, DecodesInOrderAndStrikesWhatItDecoded) {
  const std::string twice = Deflate(Deflate(kText));
  const Decode_Case cases[] = {
      {"Flate by name", "/Filter /FlateDecode", Deflate(kText), true, 0, kText, "", ""},
      {"LZW by name", "/Filter /LZWDecode", LZW(kText), true, 0, kText, "", ""},
      {"indirect name, the reference struck", "/Filter 9 0 R", Deflate(kText), true, 0, kText, "", ""},
      {"name with parameters", "/Filter /FlateDecode /DecodeParms <</Predictor 12 /Columns 4>>", Deflate(kPng_Rows),
       true, 0, kPng_Decoded, "", ""},
      {"name with a one-element parameter array", "/Filter /LZWDecode /DecodeParms [<</Predictor 15 /Columns 4>>]",
       LZW(kPng_Rows), true, 0, kPng_Decoded, "", ""},
      {"one-element arrays go as a whole", "/Filter [/FlateDecode] /DecodeParms [<</Predictor 10 /Columns 4>>]",
       Deflate(kPng_Rows), true, 0, kPng_Decoded, "", ""},
      {"Predictor 266 is 10", "/Filter /FlateDecode /DecodeParms <</Predictor 266 /Columns 4>>", Deflate(kPng_Rows),
       true, 0, kPng_Decoded, "", ""},
      {"TIFF differences by colour", "/Filter /FlateDecode /DecodeParms <</Predictor 2 /Colors 2 /Columns 2>>",
       Deflate(std::string("\x01\x10\x01\x10", 4)), true, 0, std::string("\x01\x10\x02\x20", 4), "", ""},
      {"indirect parameters are followed", "/Filter /FlateDecode /DecodeParms 7 0 R", Deflate(kPng_Rows), true, 0,
       kPng_Decoded, "", ""},
      {"an indirect parameter element is not", "/Filter /FlateDecode /DecodeParms [7 0 R]", Deflate(kPng_Rows),
       true, 0, kPng_Rows, "", ""},
      {"parameters of no use are dropped silently", "/Filter /FlateDecode /DecodeParms 5", Deflate(kText), true, 0,
       kText, "", ""},
      {"passed over, then decoded", "/Filter [/FlateDecode /ASCII85Decode]", Deflate(kText), false, 0, kText,
       "[/ASCII85Decode]", ""},
      {"passed over, the next runs on the bytes as they are", "/Filter [/ASCII85Decode /FlateDecode]", kText, false,
       -300, kText, "[/ASCII85Decode /FlateDecode]", ""},
      {"passed over, the next one fits", "/Filter [/ASCII85Decode /FlateDecode] /DecodeParms [null <</Columns 3>>]",
       Deflate(kText), false, 0, kText, "[/ASCII85Decode]", "[null]"},
      {"refused, nothing decoded", "/Filter [/ASCII85Decode /FlateDecode]", Deflate(kText), true, -107,
       Deflate(kText), "[/ASCII85Decode /FlateDecode]", ""},
      {"refused after a decoded step", "/Filter [/FlateDecode /AHx]", Deflate(kText), true, -107, kText, "[/AHx]",
       ""},
      {"abbreviation passed over", "/Filter /Fl", kText, false, 0, kText, "/Fl", ""},
      {"two decodable filters decode twice and fail", "/Filter [/FlateDecode /FlateDecode]", twice, true, -25, kText,
       "[/FlateDecode]", ""},
      {"indirect filter array", "/Filter 10 0 R", twice, true, -25, kText, "R", ""},
      {"three filters strike the wrong entry",
       "/Filter [/FlateDecode /LZWDecode /FlateDecode] /DecodeParms [<</Columns 10>> <</Columns 11>> <</Columns 12>>]",
       Deflate(LZW(Deflate(kText))), true, -25, kText, "[/LZWDecode]", "[<</Columns 11>>]"},
      {"a shorter parameter array fails its removal", "/Filter [/ASCII85Decode /FlateDecode] /DecodeParms [null]",
       Deflate(kText), false, -25, kText, "[/ASCII85Decode]", "[null]"},
      {"bad data", "/Filter /FlateDecode", Deflate(kText).substr(0, 20), true, -300, Deflate(kText).substr(0, 20),
       "/FlateDecode", ""},
      {"old LZW bit order", "/Filter /LZWDecode", std::string("\x00\x01\x02", 3), true, -301,
       std::string("\x00\x01\x02", 3), "/LZWDecode", ""},
  };
  for (const Decode_Case& c : cases) {
    PDF_Data_Object* object = Stream(c.entries, c.raw);
    PDF_Stream* stream = Of(object);
    EXPECT_EQ(PDF_Stream_Decode(stream, c.report_unsupported), c.result) << c.name;
    EXPECT_EQ(Data(stream), c.data) << c.name;
    EXPECT_EQ(Entry(stream, "Filter"), c.filter) << c.name;
    EXPECT_EQ(Entry(stream, "DecodeParms"), c.decode_parms) << c.name;
    EXPECT_EQ(Entry(stream, "Length"), std::to_string(c.data.size())) << c.name << ": Length follows length";
    Delete(&object);
  }
}

TEST_F(Chain, IndirectArrayIsShortenedInItsOwnObject) {
  PDF_Data_Object* object = Stream("/Filter 10 0 R", Deflate(Deflate(kText)));
  EXPECT_EQ(PDF_Stream_Decode(Of(object), true), -25);
  PDF_Data_Object* target = PDF_Object_Get_Value(PDF_Xref_Table_Get_Object(file->xref_table->table, 10, 0));
  EXPECT_EQ(Describe(target), "[/FlateDecode]");
  Delete(&object);
}

TEST_F(Chain, SecondDecodeOfADecodedStreamDoesNothing) {
  PDF_Data_Object* object = Stream("/Filter [/FlateDecode] /DecodeParms [null]", Deflate(kText));
  PDF_Stream* stream = Of(object);
  ASSERT_EQ(PDF_Stream_Decode(stream, true), 0);
  uint8_t* data = stream->data;
  EXPECT_EQ(PDF_Stream_Decode(stream, true), 0);
  EXPECT_EQ(stream->data, data);
  EXPECT_EQ(Data(stream), kText);
  Delete(&object);
}

TEST_F(Chain, AfterMinus25TheLeftoverFilterRunsOnDecodedBytes) {
  PDF_Data_Object* object = Stream("/Filter [/FlateDecode /FlateDecode]", Deflate(Deflate(kText)));
  PDF_Stream* stream = Of(object);
  ASSERT_EQ(PDF_Stream_Decode(stream, true), -25);
  ASSERT_EQ(Data(stream), kText) << "fully decoded all the same";
  // One filter is still named: the next run decodes plain text.
  EXPECT_EQ(PDF_Stream_Decode(stream, true), -300);
  EXPECT_EQ(Data(stream), kText);
  EXPECT_EQ(Entry(stream, "Filter"), "[/FlateDecode]");
  Delete(&object);
}

TEST_F(Chain, EarlyChangeIsReadButNotHeeded) {
  // Encoded with the late width change: the decoder widens one code early
  // all the same, so the parameter makes no difference.
  std::string text;
  uint32_t seed = 1;
  for (int i = 0; i < 4000; ++i) {
    seed = seed * 1103515245u + 12345u;
    text += static_cast<char>('a' + (seed >> 16) % 26);
  }
  const std::string late = Test_LZW_Encode(text, 0);
  PDF_Data_Object* stated = Stream("/Filter /LZWDecode /DecodeParms <</EarlyChange 0>>", late);
  PDF_Data_Object* default_ = Stream("/Filter /LZWDecode", late);
  PDF_Result with = PDF_Stream_Decode(Of(stated), true);
  PDF_Result without = PDF_Stream_Decode(Of(default_), true);
  EXPECT_EQ(with, without);
  EXPECT_EQ(Data(Of(stated)), Data(Of(default_)));
  EXPECT_TRUE(with != 0 || Data(Of(stated)) != text);
  PDF_Data_Object* early = Stream("/Filter /LZWDecode /DecodeParms <</EarlyChange 0>>", Test_LZW_Encode(text, 1));
  EXPECT_EQ(PDF_Stream_Decode(Of(early), true), 0) << "data written with the early change decodes";
  EXPECT_EQ(Data(Of(early)), text);
  Delete(&early);
  Delete(&stated);
  Delete(&default_);
}

TEST_F(Chain, RefusalsBeforeLoadingLeaveTheStreamOnFile) {
  const struct {
    std::string name;
    std::string entries;
    PDF_Result result;
  } cases[] = {
      {"no Filter", "", 0},
      {"empty Filter array", "/Filter []", 0},
      {"Filter of an unusable type", "/Filter 5", 0},
      {"Filter leading nowhere", "/Filter 99 0 R", 0},
      {"indirect Columns", "/Filter /FlateDecode /DecodeParms <</Predictor 12 /Columns 11 0 R>>", -54},
      {"indirect element of a Filter array", "/Filter [/FlateDecode 9 0 R]", -54},
      {"lone dictionary beside a one-element array", "/Filter [/FlateDecode] /DecodeParms <</Columns 4>>", -54},
      {"string as Filter", "/Filter (FlateDecode)", 0},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* object = Stream(c.entries, Deflate(kText));
    PDF_Stream* stream = Of(object);
    EXPECT_EQ(PDF_Stream_Decode(stream, true), c.result) << c.name;
    EXPECT_EQ(stream->data, nullptr) << c.name << ": not loaded";
    EXPECT_NE(stream->reader, nullptr) << c.name;
    Delete(&object);
  }
}

TEST_F(Chain, PredictorFailuresComeAfterTheRawDataIsGone) {
  const struct {
    std::string name;
    std::string parms;
    std::string raw;
    PDF_Result result;
  } cases[] = {
      {"16 bits per component", "<</Predictor 12 /BitsPerComponent 16 /Columns 4>>", kPng_Rows, -99},
      {"BitsPerComponent 264 is 8", "<</Predictor 12 /BitsPerComponent 264 /Columns 4>>", kPng_Rows, 0},
      {"unknown predictor", "<</Predictor 3>>", kPng_Rows, -54},
      {"unknown row tag", "<</Predictor 12 /Columns 4>>", std::string("\x07" "abcd", 5), -54},
      {"bits without a predictor", "<</BitsPerComponent 1>>", kText, 0},
  };
  for (const auto& c : cases) {
    const std::string raw = Deflate(c.raw);
    PDF_Data_Object* object = Stream("/Filter /FlateDecode /DecodeParms " + c.parms, raw);
    PDF_Stream* stream = Of(object);
    EXPECT_EQ(PDF_Stream_Decode(stream, true), c.result) << c.name;
    if (c.result == 0) {
      EXPECT_NE(stream->data, nullptr) << c.name;
      EXPECT_EQ(Entry(stream, "Filter"), "") << c.name;
    } else {
      EXPECT_EQ(stream->data, nullptr) << c.name << ": no data left";
      EXPECT_EQ(stream->length, raw.size()) << c.name << ": length as it was";
      EXPECT_EQ(Entry(stream, "Length"), std::to_string(raw.size())) << c.name;
      EXPECT_EQ(Entry(stream, "Filter"), "/FlateDecode") << c.name;
      EXPECT_EQ(PDF_Stream_Load(stream), -10) << c.name << ": nothing to load from";
      EXPECT_EQ(PDF_Stream_Decode(stream, true), -10) << c.name;
    }
    Delete(&object);
  }
}

TEST_F(Chain, EmptyStreams) {
  // LZW decodes nothing into a buffer, and the release of the missing raw
  // data fails; Flate can't have a buffer of no bytes.
  const struct {
    std::string entries;
    PDF_Result result;
  } cases[] = {{"/Filter /LZWDecode", -8}, {"/Filter /FlateDecode", -7}, {"/Filter /Fl", 0}};
  for (const auto& c : cases) {
    PDF_Data_Object* object = Stream(c.entries, "");
    EXPECT_EQ(PDF_Stream_Decode(Of(object), false), c.result) << c.entries;
    EXPECT_EQ(Of(object)->data, nullptr);
    EXPECT_EQ(Entry(Of(object), "Filter"), c.entries.substr(8)) << c.entries;
    Delete(&object);
  }
}

TEST_F(Chain, UnsupportedFilterIsReportedWithItsCode) {
  const struct {
    std::string entries;
    std::string text;
  } cases[] = {
      {"/Filter [/ASCII85Decode /FlateDecode]", "unsupported stream filter (3)"},
      {"/Filter /Fl", "unsupported stream filter (0)"},
      {"/Filter /Crypt", "unsupported stream filter (50)"},
      {"/Filter [/DCTDecode] /DecodeParms [<</ColorTransform 1>>]", "unsupported stream filter (15)"},
  };
  for (const auto& c : cases) {
    log.messages.clear();
    PDF_Data_Object* object = Stream(c.entries, Deflate(kText));
    EXPECT_EQ(PDF_Stream_Decode(Of(object), true), -107) << c.entries;
    ASSERT_EQ(log.messages.size(), 1u) << c.entries;
    EXPECT_EQ(log.messages[0].text, c.text);
    EXPECT_EQ(log.messages[0].code, -107);
    EXPECT_EQ(log.messages[0].level, 11);
    EXPECT_NE(Of(object)->data, nullptr) << "loaded before the walk";
    log.messages.clear();
    EXPECT_EQ(PDF_Stream_Decode(Of(object), false), 0) << "passed over without a word";
    EXPECT_TRUE(log.messages.empty());
    Delete(&object);
  }
}

TEST_F(Chain, NullArguments) {
  EXPECT_EQ(PDF_Stream_Decode(nullptr, true), -500);
  PDF_Data_Object* object = Stream("/Filter /FlateDecode", Deflate(kText));
  PDF_Stream* stream = Of(object);
  stream->file = nullptr;
  EXPECT_EQ(PDF_Stream_Decode(stream, true), -500);
  EXPECT_FALSE(PDF_Stream_Is_Plain_Flate(stream));
  stream->file = file;
  PDF_Filter_Parms record{};
  record.type = PDF_Filter_Type_Flate;
  EXPECT_EQ(PDF_Stream_Decode_Flate(stream, nullptr, nullptr, nullptr, 0), -500);
  EXPECT_EQ(PDF_Stream_Decode_LZW(nullptr, &record, nullptr, nullptr, 0), -500);
  EXPECT_EQ(PDF_Stream_Get_Data(nullptr), nullptr);
  EXPECT_FALSE(PDF_Stream_Is_Plain_Flate(nullptr));
  Delete(&object);
}

TEST_F(Chain, GetData) {
  PDF_Data_Object* object = Stream("/Filter /FlateDecode", Deflate(kText));
  uint8_t* data = PDF_Stream_Get_Data(Of(object));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data, Of(object)->data) << "owned by the stream";
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), PDF_Stream_Get_Length(Of(object))), kText);
  Delete(&object);

  object = Stream("", "plain");
  data = PDF_Stream_Get_Data(Of(object));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(Data(Of(object)), "plain");
  Delete(&object);

  // Refused filter: null, and the raw bytes stay.
  object = Stream("/Filter /ASCIIHexDecode", "414243");
  EXPECT_EQ(PDF_Stream_Get_Data(Of(object)), nullptr);
  EXPECT_EQ(Data(Of(object)), "414243");
  Delete(&object);

  // A short read below level 3 leaves a buffer from the load, which goes.
  file->tolerance_level = 2;
  object = Value("<</Length 40>>\nstream\nshort");
  EXPECT_EQ(PDF_Stream_Get_Data(Of(object)), nullptr);
  EXPECT_EQ(Of(object)->data, nullptr);
  EXPECT_NE(Of(object)->reader, nullptr) << "still on file";
  file->tolerance_level = 3;
  EXPECT_NE(PDF_Stream_Get_Data(Of(object)), nullptr) << "level 3 takes what there is";
  EXPECT_EQ(std::string(reinterpret_cast<char*>(Of(object)->data), 5), "short");
  EXPECT_EQ(PDF_Stream_Get_Length(Of(object)), 40u) << "the stated length stays";
  Delete(&object);

  object = Value("<</Length -1>>\nstream\nabc");
  EXPECT_EQ(PDF_Stream_Get_Data(Of(object)), nullptr);
  Delete(&object);

  object = Stream("", "");
  EXPECT_EQ(PDF_Stream_Get_Data(Of(object)), nullptr) << "an empty stream has no bytes";
  Delete(&object);
}

TEST_F(Chain, IsPlainFlate) {
  const struct {
    std::string entries;
    bool plain;
  } cases[] = {
      {"", true},
      {"/Filter []", true},
      {"/Filter /FlateDecode", true},
      {"/Filter [/FlateDecode /FlateDecode]", true},
      {"/Filter 9 0 R", true},
      {"/Filter /FlateDecode /DecodeParms <</Predictor 257 /Colors 3>>", true},  // 257 narrows to 1
      {"/Filter /FlateDecode /DecodeParms [7 0 R]", true},                     // element not followed
      {"/Filter /FlateDecode /DecodeParms <</Predictor 12>>", false},
      {"/Filter /FlateDecode /DecodeParms 7 0 R", false},
      {"/Filter [/FlateDecode /FlateDecode] /DecodeParms [null <</Predictor 2>>]", false},
      {"/Filter /LZWDecode", false},
      {"/Filter [/FlateDecode /Fl]", false},
      {"/Filter 5", false},
      {"/Filter [/FlateDecode 9 0 R]", false},
      {"/Filter /FlateDecode /DecodeParms <</Predictor /None>>", false},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* object = Stream(c.entries, "x");
    EXPECT_EQ(PDF_Stream_Is_Plain_Flate(Of(object)), c.plain) << c.entries;
    EXPECT_EQ(Of(object)->data, nullptr) << "the data isn't needed";
    Delete(&object);
  }
}

TEST_F(Chain, AllocationFailuresLeaveNothingBehind) {
  const struct {
    std::string entries;
    std::string raw;
  } cases[] = {
      {"/Filter /FlateDecode /DecodeParms [<</Predictor 12 /Columns 4>>]", Deflate(kPng_Rows)},
      {"/Filter [/ASCII85Decode /LZWDecode] /DecodeParms [null <</EarlyChange 0>>]", LZW(kText)},
  };
  for (const auto& c : cases) {
    for (uint64_t n = 1;; ++n) {
      std::set<void*> before = Snapshot();
      PDF_Data_Object* object = Stream(c.entries, c.raw);
      Fail_Request(n);
      PDF_Result result = PDF_Stream_Decode(Of(object), false);
      bool failed = Failure_Reached();
      Stop_Failing();
      if (!failed) {
        EXPECT_EQ(result, 0) << c.entries;
        Delete(&object);
        EXPECT_EQ(Free_Since(before), 0u);
        break;
      }
      EXPECT_NE(result, 0) << c.entries << " request " << n;
      // Whatever happened, the stream can still be taken down completely.
      Delete(&object);
      EXPECT_EQ(Free_Since(before), 0u) << c.entries << " request " << n;
    }
  }

  for (uint64_t n = 1;; ++n) {
    std::set<void*> before = Snapshot();
    PDF_Data_Object* object = Stream("/Filter [/FlateDecode /FlateDecode]", "x");
    Fail_Request(n);
    bool plain = PDF_Stream_Is_Plain_Flate(Of(object));
    bool failed = Failure_Reached();
    Stop_Failing();
    EXPECT_EQ(plain, !failed);
    Delete(&object);
    EXPECT_EQ(Free_Since(before), 0u);
    if (!failed) break;
  }
}

}  // namespace
