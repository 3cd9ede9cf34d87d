// Arrays, dictionaries and numbers through their operations.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>

#include "objects/pdf_array.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "support/test_objects.h"
#include "support/test_show.h"

namespace {

using Containers = Objects_Fixture;

TEST_F(Containers, ArrayInsertRemoveAndIndices) {
  PDF_Data_Object* object = Value("[1 2]");
  auto* array = static_cast<PDF_Array*>(object->value);
  ASSERT_EQ(PDF_Array_Append_Number(array, file, 3, 0), 0);
  ASSERT_EQ(PDF_Array_Insert_Value(array, file, Value("0"), 0), 0);
  ASSERT_EQ(PDF_Array_Insert_Value(array, file, Value("9"), 7), 0);  // past the end: appends
  ASSERT_EQ(PDF_Array_Insert_Value(array, file, Value("5"), 2), 0);
  EXPECT_EQ(Show(object), "[0 1 5 2 3 9]");
  EXPECT_EQ(PDF_Array_Remove_Value(array, file, 6, PDF_DELETE_MODE_RELEASE), PDF_RESULT_INDEX_OUT_OF_RANGE);
  for (uint32_t index : {5, 0, 1}) ASSERT_EQ(PDF_Array_Remove_Value(array, file, index, PDF_DELETE_MODE_RELEASE), 0);
  EXPECT_EQ(Show(object), "[1 2 3]");
  EXPECT_EQ(Show(array->last->value), "3") << "tail relinked";
  EXPECT_TRUE(array->first->previous == nullptr && array->last->next == nullptr);
  EXPECT_EQ(PDF_Array_Get_Value(array, 3), nullptr);
  EXPECT_EQ(PDF_Array_Append_Name(array, file, "a b"), PDF_RESULT_BAD_NAME_TEXT);
  Delete(&object);

  object = Value("[]");
  array = static_cast<PDF_Array*>(object->value);
  EXPECT_EQ(PDF_Array_Remove_Value(array, file, 0, 0), PDF_RESULT_INDEX_OUT_OF_RANGE);
  ASSERT_EQ(PDF_Array_Insert_Value(array, file, Value("4"), 3), 0);
  EXPECT_EQ(array->first, array->last);
  Delete(&object);
}

TEST_F(Containers, ArrayGetNumberRefusesReferences) {
  PDF_Data_Object* object = Value("[2.50 5 0 R /N]");
  auto* array = static_cast<PDF_Array*>(object->value);
  double real = -1;
  uint8_t decimals = 9;
  ASSERT_EQ(PDF_Array_Get_Number(array, 0, &real, &decimals), 0);
  EXPECT_TRUE(real == 2.5 && decimals == 2);
  EXPECT_EQ(PDF_Array_Get_Number(array, 1, &real, &decimals), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Array_Get_Number(array, 2, &real, &decimals), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Array_Get_Number(array, 3, &real, &decimals), PDF_RESULT_INDEX_OUT_OF_RANGE);
  real = -1;
  EXPECT_EQ(PDF_Array_Get_Number(nullptr, 0, &real, &decimals), 0);
  EXPECT_EQ(real, -1) << "a null array: success, outputs untouched";
  Delete(&object);
}

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

TEST_F(Containers, DictionaryCursorWalksAndRemoval) {
  PDF_Data_Object* object = Value("<</A 0 /B 1 /C 2 /D 3 /E 4 /Move [1]>>");
  auto* dictionary = static_cast<PDF_Dictionary*>(object->value);
  PDF_Name* key = nullptr;
  PDF_Data_Object* value = nullptr;
  for (uint32_t i : {0u, 2u, 4u, 3u, 0u}) {
    ASSERT_EQ(PDF_Dictionary_Get_Entry_At(dictionary, i, &key, &value), 0);
    EXPECT_EQ(Show(value), std::to_string(i));
    EXPECT_EQ(dictionary->cursor_index, i);
  }
  EXPECT_EQ(PDF_Dictionary_Get_Entry_At(dictionary, 6, &key, &value), PDF_RESULT_INDEX_OUT_OF_RANGE);
  EXPECT_EQ(key, nullptr) << "outputs cleared";
  ASSERT_NE(PDF_Dictionary_Find_Value(dictionary, "D"), nullptr);
  EXPECT_EQ(dictionary->cursor_index, 3u) << "a lookup by key moves the cursor";
  EXPECT_EQ(PDF_Dictionary_Remove_Entry(dictionary, file, "Z", 0), 0);
  EXPECT_EQ(dictionary->cursor_index, 3u) << "a missing key leaves the cursor";
  ASSERT_EQ(PDF_Dictionary_Remove_Entry(dictionary, file, "C", 0), 0);
  EXPECT_TRUE(dictionary->cursor == dictionary->first && dictionary->cursor_index == 0);
  ASSERT_EQ(PDF_Dictionary_Get_Entry_At(dictionary, 2, &key, &value), 0);
  EXPECT_EQ(Show(value), "3");
  // Removed in mode 1, an entry's value is kept and can move elsewhere.
  PDF_Data_Object* moved = PDF_Dictionary_Find_Value(dictionary, "Move");
  ASSERT_EQ(PDF_Dictionary_Remove_Entry(dictionary, file, "Move", PDF_DELETE_MODE_KEEP), 0);
  ASSERT_EQ(PDF_Dictionary_Remove_Entry(dictionary, file, "E", 0), 0);
  ASSERT_EQ(PDF_Dictionary_Set_Value(dictionary, file, "Moved", moved), 0);
  EXPECT_EQ(Show(object), "<</A 0 /B 1 /D 3 /Moved [1]>>");
  EXPECT_FALSE(PDF_Dictionary_Entry_Matches(dictionary->first, "A")) << "a difference flag";
  EXPECT_TRUE(PDF_Dictionary_Entry_Matches(dictionary->first, "B"));
  Delete(&object);
}

TEST_F(Containers, NumberConversionsTruncate) {
  const struct {
    double value;
    int32_t integer;
    int64_t long_value;
  } cases[] = {
      {2.9, 2, 2},
      {-2.9, -2, -2},
      {2147483647.0, INT32_MAX, 2147483647LL},
      {3e9, INT32_MIN, 3000000000LL},
      {-3e9, INT32_MIN, -3000000000LL},
      {1e19, INT32_MIN, INT64_MIN},
      {NAN, INT32_MIN, INT64_MIN},
  };
  for (const auto& c : cases) {
    PDF_Number* number = nullptr;
    ASSERT_EQ(PDF_Number_Create(&number, file, 3, c.value), 0);
    EXPECT_EQ(PDF_Number_Get_Integer(number), c.integer) << c.value;
    EXPECT_EQ(PDF_Number_Get_Long(number), c.long_value) << c.value;
    PDF_Number_Delete(&number, file);
  }
  PDF_Data_Object* object = Value("1.25");
  auto* number = static_cast<PDF_Number*>(object->value);
  EXPECT_EQ(PDF_Number_Increment(number), 0);
  EXPECT_EQ(Show(object), "2.25d2") << "decimals untouched";
  EXPECT_EQ(PDF_Number_Decrement(number), 0);
  EXPECT_EQ(PDF_Number_Set_Integer(number, -7), 0);
  EXPECT_EQ(Show(object), "-7");
  Delete(&object);
}

TEST_F(Containers, NullArguments) {
  PDF_Name* key = nullptr;
  PDF_Data_Object* value = nullptr;
  EXPECT_EQ(PDF_Array_Get_Count(nullptr), 0u);
  EXPECT_EQ(PDF_Array_Get_Value(nullptr, 0), nullptr);
  EXPECT_EQ(PDF_Dictionary_Get_Entry_At(nullptr, 0, &key, &value), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_FALSE(PDF_Dictionary_Entry_Matches(nullptr, "A"));
  EXPECT_EQ(PDF_Number_Get_Integer(nullptr), 0);
  EXPECT_EQ(PDF_Number_Increment(nullptr), PDF_RESULT_INVALID_ARGUMENT);
}

}  // namespace
