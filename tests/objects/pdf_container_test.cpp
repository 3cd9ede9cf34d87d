// Dictionaries through their setters: replacement, order, escaping and the
// reference count of entries that refer to an object.
#include <gtest/gtest.h>

#include <string>

#include "objects/pdf_array.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_object.h"
#include "support/test_objects.h"
#include "support/test_show.h"

namespace {

using Containers = Objects_Fixture;

TEST_F(Containers, DictionarySetReplacesAndMovesToTheEnd) {
  PDF_Data_Object* value = Value("<<>>");
  auto* dictionary = static_cast<PDF_Dictionary*>(value->value);
  const uint8_t raw[] = {'a', '(', '\n', 0xff};
  ASSERT_EQ(PDF_Dictionary_Set_Number(dictionary, file, "A", 1, 0), 0);
  ASSERT_EQ(PDF_Dictionary_Set_Boolean(dictionary, file, "B", 1), 0);
  ASSERT_EQ(PDF_Dictionary_Set_Name(dictionary, file, "C", "Cn"), 0);
  ASSERT_EQ(PDF_Dictionary_Set_Number(dictionary, file, "A", 3, 0), 0);
  ASSERT_EQ(PDF_Dictionary_Set_String(dictionary, file, "S", raw, sizeof(raw), 1), 0);
  EXPECT_EQ(PDF_Dictionary_Set_Number(dictionary, file, "bad key", 1, 0), PDF_RESULT_BAD_NAME_TEXT);
  EXPECT_EQ(PDF_Dictionary_Set_Name(dictionary, file, "K", "bad(name"), PDF_RESULT_BAD_NAME_TEXT);
  EXPECT_EQ(Show(value), "<</B true /C /Cn /A 3 /S (a\\(\\n\xff)>>") << "the string escaped";
  // A reference entry counts its target; replacing the entry releases the count.
  PDF_Object* object = nullptr;
  ASSERT_EQ(PDF_Object_Create(&object, file, nullptr, 4, 0, 0), 0);
  for (const char* key : {"R", "S", "R"}) ASSERT_EQ(PDF_Dictionary_Set_Reference(dictionary, file, key, object), 0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 2u);
  Delete(&value);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u);
  EXPECT_EQ(PDF_Object_Delete(&object, file, 0), 0);
}

TEST_F(Containers, ArrayAppendsBuiltValues) {
  PDF_Data_Object* object = Value("[1]");
  auto* array = static_cast<PDF_Array*>(object->value);
  ASSERT_EQ(PDF_Array_Append_Number(array, file, 2.5, 1), PDF_RESULT_OK);
  ASSERT_EQ(PDF_Array_Append_Name(array, file, "N"), PDF_RESULT_OK);
  EXPECT_EQ(PDF_Array_Append_Name(array, file, "a b"), PDF_RESULT_BAD_NAME_TEXT);
  EXPECT_EQ(Show(object), "[1 2.5d1 /N]");
  Delete(&object);
}

}  // namespace
