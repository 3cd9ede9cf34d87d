// Indirect objects and references: object headers, deletion modes and the
// reference count, copies around pages, and the decryption of loaded bodies.
#include <gtest/gtest.h>

#include <string>

#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_xref_table.h"
#include "support/test_cipher.h"
#include "support/test_objects.h"
#include "support/test_show.h"

namespace {

PDF_Object_Reference* Ref(PDF_Data_Object* object) { return static_cast<PDF_Object_Reference*>(object->value); }
PDF_Data_Object* Find(PDF_Data_Object* object, const char* key) {
  return PDF_Dictionary_Find_Value(static_cast<PDF_Dictionary*>(object->value), key);
}

class Object_Table : public Objects_Fixture {
 protected:
  void SetUp() override {
    Objects_Fixture::SetUp();
    Give_Empty_Table();
  }

  PDF_Xref_Table* Table() { return file->xref_table->table; }

  // Reads "n g obj body" from text of its own and enters the object in the
  // table, as the cross-reference reader does.
  PDF_Object* Add(const std::string& text) {
    PDF_Object* object = nullptr;
    EXPECT_NE(PDF_Object_Read(&object, file, Input(text), 0), 0u) << text;
    if (object == nullptr) return nullptr;
    EXPECT_EQ(PDF_Xref_Table_Add_Entry(Table(), file, object, 0, 0, 0, 'n'), 0);
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

TEST_F(Object_Table, HeaderForms) {
  PDF_Object* object = nullptr;
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

// A string of a body in hexadecimal form, as the file writes it when
// enciphered for an object.
std::string Hex(const std::string& key, uint32_t number, uint32_t generation, const std::string& plain) {
  return "<" + Test_Spaced_Hex(Test_Encipher(key, number, generation, plain)) + ">";
}
std::string Data(PDF_Data_Object* value) {
  PDF_Stream* stream = static_cast<PDF_Stream*>(PDF_Data_Object_Get_Typed_Value(value, PDF_Data_Type_Stream));
  if (stream == nullptr || PDF_Stream_Load(stream) != 0 || stream->data == nullptr) return "-";
  return std::string(reinterpret_cast<char*>(stream->data), stream->length);
}

const char kKey[] = "\x8e\x21\x7f\x03\xd2";

TEST_F(Object_Table, MetadataTrialAndAnEncryptTypeSetBeforeLoadingUnderAKey) {
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
  // The trailer's Encrypt entry marks an object that was loaded at open; one
  // marked while still pending is classified anew on load and decrypted.
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
    }
  }
}

}  // namespace
