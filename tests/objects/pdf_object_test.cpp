// Indirect objects and references: load on first use, classification,
// binding by number, resolution and the guards that stop walks on cycles.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "filters/pdf_stream.h"
#include "objects/pdf_array.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_string.h"
#include "reader/pdf_xref_table.h"
#include "support/test_objects.h"

namespace {

class Object_Table : public Objects_Fixture {
 protected:
  void SetUp() override {
    Objects_Fixture::SetUp();
    PDF_Xref_Table* table = nullptr;
    ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
    ASSERT_EQ(PDF_Body_Create(&file->xref_table, file, table, nullptr, false), 0);
  }

  PDF_Xref_Table* Table() { return file->xref_table->table; }

  // Reads "n g obj body" from text of its own and enters the object in the
  // table, as the cross-reference reader does.
  PDF_Object* Add(const std::string& text) {
    PDF_Object* object = nullptr;
    uint64_t count = PDF_Object_Read(&object, file, Input(text), 0);
    EXPECT_NE(count, 0u) << text;
    EXPECT_NE(object, nullptr);
    if (object == nullptr) return nullptr;
    EXPECT_EQ(PDF_Xref_Table_Add_Entry(Table(), file, object, 0, 0, 0, 'n'), 0);
    return object;
  }

  // A reference as a parsed value would be, unbound.
  PDF_Data_Object* Reference_To(uint32_t number, uint32_t generation = 0) {
    return Value(std::to_string(number) + " " + std::to_string(generation) + " R");
  }
};

TEST_F(Object_Table, HeaderOnlyThenLoadOnFirstUse) {
  PDF_Object* object = nullptr;
  PDF_Read_Data* reader = Input("12 3 obj\n(body) endobj");
  ASSERT_EQ(PDF_Object_Read(&object, file, reader, 0), 8u);
  EXPECT_EQ(PDF_Object_Get_Number(object), 12);
  EXPECT_EQ(PDF_Object_Get_Generation(object), 3);
  EXPECT_EQ(object->value, nullptr) << "the body isn't touched";
  EXPECT_EQ(object->source_reader, reader);
  EXPECT_EQ(object->source_position, 8u);
  EXPECT_TRUE(PDF_Object_Is_From_File(object));
  uint32_t id = PDF_Object_Get_Id(object);
  EXPECT_EQ(file->next_object_id, id + 1);

  PDF_Data_Object* value = PDF_Object_Get_Value(object);
  ASSERT_EQ(PDF_Data_Object_Get_Type(value), PDF_Data_Type_String);
  EXPECT_EQ(PDF_Object_Get_Type(object), PDF_Object_Type_String);
  EXPECT_EQ(object->source_reader, nullptr);
  EXPECT_EQ(object->source_position, 1u);
  EXPECT_TRUE(PDF_Object_Is_From_File(object)) << "a loaded object still comes from the file";
  EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
  EXPECT_EQ(object, nullptr);
}

TEST_F(Object_Table, HeaderForms) {
  struct {
    const char* text;
    uint64_t count;
    bool made;
    int32_t number;
    uint64_t pending_at;
  } cases[] = {
      {"1 0 obj 5", 7, true, 1, 7},
      {" 3 2 obj<<>>", 8, true, 3, 8},
      {"<< >>", 0, true, 0, 0},        // no header: pending at the position itself
      {"0 0 obj 1", 0, true, 0, 0},
      {"-4 0 obj 1", 0, true, 0, 0},
      {"4 -1 obj 1", 0, false, 0, 0},
      {"4 0 objx 1", 0, false, 0, 0},
      {"4 0 ob 1", 0, false, 0, 0},
      {"4 0obj 1", 0, false, 0, 0},
      {"4 obj 1", 0, false, 0, 0},
  };
  for (const auto& c : cases) {
    PDF_Object* object = nullptr;
    EXPECT_EQ(PDF_Object_Read(&object, file, Input(c.text), 0), c.count) << c.text;
    ASSERT_EQ(object != nullptr, c.made) << c.text;
    if (object == nullptr) continue;
    EXPECT_EQ(PDF_Object_Get_Number(object), c.number) << c.text;
    EXPECT_EQ(object->source_position, c.pending_at) << c.text;
    PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
  }
}

TEST_F(Object_Table, UnreadableBodyStaysPendingWithoutReport) {
  PDF_Object* object = Add("2 0 obj ) endobj");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(PDF_Object_Get_Value(object), nullptr);
    EXPECT_EQ(PDF_Object_Get_Type(object), PDF_Object_Type_Unknown);
    EXPECT_EQ(PDF_Object_Load(object), -100);
    EXPECT_NE(object->source_reader, nullptr);
  }
  EXPECT_TRUE(log.messages.empty());
}

