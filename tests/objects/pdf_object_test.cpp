// Indirect objects and references: load on first use, classification,
// binding by number, resolution and the guards that stop walks on cycles.
#include <gtest/gtest.h>

#include <cstring>
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

PDF_Object_Reference* Ref(PDF_Data_Object* object) { return static_cast<PDF_Object_Reference*>(object->value); }
PDF_Data_Object* Find(PDF_Data_Object* object, const char* key) {
  return PDF_Dictionary_Find_Value(static_cast<PDF_Dictionary*>(object->value), key);
}
PDF_Data_Object* At(PDF_Data_Object* object, uint32_t index) {
  return PDF_Array_Get_Value(static_cast<PDF_Array*>(object->value), index);
}
PDF_String* Str(PDF_Data_Object* object) { return static_cast<PDF_String*>(object->value); }

class Object_Table : public Objects_Fixture {
 protected:
  void SetUp() override {
    Objects_Fixture::SetUp();
    Give_Empty_Table();
  }

  PDF_Xref_Table* Table() { return file->xref_table->table; }

  // Reads "n g obj body" from text of its own and enters the object in the
  // table, as the cross-reference reader does.
  PDF_Object* Add(const std::string& text, PDF_Xref_Table* table = nullptr) {
    PDF_Object* object = nullptr;
    EXPECT_NE(PDF_Object_Read(&object, file, Input(text), 0), 0u) << text;
    if (object == nullptr) return nullptr;
    EXPECT_EQ(PDF_Xref_Table_Add_Entry(table != nullptr ? table : Table(), file, object, 0, 0, 0, 'n'), 0);
    return object;
  }

  // A reference as a parsed value would be, unbound unless asked.
  PDF_Data_Object* Reference_To(uint32_t number, uint32_t generation = 0, bool bind = false) {
    PDF_Data_Object* reference = Value(std::to_string(number) + " " + std::to_string(generation) + " R");
    if (bind) {
      EXPECT_EQ(PDF_Object_Reference_Bind(Ref(reference)), 0);
    }
    return reference;
  }
};

TEST_F(Object_Table, HeaderFormsAndLoadOnFirstUse) {
  PDF_Object* object = nullptr;
  PDF_Read_Data* reader = Input("12 3 obj\n(body) endobj");
  ASSERT_EQ(PDF_Object_Read(&object, file, reader, 0), 8u);
  EXPECT_EQ(object->value, nullptr) << "the body isn't touched";
  EXPECT_EQ(object->source_reader, reader);
  EXPECT_EQ(PDF_Object_Get_Type(object), PDF_Data_Type_String) << "loads";
  EXPECT_EQ(object->source_reader, nullptr);
  EXPECT_EQ(object->source_position, 1u);
  EXPECT_TRUE(PDF_Object_Is_From_File(object)) << "a loaded object still comes from the file";
  EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
  // count 0 and number -1: no object; a pending object waits at pending_at.
  const struct {
    const char* text;
    uint64_t count;
    int32_t number;
    uint64_t pending_at;
  } cases[] = {
      {" 3 2 obj<<>>", 8, 3, 8}, {"<< >>", 0, 0, 0},       {"0 0 obj 1", 0, 0, 0},
      {"-4 0 obj 1", 0, 0, 0},   {"4 -1 obj 1", 0, -1, 0}, {"4 0 objx 1", 0, -1, 0},
      {"4 0obj 1", 0, -1, 0},    {"4 obj 1", 0, -1, 0},    {"3000000000 0 obj 1", 16, INT32_MIN, 16},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(PDF_Object_Read(&object, file, Input(c.text), 0), c.count) << c.text;
    ASSERT_EQ(object != nullptr, c.number != -1) << c.text;
    if (object == nullptr) continue;
    EXPECT_EQ(PDF_Object_Get_Number(object), c.number) << c.text;
    EXPECT_EQ(object->source_position, c.pending_at) << c.text;
    PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE);
  }
  // An unreadable body stays pending, silently.
  object = Add("2 0 obj ) endobj");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(PDF_Object_Get_Type(object), PDF_Object_Type_Unknown);
    EXPECT_EQ(PDF_Object_Load(object), PDF_RESULT_BAD_TRAILER);
    EXPECT_NE(object->source_reader, nullptr);
  }
  EXPECT_TRUE(log.messages.empty());
}

