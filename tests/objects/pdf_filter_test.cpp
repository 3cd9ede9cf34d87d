// Filter codes, parameter records, and the reading of Filter and DecodeParms
// in their direct, indirect, name and array forms.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "objects/pdf_dictionary.h"
#include "objects/pdf_filter.h"
#include "objects/pdf_stream.h"
#include "support/filter_test_support.h"

namespace {

class Filter_Reading : public Filter_Fixture {
 protected:
  PDF_Dictionary* Dictionary(PDF_Data_Object* object) {
    return static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(object, PDF_Data_Type_Dictionary));
  }
};

// Every field of a record, in order: type | predictor colors bits early
// change | k end of line, end of block, byte align, columns, rows, black is 1,
// damaged rows | JBIG2 globals, colour transform.
std::string Fields(const PDF_Filter_Parms& r) {
  std::ostringstream text;
  text << +r.type << " | " << +r.predictor << ' ' << +r.colors << ' ' << +r.bits_per_component << ' ' << +r.early_change
       << " | " << r.k << ' ' << +r.end_of_line << ' ' << +r.end_of_block << ' ' << +r.encoded_byte_align << ' '
       << r.columns << ' ' << r.rows << ' ' << +r.black_is_1 << ' ' << r.damaged_rows_before_error << " | "
       << r.jbig2_globals << ' ' << +r.color_transform;
  return text.str();
}

TEST_F(Filter_Reading, TypeFromName) {
  const struct {
    const char* name;
    int code;
  } cases[] = {
      {"/LZWDecode", PDF_Filter_Type_LZW},
      {"/FlateDecode", PDF_Filter_Type_Flate},
      // Abbreviations, other spellings and escaped forms are not recognised.
      {"/Fl", 0},
      {"/flatedecode", 0},
      {"/FlateDecodeX", 0},
      {"/Flate#44ecode", 0},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* name = Value(c.name);
    EXPECT_EQ(PDF_Filter_Type_From_Name(static_cast<PDF_Name*>(name->value)), c.code) << c.name;
    Delete(&name);
  }
}