TEST_F(Object_Table, ClassifiesBodies) {
  struct {
    const char* body;
    int32_t type;
  } cases[] = {
      {"null", 1}, {"true", 3}, {"5", 4}, {"(s)", 5}, {"/N", 6}, {"[1]", 7},
      {"<<>>", 8},
      {"<</Type/Catalog>>", 12},
      {"<</Type/Pages>>", 16},
      {"<</Type/Page>>", 17},
      {"<</Type/Font>>", 26},
      {"<</Type/FontDescriptor>>", 27},
      {"<</Type/OCG>>", 24},
      {"<</Type/OCMD>>", 25},
      {"<</Type/Filespec>>", 20},
      {"<</Type/Other>>", 8},
      {"<</Type(Page)>>", 8},
      {"<</Type 90 0 R>>", 8},  // an indirect Type isn't seen
      {"4 0 R", 2},
  };
  uint32_t number = 1;
  for (const auto& c : cases) {
    PDF_Object* object = Add(std::to_string(number++) + " 0 obj " + c.body);
    EXPECT_EQ(PDF_Object_Get_Type(object), c.type) << c.body;
  }
  // Streams: Subtype is asked first.
  struct {
    const char* type;
    const char* subtype;
    int32_t expected;
  } streams[] = {
      {nullptr, nullptr, 9}, {"Metadata", nullptr, 14}, {"ObjStm", nullptr, 10}, {"XRef", nullptr, 11},
      {"Metadata", "Image", 21}, {nullptr, "Form", 22}, {"X", "Y", 9},
  };
  for (const auto& s : streams) {
    PDF_Data_Object* value = nullptr;
    ASSERT_EQ(PDF_Data_Object_Create(&value, file, PDF_Data_Type_Stream, nullptr), 0);
    PDF_Dictionary* dictionary = PDF_Stream_Get_Dictionary(static_cast<PDF_Stream*>(value->value));
    if (s.type != nullptr) {
      ASSERT_EQ(PDF_Dictionary_Set_Name(dictionary, file, "Type", s.type), 0);
    }
    if (s.subtype != nullptr) {
      ASSERT_EQ(PDF_Dictionary_Set_Name(dictionary, file, "Subtype", s.subtype), 0);
    }
    EXPECT_EQ(PDF_Object_Classify(value), s.expected);
    Delete(&value);
  }
  EXPECT_EQ(PDF_Object_Classify(nullptr), 0);
}

TEST_F(Object_Table, DanglingReferenceReadsAsNullSilently) {
  PDF_Data_Object* reference = Reference_To(7);
  EXPECT_EQ(PDF_Data_Object_Resolve(reference), nullptr);
  EXPECT_EQ(PDF_Data_Object_Get_Type(PDF_Data_Object_Resolve(reference)), 0);
  EXPECT_EQ(PDF_Data_Object_Get_Typed_Value(reference, PDF_Data_Type_Dictionary), nullptr);
  auto* value = static_cast<PDF_Object_Reference*>(reference->value);
  EXPECT_EQ(PDF_Object_Reference_Bind(value), -91);
  EXPECT_EQ(value->number, 7u) << "unbound, can be retried";
  EXPECT_TRUE(log.messages.empty());
  // Once the object exists the same reference binds.
  PDF_Object* object = Add("7 0 obj 42");
  EXPECT_EQ(PDF_Object_Reference_Get_Object(value), object);
  Delete(&reference);
}