TEST_F(Object_Table, ClassifiesBodies) {
  // The value's own tag, or the Type name of a dictionary; neither a Type
  // that is no direct name nor an unknown one changes a dictionary's class.
  // Of a stream, Subtype is asked first, and an unknown pair leaves a plain stream.
  const std::pair<const char*, int32_t> cases[] = {
      {"5", PDF_Data_Type_Number},
      {"<</Type/Catalog>>", PDF_Object_Type_Catalog},
      {"<</Type/Pages>>", PDF_Object_Type_Pages},
      {"<</Type/Page>>", PDF_Object_Type_Page},
      {"<</Type/Other>>", PDF_Data_Type_Dictionary},
      {"<</Type(Page)>>", PDF_Data_Type_Dictionary},
      {"<</Type 1 0 R>>", PDF_Data_Type_Dictionary},  // an indirect Type isn't seen, though object 1 is /Page
      {"<</Type/Metadata /Length 0>>\nstream\n\nendstream", PDF_Object_Type_Metadata},
      {"<</Type/Metadata /Subtype/Image /Length 0>>\nstream\n\nendstream", PDF_Object_Type_Image},
      {"<</Type/X /Subtype/Y /Length 0>>\nstream\n\nendstream", PDF_Data_Type_Stream},
  };
  uint32_t number = 1;
  for (const auto& c : cases) {
    EXPECT_EQ(PDF_Object_Get_Type(Add(std::to_string(number++) + " 0 obj " + c.first)), c.second) << c.first;
  }
  EXPECT_EQ(PDF_Object_Classify(nullptr), PDF_Object_Type_Unknown);
}

TEST_F(Object_Table, ReferencesBindByNumberAloneAndForGood) {
  PDF_Data_Object* reference = Reference_To(7, 5);
  EXPECT_EQ(PDF_Data_Object_Resolve(reference), nullptr) << "dangling: null, silently";
  EXPECT_EQ(PDF_Object_Reference_Bind(Ref(reference)), PDF_RESULT_OBJECT_MISSING);
  EXPECT_EQ(Show(reference), "R7.5") << "unbound, can be retried";
  EXPECT_TRUE(log.messages.empty());
  PDF_Object* object = Add("7 2 obj <</K 1>>");
  // Typed access for tag 2 doesn't touch the table; direct access doesn't follow.
  EXPECT_EQ(PDF_Data_Object_Get_Typed_Value(reference, PDF_Data_Type_Reference), reference->value);
  EXPECT_EQ(PDF_Data_Object_Get_Direct_Value(reference, PDF_Data_Type_Dictionary), nullptr);
  EXPECT_EQ(Show(reference), "R7.5");
  EXPECT_NE(PDF_Data_Object_Get_Typed_Value(reference, PDF_Data_Type_Dictionary), nullptr) << "typed access follows";
  EXPECT_EQ(Show(reference), "R@7") << "generation 5 finds generation 2";
  EXPECT_EQ(PDF_Object_Reference_Bind(Ref(reference)), 0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 1u) << "binding twice doesn't count twice";
  Delete(&reference);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u);
}