TEST_F(Filter_Reading, DefaultsKeysByTypeNarrowingAndRefusals) {
  const struct {
    PDF_Filter_Type type;
    std::string parms;  // "" for no dictionary
    PDF_Result result;
    std::string fields;
  } cases[] = {
      // The defaults overwrite everything but the type. With no name, the
      // dictionary isn't even looked at.
      {PDF_Filter_Type_Unknown, "", 0, "0 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
      {PDF_Filter_Type_CCITT_Fax, "", 0, "13 | 1 1 8 1 | 0 0 1 0 1728 0 0 0 | 0 255"},
      {PDF_Filter_Type_None, "<</Predictor /Bad /Columns 7>>", 0, "1 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
      // Flate reads no EarlyChange, LZW adds it; numbers are narrowed to the field.
      {PDF_Filter_Type_Flate, "<</Predictor 12 /Colors 3 /BitsPerComponent 16 /Columns 5 /EarlyChange 0 /K 4>>", 0,
       "11 | 12 3 16 1 | 0 0 1 0 5 0 0 0 | 0 255"},
      {PDF_Filter_Type_Flate, "<</Predictor 266 /Colors 257 /BitsPerComponent 8.9 /Columns -1>>", 0,
       "11 | 10 1 8 1 | 0 0 1 0 4294967295 0 0 0 | 0 255"},
      {PDF_Filter_Type_CCITT_Fax,
       "<</K -1 /EndOfLine true /EncodedByteAlign true /Columns 2560 /Rows 100 /EndOfBlock false /BlackIs1 true "
       "/DamagedRowsBeforeError 3 /Predictor 12>>",
       0, "13 | 1 1 8 1 | -1 1 0 1 2560 100 1 3 | 0 255"},
      // JBIG2 globals as an object number, 0 when the reference leads nowhere.
      {PDF_Filter_Type_JBIG2, "<</JBIG2Globals 7 0 R /Columns 4>>", 0, "14 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 7 255"},
      {PDF_Filter_Type_DCT, "<</ColorTransform 257 /Predictor 12>>", 0, "15 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 1"},
      // Refusals end the reading at the bad key, in the order keys are read
      // rather than the order they stand in.
      {PDF_Filter_Type_Flate, "<</Columns 4 /Predictor /Twelve>>", PDF_RESULT_MALFORMED_FILTER,
       "11 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
      {PDF_Filter_Type_Flate, "<</Columns 11 0 R /Colors 3 /Predictor 12>>", PDF_RESULT_MALFORMED_FILTER,
       "11 | 12 3 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
      {PDF_Filter_Type_LZW, "<</Predictor 12 /EarlyChange false>>", PDF_RESULT_MALFORMED_FILTER,
       "10 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
      {PDF_Filter_Type_CCITT_Fax, "<</K 4 /EndOfLine 1 /Columns 8>>", PDF_RESULT_MALFORMED_FILTER,
       "13 | 1 1 8 1 | 4 0 1 0 1728 0 0 0 | 0 255"},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* parms = c.parms.empty() ? nullptr : Value(c.parms);
    PDF_Filter_Parms record;
    memset(&record, 0xAB, sizeof(record));
    record.type = c.type;
    EXPECT_EQ(PDF_Filter_Parms_Read(parms == nullptr ? nullptr : Dictionary(parms), &record), c.result) << c.parms;
    EXPECT_EQ(Fields(record), c.fields) << c.parms;
    if (parms != nullptr) Delete(&parms);
  }
}

TEST_F(Filter_Reading, FilterCount) {
  const struct {
    std::string entries;
    PDF_Result result;
    uint32_t count;
  } cases[] = {
      {"", 0, 0},
      {"/Filter []", 0, 0},
      {"/Filter [/A /B /C]", 0, 3},
      {"/Filter [1 (two) 3 0 R]", 0, 3},  // elements are not looked at
      {"/Filter 10 0 R", 0, 2},
      {"/Filter 99 0 R", 0, 0},                            // leads nowhere: no filter
      {"/Filter 5", PDF_RESULT_BAD_LENGTH_OR_FILTER, 77},  // count not written
      {"/Filter 11 0 R", PDF_RESULT_BAD_LENGTH_OR_FILTER, 77},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* object = Stream(c.entries);
    uint32_t count = 77;
    EXPECT_EQ(PDF_Stream_Get_Filter_Count(Of(object), &count), c.result) << c.entries;
    EXPECT_EQ(count, c.count) << c.entries;
    Delete(&object);
  }
}

TEST_F(Filter_Reading, FilterTableInBothForms) {
  const struct {
    std::string entries;
    PDF_Result result;
    std::vector<std::vector<int>> records;  // type, predictor, early change, columns
  } cases[] = {
      // A lone name: with an array it takes element 0, an indirect element
      // isn't followed, anything but a dictionary gives the defaults.
      {"/Filter /FlateDecode /DecodeParms <</Predictor 12 /Columns 4>>", 0, {{11, 12, 1, 4}}},
      {"/Filter /FlateDecode /DecodeParms [<</Predictor 12>> <</Predictor 2>>]", 0, {{11, 12, 1, 1}}},
      {"/Filter /FlateDecode /DecodeParms [7 0 R]", 0, {{11, 1, 1, 1}}},
      {"/Filter /LZWDecode /DecodeParms 7 0 R", 0, {{10, 12, 0, 1}}},
      {"/Filter /FlateDecode /DecodeParms 8 0 R", 0, {{11, 12, 1, 1}}},
      {"/Filter 9 0 R /DecodeParms <</EarlyChange 0>>", 0, {{10, 1, 0, 1}}},
      {"/Filter /FlateDecode /DecodeParms <</Predictor (12)>>", PDF_RESULT_MALFORMED_FILTER, {{11, 1, 1, 1}}},
      // An array: a shorter parameter array leaves defaults; a lone dictionary
      // or a number beside it is refused, null or a reference to nothing not.
      {"/Filter [/LZWDecode /FlateDecode] /DecodeParms [<</EarlyChange 0>> <</Predictor 12>>]",
       0,
       {{10, 1, 0, 1}, {11, 12, 1, 1}}},
      {"/Filter [/FlateDecode /LZWDecode /FlateDecode] /DecodeParms [null 7 0 R <</Columns 3>>]",
       0,
       {{11, 1, 1, 1}, {10, 1, 1, 1}, {11, 1, 1, 3}}},
      {"/Filter [/FlateDecode /FlateDecode] /DecodeParms [<</Predictor 12>>]", 0, {{11, 12, 1, 1}, {11, 1, 1, 1}}},
      {"/Filter 10 0 R /DecodeParms [<</Predictor 2>> <</EarlyChange 0>>]", 0, {{11, 2, 1, 1}, {10, 1, 0, 1}}},
      {"/Filter [/FlateDecode] /DecodeParms <</Predictor 12>>", PDF_RESULT_MALFORMED_FILTER, {}},
      {"/Filter [/FlateDecode] /DecodeParms 5", PDF_RESULT_MALFORMED_FILTER, {}},
      {"/Filter [/FlateDecode] /DecodeParms null", 0, {{11, 1, 1, 1}}},
      {"/Filter [/FlateDecode 9 0 R]", PDF_RESULT_MALFORMED_FILTER, {{11, 1, 1, 1}}},  // an indirect name in the array
      {"/Filter [/FlateDecode /LZWDecode] /DecodeParms [<</Predictor 12>> <</EarlyChange /No>>]",
       PDF_RESULT_MALFORMED_FILTER,
       {{11, 12, 1, 1}, {10, 1, 1, 1}}},
      // Neither.
      {"/Filter (FlateDecode)", PDF_RESULT_MALFORMED_FILTER, {}},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* object = Stream(c.entries);
    PDF_Filter_Parms table[4];
    memset(table, 0xAB, sizeof(table));
    EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), table), c.result) << c.entries;
    for (size_t i = 0; i < c.records.size(); ++i) {
      std::vector<int> got = {table[i].type, table[i].predictor, table[i].early_change, int(table[i].columns)};
      EXPECT_EQ(got, c.records[i]) << c.entries << " record " << i;
    }
    EXPECT_EQ(table[c.records.size()].type, 0xAB) << c.entries << ": nothing past the filters written";
    Delete(&object);
  }
}

TEST_F(Filter_Reading, MissingArguments) {
  EXPECT_EQ(PDF_Filter_Type_From_Name(nullptr), PDF_Filter_Type_None);
  EXPECT_EQ(PDF_Filter_Parms_Read(nullptr, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  uint32_t count = 77;
  PDF_Filter_Parms record;
  EXPECT_EQ(PDF_Stream_Get_Filter_Count(nullptr, &count), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(nullptr, &record), PDF_RESULT_INVALID_ARGUMENT);
  PDF_Data_Object* object = Stream("/Filter /FlateDecode");
  EXPECT_EQ(PDF_Stream_Get_Filter_Count(Of(object), nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), nullptr), PDF_RESULT_INVALID_ARGUMENT);
  Delete(&object);
  // Without a filter nothing is written, and no table is needed: that test
  // comes after the one for a filter.
  object = Stream("/DecodeParms <</Predictor 12>>");
  memset(&record, 0xAB, sizeof(record));
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), &record), 0);
  EXPECT_EQ(record.predictor, 0xAB);
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), nullptr), 0);
  Delete(&object);
}

}  // namespace