TEST_F(Object_Table, BindsByNumberAloneAndForGood) {
  PDF_Object* object = Add("7 2 obj <</K 1>>");
  PDF_Data_Object* reference = Reference_To(7, 5);
  auto* value = static_cast<PDF_Object_Reference*>(reference->value);
  ASSERT_EQ(PDF_Object_Reference_Get_Object(value), object) << "generation 5 finds generation 2";
  EXPECT_EQ(value->number, 0u);
  EXPECT_EQ(value->generation, 0u);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 1u);
  EXPECT_EQ(PDF_Object_Reference_Bind(value), 0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 1u) << "binding twice doesn't count twice";
  // Direct access doesn't follow; typed access does, unless tag 2 is asked.
  EXPECT_EQ(PDF_Data_Object_Get_Direct_Value(reference, PDF_Data_Type_Dictionary), nullptr);
  EXPECT_NE(PDF_Data_Object_Get_Typed_Value(reference, PDF_Data_Type_Dictionary), nullptr);
  Delete(&reference);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u);
}

TEST_F(Object_Table, TypedValueOfTag2DoesNotTouchTheTable) {
  PDF_Data_Object* reference = Reference_To(9);
  Add("9 0 obj 1");
  EXPECT_EQ(PDF_Data_Object_Get_Typed_Value(reference, PDF_Data_Type_Reference), reference->value);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(reference->value)->target, nullptr);
  EXPECT_EQ(PDF_Data_Object_Get_Typed_Value(nullptr, 4), nullptr);
  EXPECT_EQ(PDF_Data_Object_Get_Type(nullptr), 0);
  Delete(&reference);
}

TEST_F(Object_Table, ResolveFollowsChainsAndStopsOnCycles) {
  Add("1 0 obj 2 0 R");
  Add("2 0 obj 3 0 R");
  Add("3 0 obj (end)");
  PDF_Data_Object* reference = Reference_To(1);
  EXPECT_EQ(PDF_Data_Object_Get_Type(PDF_Data_Object_Resolve(reference)), PDF_Data_Type_String);
  Delete(&reference);

  PDF_Object* a = Add("4 0 obj 5 0 R");
  PDF_Object* b = Add("5 0 obj 4 0 R");
  reference = Reference_To(4);
  PDF_Data_Object* end = PDF_Data_Object_Resolve(reference);
  EXPECT_EQ(PDF_Data_Object_Get_Type(end), PDF_Data_Type_Reference) << "a cycle ends in tag 2";
  EXPECT_EQ(PDF_Data_Object_Get_Typed_Value(reference, PDF_Data_Type_Number), nullptr);
  EXPECT_FALSE(PDF_Object_Get_Resolving(a));
  EXPECT_FALSE(PDF_Object_Get_Resolving(b));
  Delete(&reference);
}

TEST_F(Object_Table, TypeByReferenceIsNoType) {
  Add("1 0 obj /Page");
  PDF_Data_Object* object = Value("<</Type 1 0 R>>");
  EXPECT_EQ(PDF_Dictionary_Get_Type(static_cast<PDF_Dictionary*>(object->value)), nullptr);
  EXPECT_EQ(PDF_Object_Classify(object), PDF_Object_Type_Dictionary);
  Delete(&object);
}

TEST_F(Object_Table, DeleteModesAndTheReferenceCount) {
  PDF_Object* object = Add("3 0 obj 1");
  PDF_Data_Object* first = Reference_To(3);
  PDF_Data_Object* second = Reference_To(3);
  PDF_Object_Reference_Bind(static_cast<PDF_Object_Reference*>(first->value));
  PDF_Object_Reference_Bind(static_cast<PDF_Object_Reference*>(second->value));
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 2u);
  Delete(&first, PDF_DELETE_MODE_KEEP);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 2u) << "mode 1 leaves the count";
  Delete(&second, PDF_DELETE_MODE_RELEASE);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 1u);
  EXPECT_EQ(PDF_Object_Release(object), 0);
  EXPECT_EQ(PDF_Object_Release(object), 0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u) << "release stops at 0";
}

