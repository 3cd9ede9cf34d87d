// Ownership: variant construction and its defaults, copies that are new
// trees, and every allocation failure path run with the failing allocator.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "filters/pdf_stream.h"
#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_string.h"
#include "reader/pdf_xref_table.h"
#include "support/test_objects.h"

namespace {

using Ownership = Objects_Fixture;

// The owner field is the first member of every value that has one.
PDF_Data_Object* Owner_Of(PDF_Data_Object* object) { return *static_cast<PDF_Data_Object**>(object->value); }

TEST_F(Ownership, CreateBuildsDefaults) {
  for (int32_t tag = 1; tag <= 9; ++tag) {
    PDF_Data_Object* object = nullptr;
    ASSERT_EQ(PDF_Data_Object_Create(&object, file, tag, nullptr), 0) << tag;
    EXPECT_EQ(object->type, tag);
    switch (tag) {
      case 1:
        EXPECT_EQ(object->value, nullptr);
        break;
      case 2:
        EXPECT_EQ(static_cast<PDF_Object_Reference*>(object->value)->target, nullptr);
        EXPECT_EQ(static_cast<PDF_Object_Reference*>(object->value)->number, 0u);
        break;
      case 3:
        EXPECT_EQ(*static_cast<PDF_Boolean*>(object->value), 0);
        break;
      case 4:
        EXPECT_EQ(PDF_Number_Get_Real(static_cast<PDF_Number*>(object->value)), 0.0);
        break;
      case 5:
      case 6:
        EXPECT_EQ(static_cast<PDF_String*>(object->value)->kind, tag == 5 ? 1u : 0u);
        EXPECT_EQ(static_cast<PDF_String*>(object->value)->length, 0u);
        break;
      case 7:
        EXPECT_EQ(PDF_Array_Get_Count(static_cast<PDF_Array*>(object->value)), 0u);
        break;
      case 8:
        EXPECT_EQ(PDF_Dictionary_Get_Count(static_cast<PDF_Dictionary*>(object->value)), 0u);
        break;
      case 9: {
        PDF_Stream* stream = static_cast<PDF_Stream*>(object->value);
        EXPECT_EQ(PDF_Number_Get_Real(static_cast<PDF_Number*>(
                      PDF_Dictionary_Find_Value(PDF_Stream_Get_Dictionary(stream), "Length")->value)),
                  0.0);
        EXPECT_EQ(stream->data, nullptr);
        break;
      }
    }
    if (tag != 1 && tag != 3) {
      EXPECT_EQ(Owner_Of(object), object) << tag;
    }
    Delete(&object);
  }
  // A value given to a null variant is ignored.
  PDF_Data_Object* object = nullptr;
  int dummy = 0;
  ASSERT_EQ(PDF_Data_Object_Create(&object, file, 1, &dummy), 0);
  EXPECT_EQ(object->value, nullptr);
  Delete(&object);
  EXPECT_EQ(PDF_Data_Object_Create(nullptr, file, 1, nullptr), -500);
  EXPECT_EQ(PDF_Data_Object_Create(&object, nullptr, 1, nullptr), -500);
  EXPECT_EQ(PDF_Data_Object_Delete(&object, file, 0), -500) << "a holder that holds null";
}

TEST_F(Ownership, BadTagLeavesTheVariantBlockBehind) {
  std::set<void*> before = Snapshot();
  PDF_Data_Object* object = nullptr;
  for (int32_t tag : {0, 10, -1}) {
    EXPECT_EQ(PDF_Data_Object_Create(&object, file, tag, nullptr), -92);
    EXPECT_EQ(object, nullptr);
  }
  // The block is neither released nor handed out: three blocks stay.
  EXPECT_EQ(Free_Since(before), 3u);
}

TEST_F(Ownership, CopiesAreNewTreesOfTheSameTags) {
  PDF_Data_Object* source = Value("<</N /Name /S (str) /H <41> /A [1 2.5 true null [/X]] /D <</E 5 0 R>>>>");
  PDF_Data_Object* copy = nullptr;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, false, PDF_COPY_MODE_AS_IS), 0);
  auto* original = static_cast<PDF_Dictionary*>(source->value);
  auto* dictionary = static_cast<PDF_Dictionary*>(copy->value);
  EXPECT_NE(dictionary, original);
  EXPECT_EQ(dictionary->owner, copy);
  EXPECT_EQ(PDF_Dictionary_Get_Count(dictionary), 5u);
  EXPECT_EQ(PDF_Dictionary_Find_Value(dictionary, "N")->type, PDF_Data_Type_Name);
  EXPECT_EQ(PDF_Dictionary_Find_Value(dictionary, "S")->type, PDF_Data_Type_String);
  auto* hex = static_cast<PDF_String*>(PDF_Dictionary_Find_Value(dictionary, "H")->value);
  EXPECT_EQ(hex->kind, 2u);
  EXPECT_NE(hex, PDF_Dictionary_Find_Value(original, "H")->value);
  auto* array = static_cast<PDF_Array*>(PDF_Dictionary_Find_Value(dictionary, "A")->value);
  EXPECT_EQ(PDF_Array_Get_Count(array), 5u);
  EXPECT_EQ(PDF_Array_Get_Value(array, 3)->type, PDF_Data_Type_Null);
  double real = 0;
  uint8_t decimals = 0;
  ASSERT_EQ(PDF_Array_Get_Number(array, 1, &real, &decimals), 0);
  EXPECT_EQ(real, 2.5);
  EXPECT_EQ(decimals, 1);
  // Deleting the source leaves the copy whole (the sanitizers watch this).
  Delete(&source);
  auto* inner = static_cast<PDF_Dictionary*>(PDF_Dictionary_Find_Value(dictionary, "D")->value);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(PDF_Dictionary_Find_Value(inner, "E")->value)->number, 5u);
  Delete(&copy);

  PDF_Data_Object bad = {12, nullptr};
  EXPECT_EQ(PDF_Data_Object_Copy(&copy, file, &bad, false, 0), -92);
  EXPECT_EQ(PDF_Data_Object_Copy(&copy, file, nullptr, false, 0), -500);
}

