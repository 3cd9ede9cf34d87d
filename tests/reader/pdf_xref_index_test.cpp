// Lookups by object number through the table's index give the answers of a
// walk over every section in table order and, inside a section, over its
// entries from the head: the first section with a usable entry answers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_object_stream.h"
#include "reader/pdf_xref_table.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"
#include "support/test_show.h"

namespace {

// The walk, as lookups made it before the index.
PDF_Object* Walk_Lookup(PDF_Xref_Table* table, uint32_t number) {
  if (number == 0) return nullptr;
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    if (!Opened_Document::Section_Spans(section, number)) continue;
    PDF_Xref_Entry* entry = Opened_Document::Section_Entry(section, number);
    if (entry == nullptr || entry->type == 'f') continue;
    if (entry->deferred && PDF_Xref_Entry_Get_Object(table, entry) == nullptr) return nullptr;
    if (entry->object == nullptr && entry->type != 'c') continue;
    if (entry->object != nullptr && entry->object == section->hidden_object) continue;
    if (entry->type == 'c' && PDF_Xref_Entry_Load_Compressed(entry) != 0) return nullptr;
    table->last_hit_section = section;
    return entry->object;
  }
  return nullptr;
}

// A lookup by id as it was made before the table remembered its last answer.
PDF_Object* Walk_Id(PDF_Xref_Table* table, uint32_t id) {
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
      if (entry->type == 'n' && entry->object != nullptr && PDF_Object_Get_Id(entry->object) == id)
        return entry->object;
    }
  }
  return nullptr;
}

bool Walk_Has(const PDF_Xref_Table* table, uint32_t number) {
  for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    if (Opened_Document::Section_Spans(section, number)) return true;
  }
  return false;
}

int Place_Of(const PDF_Xref_Table* table, const PDF_Xref_Section* wanted) {
  int place = 0;
  for (const PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next, ++place) {
    if (section == wanted) return place;
  }
  return -1;
}

// What a lookup found, in terms that two documents opened over the same
// bytes share: the object's id and number, its value, and the section that
// answered.
std::string Found(PDF_Xref_Table* table, PDF_Object* object) {
  if (object == nullptr) return "none";
  return "id " + std::to_string(PDF_Object_Get_Id(object)) + " number " +
         std::to_string(PDF_Object_Get_Number(object)) + " " + Show(PDF_Object_Get_Value(object)) + " in section " +
         std::to_string(Place_Of(table, table->last_hit_section));
}

// Every entry's type, section by section, so that the loads a lookup set off
// can be compared.
std::string Types(const PDF_Xref_Table* table) {
  std::string types;
  for (const PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    types += "|";
    for (const PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
      types += static_cast<char>(entry->type);
    }
  }
  return types;
}

// Two documents over the same bytes: one answers through the index, the
// other through the walk; every number up to past the highest is asked for,
// upwards, downwards and upwards again.
void Expect_Same_Answers(Opened_Document* indexed, Opened_Document* walked, uint32_t highest, const std::string& name) {
  PDF_Xref_Table* a = indexed->body()->table;
  PDF_Xref_Table* b = walked->body()->table;
  std::vector<uint32_t> order;
  for (uint32_t number = 0; number <= highest + 2; ++number) order.push_back(number);
  for (uint32_t number = highest + 2; number-- > 0;) order.push_back(number);
  for (uint32_t number = 0; number <= highest + 2; ++number) order.push_back(number);
  for (uint32_t number : order) {
    std::string from_index = Found(a, PDF_Xref_Table_Get_Object(a, number, 0));
    std::string from_walk = Found(b, Walk_Lookup(b, number));
    EXPECT_EQ(from_index, from_walk) << name << ": object " << number;
    EXPECT_EQ(PDF_Xref_Table_Has_Number(a, number), Walk_Has(b, number)) << name << ": number " << number;
  }
  EXPECT_EQ(Types(a), Types(b)) << name;
  EXPECT_EQ(PDF_Xref_Table_Get_Object(a, 0, 0), nullptr);
  // Ids, each asked twice and in a zigzag, so that the remembered entry is
  // both the answer and a stale one.
  const uint32_t ids = indexed->file()->next_object_id + 1;
  for (uint32_t step = 0; step < 2 * ids; ++step) {
    uint32_t id = step % 2 == 0 ? step / 2 : ids - step / 2;
    EXPECT_EQ(Found(a, PDF_Body_Find_Object(indexed->body(), 0, id)), Found(b, Walk_Id(b, id)))
        << name << ": id " << id;
    EXPECT_EQ(Found(a, PDF_Body_Find_Object(indexed->body(), 0, id)), Found(b, Walk_Id(b, id)))
        << name << ": id " << id;
  }
}

