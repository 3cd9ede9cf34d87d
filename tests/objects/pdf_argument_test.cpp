// Operations of the object model and the structure reader refuse a missing
// argument with their documented answer instead of reaching through it; each
// call leaves out one argument that an operation must not touch. The fixture
// fails the test if any of them leaves memory behind.
#include <gtest/gtest.h>

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
  PDF_Name* name = nullptr;
  EXPECT_EQ(PDF_Name_Create(&name, file, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  uint64_t offset = 1;
  EXPECT_EQ(PDF_Header_Find_Startxref(file, nullptr, &offset), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Header_Find_Startxref(file, reader, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  PDF_Header* header = nullptr;
  EXPECT_EQ(PDF_Header_Read(&header, nullptr, reader, 0), 0u);
  PDF_Data_Object* object = nullptr;
  EXPECT_EQ(PDF_Data_Object_Read(&object, file, nullptr, 0), 0u);
  EXPECT_EQ(PDF_Data_Object_Read(nullptr, file, reader, 0), PDF_READ_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Trailer_Set_Root(trailer, file, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Dictionary_Load_All(dictionary, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  PDF_Array_Element* element = nullptr;
  EXPECT_EQ(PDF_Array_Element_Delete(&element, file, PDF_DELETE_MODE_RELEASE), PDF_RESULT_INVALID_ARGUMENT);
  PDF_File* none = nullptr;
  EXPECT_EQ(PDF_File_Delete(&none), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Dictionary_Get_Count(dictionary), 0u) << "the trailer's dictionary is untouched";
  EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), PDF_RESULT_OK);
}

}  // namespace
