// The parameter record of a filter: defaults by filter type, the keys each
// type reads, numbers narrowed to their fields, and refusals.
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
      {PDF_Filter_Type_LZW, "<</EarlyChange 0 /Predictor 2 /Columns 9>>", 0, "10 | 2 1 8 0 | 0 0 1 0 9 0 0 0 | 0 255"},
      {PDF_Filter_Type_Flate, "<</Predictor 266 /Colors 257 /BitsPerComponent 8.9 /Columns -1>>", 0,
       "11 | 10 1 8 1 | 0 0 1 0 4294967295 0 0 0 | 0 255"},
      {PDF_Filter_Type_CCITT_Fax,
       "<</K -1 /EndOfLine true /EncodedByteAlign true /Columns 2560 /Rows 100 /EndOfBlock false /BlackIs1 true "
       "/DamagedRowsBeforeError 3 /Predictor 12>>",
       0, "13 | 1 1 8 1 | -1 1 0 1 2560 100 1 3 | 0 255"},
      // JBIG2 globals as an object number, 0 when the reference leads nowhere.
      {PDF_Filter_Type_JBIG2, "<</JBIG2Globals 7 0 R /Columns 4>>", 0, "14 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 7 255"},
      {PDF_Filter_Type_JBIG2, "<</JBIG2Globals 99 0 R>>", 0, "14 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
      {PDF_Filter_Type_DCT, "<</ColorTransform 257 /Predictor 12>>", 0, "15 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 1"},
      {PDF_Filter_Type_Run_Length, "<</Predictor /Bad>>", 0, "12 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
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
      {PDF_Filter_Type_JBIG2, "<</JBIG2Globals 7>>", PDF_RESULT_MALFORMED_FILTER,
       "14 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
      {PDF_Filter_Type_DCT, "<</ColorTransform true>>", PDF_RESULT_MALFORMED_FILTER,
       "15 | 1 1 8 1 | 0 0 1 0 1 0 0 0 | 0 255"},
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

}  // namespace