struct Table_Case {
  std::string name;
  std::string bytes;
  uint32_t highest;
  int8_t level;
};

// Objects 1 to count, each holding its own number, after a header.
Pdf_Builder Numbered(uint32_t count) {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  for (uint32_t number = 1; number <= count; ++number) Pdf_Builder_Object(&b, number, std::to_string(number * 10));
  return b;
}

Pdf_Xref_Line In_Use(const Pdf_Builder& b, uint32_t number, uint16_t generation = 0) {
  return Pdf_Xref_Line{b.offsets.at(number), generation, 'n'};
}

const Pdf_Xref_Line kFree = {0, 0, 'f'};

std::string Overlapping_Subsections() {
  // 2 and 3 stand in two subsections, the later one starting at the same
  // number as another; 4 is free in the first and in use in the second; a
  // line points at the header of another number, one gives a generation that
  // the header doesn't have.
  Pdf_Builder b = Numbered(9);
  uint64_t xref = Pdf_Builder_Xref(&b, {{0, {{0, 65535, 'f'}, In_Use(b, 1), In_Use(b, 2), In_Use(b, 3), kFree}},
                                        {2, {In_Use(b, 7), In_Use(b, 8), In_Use(b, 4, 3)}},
                                        {2, {In_Use(b, 9)}},
                                        {8, {In_Use(b, 5), kFree, In_Use(b, 6)}}});
  Pdf_Builder_Trailer(&b, "/Size 11 /Root 1 0 R", xref);
  return b.bytes;
}

std::string Prev_Chain() {
  // The first revision defines 1 to 6; the second frees 2, redefines 3 and
  // adds 8 and 12 to 14; the third redefines 4 and 13, frees 14 and adds 20.
  Pdf_Builder b = Numbered(6);
  uint64_t first = Pdf_Builder_Xref(&b, {Pdf_Builder_All_Objects(&b)});
  Pdf_Builder_Trailer(&b, "/Size 7 /Root 1 0 R", first);
  uint64_t three = Pdf_Builder_Object(&b, 3, "(three again)");
  uint64_t eight = Pdf_Builder_Object(&b, 8, "(eight)");
  uint64_t twelve = Pdf_Builder_Object(&b, 12, "(twelve)");
  uint64_t thirteen = Pdf_Builder_Object(&b, 13, "(thirteen)");
  uint64_t fourteen = Pdf_Builder_Object(&b, 14, "(fourteen)");
  uint64_t second = Pdf_Builder_Xref(&b, {{2, {{0, 1, 'f'}, {three, 0, 'n'}}},
                                          {8, {{eight, 0, 'n'}}},
                                          {12, {{twelve, 0, 'n'}, {thirteen, 0, 'n'}, {fourteen, 0, 'n'}}}});
  Pdf_Builder_Trailer(&b, "/Size 15 /Root 1 0 R /Prev " + std::to_string(first), second);
  uint64_t four = Pdf_Builder_Object(&b, 4, "(four again)");
  uint64_t thirteen_again = Pdf_Builder_Object(&b, 13, "(thirteen again)");
  uint64_t twenty = Pdf_Builder_Object(&b, 20, "(twenty)");
  uint64_t third = Pdf_Builder_Xref(
      &b, {{4, {{four, 0, 'n'}}}, {13, {{thirteen_again, 0, 'n'}, {0, 2, 'f'}}}, {20, {{twenty, 0, 'n'}}}});
  Pdf_Builder_Trailer(&b, "/Size 21 /Root 1 0 R /Prev " + std::to_string(second), third);
  return b.bytes;
}