TEST_F(Object_Table, ResolveAndLoadAllFollowChainsAndStopOnCycles) {
  PDF_Object* first = Add("1 0 obj 2 0 R");
  PDF_Object* second = Add("2 0 obj <</B 3 0 R>>");
  PDF_Object* leaf = Add("3 0 obj [(end) 1 0 R]");
  PDF_Object* a = Add("4 0 obj 5 0 R");
  PDF_Object* b = Add("5 0 obj 4 0 R");
  PDF_Data_Object* chain = Reference_To(1);
  EXPECT_EQ(PDF_Data_Object_Get_Type(PDF_Data_Object_Resolve(chain)), PDF_Data_Type_Dictionary);
  PDF_Data_Object* cycle = Reference_To(4);
  EXPECT_EQ(PDF_Data_Object_Get_Type(PDF_Data_Object_Resolve(cycle)), PDF_Data_Type_Reference) << "ends in tag 2";
  EXPECT_EQ(PDF_Data_Object_Get_Typed_Value(cycle, PDF_Data_Type_Number), nullptr);
  EXPECT_FALSE(PDF_Object_Get_Resolving(a) || PDF_Object_Get_Resolving(b));
  Delete(&chain);
  Delete(&cycle);
  // Load_All walks 1, 2, 3 and back to 1 once.
  EXPECT_EQ(PDF_Object_Load_All(first, file), 0);
  EXPECT_TRUE(first->traversed && second->traversed && leaf->traversed);
  EXPECT_EQ(leaf->source_reader, nullptr) << "loaded";
  for (PDF_Object* object : {first, second, leaf}) EXPECT_EQ(PDF_Object_Clear_Traversed(object), 0);
  EXPECT_FALSE(first->traversed);
  // A dangling element fails at tolerance 1; above, arrays keep a null in its
  // place (indices stay) and dictionaries drop the entry.
  const std::pair<const char*, const char*> cases[] = {{"[1 9 0 R 2]", "[1 null 2]"},
                                                       {"<</A 1 /Gone 9 0 R /C 1 0 R>>", "<</A 1 /C R@1>>"}};
  for (const auto& text : cases) {
    PDF_Data_Object* object = Value(text.first);
    file->tolerance_level = 1;
    EXPECT_EQ(PDF_Data_Object_Load_All(object, file), PDF_RESULT_OBJECT_MISSING);
    file->tolerance_level = 2;
    ASSERT_EQ(PDF_Data_Object_Load_All(object, file), 0);
    EXPECT_EQ(Show(object), text.second);
    Delete(&object);
  }
  PDF_Object* broken = Add("6 0 obj [ x");
  PDF_Data_Object* reference = Reference_To(6);
  EXPECT_EQ(PDF_Data_Object_Load_All(reference, file), PDF_RESULT_BAD_TRAILER);
  EXPECT_FALSE(broken->traversed);
  Delete(&reference);
}

TEST_F(Object_Table, DeleteModesAndTheReferenceCount) {
  PDF_Object* object = Add("3 0 obj <</A 4 0 R>>");
  PDF_Object* inner = Add("4 0 obj 1");
  PDF_Data_Object* first = Reference_To(3, 0, true);
  PDF_Data_Object* second = Reference_To(3, 0, true);
  Delete(&first, PDF_DELETE_MODE_KEEP);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 2u) << "mode 1 leaves the count";
  Delete(&second, PDF_DELETE_MODE_RELEASE);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 1u);
  EXPECT_EQ(PDF_Object_Release(object), 0);
  EXPECT_EQ(PDF_Object_Release(object), 0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(object), 0u) << "release stops at 0";
  // Mode 2 keeps objects of a file not read through.
  ASSERT_NE(PDF_Object_Get_Value(object), nullptr);
  PDF_Data_Object* reference = Reference_To(3, 0, true);
  Delete(&reference, PDF_DELETE_MODE_WITHDRAW);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(Table(), 3, 0), object) << "kept: the file isn't read through";
  file->all_objects_read = 1;
  reference = Reference_To(3, 0, true);
  // 4 is only reached once 3's body is deleted in mode 2.
  ASSERT_EQ(PDF_Object_Reference_Bind(Ref(Find(object->value, "A"))), 0);
  EXPECT_EQ(PDF_Object_Get_Reference_Count(inner), 1u);
  Delete(&reference, PDF_DELETE_MODE_WITHDRAW);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(Table(), 3, 0), nullptr) << "withdrawn from the table";
  EXPECT_EQ(PDF_Xref_Table_Get_Object(Table(), 4, 0), nullptr) << "and so is what only it pointed at";
  EXPECT_TRUE(PDF_Xref_Table_Has_Number(Table(), 3)) << "the entry stays, free";
}

