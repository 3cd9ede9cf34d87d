// Filter codes, parameter records, and the reading of Filter and DecodeParms
// in their direct, indirect, name and array forms.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "filters/pdf_filter.h"
#include "filters/pdf_stream.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "reader/pdf_xref_table.h"
#include "support/test_objects.h"

namespace {

class Filter_Reading : public Objects_Fixture {
 protected:
  void SetUp() override {
    Objects_Fixture::SetUp();
    PDF_Xref_Table* table = nullptr;
    ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
    ASSERT_EQ(PDF_Body_Create(&file->xref_table, file, table, nullptr, false), 0);
    // Targets of the indirect cases below.
    Add("7 0 obj <</Predictor 12 /EarlyChange 0>>");
    Add("8 0 obj [<</Predictor 12>>]");
    Add("9 0 obj /LZWDecode");
    Add("10 0 obj [/FlateDecode /LZWDecode]");
    Add("11 0 obj 12");
  }

  void Add(const std::string& text) {
    PDF_Object* object = nullptr;
    ASSERT_NE(PDF_Object_Read(&object, file, Input(text), 0), 0u) << text;
    ASSERT_EQ(PDF_Xref_Table_Add_Entry(file->xref_table->table, file, object, 0, 0, 0, 'n'), 0);
  }

  // A stream on file whose dictionary holds the entries and a Length of 0.
  PDF_Data_Object* Stream(const std::string& entries) {
    PDF_Data_Object* object = Value("<<" + entries + " /Length 0>>\nstream\n\nendstream");
    EXPECT_EQ(PDF_Data_Object_Get_Type(object), PDF_Data_Type_Stream) << entries;
    return object;
  }