TEST_F(Object_Table, Mode2KeepsObjectsOfAFileNotReadThrough) {
  PDF_Object* object = Add("3 0 obj <</A 4 0 R>>");
  PDF_Object* inner = Add("4 0 obj 1");
  ASSERT_NE(PDF_Object_Get_Value(object), nullptr);
  PDF_Data_Object* reference = Reference_To(3);
  ASSERT_EQ(PDF_Object_Reference_Bind(static_cast<PDF_Object_Reference*>(reference->value)), 0);
  Delete(&reference, PDF_DELETE_MODE_WITHDRAW);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(Table(), 3, 0), object) << "kept: the file isn't read through";

  file->all_objects_read = 1;
  reference = Reference_To(3);
  ASSERT_EQ(PDF_Object_Reference_Bind(static_cast<PDF_Object_Reference*>(reference->value)), 0);
  // 4 is only reached once 3's body is deleted in mode 2.
  ASSERT_EQ(PDF_Object_Reference_Bind(static_cast<PDF_Object_Reference*>(
                PDF_Dictionary_Find_Value(static_cast<PDF_Dictionary*>(object->value->value), "A")->value)),
            0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(inner), 1u);
  Delete(&reference, PDF_DELETE_MODE_WITHDRAW);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(Table(), 3, 0), nullptr) << "withdrawn from the table";
  EXPECT_EQ(PDF_Xref_Table_Get_Object(Table(), 4, 0), nullptr) << "and so is what only it pointed at";
  EXPECT_TRUE(PDF_Xref_Table_Has_Number(Table(), 3)) << "the entry stays, free";
}

TEST_F(Object_Table, Mode2DeletesACycleOfObjectsInMemory) {
  PDF_Object* a = nullptr;
  PDF_Object* b = nullptr;
  ASSERT_EQ(PDF_Object_Create(&a, file, nullptr, 0, 0, 0), 0);
  ASSERT_EQ(PDF_Object_Create(&b, file, nullptr, 0, 0, 0), 0);
  EXPECT_FALSE(PDF_Object_Is_From_File(a));
  PDF_Array* array = nullptr;
  ASSERT_EQ(PDF_Array_Create(&array, file), 0);
  ASSERT_EQ(PDF_Array_Insert_Reference(array, file, b, 0), 0);
  ASSERT_EQ(PDF_Data_Object_Create(&a->value, file, PDF_Data_Type_Array, array), 0);
  PDF_Dictionary* dictionary = nullptr;
  ASSERT_EQ(PDF_Dictionary_Create(&dictionary, file), 0);
  ASSERT_EQ(PDF_Dictionary_Set_Reference(dictionary, file, "Back", a), 0);
  ASSERT_EQ(PDF_Data_Object_Create(&b->value, file, PDF_Data_Type_Dictionary, dictionary), 0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(a), 1u);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(b), 1u);
  // The deleting flag stops the walk when it comes back to a; everything is
  // released once (the allocator reports double frees, the fixture leaks).
  EXPECT_EQ(PDF_Object_Delete(&a, file, PDF_DELETE_MODE_WITHDRAW), 0);
  EXPECT_EQ(a, nullptr);
}