TEST_F(Ownership, DecryptTouchesStringsOnly) {
  PDF_Data_Object* name = Value("/A#42");
  EXPECT_EQ(PDF_Data_Object_Decrypt(name, file, nullptr), 0);
  EXPECT_EQ(static_cast<PDF_String*>(name->value)->decrypted, 0);
  Delete(&name);
  PDF_Data_Object* string = Value("<4 1>");
  EXPECT_EQ(PDF_Data_Object_Decrypt(string, file, nullptr), 0);
  EXPECT_EQ(static_cast<PDF_String*>(string->value)->kind, 1u);
  Delete(&string);
  EXPECT_EQ(PDF_Data_Object_Decrypt(nullptr, file, nullptr), -500);
}

// Runs an operation with the nth allocation failing, for n = 1, 2, ... until
// it succeeds. check(n, ok) verifies the outcome and releases what the
// operation built; afterwards nothing may remain.
template <typename Operation, typename Check>
void Fail_Each_Request(Objects_Fixture* fixture, Operation operation, Check check) {
  for (uint64_t n = 1; n < 10000; ++n) {
    std::set<void*> before = fixture->Snapshot();
    fixture->Fail_Request(n);
    bool ok = operation();
    bool failed = fixture->Failure_Reached();
    fixture->Stop_Failing();
    check(n, ok);
    ASSERT_EQ(fixture->Free_Since(before), 0u) << "leak with request " << n << " failing";
    if (!failed) {
      ASSERT_TRUE(ok) << "no failure injected, yet the operation failed";
      return;
    }
  }
  FAIL() << "never succeeded";
}