std::string Stream_Over_Table(bool as_xrefstm) {
  // A cross-reference stream with gaps in its Index and compressed objects
  // (one container good, one missing, one damaged), over an older classic
  // table that defines some of the same numbers.
  Pdf_Builder b = Numbered(5);
  uint64_t older = Pdf_Builder_Xref(&b, {Pdf_Builder_All_Objects(&b)});
  Pdf_Builder_Trailer(&b, "/Size 6 /Root 1 0 R", older);
  Pdf_Packed_Objects packed;
  Pdf_Builder_Object_Stream(&b, &packed, 30, {{6, "(six)"}, {7, "[7 0 R]"}, {9, "(nine)"}});
  Pdf_Builder_Object(&b, 31, "<< /Type /ObjStm /N 2 /First 8 >>");  // not a stream
  uint64_t ten = Pdf_Builder_Object(&b, 10, "(ten)");
  std::vector<Pdf_Xref_Stream_Row> rows = {
      {1, b.offsets.at(3), 0},   // 3 again, in use
      {2, 30, 0},                // 6
      {2, 30, 1},                // 7
      {2, 31, 0},                // 8, container no stream
      {2, 40, 0},                // 9, container missing
      {1, ten, 0},               // 10
      {0, 0, 1},                 // 11 free
      {1, b.offsets.at(30), 0},  // 30
      {1, b.offsets.at(31), 0},  // 31
  };
  Pdf_Xref_Stream_Options options;
  options.index = {3, 1, 6, 6, 30, 2};
  options.widths = {1, 4, 2};
  std::string prev = " /Prev " + std::to_string(older);
  if (!as_xrefstm) {
    options.extra_entries = "/Root 1 0 R" + prev;
    Pdf_Builder_Xref_Stream(&b, 32, rows, 33, options);
    return b.bytes;
  }
  // The same rows as the XRefStm of a classic update that itself frees 2.
  Pdf_Builder stream_part = b;
  std::string before = b.bytes;
  uint64_t stream = Pdf_Builder_Xref_Stream(&stream_part, 32, rows, 33, options);
  b.bytes = stream_part.bytes.substr(0, stream_part.bytes.rfind("startxref"));
  uint64_t update = Pdf_Builder_Xref(&b, {{2, {{0, 1, 'f'}}}, {32, {{stream, 0, 'n'}}}});
  Pdf_Builder_Trailer(&b, "/Size 33 /Root 1 0 R /XRefStm " + std::to_string(stream) + prev, update);
  return b.bytes;
}

std::string Many_Sections() {
  // Even numbers as subsections of their own in the newest table, odd ones
  // from a stream that the table's XRefStm names: every run of the stream
  // breaks on a known number, so that the table ends with 120 sections.
  Pdf_Builder b = Numbered(120);
  std::vector<Pdf_Xref_Subsection> evens;
  for (uint32_t number = 2; number <= 120; number += 2) evens.push_back({number, {In_Use(b, number)}});
  std::vector<Pdf_Xref_Stream_Row> rows;
  for (uint32_t number = 0; number <= 121; ++number) {
    rows.push_back(number >= 1 && number <= 120 ? Pdf_Xref_Stream_Row{1, b.offsets.at(number), 0}
                                                : Pdf_Xref_Stream_Row{0, 0, 0});
  }
  Pdf_Xref_Stream_Options options;
  options.widths = {1, 4, 1};
  Pdf_Builder stream_part = b;
  uint64_t stream = Pdf_Builder_Xref_Stream(&stream_part, 122, rows, 123, options);
  b.bytes = stream_part.bytes.substr(0, stream_part.bytes.rfind("startxref"));
  evens.push_back({122, {{stream, 0, 'n'}}});
  uint64_t xref = Pdf_Builder_Xref(&b, evens);
  Pdf_Builder_Trailer(&b, "/Size 123 /Root 1 0 R /XRefStm " + std::to_string(stream), xref);
  return b.bytes;
}

std::string Damaged_Lines() {
  // At level 3 unreadable lines of the newest table become free entries.
  Pdf_Builder b = Numbered(6);
  std::string lines = "xref\n0 7\n0000000000 65535 f\r\n";
  for (uint32_t number = 1; number <= 6; ++number) {
    lines += number == 3 || number == 5 ? "0000099999 00000 n\r\n" : Pdf_Xref_Line_Text(In_Use(b, number));
  }
  uint64_t xref = b.bytes.size();
  Pdf_Builder_Raw(&b, lines);
  Pdf_Builder_Trailer(&b, "/Size 7 /Root 1 0 R", xref);
  return b.bytes;
}