TEST_F(Object_Table, Mode2DeletesACycleOfObjectsInMemory) {
  PDF_Object* a = nullptr;
  PDF_Object* b = nullptr;
  ASSERT_EQ(PDF_Object_Create(&a, file, Value("[]"), 0, 0, 0), 0);
  ASSERT_EQ(PDF_Object_Create(&b, file, Value("<<>>"), 0, 0, 0), 0);
  EXPECT_FALSE(PDF_Object_Is_From_File(a));
  ASSERT_EQ(PDF_Array_Insert_Reference(static_cast<PDF_Array*>(a->value->value), file, b, 0), 0);
  ASSERT_EQ(PDF_Dictionary_Set_Reference(static_cast<PDF_Dictionary*>(b->value->value), file, "Back", a), 0);
  // The deleting flag stops the walk when it comes back to a; everything is
  // released once (the allocator reports double frees, the fixture leaks).
  EXPECT_EQ(PDF_Object_Delete(&a, file, PDF_DELETE_MODE_WITHDRAW), 0);
}

TEST_F(Object_Table, CopyOfACycleIsACycleOfCopies) {
  PDF_Object* a = Add("1 0 obj <</Next 2 0 R /N 1>>");
  PDF_Object* b = Add("2 0 obj [1 0 R (b)]");
  PDF_Object* copy = nullptr;
  ASSERT_EQ(PDF_Object_Copy(&copy, file, true, a, PDF_COPY_MODE_ORDINARY), 0);
  ASSERT_NE(copy, a);
  EXPECT_EQ(PDF_Object_Get_Number(copy), 0);
  PDF_Object* copy_b = b->copy;
  ASSERT_NE(copy_b, nullptr);
  EXPECT_EQ(PDF_Object_Reference_Get_Object(Ref(Find(copy->value, "Next"))), copy_b);
  EXPECT_EQ(PDF_Object_Reference_Get_Object(Ref(At(copy_b->value, 0))), copy);
  // A second copy is delivered by the forwarding pointer.
  PDF_Object* again = nullptr;
  ASSERT_EQ(PDF_Object_Copy(&again, file, true, a, PDF_COPY_MODE_ORDINARY), 0);
  EXPECT_EQ(again, copy);
  // The copies belong to no table: release them explicitly.
  EXPECT_EQ(PDF_Object_Delete(&copy, file, PDF_DELETE_MODE_KEEP), 0);
  EXPECT_EQ(PDF_Object_Delete(&copy_b, file, PDF_DELETE_MODE_KEEP), 0);
}