TEST_F(Ownership, ParseUnderAllocationFailure) {
  const std::string text =
      "<</A [1 true null (s) <41> /N 5 0 R [] 0 0 R] /B <</C 2.5>> /A false /D (" + std::string(1500, 'x') + ")>>";
  PDF_Read_Data* reader = Input(text);
  PDF_Data_Object* object = nullptr;
  Fail_Each_Request(
      this, [&] { return PDF_Data_Object_Read(&object, file, reader, 0) == text.size(); },
      [&](uint64_t n, bool ok) {
        if (!ok) {
          EXPECT_EQ(object, nullptr) << n;
        } else {
          ASSERT_NE(object, nullptr);
          Delete(&object);
        }
      });
  for (const char* text : {"Unable to allocate memory for data object object!",
                           "Unable to allocate memory for Number object!", "Unable to allocate memory for Boolean!",
                           "Unable to allocate memory for array object!",
                           "Unable to allocate memory for dictionary object!",
                           "Unable to allocate memory for dictionary entry!",
                           "Unable to allocate memory for object reference!"}) {
    EXPECT_GE(Resource_Reports(text), 1u) << text;
  }
}

TEST_F(Ownership, CopyUnderAllocationFailure) {
  PDF_Data_Object* source = Value("<</A [1 true (s) /N 5 0 R] /B <</C <41>>> /L null>>");
  ASSERT_EQ(PDF_Dictionary_Set_Value(static_cast<PDF_Dictionary*>(source->value), file, "St",
                                     [&] {
                                       PDF_Data_Object* stream = nullptr;
                                       PDF_Data_Object_Create(&stream, file, PDF_Data_Type_Stream, nullptr);
                                       return stream;
                                     }()),
            0);
  PDF_Data_Object* copy = nullptr;
  Fail_Each_Request(
      this, [&] { return PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_AS_IS) == 0; },
      [&](uint64_t n, bool ok) {
        if (!ok) {
          EXPECT_EQ(copy, nullptr) << n;
        } else {
          Delete(&copy);
        }
      });
  EXPECT_GE(Resource_Reports("Unable to allocate memory for stream object!"), 1u);
  Delete(&source);
}

TEST_F(Ownership, SettersUnderAllocationFailure) {
  PDF_Object* object = nullptr;
  ASSERT_EQ(PDF_Object_Create(&object, file, nullptr, 3, 0, 0), 0);
  PDF_Dictionary* dictionary = nullptr;
  ASSERT_EQ(PDF_Dictionary_Create(&dictionary, file), 0);
  PDF_Array* array = nullptr;
  ASSERT_EQ(PDF_Array_Create(&array, file), 0);
  const uint8_t bytes[] = {'(', 'x', ')'};
  Fail_Each_Request(
      this,
      [&] {
        // Each step is idempotent, so a retry after a failure starts over.
        return PDF_Dictionary_Set_Number(dictionary, file, "N", 1, 0) == 0 &&
               PDF_Dictionary_Set_Boolean(dictionary, file, "B", 1) == 0 &&
               PDF_Dictionary_Set_Name(dictionary, file, "M", "Nm") == 0 &&
               PDF_Dictionary_Set_String(dictionary, file, "S", bytes, 3, 1) == 0 &&
               PDF_Dictionary_Set_Reference(dictionary, file, "R", object) == 0;
      },
      [&](uint64_t, bool) {
        // What was stored stays; clear it so that every pass starts empty.
        for (const char* key : {"N", "B", "M", "S", "R"}) PDF_Dictionary_Remove_Entry(dictionary, file, key, 0);
      });
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u);
  Fail_Each_Request(
      this,
      [&] {
        return PDF_Array_Append_Number(array, file, 1, 0) == 0 && PDF_Array_Append_Name(array, file, "A") == 0 &&
               PDF_Array_Insert_Reference(array, file, object, 0) == 0;
      },
      [&](uint64_t, bool) {
        while (PDF_Array_Get_Count(array) != 0) PDF_Array_Remove_Value(array, file, 0, 0);
      });
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u);
  EXPECT_EQ(PDF_Array_Delete(&array, file, 0), 0);
  EXPECT_EQ(PDF_Dictionary_Delete(&dictionary, file, 0), 0);
  EXPECT_EQ(PDF_Object_Delete(&object, file, 0), 0);
}

