// Operations of the object model and the structure reader refuse a missing
// argument with their documented answer instead of reaching through it; each
// row leaves out one argument that an operation must not touch.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "objects/pdf_array.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "reader/pdf_file.h"
#include "reader/pdf_header.h"
#include "reader/pdf_startxref.h"
#include "reader/pdf_trailer.h"
#include "support/test_objects.h"

namespace {

class Missing_Argument : public Objects_Fixture {};

TEST_F(Missing_Argument, IsRefusedWithoutBeingTouched) {
  PDF_Read_Data* reader = Input("%PDF-1.4\n1 0 obj null endobj\nstartxref\n9\n%%EOF\n");
  PDF_Dictionary* dictionary = nullptr;
  ASSERT_EQ(PDF_Dictionary_Create(&dictionary, file), PDF_RESULT_OK);
  PDF_Trailer* trailer = nullptr;
  ASSERT_EQ(PDF_Trailer_Create(&trailer, file, dictionary), PDF_RESULT_OK);

  struct Case {
    const char* call;
    std::function<int64_t()> run;
    int64_t expected;
  };
  const Case cases[] = {
      {"PDF_Name_Create without text",
       [&] {
         PDF_Name* name = nullptr;
         return int64_t(PDF_Name_Create(&name, file, nullptr));
       },
       PDF_RESULT_INVALID_ARGUMENT},
      {"PDF_Header_Find_Startxref without reader",
       [&] {
         uint64_t offset = 1;
         return int64_t(PDF_Header_Find_Startxref(file, nullptr, &offset));
       },
       PDF_RESULT_INVALID_ARGUMENT},
      {"PDF_Header_Find_Startxref without out value",
       [&] { return int64_t(PDF_Header_Find_Startxref(file, reader, nullptr)); }, PDF_RESULT_INVALID_ARGUMENT},
      {"PDF_Header_Read without file",
       [&] {
         PDF_Header* header = nullptr;
         return int64_t(PDF_Header_Read(&header, nullptr, reader, 0));
       },
       0},
      {"PDF_Data_Object_Read without reader",
       [&] {
         PDF_Data_Object* object = nullptr;
         return int64_t(PDF_Data_Object_Read(&object, file, nullptr, 0));
       },
       0},
      {"PDF_Trailer_Set_Root without root", [&] { return int64_t(PDF_Trailer_Set_Root(trailer, file, nullptr)); },
       PDF_RESULT_INVALID_ARGUMENT},
      {"PDF_Dictionary_Load_All without file", [&] { return int64_t(PDF_Dictionary_Load_All(dictionary, nullptr)); },
       PDF_RESULT_INVALID_ARGUMENT},
      {"PDF_Array_Element_Delete of no element",
       [&] {
         PDF_Array_Element* element = nullptr;
         return int64_t(PDF_Array_Element_Delete(&element, file, PDF_DELETE_MODE_RELEASE));
       },
       PDF_RESULT_INVALID_ARGUMENT},
      {"PDF_File_Delete of no file",
       [&] {
         PDF_File* none = nullptr;
         return int64_t(PDF_File_Delete(&none));
       },
       PDF_RESULT_INVALID_ARGUMENT},
  };
  for (const Case& c : cases) {
    std::set<void*> before = Snapshot();
    EXPECT_EQ(c.run(), c.expected) << c.call;
    EXPECT_EQ(Free_Since(before), 0u) << c.call << " left memory behind";
  }
  EXPECT_EQ(PDF_Dictionary_Get_Count(dictionary), 0u) << "the trailer's dictionary is untouched";
  EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), PDF_RESULT_OK);
}

}  // namespace