TEST_F(Object_Table, ReferenceCopyModes) {
  Add("1 0 obj <</Type/Catalog>>");
  Add("2 0 obj <</Type/Page /B 1 /X 3>>");
  Add("3 0 obj [7]");
  const struct {
    uint32_t number;
    bool flag;
    int32_t mode;
    const char* shown;  // "R@0": bound to a new object
  } cases[] = {
      {1, true, 0, "R0.0"},   // a Catalog isn't copied
      {2, true, 0, "R0.0"},   // nor a Page
      {2, true, 3, "R@2"},    // mode 3 keeps references to pages
      {3, true, 3, "R@0"},    // ... and copies others as mode 0
      {3, false, 0, "R0.0"},  // flag off: no target
      {3, true, 4, "R@3"},    // mode 4 copies references as they stand
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.number) + " mode " + std::to_string(c.mode));
    PDF_Data_Object* source = Reference_To(c.number);
    PDF_Object* target = PDF_Xref_Table_Get_Object(Table(), c.number, 0);
    uint32_t count = PDF_Object_Get_Reference_Count(target);
    // Mode 4 looks nothing up: bind the source so that there is a target to share.
    if (c.mode == PDF_COPY_MODE_AS_IS) PDF_Object_Reference_Bind(Ref(source));
    PDF_Data_Object* copy = nullptr;
    ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, c.flag, c.mode), 0);
    EXPECT_EQ(Show(copy), c.shown);
    PDF_Object* copied = Ref(copy)->target;
    if (copied == target) {
      EXPECT_EQ(PDF_Object_Get_Reference_Count(target), count + 2) << "the source's binding and the copy";
    } else if (copied != nullptr) {  // a new object of no table
      Delete(&copy);
      EXPECT_EQ(PDF_Object_Delete(&copied, file, PDF_DELETE_MODE_RELEASE), 0);
      target->copy = nullptr;
    }
    Delete(&copy);
    Delete(&source);
  }
  // Mode 4 on an unbound reference keeps its numbers and looks nothing up.
  PDF_Data_Object* source = Reference_To(99, 4);
  PDF_Data_Object* copy = nullptr;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_AS_IS), 0);
  EXPECT_EQ(Show(copy), "R99.4");
  Delete(&copy);
  Delete(&source);
  // A dangling reference fails the copy at low tolerance and becomes a null
  // reference, with a report, at high tolerance.
  source = Reference_To(7);
  file->tolerance_level = 1;
  EXPECT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_ORDINARY), PDF_RESULT_OBJECT_MISSING);
  EXPECT_EQ(copy, nullptr);
  EXPECT_TRUE(log.messages.empty());
  file->tolerance_level = 3;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_ORDINARY), 0);
  EXPECT_EQ(Show(copy), "R0.0");
  ASSERT_EQ(log.messages.size(), 1u);
  EXPECT_EQ(log.messages[0].text, "referenced object does not exist, replace by null.\n");
  EXPECT_EQ(log.messages[0].code * 100 + log.messages[0].level, 10 * 100 + 11) << "code 10, level 11";
  Delete(&copy);
  Delete(&source);
}

TEST_F(Object_Table, PageNeighbourhoodCopy) {
  Add("2 0 obj <</Type/Page>>");
  PDF_Data_Object* source = Value("<</SE 1 /Keep 2 /A 2 0 R /Dest [2 0 R] /Other 2 0 R /Sub <</SE 3>>>>");
  PDF_Data_Object* copy = nullptr;
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_PAGE_NEIGHBOURHOOD), 0);
  // SE goes at every depth; under A and Dest a page reference stays, elsewhere a page isn't copied.
  EXPECT_EQ(Show(copy), "<</Keep 2 /A R@2 /Dest [R@2] /Other R0.0 /Sub <<>>>>");
  Delete(&copy);
  Delete(&source);
  // A page dictionary itself is refused in mode 1; other modes drop its B.
  source = Value("<</Type/Page /B [1] /C 2>>");
  EXPECT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_PAGE_NEIGHBOURHOOD),
            PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(copy, nullptr);
  ASSERT_EQ(PDF_Data_Object_Copy(&copy, file, source, true, PDF_COPY_MODE_ORDINARY), 0);
  EXPECT_EQ(Show(copy), "<</Type /Page /C 2>>");
  Delete(&copy);
  Delete(&source);
}

// Strings of a body as the file writes them when enciphered for an object.
std::string Hex(const std::string& key, uint32_t number, uint32_t generation, const std::string& plain) {
  return "<" + Test_Spaced_Hex(Test_Encipher(key, number, generation, plain)) + ">";
}
std::string Literal(const std::string& key, uint32_t number, uint32_t generation, const std::string& plain) {
  return "(" + Test_Octal_Literal(Test_Encipher(key, number, generation, plain)) + ")";
}
std::string Data(PDF_Data_Object* value) {
  PDF_Stream* stream = static_cast<PDF_Stream*>(PDF_Data_Object_Get_Typed_Value(value, PDF_Data_Type_Stream));
  if (stream == nullptr || PDF_Stream_Load(stream) != 0 || stream->data == nullptr) return "-";
  return std::string(reinterpret_cast<char*>(stream->data), stream->length);
}

