// Ownership: variant construction and its defaults, copies that are new
// trees, and every allocation failure path run with the failing allocator.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "objects/pdf_array.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "objects/pdf_string.h"
#include "reader/pdf_xref_table.h"
#include "support/test_cipher.h"
#include "support/test_objects.h"
#include "support/test_show.h"

namespace {

using Ownership = Objects_Fixture;

PDF_Data_Object* Find(PDF_Data_Object* object, const char* key) {
  return PDF_Dictionary_Find_Value(static_cast<PDF_Dictionary*>(object->value), key);
}

TEST_F(Ownership, CreateBuildsDefaultsOwnedByTheVariant) {
  const char* shown[] = {"", "null", "R0.0", "false", "0", "()", "/", "[]", "<<>>"};
  for (int32_t tag = 1; tag <= 9; ++tag) {
    PDF_Data_Object* object = nullptr;
    ASSERT_EQ(PDF_Data_Object_Create(&object, file, tag, nullptr), 0) << tag;
    if (tag < 9) {
      EXPECT_EQ(Show(object), shown[tag]);
    } else {
      PDF_Stream* stream = static_cast<PDF_Stream*>(object->value);
      EXPECT_EQ(stream->owner, object);
      EXPECT_EQ(stream->data, nullptr);
      EXPECT_EQ(Show(PDF_Dictionary_Find_Value(PDF_Stream_Get_Dictionary(stream), "Length")), "0");
    }
    Delete(&object);
  }
  // A value given to a null variant is ignored.
  PDF_Data_Object* object = nullptr;
  int dummy = 0;
  ASSERT_EQ(PDF_Data_Object_Create(&object, file, 1, &dummy), 0);
  EXPECT_EQ(object->value, nullptr);
  Delete(&object);
}

TEST_F(Ownership, NullAndBadArguments) {
  PDF_Data_Object* object = nullptr;
  EXPECT_EQ(PDF_Data_Object_Create(nullptr, file, 1, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Data_Object_Create(&object, nullptr, 1, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Data_Object_Delete(&object, file, 0), PDF_RESULT_INVALID_ARGUMENT) << "a holder that holds null";
  EXPECT_EQ(PDF_Data_Object_Copy(&object, file, nullptr, false, 0), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Data_Object_Decrypt(nullptr, file, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  PDF_Data_Object bad = {12, nullptr};
  EXPECT_EQ(PDF_Data_Object_Copy(&object, file, &bad, false, 0), PDF_RESULT_BAD_TYPE_TAG);
  // A bad tag leaves the variant block neither released nor handed out, as
  // it stands: three blocks stay behind.
  std::set<void*> before = Snapshot();
  for (int32_t tag : {0, 10, -1}) {
    EXPECT_EQ(PDF_Data_Object_Create(&object, file, tag, nullptr), PDF_RESULT_BAD_TYPE_TAG);
    EXPECT_EQ(object, nullptr);
  }
  EXPECT_EQ(Free_Since(before), 3u);
}

TEST_F(Ownership, CopiesAreNewTreesAndDecryptTouchesStringsOnly) {
  // H holds "A" enciphered for object 5 under the key installed below.
  const std::string h = Test_Spaced_Hex(Test_Encipher("key-5", 5, 0, "A"));
  PDF_Data_Object* source = Value("<</N /A#42 /H <" + h + "> /A [1 2.5 true null [/X]] /D <</E 5 0 R>>>>");
  const std::string shown = Show(source);
  PDF_Data_Object* copy = nullptr;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, false, PDF_COPY_MODE_AS_IS), 0);
  EXPECT_NE(Find(copy, "H")->value, Find(source, "H")->value);
  // Deleting the source leaves the copy whole (the sanitizers watch this).
  Delete(&source);
  EXPECT_EQ(Show(copy), shown);
  PDF_Object* container = nullptr;
  ASSERT_EQ(PDF_Object_Create(&container, file, nullptr, 5, 0, 0), 0);
  Test_Install_Key(file, "key-5");
  EXPECT_EQ(PDF_Data_Object_Decrypt(Find(copy, "N"), file, container), 0);
  EXPECT_EQ(static_cast<PDF_String*>(Find(copy, "N")->value)->decrypted, 0);
  EXPECT_EQ(PDF_Data_Object_Decrypt(Find(copy, "H"), file, container), 0);
  EXPECT_EQ(Show(Find(copy, "H")), "(A)");
  Delete(&copy);
  EXPECT_EQ(PDF_Object_Delete(&container, file, PDF_DELETE_MODE_RELEASE), 0);
}

// Runs an operation with the nth allocation failing, for n = 1, 2, ... until
// it succeeds. check(ok) verifies the outcome and releases what the
// operation built; afterwards nothing may remain.
template <typename Operation, typename Check>
void Fail_Each_Request(Objects_Fixture* fixture, Operation operation, Check check) {
  for (uint64_t n = 1; n < 10000; ++n) {
    SCOPED_TRACE("request " + std::to_string(n) + " failing");
    std::set<void*> before = fixture->Snapshot();
    fixture->Fail_Request(n);
    bool ok = operation();
    bool failed = fixture->Failure_Reached();
    fixture->Stop_Failing();
    check(ok);
    ASSERT_EQ(fixture->Free_Since(before), 0u) << "leak";
    if (!failed) {
      ASSERT_TRUE(ok) << "no failure injected, yet the operation failed";
      return;
    }
  }
  FAIL() << "never succeeded";
}

TEST_F(Ownership, ParseAndCopyUnderAllocationFailure) {
  const std::string text =
      "<</A [1 true null (s) <41> /N 5 0 R [] 0 0 R] /B <</C 2.5>> /A false /D (" + std::string(1500, 'x') + ")>>";
  PDF_Read_Data* reader = Input(text);
  PDF_Data_Object* object = nullptr;
  Fail_Each_Request(
      this, [&] { return PDF_Data_Object_Read(&object, file, reader, 0) == text.size(); },
      [&](bool ok) {
        EXPECT_EQ(object != nullptr, ok);
        Delete(&object);
      });
  for (const char* what : {"data object object", "Number object", "Boolean", "array object", "dictionary object",
                           "dictionary entry", "object reference"}) {
    EXPECT_GE(Resource_Reports(std::string("Unable to allocate memory for ") + what + "!"), 1u) << what;
  }

  PDF_Data_Object* source = Value("<</A [1 true (s) /N 5 0 R] /B <</C <41>>> /L null>>");
  PDF_Data_Object* stream = nullptr;
  ASSERT_EQ(PDF_Data_Object_Create(&stream, file, PDF_Data_Type_Stream, nullptr), 0);
  ASSERT_EQ(PDF_Dictionary_Set_Value(static_cast<PDF_Dictionary*>(source->value), file, "St", stream), 0);
  PDF_Data_Object* copy = nullptr;
  Fail_Each_Request(
      this, [&] { return PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_AS_IS) == 0; },
      [&](bool ok) {
        EXPECT_EQ(copy != nullptr, ok);
        Delete(&copy);
      });
  EXPECT_GE(Resource_Reports("Unable to allocate memory for stream object!"), 1u);
  Delete(&source);
}

TEST_F(Ownership, SettersAndStringsUnderAllocationFailure) {
  PDF_Object* object = nullptr;
  ASSERT_EQ(PDF_Object_Create(&object, file, nullptr, 3, 0, 0), 0);
  PDF_Dictionary* dictionary = nullptr;
  ASSERT_EQ(PDF_Dictionary_Create(&dictionary, file), 0);
  PDF_Array* array = nullptr;
  ASSERT_EQ(PDF_Array_Create(&array, file), 0);
  const uint8_t bytes[] = {'(', 'x', ')'};
  Fail_Each_Request(
      this,
      [&] {  // each step is idempotent, so a retry after a failure starts over
        return PDF_Dictionary_Set_Number(dictionary, file, "N", 1, 0) == 0 &&
               PDF_Dictionary_Set_Boolean(dictionary, file, "B", 1) == 0 &&
               PDF_Dictionary_Set_Name(dictionary, file, "M", "Nm") == 0 &&
               PDF_Dictionary_Set_String(dictionary, file, "S", bytes, 3, 1) == 0 &&
               PDF_Dictionary_Set_Reference(dictionary, file, "R", object) == 0 &&
               PDF_Array_Append_Number(array, file, 1, 0) == 0 && PDF_Array_Append_Name(array, file, "A") == 0 &&
               PDF_Array_Insert_Reference(array, file, object, 0) == 0;
      },
      [&](bool) {  // what was stored stays; clear it so that every pass starts empty
        for (const char* key : {"N", "B", "M", "S", "R"}) PDF_Dictionary_Remove_Entry(dictionary, file, key, 0);
        while (PDF_Array_Get_Count(array) != 0) PDF_Array_Remove_Value(array, file, 0, 0);
      });
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u);
  EXPECT_EQ(PDF_Array_Delete(&array, file, 0), 0);
  EXPECT_EQ(PDF_Dictionary_Delete(&dictionary, file, 0), 0);

  // The ciphertext of "aA(b)" in octal escapes, decrypted for object 3.
  Test_Install_Key(file, "key-3");
  const std::string raw = Test_Octal_Literal(Test_Encipher("key-3", 3, 0, "aA(b)"));
  PDF_String* string = nullptr;
  Fail_Each_Request(
      this,
      [&] {
        return PDF_String_Create(&string, file, reinterpret_cast<const uint8_t*>(raw.data()), 1, raw.size(), false) ==
                   0 &&
               PDF_String_Decrypt(string, file, object) == 0;
      },
      [&](bool ok) {
        if (ok) {
          EXPECT_EQ(std::string(reinterpret_cast<char*>(string->bytes), string->length), "aA\\(b\\)");
        }
        if (string != nullptr) PDF_String_Delete(&string, file);
      });
  EXPECT_EQ(PDF_Object_Delete(&object, file, 0), 0);
}

TEST_F(Ownership, ObjectsUnderAllocationFailure) {
  PDF_Xref_Table* table = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&table, file, true), 0);
  ASSERT_EQ(PDF_Body_Create(&file->xref_table, file, table, nullptr, false), 0);
  PDF_Read_Data* reader = Input("4 0 obj <</K [(a\\101) <42>] /R 4 0 R>> endobj");
  file->encrypted = 1;
  Test_Install_Key(file, "key-4");
  PDF_Object* object = nullptr;
  Fail_Each_Request(
      this, [&] { return PDF_Object_Read(&object, file, reader, 0) != 0 && PDF_Object_Load(object) == 0; },
      [&](bool ok) {
        if (object == nullptr) return;
        if (!ok) {
          EXPECT_EQ(object->value, nullptr);
        }
        EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
      });
  EXPECT_GE(Resource_Reports("Unable to allocate memory for object!"), 1u);

  // Entering objects into a table of their own, which owns them afterwards.
  PDF_Xref_Table* scratch = nullptr;
  Fail_Each_Request(
      this,
      [&] {
        PDF_Object* fresh = nullptr;
        if (PDF_Xref_Table_Create(&scratch, file, true) != 0) return false;
        if (PDF_Object_Create(&fresh, file, nullptr, 20, 0, 0) != 0) return false;
        if (PDF_Xref_Table_Add_Entry(scratch, file, fresh, 0, 0, 0, 'n') != 0) {
          PDF_Object_Delete(&fresh, file, 0);
          return false;
        }
        return PDF_Xref_Table_Add_Entry(scratch, file, nullptr, 7, 0, 0, 'f') == 0;
      },
      [&](bool ok) {
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
    bool failed = true;
    for (uint64_t n = 1; failed; ++n) {
      std::set<void*> before = Snapshot();
      Fail_Request(n);
      PDF_Data_Object* object = nullptr;
      PDF_Result result = PDF_Data_Object_Create(&object, file, tag, nullptr);
      failed = Failure_Reached();
      Stop_Failing();
      if (result == 0) {
        Delete(&object);
        EXPECT_EQ(Free_Since(before), 0u);
        continue;
      }
      EXPECT_EQ(result, PDF_RESULT_OUT_OF_MEMORY) << tag;
      EXPECT_EQ(object, nullptr);
      // Failing the variant itself leaves nothing; failing the default leaves
      // the variant block, as it stands.
      EXPECT_EQ(Free_Since(before), n == 1 ? 0u : 1u) << "tag " << tag << " request " << n;
    }
  }
}

TEST_F(Ownership, FailedObjectCopyKeepsItsForwardingPointer) {
  PDF_Object* source = nullptr;
  ASSERT_EQ(PDF_Object_Create(&source, file, Value("[1]"), 0, 0, 0), 0);
  // Requests: the new object, its two numbers, then the copied array.
  PDF_Object* copy = nullptr;
  Fail_Request(4);
  EXPECT_EQ(PDF_Object_Copy(&copy, file, true, source, PDF_COPY_MODE_ORDINARY), PDF_RESULT_OUT_OF_MEMORY);
  Stop_Failing();
  EXPECT_EQ(copy, nullptr);
  // The released copy is still named as the source's copy (compared, never
  // followed): a later copy of this source would deliver it.
  EXPECT_NE(source->copy, nullptr);
  source->copy = nullptr;
  EXPECT_EQ(PDF_Object_Delete(&source, file, PDF_DELETE_MODE_RELEASE), 0);
}

}  // namespace