  PDF_Dictionary* Dictionary(PDF_Data_Object* object) {
    return static_cast<PDF_Dictionary*>(PDF_Data_Object_Get_Direct_Value(object, PDF_Data_Type_Dictionary));
  }
};

PDF_Stream* Of(PDF_Data_Object* object) {
  return static_cast<PDF_Stream*>(PDF_Data_Object_Get_Direct_Value(object, PDF_Data_Type_Stream));
}

// The defaults as the record states them, for a type.
PDF_Filter_Parms Defaults(PDF_Filter_Type type) {
  PDF_Filter_Parms record{};
  record.type = type;
  record.predictor = 1;
  record.colors = 1;
  record.bits_per_component = 8;
  record.early_change = 1;
  record.end_of_block = 1;
  record.columns = type == PDF_Filter_Type_CCITT_Fax ? 1728 : 1;
  record.color_transform = 255;
  return record;
}

void Expect_Record(const PDF_Filter_Parms& got, const PDF_Filter_Parms& want, const std::string& name) {
  EXPECT_EQ(got.type, want.type) << name;
  EXPECT_EQ(got.predictor, want.predictor) << name;
  EXPECT_EQ(got.colors, want.colors) << name;
  EXPECT_EQ(got.bits_per_component, want.bits_per_component) << name;
  EXPECT_EQ(got.early_change, want.early_change) << name;
  EXPECT_EQ(got.k, want.k) << name;
  EXPECT_EQ(got.end_of_line, want.end_of_line) << name;
  EXPECT_EQ(got.end_of_block, want.end_of_block) << name;
  EXPECT_EQ(got.encoded_byte_align, want.encoded_byte_align) << name;
  EXPECT_EQ(got.columns, want.columns) << name;
  EXPECT_EQ(got.rows, want.rows) << name;
  EXPECT_EQ(got.black_is_1, want.black_is_1) << name;
  EXPECT_EQ(got.damaged_rows_before_error, want.damaged_rows_before_error) << name;
  EXPECT_EQ(got.jbig2_globals, want.jbig2_globals) << name;
  EXPECT_EQ(got.color_transform, want.color_transform) << name;
}

TEST_F(Filter_Reading, TypeFromName) {
  const struct {
    const char* name;
    int code;
  } cases[] = {
      {"/LZWDecode", 10},     {"/FlateDecode", 11},   {"/RunLengthDecode", 12}, {"/CCITTFaxDecode", 13},
      {"/JBIG2Decode", 14},   {"/DCTDecode", 15},     {"/JPXDecode", 16},       {"/ASCIIHexDecode", 2},
      {"/ASCII85Decode", 3},  {"/Crypt", 50},
      // Abbreviations, other spellings and escaped forms are not recognised.
      {"/Fl", 0},             {"/LZW", 0},            {"/AHx", 0},              {"/A85", 0},
      {"/flatedecode", 0},    {"/FlateDecodeX", 0},   {"/Flate", 0},            {"/Flate#44ecode", 0},
      {"/Standard", 0},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* name = Value(c.name);
    EXPECT_EQ(PDF_Filter_Type_From_Name(static_cast<PDF_Name*>(name->value)), c.code) << c.name;
    Delete(&name);
  }
  EXPECT_EQ(PDF_Filter_Type_From_Name(nullptr), PDF_Filter_Type_None);
}

TEST_F(Filter_Reading, DefaultsOverwriteEverythingButType) {
  const PDF_Filter_Type types[] = {PDF_Filter_Type_Unknown, PDF_Filter_Type_None,      PDF_Filter_Type_LZW,
                                   PDF_Filter_Type_Flate,   PDF_Filter_Type_CCITT_Fax, PDF_Filter_Type_JBIG2,
                                   PDF_Filter_Type_DCT,     PDF_Filter_Type_Crypt};
  for (PDF_Filter_Type type : types) {
    PDF_Filter_Parms record;
    memset(&record, 0xAB, sizeof(record));
    record.type = type;
    EXPECT_EQ(PDF_Filter_Parms_Read(nullptr, &record), 0);
    Expect_Record(record, Defaults(type), "type " + std::to_string(type));
  }
  PDF_Filter_Parms record = Defaults(PDF_Filter_Type_None);
  EXPECT_EQ(PDF_Filter_Parms_Read(nullptr, nullptr), -500);

  // With no name, the dictionary isn't even looked at.
  PDF_Data_Object* parms = Value("<</Predictor /Bad /Columns 7>>");
  record.type = PDF_Filter_Type_None;
  EXPECT_EQ(PDF_Filter_Parms_Read(Dictionary(parms), &record), 0);
  Expect_Record(record, Defaults(PDF_Filter_Type_None), "no name");
  Delete(&parms);
}

TEST_F(Filter_Reading, KeysByTypeNarrowingAndRefusals) {
  struct Case {
    std::string name;
    PDF_Filter_Type type;
    std::string parms;
    PDF_Result result;
    void (*expect)(PDF_Filter_Parms*);  // turns the defaults into the expected record
  };
  const Case cases[] = {
      {"Flate keys", PDF_Filter_Type_Flate, "<</Predictor 12 /Colors 3 /BitsPerComponent 16 /Columns 5>>", 0,
       [](PDF_Filter_Parms* r) { r->predictor = 12; r->colors = 3; r->bits_per_component = 16; r->columns = 5; }},
      {"Flate reads no EarlyChange", PDF_Filter_Type_Flate, "<</EarlyChange 0 /K 4 /Rows 3>>", 0,
       [](PDF_Filter_Parms*) {}},
      {"LZW adds EarlyChange", PDF_Filter_Type_LZW, "<</EarlyChange 0 /Predictor 2 /Columns 9>>", 0,
       [](PDF_Filter_Parms* r) { r->early_change = 0; r->predictor = 2; r->columns = 9; }},
      {"numbers narrowed to the field", PDF_Filter_Type_Flate,
       "<</Predictor 266 /Colors 257 /BitsPerComponent 8.9 /Columns -1>>", 0,
       [](PDF_Filter_Parms* r) { r->predictor = 10; r->colors = 1; r->bits_per_component = 8; r->columns = 0xFFFFFFFFu; }},
      {"CCITT keys", PDF_Filter_Type_CCITT_Fax,
       "<</K -1 /EndOfLine true /EncodedByteAlign true /Columns 2560 /Rows 100 /EndOfBlock false /BlackIs1 true "
       "/DamagedRowsBeforeError 3 /Predictor 12>>",
       0,
       [](PDF_Filter_Parms* r) {
         r->k = -1; r->end_of_line = 1; r->encoded_byte_align = 1; r->columns = 2560; r->rows = 100;
         r->end_of_block = 0; r->black_is_1 = 1; r->damaged_rows_before_error = 3;
       }},
      {"JBIG2 globals as an object number", PDF_Filter_Type_JBIG2, "<</JBIG2Globals 7 0 R /Columns 4>>", 0,
       [](PDF_Filter_Parms* r) { r->jbig2_globals = 7; }},
      {"JBIG2 globals nowhere", PDF_Filter_Type_JBIG2, "<</JBIG2Globals 99 0 R>>", 0, [](PDF_Filter_Parms*) {}},
      {"DCT colour transform", PDF_Filter_Type_DCT, "<</ColorTransform 0 /Predictor 12>>", 0,
       [](PDF_Filter_Parms* r) { r->color_transform = 0; }},
      {"DCT colour transform narrowed", PDF_Filter_Type_DCT, "<</ColorTransform 257>>", 0,
       [](PDF_Filter_Parms* r) { r->color_transform = 1; }},
      {"run length reads nothing", PDF_Filter_Type_Run_Length, "<</Predictor /Bad>>", 0, [](PDF_Filter_Parms*) {}},
      {"unknown name reads nothing", PDF_Filter_Type_Unknown, "<</Predictor 12>>", 0, [](PDF_Filter_Parms*) {}},
      {"crypt reads nothing", PDF_Filter_Type_Crypt, "<</Predictor 12>>", 0, [](PDF_Filter_Parms*) {}},
      // Refusals end the reading at the bad key, in the order keys are read
      // rather than the order they stand in.
      {"Predictor as a name", PDF_Filter_Type_Flate, "<</Columns 4 /Predictor /Twelve>>", -54,
       [](PDF_Filter_Parms*) {}},
      {"indirect Columns", PDF_Filter_Type_Flate, "<</Columns 11 0 R /Colors 3 /Predictor 12>>", -54,
       [](PDF_Filter_Parms* r) { r->predictor = 12; r->colors = 3; }},
      {"indirect Predictor", PDF_Filter_Type_Flate, "<</Predictor 11 0 R>>", -54, [](PDF_Filter_Parms*) {}},
      {"EarlyChange as a flag", PDF_Filter_Type_LZW, "<</Predictor 12 /EarlyChange false>>", -54,
       [](PDF_Filter_Parms*) {}},
      {"flag as a number", PDF_Filter_Type_CCITT_Fax, "<</K 4 /EndOfLine 1 /Columns 8>>", -54,
       [](PDF_Filter_Parms* r) { r->k = 4; }},
      {"JBIG2 globals as a number", PDF_Filter_Type_JBIG2, "<</JBIG2Globals 7>>", -54, [](PDF_Filter_Parms*) {}},
      {"colour transform as a flag", PDF_Filter_Type_DCT, "<</ColorTransform true>>", -54, [](PDF_Filter_Parms*) {}},
  };
  for (const Case& c : cases) {
    PDF_Data_Object* parms = Value(c.parms);
    PDF_Filter_Parms record{};
    record.type = c.type;
    EXPECT_EQ(PDF_Filter_Parms_Read(Dictionary(parms), &record), c.result) << c.name;
    PDF_Filter_Parms want = Defaults(c.type);
    c.expect(&want);
    Expect_Record(record, want, c.name);
    Delete(&parms);
  }
}

TEST_F(Filter_Reading, FilterCount) {
  const struct {
    std::string entries;
    PDF_Result result;
    uint32_t count;
  } cases[] = {
      {"", 0, 0},
      {"/Filter /FlateDecode", 0, 1},
      {"/Filter /Unheard", 0, 1},
      {"/Filter []", 0, 0},
      {"/Filter [/A /B /C]", 0, 3},
      {"/Filter [1 (two) 3 0 R]", 0, 3},  // elements are not looked at
      {"/Filter 9 0 R", 0, 1},
      {"/Filter 10 0 R", 0, 2},
      {"/Filter 99 0 R", 0, 0},  // leads nowhere: no filter
      {"/Filter 5", -52, 77},    // count not written
      {"/Filter (FlateDecode)", -52, 77},
      {"/Filter <</A 1>>", -52, 77},
      {"/Filter 11 0 R", -52, 77},
  };
  for (const auto& c : cases) {
    PDF_Data_Object* object = Stream(c.entries);
    uint32_t count = 77;
    EXPECT_EQ(PDF_Stream_Get_Filter_Count(Of(object), &count), c.result) << c.entries;
    EXPECT_EQ(count, c.count) << c.entries;
    Delete(&object);
  }
  uint32_t count = 77;
  EXPECT_EQ(PDF_Stream_Get_Filter_Count(nullptr, &count), -500);
  PDF_Data_Object* object = Stream("/Filter /FlateDecode");
  EXPECT_EQ(PDF_Stream_Get_Filter_Count(Of(object), nullptr), -500);
  Delete(&object);
}

// Expected content of one record: type and the fields that tell the
// parameters apart.
struct Record_Want {
  int type;
  int predictor;
  int early_change;
  uint32_t columns;
};

TEST_F(Filter_Reading, FilterTableInBothForms) {
  struct Case {
    std::string name;
    std::string entries;
    PDF_Result result;
    std::vector<Record_Want> records;
  };
  const Case cases[] = {
      // A lone name.
      {"name with a dictionary", "/Filter /FlateDecode /DecodeParms <</Predictor 12 /Columns 4>>", 0,
       {{11, 12, 1, 4}}},
      {"name with an array takes element 0", "/Filter /FlateDecode /DecodeParms [<</Predictor 12>> <</Predictor 2>>]",
       0, {{11, 12, 1, 1}}},
      {"name with an indirect element 0", "/Filter /FlateDecode /DecodeParms [7 0 R]", 0, {{11, 1, 1, 1}}},
      {"name with an empty array", "/Filter /FlateDecode /DecodeParms []", 0, {{11, 1, 1, 1}}},
      {"name with indirect parameters", "/Filter /LZWDecode /DecodeParms 7 0 R", 0, {{10, 12, 0, 1}}},
      {"name with an indirect array", "/Filter /FlateDecode /DecodeParms 8 0 R", 0, {{11, 12, 1, 1}}},
      {"name with a number for parameters", "/Filter /FlateDecode /DecodeParms 5", 0, {{11, 1, 1, 1}}},
      {"name with null parameters", "/Filter /FlateDecode /DecodeParms null", 0, {{11, 1, 1, 1}}},
      {"indirect name", "/Filter 9 0 R /DecodeParms <</EarlyChange 0>>", 0, {{10, 1, 0, 1}}},
      {"name with bad parameters", "/Filter /FlateDecode /DecodeParms <</Predictor (12)>>", -54, {{11, 1, 1, 1}}},
      {"unknown name", "/Filter /AHx /DecodeParms <</Predictor 12>>", 0, {{0, 1, 1, 1}}},
      // An array.
      {"array with an array", "/Filter [/LZWDecode /FlateDecode] /DecodeParms [<</EarlyChange 0>> <</Predictor 12>>]",
       0, {{10, 1, 0, 1}, {11, 12, 1, 1}}},
      {"array without parameters", "/Filter [/ASCII85Decode /FlateDecode]", 0, {{3, 1, 1, 1}, {11, 1, 1, 1}}},
      {"array with null and reference elements",
       "/Filter [/FlateDecode /LZWDecode /FlateDecode] /DecodeParms [null 7 0 R <</Columns 3>>]", 0,
       {{11, 1, 1, 1}, {10, 1, 1, 1}, {11, 1, 1, 3}}},
      {"shorter parameter array", "/Filter [/FlateDecode /FlateDecode] /DecodeParms [<</Predictor 12>>]", 0,
       {{11, 12, 1, 1}, {11, 1, 1, 1}}},
      {"indirect filter array", "/Filter 10 0 R /DecodeParms [<</Predictor 2>> <</EarlyChange 0>>]", 0,
       {{11, 2, 1, 1}, {10, 1, 0, 1}}},
      {"one-element array with an indirect parameter array", "/Filter [/FlateDecode] /DecodeParms 8 0 R", 0,
       {{11, 12, 1, 1}}},
      {"one-element array beside a lone dictionary", "/Filter [/FlateDecode] /DecodeParms <</Predictor 12>>", -54,
       {}},
      {"array beside a lone dictionary", "/Filter [/FlateDecode /LZWDecode] /DecodeParms <</Predictor 12>>", -54,
       {}},
      {"array beside a number", "/Filter [/FlateDecode] /DecodeParms 5", -54, {}},
      {"array beside null, which isn't stored", "/Filter [/FlateDecode] /DecodeParms null", 0, {{11, 1, 1, 1}}},
      {"array beside a reference to nothing", "/Filter [/FlateDecode] /DecodeParms 99 0 R", 0, {{11, 1, 1, 1}}},
      {"indirect filter name in an array", "/Filter [/FlateDecode 9 0 R]", -54, {{11, 1, 1, 1}}},
      {"string in an array", "/Filter [(FlateDecode)]", -54, {}},
      {"bad parameters in an array", "/Filter [/FlateDecode /LZWDecode] /DecodeParms [<</Predictor 12>> <</EarlyChange /No>>]",
       -54, {{11, 12, 1, 1}, {10, 1, 1, 1}}},
      // Neither.
      {"string", "/Filter (FlateDecode)", -54, {}},
      {"number", "/Filter 3", -54, {}},
  };
  for (const Case& c : cases) {
    PDF_Data_Object* object = Stream(c.entries);
    PDF_Filter_Parms table[4];
    memset(table, 0xAB, sizeof(table));
    EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), table), c.result) << c.name;
    for (size_t i = 0; i < c.records.size(); ++i) {
      EXPECT_EQ(table[i].type, c.records[i].type) << c.name << " record " << i;
      EXPECT_EQ(table[i].predictor, c.records[i].predictor) << c.name << " record " << i;
      EXPECT_EQ(table[i].early_change, c.records[i].early_change) << c.name << " record " << i;
      EXPECT_EQ(table[i].columns, c.records[i].columns) << c.name << " record " << i;
    }
    EXPECT_EQ(table[c.records.size()].type, 0xAB) << c.name << ": nothing past the filters written";
    Delete(&object);
  }
}

TEST_F(Filter_Reading, FilterTableWithoutFilterOrTable) {
  PDF_Data_Object* object = Stream("/DecodeParms <</Predictor 12>>");
  PDF_Filter_Parms record;
  memset(&record, 0xAB, sizeof(record));
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), &record), 0);
  EXPECT_EQ(record.predictor, 0xAB) << "nothing written";
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), nullptr), 0) << "no filter comes before the table test";
  Delete(&object);

  object = Stream("/Filter /FlateDecode");
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(Of(object), nullptr), -500);
  Delete(&object);
  EXPECT_EQ(PDF_Stream_Get_Filter_Table(nullptr, &record), -500);
}

}  // namespace