const char kKey[] = "\x8e\x21\x7f\x03\xd2";

TEST_F(Object_Table, LoadDecryptsEveryStringOfTheBodyWithTheObjectsKey) {
  file->encrypted = 1;
  Test_Install_Key(file, kKey);
  const std::string body = "[" + Hex(kKey, 12, 3, "one") + " " + Literal(kKey, 12, 3, "two") + " /N <</S " +
                           Literal(kKey, 12, 3, "three") + " /R 4 0 R /E ()>> [" + Hex(kKey, 12, 3, "four") + "] 7]";
  PDF_Object* object = Add("12 3 obj " + body);
  ASSERT_NE(PDF_Object_Get_Value(object), nullptr);
  EXPECT_EQ(Show(object->value), "[(one) (two) /N <</S (three) /R R4.0 /E ()>> [(four)] 7]");
  EXPECT_EQ(Str(At(object->value, 2))->decrypted, 0) << "names have no branch";
  EXPECT_EQ(PDF_Object_Get_Value(object), object->value) << "loaded once, decrypted once";
  EXPECT_EQ(Show(object->value), "[(one) (two) /N <</S (three) /R R4.0 /E ()>> [(four)] 7]");

  // The number and generation that key the cipher are the object's own.
  PDF_Object* other = Add("13 3 obj " + Hex(kKey, 12, 3, "one"));
  EXPECT_NE(Show(PDF_Object_Get_Value(other)), "(one)");

  // Without the flag nothing is decrypted, key or not.
  file->encrypted = 0;
  EXPECT_EQ(Show(PDF_Object_Get_Value(Add("2 0 obj <4 1>"))), "<4 1>") << "kept as the file wrote it";
}

TEST_F(Object_Table, LoadDecryptsStreamsButNotCrossReferenceStreams) {
  file->encrypted = 1;
  Test_Install_Key(file, kKey);
  const std::string data = "BT /F1 12 Tf (Hello) Tj ET";
  const std::string cipher = Test_Encipher(kKey, 6, 0, data);
  PDF_Object* stream = Add("6 0 obj <</Length " + std::to_string(cipher.size()) + " /T " + Hex(kKey, 6, 0, "title") +
                           ">>\nstream\n" + cipher + "\nendstream");
  ASSERT_NE(PDF_Object_Get_Value(stream), nullptr);
  EXPECT_EQ(Data(stream->value), data);
  EXPECT_EQ(Show(PDF_Stream_Find_Value(static_cast<PDF_Stream*>(stream->value->value), "T")), "(title)");

  PDF_Object* xref = Add("8 0 obj <</Type /XRef /Length 3 /ID [<4 1>]>>\nstream\nabc\nendstream");
  ASSERT_NE(PDF_Object_Get_Value(xref), nullptr);
  EXPECT_EQ(xref->type, PDF_Object_Type_Xref_Stream);
  EXPECT_EQ(Data(xref->value), "abc");
  EXPECT_EQ(
      Show(PDF_Array_Get_Value(
          static_cast<PDF_Array*>(PDF_Stream_Find_Value(static_cast<PDF_Stream*>(xref->value->value), "ID")->value),
          0)),
      "<4 1>")
      << "stored in the clear, dictionary included";

  PDF_Object* empty = Add("9 0 obj <</Length 0>>\nstream\n\nendstream");
  EXPECT_EQ(PDF_Object_Load(empty), 0) << "an empty stream decrypts to itself";
  EXPECT_EQ(Data(empty->value), "-");
}