TEST_F(Object_Table, CopyOfACycleIsACycleOfCopies) {
  PDF_Object* a = Add("1 0 obj <</Next 2 0 R /N 1>>");
  PDF_Object* b = Add("2 0 obj [1 0 R (b)]");
  PDF_Object* copy = nullptr;
  ASSERT_EQ(PDF_Object_Copy(&copy, file, true, a, PDF_COPY_MODE_ORDINARY), 0);
  ASSERT_NE(copy, a);
  EXPECT_EQ(a->copy, copy);
  EXPECT_EQ(PDF_Object_Get_Number(copy), 0);
  EXPECT_EQ(PDF_Object_Get_Type(copy), PDF_Object_Type_Dictionary);
  PDF_Object* copy_b = b->copy;
  ASSERT_NE(copy_b, nullptr);
  PDF_Data_Object* next = PDF_Dictionary_Find_Value(static_cast<PDF_Dictionary*>(copy->value->value), "Next");
  EXPECT_EQ(PDF_Object_Reference_Get_Object(static_cast<PDF_Object_Reference*>(next->value)), copy_b);
  PDF_Data_Object* back = PDF_Array_Get_Value(static_cast<PDF_Array*>(copy_b->value->value), 0);
  EXPECT_EQ(PDF_Object_Reference_Get_Object(static_cast<PDF_Object_Reference*>(back->value)), copy);
  // A second copy is delivered by the forwarding pointer.
  PDF_Object* again = nullptr;
  ASSERT_EQ(PDF_Object_Copy(&again, file, true, a, PDF_COPY_MODE_ORDINARY), 0);
  EXPECT_EQ(again, copy);
  // The copies belong to no table: release them explicitly.
  EXPECT_EQ(PDF_Object_Delete(&copy, file, PDF_DELETE_MODE_KEEP), 0);
  EXPECT_EQ(PDF_Object_Delete(&copy_b, file, PDF_DELETE_MODE_KEEP), 0);
}

TEST_F(Object_Table, ReferenceCopyModes) {
  PDF_Object* catalog = Add("1 0 obj <</Type/Catalog>>");
  PDF_Object* page = Add("2 0 obj <</Type/Page /B 1 /X 3>>");
  PDF_Object* plain = Add("3 0 obj [7]");
  struct {
    uint32_t number;
    bool flag;
    int32_t mode;
    PDF_Object* same_target;  // shared target expected
    bool copied;              // a new object expected
  } cases[] = {
      {1, true, 0, nullptr, false},   // a Catalog isn't copied at any flag
      {1, false, 0, nullptr, false},
      {2, true, 0, nullptr, false},   // nor a Page
      {2, true, 3, page, false},      // mode 3 keeps references to pages
      {3, true, 3, nullptr, true},    // ... and copies others as mode 0
      {3, false, 0, nullptr, false},  // flag off: no target
      {3, true, 4, plain, false},     // mode 4 copies references as they stand
  };
  for (const auto& c : cases) {
    PDF_Data_Object* source = Reference_To(c.number);
    PDF_Object* target = PDF_Xref_Table_Get_Object(Table(), c.number, 0);
    uint32_t count = PDF_Object_Get_Reference_Count(target);
    // Mode 4 looks nothing up: bind the source so that there is a target to share.
    if (c.mode == PDF_COPY_MODE_AS_IS) PDF_Object_Reference_Bind(static_cast<PDF_Object_Reference*>(source->value));
    PDF_Data_Object* copy = nullptr;
    ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, c.flag, c.mode), 0);
    ASSERT_EQ(copy->type, PDF_Data_Type_Reference);
    auto* reference = static_cast<PDF_Object_Reference*>(copy->value);
    EXPECT_EQ(reference->owner, copy);
    if (c.same_target != nullptr) {
      EXPECT_EQ(reference->target, c.same_target) << c.number << " mode " << c.mode;
      EXPECT_EQ(PDF_Object_Get_Reference_Count(target), count + 2) << "the source's binding and the copy";
    } else if (c.copied) {
      ASSERT_NE(reference->target, nullptr);
      EXPECT_NE(reference->target, target);
      PDF_Object* new_object = reference->target;
      Delete(&copy);
      EXPECT_EQ(PDF_Object_Delete(&new_object, file, PDF_DELETE_MODE_RELEASE), 0);
      target->copy = nullptr;
    } else {
      EXPECT_EQ(reference->target, nullptr) << c.number << " mode " << c.mode;
      EXPECT_EQ(reference->number, 0u);
      EXPECT_EQ(PDF_Data_Object_Resolve(copy), nullptr);
    }
    Delete(&copy);
    Delete(&source);
  }
  (void)catalog;
  // Mode 4 on an unbound reference keeps its numbers and looks nothing up.
  PDF_Data_Object* source = Reference_To(99, 4);
  PDF_Data_Object* copy = nullptr;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_AS_IS), 0);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(copy->value)->number, 99u);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(copy->value)->generation, 4u);
  EXPECT_TRUE(log.messages.empty());
  Delete(&copy);
  Delete(&source);
}