TEST(Xref_Index, AnswersAsTheWalkOverCraftedTables) {
  const Table_Case cases[] = {
      {"overlapping subsections", Overlapping_Subsections(), 10, 3},
      {"Prev chain of three revisions", Prev_Chain(), 20, 3},
      {"stream over an older table", Stream_Over_Table(false), 33, 3},
      {"stream over an older table, level 0", Stream_Over_Table(false), 33, 0},
      {"XRefStm of a classic update", Stream_Over_Table(true), 33, 3},
      {"120 sections", Many_Sections(), 122, 3},
      {"damaged lines", Damaged_Lines(), 7, 3},
  };
  for (const Table_Case& c : cases) {
    Opened_Document indexed(c.bytes, c.level);
    Opened_Document walked(c.bytes, c.level);
    ASSERT_EQ(indexed.result, 0) << c.name;
    ASSERT_EQ(walked.result, 0) << c.name;
    Expect_Same_Answers(&indexed, &walked, c.highest, c.name);
  }
}

// An in-use entry's object is made on first lookup from its header; it is
// the object that reading the header at the open made: same number,
// generation and body position, and a body that loads alike.
TEST(Xref_Index, DeferredObjectsAreThoseTheOpenMade) {
  for (const std::string& bytes : {Prev_Chain(), Stream_Over_Table(true), Damaged_Lines()}) {
    Opened_Document opened(bytes, 3);
    ASSERT_EQ(opened.result, 0);
    PDF_Xref_Table* table = opened.body()->table;
    int deferred = 0;
    for (PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
      for (PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
        if (!entry->deferred) continue;
        deferred += 1;
        PDF_Object* at_open = nullptr;
        ASSERT_NE(PDF_Object_Read(&at_open, opened.file(), table->reader, entry->offset), 0u);
        PDF_Object* made = PDF_Xref_Entry_Get_Object(table, entry);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(entry->object, made);
        EXPECT_EQ(PDF_Object_Get_Number(made), PDF_Object_Get_Number(at_open));
        EXPECT_EQ(PDF_Object_Get_Generation(made), PDF_Object_Get_Generation(at_open));
        EXPECT_EQ(made->source_position, at_open->source_position);
        EXPECT_EQ(Show(PDF_Object_Get_Value(made)), Show(PDF_Object_Get_Value(at_open)));
        EXPECT_EQ(PDF_Object_Delete(&at_open, opened.file(), PDF_DELETE_MODE_RELEASE), 0);
      }
    }
    EXPECT_GT(deferred, 0);
  }
}

TEST(Xref_Index, FollowsEntriesAddedAndObjectsHiddenOrRemoved) {
  const std::string bytes = Prev_Chain();
  Opened_Document indexed(bytes, 3);
  Opened_Document walked(bytes, 3);
  ASSERT_EQ(indexed.result, 0);
  ASSERT_EQ(walked.result, 0);
  Expect_Same_Answers(&indexed, &walked, 20, "as read");

  // Free entries that prepend to a section, append to one, start one of their
  // own, and an object over a free entry (its number then lies in two
  // sections); an object numbered 0 goes behind the last section.
  struct Addition {
    uint32_t number;  // with object: the object's own number
    bool object;
  };
  const Addition additions[] = {{11, false}, {15, false}, {30, false}, {2, true}, {0, true}, {14, true}, {7, false}};
  for (const Addition& addition : additions) {
    for (Opened_Document* opened : {&indexed, &walked}) {
      PDF_Object* object = nullptr;
      if (addition.object) {
        PDF_Data_Object* value = nullptr;
        ASSERT_EQ(PDF_Data_Object_Create(&value, opened->file(), PDF_Data_Type_Null, nullptr), 0);
        ASSERT_EQ(PDF_Object_Create(&object, opened->file(), value, addition.number, 0, 1), 0);
      }
      ASSERT_EQ(PDF_Xref_Table_Add_Entry(opened->body()->table, opened->file(), object, addition.number, 0, 0, 'f'), 0);
    }
    Expect_Same_Answers(&indexed, &walked, 32, "after adding " + std::to_string(addition.number));
  }

  // An object hidden in its section, and one withdrawn from the table.
  for (Opened_Document* opened : {&indexed, &walked}) {
    PDF_Xref_Table* table = opened->body()->table;
    table->first_section->hidden_object = opened->entry(1)->object;
    ASSERT_EQ(PDF_Xref_Table_Remove_Object(table, opened->file(), opened->entry(5)->object, PDF_DELETE_MODE_RELEASE),
              0);
  }
  Expect_Same_Answers(&indexed, &walked, 32, "hidden and removed");
  indexed.body()->table->first_section->hidden_object = nullptr;
  walked.body()->table->first_section->hidden_object = nullptr;
}

}  // namespace