TEST_F(Object_Table, MetadataWithoutFiltersIsTriedUntilOneIsFoundPlain) {
  // Loaded in this order: the trial ends at the first plain stream, and
  // every later one is deciphered once, plain or not.
  file->encrypted = 1;
  Test_Install_Key(file, kKey);
  const std::string xml = "<?xpacket begin='' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta/>";
  const struct {
    uint32_t number;
    bool enciphered;
    std::string expected;
    uint8_t plain_flag_after;
  } cases[] = {
      {20, true, xml, 0},                               // deciphered in the trial
      {21, false, xml, 1},                              // deciphered twice
      {22, true, xml, 1},                               // deciphered once, no trial
      {23, false, Test_Encipher(kKey, 23, 0, xml), 1},  // deciphered once: plain data is spoilt
  };
  for (const auto& c : cases) {
    const std::string stored = c.enciphered ? Test_Encipher(kKey, c.number, 0, xml) : xml;
    PDF_Object* object = Add(std::to_string(c.number) + " 0 obj <</Type /Metadata /Subtype /XML /Length " +
                             std::to_string(stored.size()) + ">>\nstream\n" + stored + "\nendstream");
    ASSERT_EQ(PDF_Object_Load(object), 0) << c.number;
    EXPECT_EQ(Data(object->value), c.expected) << c.number;
    EXPECT_EQ(file->metadata_is_plain, c.plain_flag_after) << c.number;
  }
}

TEST_F(Object_Table, EncryptTypeSetBeforeLoadingDoesNotKeepTheBodyClear) {
  // The trailer's Encrypt entry marks an object that was loaded at open; one
  // marked while still pending is classified anew on load and decrypted.
  file->encrypted = 1;
  Test_Install_Key(file, kKey);
  PDF_Object* object = Add("3 0 obj <</Filter /Standard /O " + Hex(kKey, 3, 0, "owner") + ">>");
  ASSERT_EQ(PDF_Object_Set_Type(object, PDF_Object_Type_Encrypt), 0);
  ASSERT_EQ(PDF_Object_Load(object), 0);
  EXPECT_EQ(object->type, PDF_Data_Type_Dictionary);
  EXPECT_EQ(Show(Find(object->value, "O")), "(owner)");
}

TEST_F(Object_Table, NoKeyStateFailsObjectsThatNeedTheCipher) {
  file->encrypted = 1;
  const struct {
    const char* text;
    PDF_Result result;
  } cases[] = {
      {"1 0 obj <</A 1 /B [2 /N]>>", PDF_RESULT_OK},
      {"2 0 obj [() <>]", PDF_RESULT_OK},  // empty strings need no key
      {"3 0 obj <</S [(x)]>>", PDF_RESULT_INVALID_ARGUMENT},
      {"4 0 obj (x)", PDF_RESULT_INVALID_ARGUMENT},
      {"5 0 obj <</Length 3>>\nstream\nabc\nendstream", PDF_RESULT_INVALID_ARGUMENT},
      {"6 0 obj <</Length 0>>\nstream\n\nendstream", PDF_RESULT_INVALID_ARGUMENT},
      {"7 0 obj <</Type /XRef /Length 3 /ID [(x)]>>\nstream\nabc\nendstream", PDF_RESULT_OK},
  };
  for (const auto& c : cases) {
    PDF_Object* object = Add(c.text);
    EXPECT_EQ(PDF_Object_Load(object), c.result) << c.text;
    if (c.result != PDF_RESULT_OK) {
      EXPECT_NE(object->source_reader, nullptr) << c.text << ": stays pending";
      EXPECT_EQ(object->value, nullptr) << c.text;
      EXPECT_EQ(PDF_Object_Get_Type(object), PDF_Object_Type_Unknown) << c.text;
      EXPECT_EQ(PDF_Object_Load(object), c.result) << c.text << ": fails the same way again";
    }
  }
  // An object left pending loads once a key is in place.
  PDF_Object* pending = Add("14 0 obj " + Literal(kKey, 14, 0, "late"));
  EXPECT_EQ(PDF_Object_Load(pending), PDF_RESULT_INVALID_ARGUMENT);
  Test_Install_Key(file, kKey);
  ASSERT_EQ(PDF_Object_Load(pending), 0);
  EXPECT_EQ(Show(pending->value), "(late)");
}