TEST_F(Object_Table, CopyOfADanglingReferenceByTolerance) {
  PDF_Data_Object* source = Reference_To(7);
  PDF_Data_Object* copy = nullptr;
  file->tolerance_level = 1;
  EXPECT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_ORDINARY), -91);
  EXPECT_EQ(copy, nullptr);
  EXPECT_TRUE(log.messages.empty());
  file->tolerance_level = 3;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_ORDINARY), 0);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(copy->value)->target, nullptr);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(copy->value)->number, 0u);
  ASSERT_EQ(log.messages.size(), 1u);
  EXPECT_EQ(log.messages[0].text, "referenced object does not exist, replace by null.\n");
  EXPECT_EQ(log.messages[0].code, 10);
  EXPECT_EQ(log.messages[0].level, 11);
  Delete(&copy);
  Delete(&source);
}

TEST_F(Object_Table, PageNeighbourhoodCopy) {
  PDF_Object* page = Add("2 0 obj <</Type/Page>>");
  PDF_Data_Object* source = Value("<</SE 1 /Keep 2 /A 2 0 R /Dest [2 0 R] /Other 2 0 R /Sub <</SE 3>>>>");
  PDF_Data_Object* copy = nullptr;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_PAGE_NEIGHBOURHOOD), 0);
  auto* dictionary = static_cast<PDF_Dictionary*>(copy->value);
  EXPECT_FALSE(PDF_Dictionary_Has_Key(dictionary, "SE"));
  EXPECT_TRUE(PDF_Dictionary_Has_Key(dictionary, "Keep"));
  EXPECT_FALSE(PDF_Dictionary_Has_Key(
      static_cast<PDF_Dictionary*>(PDF_Dictionary_Find_Value(dictionary, "Sub")->value), "SE"));
  // Under A and Dest a page reference stays; elsewhere a page isn't copied.
  EXPECT_EQ(PDF_Object_Reference_Get_Object(
                static_cast<PDF_Object_Reference*>(PDF_Dictionary_Find_Value(dictionary, "A")->value)),
            page);
  PDF_Array* dest = static_cast<PDF_Array*>(PDF_Dictionary_Find_Value(dictionary, "Dest")->value);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(PDF_Array_Get_Value(dest, 0)->value)->target, page);
  EXPECT_EQ(static_cast<PDF_Object_Reference*>(PDF_Dictionary_Find_Value(dictionary, "Other")->value)->target,
            nullptr);
  Delete(&copy);
  Delete(&source);

  // A page dictionary itself is refused in mode 1; other modes drop its B.
  source = Value("<</Type/Page /B [1] /C 2>>");
  EXPECT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_PAGE_NEIGHBOURHOOD), -500);
  EXPECT_EQ(copy, nullptr);
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_ORDINARY), 0);
  EXPECT_FALSE(PDF_Dictionary_Has_Key(static_cast<PDF_Dictionary*>(copy->value), "B"));
  EXPECT_TRUE(PDF_Dictionary_Has_Key(static_cast<PDF_Dictionary*>(copy->value), "C"));
  Delete(&copy);
  Delete(&source);
}