TEST_F(Ownership, ObjectsUnderAllocationFailure) {
  PDF_Xref_Table* table = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&table, file, true), 0);
  ASSERT_EQ(PDF_Body_Create(&file->xref_table, file, table, nullptr, false), 0);
  PDF_Read_Data* reader = Input("4 0 obj <</K [(a\\101) <42>] /R 4 0 R>> endobj");
  file->encrypted = 1;
  PDF_Object* object = nullptr;
  Fail_Each_Request(
      this,
      [&] {
        if (PDF_Object_Read(&object, file, reader, 0) == 0) return false;
        return PDF_Object_Load(object) == 0;
      },
      [&](uint64_t n, bool ok) {
        if (object != nullptr) {
          if (!ok) {
            EXPECT_EQ(object->value, nullptr) << n;
          }
          EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
        }
      });
  EXPECT_GE(Resource_Reports("Unable to allocate memory for object!"), 1u);

  // Entering objects into a table of their own, which owns them afterwards.
  PDF_Xref_Table* scratch = nullptr;
  Fail_Each_Request(
      this,
      [&] {
        if (PDF_Xref_Table_Create(&scratch, file, true) != 0) return false;
        PDF_Object* fresh = nullptr;
        if (PDF_Object_Create(&fresh, file, nullptr, 20, 0, 0) != 0) return false;
        if (PDF_Xref_Table_Add_Entry(scratch, file, fresh, 0, 0, 0, 'n') != 0) {
          PDF_Object_Delete(&fresh, file, 0);
          return false;
        }
        return PDF_Xref_Table_Add_Entry(scratch, file, nullptr, 7, 0, 0, 'f') == 0;
      },
      [&](uint64_t, bool ok) {
        if (ok) {
          EXPECT_EQ(PDF_Object_Get_Number(PDF_Xref_Table_Get_Object(scratch, 20, 0)), 20);
        }
        if (scratch != nullptr) {
          EXPECT_EQ(PDF_Xref_Table_Delete(&scratch, file), 0);
        }
      });
}

TEST_F(Ownership, DefaultValuesUnderAllocationFailureLeaveTheVariant) {
  for (int32_t tag = 2; tag <= 9; ++tag) {
    for (uint64_t n = 1;; ++n) {
      std::set<void*> before = Snapshot();
      Fail_Request(n);
      PDF_Data_Object* object = nullptr;
      PDF_Result result = PDF_Data_Object_Create(&object, file, tag, nullptr);
      bool failed = Failure_Reached();
      Stop_Failing();
      if (result == 0) {
        Delete(&object);
        ASSERT_EQ(Free_Since(before), 0u);
        if (!failed) break;
        continue;
      }
      EXPECT_EQ(result, -7) << tag;
      EXPECT_EQ(object, nullptr);
      // Failing the variant itself leaves nothing; failing the default leaves
      // the variant block, as it stands.
      EXPECT_EQ(Free_Since(before), n == 1 ? 0u : 1u) << "tag " << tag << " request " << n;
    }
  }
}

TEST_F(Ownership, StringsUnderAllocationFailure) {
  PDF_String* string = nullptr;
  Fail_Each_Request(
      this,
      [&] {
        if (PDF_String_Create(&string, file, reinterpret_cast<const uint8_t*>("a\\101(b)"), 1, 8, false) != 0) {
          return false;
        }
        return PDF_String_Decrypt(string, file, nullptr) == 0;
      },
      [&](uint64_t, bool ok) {
        if (ok) {
          EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), "aA\\(b\\)");
        }
        if (string != nullptr) PDF_String_Delete(&string, file);
      });
}

TEST_F(Ownership, FailedObjectCopyKeepsItsForwardingPointer) {
  PDF_Object* source = nullptr;
  ASSERT_EQ(PDF_Object_Create(&source, file, Value("[1]"), 0, 0, 0), 0);
  // Requests: the new object, its two numbers, then the copied array.
  PDF_Object* copy = nullptr;
  Fail_Request(4);
  EXPECT_EQ(PDF_Object_Copy(&copy, file, true, source, PDF_COPY_MODE_ORDINARY), -7);
  Stop_Failing();
  EXPECT_EQ(copy, nullptr);
  // The released copy is still named as the source's copy (compared, never
  // followed): a later copy of this source would deliver it.
  EXPECT_NE(source->copy, nullptr);
  source->copy = nullptr;
  EXPECT_EQ(PDF_Object_Delete(&source, file, PDF_DELETE_MODE_RELEASE), 0);
}

}  // namespace