TEST_F(Object_Table, ObjectsFromABufferAreNeverDecrypted) {
  // The container stream of an object stream was decrypted as a whole.
  file->encrypted = 1;
  Test_Install_Key(file, kKey);
  PDF_Object* object = nullptr;
  ASSERT_EQ(PDF_Object_Create(&object, file, nullptr, 5, 0, 0), 0);
  const char* body = "<</T (plain) /H <4 1>>>";
  ASSERT_EQ(PDF_Object_Read_From_Buffer(object, file, reinterpret_cast<const uint8_t*>(body), strlen(body)), 0);
  EXPECT_EQ(Show(object->value), "<</T (plain) /H <4 1>>>");
  EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
}

TEST_F(Object_Table, ReadFromBuffer) {
  PDF_Object* object = nullptr;
  ASSERT_EQ(PDF_Object_Create(&object, file, nullptr, 5, 0, 0), 0);
  const char* body = "<</Type/Filespec>> trailing";
  ASSERT_EQ(PDF_Object_Read_From_Buffer(object, file, reinterpret_cast<const uint8_t*>(body), strlen(body)), 0);
  EXPECT_EQ(object->type, PDF_Object_Type_Filespec);
  PDF_Data_Object* before = object->value;
  EXPECT_EQ(PDF_Object_Read_From_Buffer(object, file, reinterpret_cast<const uint8_t*>("]"), 1),
            PDF_RESULT_OBJECT_UNREADABLE);
  EXPECT_EQ(object->value, before) << "the value stays as it was";
  EXPECT_EQ(PDF_Object_Delete(&object, file, PDF_DELETE_MODE_RELEASE), 0);
}

TEST_F(Object_Table, TableEntriesAndLookup) {
  PDF_Xref_Table* table = Table();
  // Numbers without objects join sections at either end or open new ones.
  for (uint64_t number : {10, 11, 9, 3}) {
    ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, nullptr, number, 0, 0, 'f'), 0);
  }
  EXPECT_EQ(PDF_Number_Get_Integer(table->first_section->first_number), 3);
  EXPECT_EQ(PDF_Number_Get_Integer(table->last_section->first_number), 9);
  EXPECT_EQ(PDF_Number_Get_Integer(table->last_section->count), 3);
  EXPECT_TRUE(PDF_Xref_Table_Has_Number(table, 11) && !PDF_Xref_Table_Has_Number(table, 12));
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 10, 0), nullptr) << "a free entry gives null";
  // An object numbered 0 takes the next number behind the last section; a
  // second object of a number in use adds nothing.
  PDF_Object* fresh = nullptr;
  PDF_Object* duplicate = nullptr;
  ASSERT_EQ(PDF_Object_Create(&fresh, file, nullptr, 0, 0, 0), 0);
  ASSERT_EQ(PDF_Object_Create(&duplicate, file, nullptr, 12, 0, 0), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, fresh, 0, 0, 0, 'n'), 0);
  EXPECT_EQ(PDF_Xref_Table_Add_Entry(table, file, duplicate, 0, 0, 0, 'n'), 0);
  EXPECT_EQ(PDF_Body_Find_Object(file->xref_table, 12, 0), fresh);
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 0, PDF_Object_Get_Id(fresh)), fresh) << "number 0: by id";
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 0, 0), nullptr);
  // The hidden object is stepped over by number lookup.
  table->last_section->hidden_object = fresh;
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 12, 0), nullptr);
  table->last_section->hidden_object = nullptr;

  PDF_Xref_Table* with_head = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&with_head, file, true), 0);
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
  EXPECT_EQ(PDF_Body_Find_Object(file->xref_table, 5, 0), Add("5 0 obj (old)", table));
  EXPECT_EQ(PDF_Body_Find_Object(file->xref_table, 0, PDF_Object_Get_Id(newer)), newer);
  EXPECT_EQ(PDF_Body_Delete(&older, file), 0);
  EXPECT_EQ(file->xref_table->previous, nullptr) << "unlinked";
}

}  // namespace