TEST_F(Object_Table, LoadAllEndsOnCyclesAndRepairsByTolerance) {
  PDF_Object* a = Add("1 0 obj <</B 2 0 R>>");
  PDF_Object* b = Add("2 0 obj [1 0 R 3 0 R]");
  PDF_Object* c = Add("3 0 obj (leaf)");
  EXPECT_EQ(PDF_Object_Load_All(a, file), 0);
  EXPECT_TRUE(a->traversed && b->traversed && c->traversed);
  EXPECT_EQ(c->source_reader, nullptr) << "loaded";
  for (PDF_Object* object : {a, b, c}) EXPECT_EQ(PDF_Object_Clear_Traversed(object), 0);
  EXPECT_FALSE(a->traversed);

  PDF_Data_Object* array = Value("[1 9 0 R 2]");
  file->tolerance_level = 1;
  EXPECT_EQ(PDF_Data_Object_Load_All(array, file), -91);
  file->tolerance_level = 3;
  ASSERT_EQ(PDF_Data_Object_Load_All(array, file), 0);
  auto* elements = static_cast<PDF_Array*>(array->value);
  ASSERT_EQ(PDF_Array_Get_Count(elements), 3u);
  EXPECT_EQ(PDF_Array_Get_Value(elements, 1)->type, PDF_Data_Type_Null) << "indices stay";
  EXPECT_EQ(PDF_Array_Get_Value(elements, 2)->type, PDF_Data_Type_Number);
  Delete(&array);

  PDF_Data_Object* dictionary = Value("<</A 1 /Gone 9 0 R /C 1 0 R>>");
  file->tolerance_level = 1;
  EXPECT_EQ(PDF_Data_Object_Load_All(dictionary, file), -91);
  file->tolerance_level = 2;
  ASSERT_EQ(PDF_Data_Object_Load_All(dictionary, file), 0);
  EXPECT_FALSE(PDF_Dictionary_Has_Key(static_cast<PDF_Dictionary*>(dictionary->value), "Gone"));
  EXPECT_EQ(PDF_Dictionary_Get_Count(static_cast<PDF_Dictionary*>(dictionary->value)), 2u);
  Delete(&dictionary);

  PDF_Object* broken = Add("4 0 obj [ x");
  PDF_Data_Object* reference = Reference_To(4);
  EXPECT_EQ(PDF_Data_Object_Load_All(reference, file), -100);
  EXPECT_FALSE(broken->traversed);
  Delete(&reference);
}

TEST_F(Object_Table, LoadDecryptsStringsOfEncryptedFiles) {
  file->encrypted = 1;
  PDF_Object* object = Add("1 0 obj [<4 1> (a\\101) /N <</S (\\(x)>>]");
  ASSERT_NE(PDF_Object_Get_Value(object), nullptr);
  auto* array = static_cast<PDF_Array*>(object->value->value);
  auto* hex = static_cast<PDF_String*>(PDF_Array_Get_Value(array, 0)->value);
  EXPECT_EQ(hex->kind, 1u);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(hex->bytes), hex->length), "A");
  auto* literal = static_cast<PDF_String*>(PDF_Array_Get_Value(array, 1)->value);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(literal->bytes), literal->length), "aA");
  auto* name = static_cast<PDF_String*>(PDF_Array_Get_Value(array, 2)->value);
  EXPECT_EQ(name->decrypted, 0) << "names have no branch";
  auto* inner = static_cast<PDF_Dictionary*>(PDF_Array_Get_Value(array, 3)->value);
  auto* nested = static_cast<PDF_String*>(PDF_Dictionary_Find_Value(inner, "S")->value);
  EXPECT_EQ(nested->decrypted, 1);

  file->encrypted = 0;
  object = Add("2 0 obj <4 1>");
  auto* plain = static_cast<PDF_String*>(PDF_Object_Get_Value(object)->value);
  EXPECT_EQ(plain->kind, 2u) << "kept as the file wrote it";
}

TEST_F(Object_Table, ReadFromBuffer) {
  PDF_Object* object = nullptr;
  ASSERT_EQ(PDF_Object_Create(&object, file, nullptr, 5, 0, 0), 0);
  const std::string body = "<</Type/Filespec>> trailing";
  ASSERT_EQ(PDF_Object_Read_From_Buffer(object, file, reinterpret_cast<const uint8_t*>(body.data()), body.size()),
            0);
  EXPECT_EQ(object->type, PDF_Object_Type_Filespec);
  PDF_Data_Object* before = object->value;
  EXPECT_EQ(PDF_Object_Read_From_Buffer(object, file, reinterpret_cast<const uint8_t*>("]"), 1), -93);
  EXPECT_EQ(object->value, before) << "the value stays as it was";
  EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
}

TEST_F(Object_Table, NumbersAboveInt32AreOutOfRange) {
  PDF_Object* object = nullptr;
  ASSERT_EQ(PDF_Object_Read(&object, file, Input("3000000000 0 obj 1"), 0), 16u);
  EXPECT_EQ(PDF_Object_Get_Number(object), INT32_MIN);
  EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
}

TEST_F(Object_Table, TableEntriesAndLookup) {
  PDF_Xref_Table* table = Table();
  // Numbers without objects join sections at either end or open new ones.
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, nullptr, 10, 0, 0, 'f'), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, nullptr, 11, 0, 0, 'f'), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, nullptr, 9, 0, 0, 'f'), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, nullptr, 3, 0, 0, 'f'), 0);
  ASSERT_NE(table->first_section, nullptr);
  EXPECT_EQ(PDF_Number_Get_Integer(table->first_section->first_number), 3);
  EXPECT_EQ(PDF_Number_Get_Integer(table->last_section->first_number), 9);
  EXPECT_EQ(PDF_Number_Get_Integer(table->last_section->count), 3);
  EXPECT_TRUE(PDF_Xref_Table_Has_Number(table, 11));
  EXPECT_FALSE(PDF_Xref_Table_Has_Number(table, 12));
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 10, 0), nullptr) << "a free entry gives null";

  // An object numbered 0 takes the next number behind the last section.
  PDF_Object* fresh = nullptr;
  ASSERT_EQ(PDF_Object_Create(&fresh, file, nullptr, 0, 0, 0), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, fresh, 0, 0, 0, 'n'), 0);
  EXPECT_EQ(PDF_Object_Get_Number(fresh), 12);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 12, 0), fresh);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 0, PDF_Object_Get_Id(fresh)), fresh) << "number 0: by id";
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 0, 0), nullptr);
  EXPECT_EQ(PDF_Body_Find_Object(file->xref_table, 12, 0), fresh);

  // A second object of a number in use adds nothing.
  PDF_Object* duplicate = nullptr;
  ASSERT_EQ(PDF_Object_Create(&duplicate, file, nullptr, 12, 0, 0), 0);
  EXPECT_EQ(PDF_Xref_Table_Add_Entry(table, file, duplicate, 0, 0, 0, 'n'), 0);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 12, 0), fresh);

  // The hidden object is stepped over by number lookup.
  table->last_section->hidden_object = fresh;
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 12, 0), nullptr);
  table->last_section->hidden_object = nullptr;

  PDF_Xref_Table* with_head = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&with_head, file, true), 0);
  ASSERT_NE(with_head->first_section, nullptr);
  EXPECT_EQ(with_head->first_section->head->type, 'f');
  EXPECT_EQ(with_head->first_section->head->generation, 65535);
  EXPECT_EQ(PDF_Xref_Table_Delete(&with_head, file), 0);
}

TEST_F(Object_Table, BodyChainAsksTheOldestFirst) {
  PDF_Object* newer = Add("5 0 obj (new)");
  PDF_Xref_Table* table = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
  PDF_Body* older = nullptr;
  ASSERT_EQ(PDF_Body_Create(&older, file, table, nullptr, false), 0);
  older->next = file->xref_table;
  file->xref_table->previous = older;
  PDF_Object* old = nullptr;
  ASSERT_EQ(PDF_Object_Read(&old, file, Input("5 0 obj (old)"), 0), 7u);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, old, 0, 0, 0, 'n'), 0);
  EXPECT_EQ(PDF_Body_Find_Object(file->xref_table, 5, 0), old);
  EXPECT_EQ(PDF_Body_Find_Object(file->xref_table, 0, PDF_Object_Get_Id(newer)), newer);
  EXPECT_EQ(PDF_Body_Delete(&older, file), 0);
  EXPECT_EQ(file->xref_table->previous, nullptr) << "unlinked";
}

}  // namespace
