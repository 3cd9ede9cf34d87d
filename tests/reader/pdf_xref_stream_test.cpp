#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "invoice_extract.h"

#include "filters/pdf_stream.h"
#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "reader/pdf_trailer.h"
#include "reader/pdf_xref_section.h"
#include "reader/pdf_xref_stream.h"
#include "reader/pdf_xref_table.h"
#include "support/invoice_builder.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/pdf_xref_stream_builder.h"
#include "support/test_objects.h"

namespace {

typedef Pdf_Xref_Stream_Row Row;

// Six small objects that in-use rows can point at.
const Pdf_Builder& Base() {
  static const Pdf_Builder base = [] {
    Pdf_Builder b;
    Pdf_Builder_Header(&b);
    for (uint32_t number = 1; number <= 6; ++number) Pdf_Builder_Object(&b, number, "(object)");
    return b;
  }();
  return base;
}

Row In_Use(uint32_t number, uint64_t generation = 0) { return Row{1, Base().offsets.at(number), generation}; }
Row Free(uint64_t generation = 0) { return Row{0, 0, generation}; }
Row Packed(uint64_t container, uint64_t index) { return Row{2, container, index}; }

// Sections and entries of a table: "first+count: entries | ...", where an
// in-use entry shows the number of the header it read (and a non-zero
// generation after a slash), a free one its generation, and a compressed one
// container.index. Broken links show as "!".
std::string Describe(const PDF_Xref_Table* table) {
  std::string text;
  for (const PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    if (!text.empty()) text += " | ";
    int64_t count = PDF_Number_Get_Long(section->count);
    text += std::to_string(PDF_Number_Get_Long(section->first_number)) + "+" + std::to_string(count) + ":";
    int64_t linked = 0;
    const PDF_Xref_Entry* previous = nullptr;
    for (const PDF_Xref_Entry* entry = section->head; entry != nullptr; entry = entry->next) {
      linked += 1;
      if (entry->previous != previous) text += "!";
      previous = entry;
      text += " ";
      switch (entry->type) {
        case 'n':
          text += "n" + std::to_string(PDF_Object_Get_Number(entry->object));
          if (entry->generation != 0) text += "/" + std::to_string(entry->generation);
          break;
        case 'f':
          text += "f" + std::to_string(entry->generation);
          if (entry->object != nullptr || entry->offset != 0) text += "!";
          break;
        case 'c':
          text += "c" + std::to_string(entry->container) + "." + std::to_string(entry->offset);
          if (entry->object == nullptr || entry->object->value != nullptr ||
              PDF_Object_Is_From_File(entry->object)) {
            text += "!";
          }
          break;
        default:
          text += "?";
      }
    }
    if (linked != count || section->tail != previous) text += " !";
  }
  return text;
}

class Xref_Stream : public Objects_Fixture {
 public:
  // Parses "<<entries /Length n>> stream ... endstream" behind the base
  // objects; the stream lives until Drop().
  PDF_Stream* Parse_Stream(const std::string& entries, const std::string& data) {
    std::string bytes = Base().bytes;
    uint64_t position = bytes.size();
    bytes += "<<" + entries + " /Length " + std::to_string(data.size()) + ">>\nstream\n" + data + "\nendstream\n";
    reader = Input(bytes);
    EXPECT_NE(PDF_Data_Object_Read(&variant, file, reader, position), 0u);
    return static_cast<PDF_Stream*>(PDF_Data_Object_Get_Direct_Value(variant, PDF_Data_Type_Stream));
  }
  void Drop() {
    if (variant != nullptr) Delete(&variant);
  }
  // Merges the stream into a new table and describes the table.
  std::string Read(const std::string& entries, const std::string& data, int8_t level, PDF_Result* result) {
    file->tolerance_level = level;
    PDF_Xref_Table* table = nullptr;
    EXPECT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
    PDF_Stream* stream = Parse_Stream(entries, data);
    EXPECT_NE(stream, nullptr);
    *result = PDF_Xref_Table_Read_Stream(table, stream, file, reader);
    std::string text = Describe(table);
    EXPECT_EQ(PDF_Xref_Table_Delete(&table, file), 0);
    Drop();
    return text;
  }

  PDF_Read_Data* reader = nullptr;
  PDF_Data_Object* variant = nullptr;
};

struct Read_Case {
  std::string name;
  std::string entries;  // besides Length
  std::vector<uint32_t> widths;
  std::vector<Row> rows;
  PDF_Result result;
  std::string table;
};

TEST_F(Xref_Stream, RowsBecomeSectionsOfTheTable) {
  const std::string xref = "/Type /XRef ";
  const Read_Case cases[] = {
      {"widths 1 2 1", xref + "/Size 5 /W [1 2 1]", {1, 2, 1},
       {Free(255), In_Use(1), In_Use(2), Packed(9, 0), In_Use(3, 4)}, 0,
       "0+5: f255 n1 n2 c9.0 n3/4"},
      {"widths 0 2 0: every row in use", xref + "/Size 3 /W [0 2 0]", {0, 2, 0},
       {In_Use(1), In_Use(2), In_Use(3)}, 0, "0+3: n1 n2 n3"},
      {"wide type field: only its last byte counts", xref + "/Size 3 /W [2 2 1]", {2, 2, 1},
       {Row{0x0301, Base().offsets.at(4), 0}, Row{0x0100, 0, 7}, Row{0x0002, 9, 4}}, 0, "0+3: n4 f7 c9.4"},
      {"widths 1 4 2", xref + "/Size 3 /W [1 4 2]", {1, 4, 2}, {Free(255), Packed(70000, 3), In_Use(5)}, 0,
       "0+3: f255 c70000.3 n5"},
      {"unknown type is stored free", xref + "/Size 2 /W [1 2 2]", {1, 2, 2}, {Row{7, 1234, 9}, In_Use(1)}, 0,
       "0+2: f9 n1"},
      {"generation cut to 16 bits", xref + "/Size 2 /W [1 2 3]", {1, 2, 3}, {In_Use(1, 0x010005), Free(0x020003)},
       0, "0+2: n1/5 f3"},
      {"a single row is never read", xref + "/Size 1 /W [1 2 1]", {1, 2, 1}, {In_Use(1)}, 0, ""},
      {"Index 0 5 7 1: the row for 7 never arrives", xref + "/Size 8 /W [1 2 1] /Index [0 5 7 1]", {1, 2, 1},
       {Free(255), In_Use(1), In_Use(2), In_Use(3), In_Use(4), In_Use(5)}, 0, "0+5: f255 n1 n2 n3 n4"},
      {"Index pairs make one section each", xref + "/Size 20 /W [1 2 1] /Index [3 2 10 2 12 1]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3), In_Use(4), In_Use(5), In_Use(6)}, 0,
       "3+2: n1 n2 | 10+2: n3 n4 | 12+1: n5"},
      {"rows behind the last pair continue the numbers", xref + "/Size 20 /W [1 2 1] /Index [3 2]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3), In_Use(4), In_Use(5)}, 0, "3+2: n1 n2 | 5+3: n3 n4 n5"},
      {"odd Index: the lone number starts the rest", xref + "/Size 20 /W [1 2 1] /Index [2]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3)}, 0, "2+3: n1 n2 n3"},
      {"no Index, fewer rows than Size", xref + "/Size 10 /W [1 2 1]", {1, 2, 1},
       {Free(255), In_Use(1), In_Use(2)}, 0, "0+3: f255 n1 n2"},
      {"no Index, more rows than Size", xref + "/Size 2 /W [1 2 1]", {1, 2, 1},
       {Free(255), In_Use(1), In_Use(2), In_Use(3)}, 0, "0+2: f255 n1"},
      {"no pass starts at Size", xref + "/Size 2 /W [1 2 1] /Index [0 2 5 2]", {1, 2, 1},
       {Free(255), In_Use(1), In_Use(2), In_Use(3)}, 0, "0+2: f255 n1"},
      {"a pass that starts below Size keeps its own count", xref + "/Size 2 /W [1 2 1] /Index [0 1 5 2]",
       {1, 2, 1}, {Free(255), In_Use(1), In_Use(2), In_Use(3)}, 0, "0+1: f255 | 5+2: n1 n2"},
      {"count 0 takes the rest of the rows", xref + "/Size 10 /W [1 2 1] /Index [4 0]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3)}, 0, "4+3: n1 n2 n3"},
      {"count 0 is cut at Size", xref + "/Size 6 /W [1 2 1] /Index [4 0]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3)}, 0, "4+2: n1 n2"},
      {"a number met again keeps its first row", xref + "/Size 9 /W [1 2 1] /Index [0 2 1 2]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3), In_Use(4)}, 0, "0+2: n1 n2 | 2+1: n4"},
      {"sections are kept in order of number", xref + "/Size 20 /W [1 2 1] /Index [8 2 1 2]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3), In_Use(4), In_Use(5)}, 0, "1+2: n3 n4 | 8+2: n1 n2"},
      {"in-use row without an object header", xref + "/Size 9 /W [1 2 1] /Index [0 2 4 2]", {1, 2, 1},
       {Free(255), In_Use(1), In_Use(2), Row{1, 1, 0}, In_Use(3)}, -93, "0+2: f255 n1"},
      {"in-use row past the end of the input", xref + "/Size 9 /W [1 4 1]", {1, 4, 1},
       {Free(255), In_Use(1), Row{1, 999999, 0}, In_Use(2)}, -93, ""},
      {"in-use row inside an object's body", xref + "/Size 3 /W [1 2 1]", {1, 2, 1},
       {In_Use(1), Row{1, Base().offsets.at(2) + 8, 0}, In_Use(2)}, -93, ""},
      {"Size missing", xref + "/W [1 2 1]", {1, 2, 1}, {In_Use(1), In_Use(2)}, -71, ""},
      {"Size not a number", xref + "/Size /Ten /W [1 2 1]", {1, 2, 1}, {In_Use(1), In_Use(2)}, -71, ""},
      {"W missing", xref + "/Size 2", {1, 2, 1}, {In_Use(1), In_Use(2)}, -71, ""},
      {"W not an array", xref + "/Size 2 /W 4", {1, 2, 1}, {In_Use(1), In_Use(2)}, -71, ""},
      {"W of two numbers", xref + "/Size 2 /W [1 2]", {1, 2, 1}, {In_Use(1), In_Use(2)}, -71, ""},
      {"W of four numbers", xref + "/Size 2 /W [1 2 1 0]", {1, 2, 1}, {In_Use(1), In_Use(2)}, -71, ""},
      {"W with a name: the element's code", xref + "/Size 2 /W [1 /Two 1]", {1, 2, 1}, {In_Use(1), In_Use(2)},
       -500, ""},
      {"second width 0", xref + "/Size 2 /W [1 0 3]", {1, 0, 3}, {In_Use(1), In_Use(2)}, -71, ""},
      {"negative width", xref + "/Size 2 /W [-1 3 2]", {1, 2, 1}, {In_Use(1), In_Use(2)}, -71, ""},
      {"Index with a name: its code", xref + "/Size 9 /W [1 2 1] /Index [/Zero 2]", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3)}, -500, ""},
      {"Index not an array counts as absent", xref + "/Size 9 /W [1 2 1] /Index 5", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3)}, 0, "0+3: n1 n2 n3"},
      {"filter without a decoder is refused", xref + "/Size 3 /W [1 2 1] /Filter /DCTDecode", {1, 2, 1},
       {In_Use(1), In_Use(2), In_Use(3)}, -107, ""},
      {"no data", xref + "/Size 3 /W [1 2 1]", {1, 2, 1}, {}, 0, ""},
  };
  // With the type in place nothing here depends on the level: a bad W or
  // Size and an unreadable in-use row are never forgiven.
  for (const Read_Case& c : cases) {
    for (int8_t level = 0; level <= 4; ++level) {
      PDF_Result result = 1;
      std::string table = Read(c.entries, Pdf_Xref_Stream_Pack(c.rows, c.widths), level, &result);
      EXPECT_EQ(result, c.result) << c.name << " at level " << int(level);
      EXPECT_EQ(table, c.table) << c.name << " at level " << int(level);
    }
  }
}

TEST_F(Xref_Stream, CompressedRowsReadAsPlainOnes) {
  const std::vector<Row> rows = {Free(255), In_Use(1), Packed(40000, 2), In_Use(2), In_Use(3), In_Use(6)};
  const std::string expected = "0+6: f255 n1 c40000.2 n2 n3 n6";
  for (const std::vector<uint32_t>& widths : std::vector<std::vector<uint32_t>>{{1, 2, 1}, {1, 3, 2}, {2, 4, 2}}) {
    uint32_t columns = widths[0] + widths[1] + widths[2];
    std::string w = " /W [" + std::to_string(widths[0]) + " " + std::to_string(widths[1]) + " " +
                    std::to_string(widths[2]) + "]";
    std::string packed = Pdf_Xref_Stream_Pack(rows, widths);
    PDF_Result result = 1;
    EXPECT_EQ(Read("/Type /XRef /Size 6" + w + " /Filter /FlateDecode", Pdf_Flate(packed), 0, &result), expected)
        << "Flate, columns " << columns;
    EXPECT_EQ(result, 0);
    EXPECT_EQ(Read("/Type /XRef /Size 6" + w + " /Filter /FlateDecode /DecodeParms << /Predictor 12 /Columns " +
                       std::to_string(columns) + " >>",
                   Pdf_Flate(Pdf_Png_Up_Rows(packed, columns)), 0, &result),
              expected)
        << "PNG rows, columns " << columns;
    EXPECT_EQ(result, 0);
  }
}

TEST_F(Xref_Stream, XRefTypeIsRequiredAtLevelZeroOnly) {
  const std::string data = Pdf_Xref_Stream_Pack({In_Use(1), In_Use(2)}, {1, 2, 1});
  const std::string types[] = {"", "/Type /ObjStm", "/Type (XRef)", "/Type /xref"};
  for (const std::string& type : types) {
    for (int8_t level = 0; level <= 4; ++level) {
      PDF_Result result = 1;
      std::string table = Read(type + " /Size 2 /W [1 2 1]", data, level, &result);
      EXPECT_EQ(result, level == 0 ? -71 : 0) << type << " at level " << int(level);
      EXPECT_EQ(table, level == 0 ? "" : "0+2: n1 n2") << type << " at level " << int(level);
    }
  }
  PDF_Result result = 1;
  EXPECT_EQ(Read("/Type /XRef /Size 2 /W [1 2 1]", data, 0, &result), "0+2: n1 n2");
  EXPECT_EQ(result, 0);
}

TEST_F(Xref_Stream, EarlierDefinitionsInTheTableWin) {
  // Numbers 2 and 3 are known already, one of them free.
  PDF_Xref_Table* table = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, nullptr, 2, 0, 1, 'f'), 0);
  PDF_Object* known = nullptr;
  ASSERT_EQ(PDF_Object_Create(&known, file, nullptr, 3, 0, 0), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, known, 3, 0, 0, 'n'), 0);
  ASSERT_EQ(Describe(table), "2+2: f1 n3");

  PDF_Stream* stream = Parse_Stream("/Type /XRef /Size 6 /W [1 2 1]",
                                    Pdf_Xref_Stream_Pack({Free(255), In_Use(1), In_Use(2), In_Use(4),
                                                          In_Use(5), In_Use(6)},
                                                         {1, 2, 1}));
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(table, stream, file, reader), 0);
  EXPECT_EQ(Describe(table), "0+2: f255 n1 | 2+2: f1 n3 | 4+2: n5 n6");
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 2, 0), nullptr) << "the older free entry hides row 2";
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 3, 0), known);

  // A second stream over the same numbers adds nothing.
  Drop();
  stream = Parse_Stream("/Type /XRef /Size 6 /W [1 2 1]",
                        Pdf_Xref_Stream_Pack({In_Use(1), In_Use(2), In_Use(3), In_Use(4), In_Use(5), In_Use(6)},
                                             {1, 2, 1}));
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(table, stream, file, reader), 0);
  EXPECT_EQ(Describe(table), "0+2: f255 n1 | 2+2: f1 n3 | 4+2: n5 n6");
  Drop();
  EXPECT_EQ(PDF_Xref_Table_Delete(&table, file), 0);
}

TEST_F(Xref_Stream, NullArguments) {
  PDF_Xref_Table* table = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
  PDF_Stream* stream = Parse_Stream("/Type /XRef /Size 3 /W [1 2 1]",
                                    Pdf_Xref_Stream_Pack({In_Use(1), In_Use(2), In_Use(3)}, {1, 2, 1}));
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(nullptr, stream, file, reader), -500);
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(table, nullptr, file, reader), -500);
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(table, stream, nullptr, reader), -500);
  EXPECT_EQ(table->first_section, nullptr);
  PDF_Trailer* trailer = reinterpret_cast<PDF_Trailer*>(this);
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(nullptr, file, stream), -500);
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, nullptr, stream), -500);
  EXPECT_EQ(trailer, nullptr);
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, nullptr), -500);
  Drop();
  EXPECT_EQ(PDF_Xref_Table_Delete(&table, file), 0);
}

TEST_F(Xref_Stream, ExhaustedMemoryLeavesNothingBehind) {
  const std::string entries = "/Type /XRef /Size 9 /W [1 2 1] /Index [0 3 5 3] /Filter /FlateDecode";
  const std::string data = Pdf_Flate(Pdf_Xref_Stream_Pack(
      {Free(255), In_Use(1), Packed(8, 0), In_Use(2), Free(1), Packed(8, 1), In_Use(3)}, {1, 2, 1}));
  bool reached = true;
  for (uint64_t n = 1; reached && n < 500; ++n) {
    std::set<void*> before = Snapshot();
    PDF_Xref_Table* table = nullptr;
    ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
    PDF_Stream* stream = Parse_Stream(entries, data);
    ASSERT_NE(stream, nullptr);
    Fail_Request(n);
    PDF_Result result = PDF_Xref_Table_Read_Stream(table, stream, file, reader);
    reached = Failure_Reached();
    Stop_Failing();
    if (reached) {
      EXPECT_TRUE(result == -7 || result == -93) << "request " << n << " gave " << result;
    } else {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(Describe(table), "0+3: f255 n1 c8.0 | 5+3: n2 f1 c8.1");
    }
    Drop();
    EXPECT_EQ(PDF_Xref_Table_Delete(&table, file), 0);
    EXPECT_EQ(Snapshot(), before) << "request " << n;
  }
  EXPECT_FALSE(reached) << "the loop never got past the last request";
}

// The trailer of a file without a classic one.
PDF_Dictionary* Trailer_Dictionary(PDF_Trailer* trailer) { return PDF_Trailer_Get_Dictionary(trailer); }

std::string Keys(PDF_Dictionary* dictionary) {
  std::string keys;
  for (uint32_t i = 0; i < PDF_Dictionary_Get_Count(dictionary); ++i) {
    PDF_Name* key = nullptr;
    PDF_Data_Object* value = nullptr;
    if (PDF_Dictionary_Get_Entry_At(dictionary, i, &key, &value) != 0) return keys + "?";
    keys += (i == 0 ? "" : " ") + std::string(PDF_Name_Get_Text(key));
  }
  return keys;
}

TEST_F(Xref_Stream, TrailerTakesSixKeysInOrder) {
  PDF_Stream* stream = Parse_Stream(
      "/ID [<01> <02>] /Info 7 0 R /Type /XRef /Filter /FlateDecode /Encrypt 8 0 R /Root 1 0 R /Prev 4711 "
      "/Index [0 9] /Size 9 /W [1 2 1] /Extra true",
      "");
  ASSERT_NE(stream, nullptr);
  PDF_Trailer* trailer = nullptr;
  ASSERT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, stream), 0);
  ASSERT_NE(trailer, nullptr);
  PDF_Dictionary* dictionary = Trailer_Dictionary(trailer);
  EXPECT_EQ(Keys(dictionary), "Size Prev Root Encrypt Info ID");
  EXPECT_EQ(PDF_Trailer_Get_Prev(trailer), 4711u);
  EXPECT_EQ(PDF_Number_Get_Integer(static_cast<PDF_Number*>(
                PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Size"), PDF_Data_Type_Number))),
            9);
  // References are copied as they stand: not bound, numbers kept.
  PDF_Object_Reference* root = static_cast<PDF_Object_Reference*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Root"), PDF_Data_Type_Reference));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->target, nullptr);
  EXPECT_EQ(root->number, 1u);
  PDF_Object_Reference* info = static_cast<PDF_Object_Reference*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Info"), PDF_Data_Type_Reference));
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->number, 7u);
  PDF_Array* id = static_cast<PDF_Array*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "ID"), PDF_Data_Type_Array));
  ASSERT_NE(id, nullptr);
  EXPECT_EQ(PDF_Array_Get_Count(id), 2u);
  // The copies are the trailer's own.
  EXPECT_NE(PDF_Dictionary_Find_Value(dictionary, "ID"), PDF_Stream_Find_Value(stream, "ID"));
  Drop();
  EXPECT_EQ(PDF_Array_Get_Count(id), 2u);
  EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), 0);
}

TEST_F(Xref_Stream, TrailerNeedsSizeAlone) {
  PDF_Stream* stream = Parse_Stream("/Type /XRef /W [1 2 1] /Size 3", "");
  PDF_Trailer* trailer = nullptr;
  ASSERT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, stream), 0);
  EXPECT_EQ(Keys(Trailer_Dictionary(trailer)), "Size");
  EXPECT_EQ(PDF_Trailer_Get_Root(trailer), nullptr);
  EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), 0);
  Drop();

  // Without Size nothing survives, whatever else was there.
  stream = Parse_Stream("/Type /XRef /W [1 2 1] /Root 1 0 R /Prev 10 /ID [<01> <02>]", "");
  trailer = reinterpret_cast<PDF_Trailer*>(this);
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, stream), -70);
  EXPECT_EQ(trailer, nullptr);
  Drop();
}

TEST_F(Xref_Stream, TrailerWithExhaustedMemoryLeavesNothingBehind) {
  bool reached = true;
  for (uint64_t n = 1; reached && n < 300; ++n) {
    PDF_Stream* stream = Parse_Stream("/Size 9 /Prev 7 /Root 1 0 R /Encrypt << /V 1 >> /Info 3 0 R /ID [<01> <02>]", "");
    ASSERT_NE(stream, nullptr);
    std::set<void*> before = Snapshot();
    PDF_Trailer* trailer = nullptr;
    Fail_Request(n);
    PDF_Result result = PDF_Trailer_Create_From_Xref_Stream(&trailer, file, stream);
    reached = Failure_Reached();
    Stop_Failing();
    if (reached) {
      EXPECT_EQ(result, -7) << "request " << n;
      EXPECT_EQ(trailer, nullptr);
    } else {
      ASSERT_EQ(result, 0);
      EXPECT_EQ(Keys(Trailer_Dictionary(trailer)), "Size Prev Root Encrypt Info ID");
      EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), 0);
    }
    EXPECT_EQ(Snapshot(), before) << "request " << n;
    Drop();
  }
  EXPECT_FALSE(reached);
}


// An invoice whose catalog, page tree, page and file specification lie in
// object streams (the metadata and the invoice stay plain streams).
struct Packed_Layout {
  std::string name;
  std::vector<uint32_t> widths;
  bool with_index;
  bool flate;
  bool png_up;
  std::vector<std::vector<uint32_t>> groups;  // the numbers of each object stream
  bool hybrid;                                // classic table, packed rows behind XRefStm
};

std::string Invoice_Object(uint32_t number, const std::string& attachment) {
  switch (number) {
    case 1:
      return "<< /Type /Catalog /Pages 2 0 R /Metadata 3 0 R /Names << /EmbeddedFiles << /Names [(" + attachment +
             ") 5 0 R] >> >> /AF [5 0 R] >>";
    case 2:
      return "<< /Type /Pages /Kids [6 0 R] /Count 1 >>";
    case 5:
      return "<< /Type /Filespec /F (" + attachment + ") /UF (" + attachment +
             ") /EF << /F 4 0 R >> /AFRelationship /Alternative >>";
    default:
      return "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] >>";
  }
}

// Index pairs over the runs of consecutive numbers in the set.
std::vector<uint32_t> Runs(const std::set<uint32_t>& numbers) {
  std::vector<uint32_t> index;
  for (uint32_t number : numbers) {
    if (!index.empty() && index[index.size() - 2] + index.back() == number) {
      index.back() += 1;
    } else {
      index.push_back(number);
      index.push_back(1);
    }
  }
  return index;
}

std::string Packed_Invoice(const Packed_Layout& layout, const std::string& attachment = "ZUGFeRD-invoice.xml") {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  std::set<uint32_t> packed_numbers;
  for (const auto& group : layout.groups) packed_numbers.insert(group.begin(), group.end());
  for (uint32_t number : {1u, 2u, 5u, 6u}) {
    if (packed_numbers.count(number) == 0) Pdf_Builder_Object(&b, number, Invoice_Object(number, attachment));
  }
  const std::string xml = Invoice_Sample_Xml();
  Pdf_Builder_Stream(&b, 3, "/Type /Metadata /Subtype /XML", Invoice_Xmp_Packet(Invoice_Options()));
  Pdf_Builder_Stream(&b, 4, "/Type /EmbeddedFile /Subtype /text#2Fxml", xml);
  Pdf_Packed_Objects packed;
  uint32_t container = 7;
  for (const auto& group : layout.groups) {
    Pdf_Object_List objects;
    for (uint32_t number : group) objects.push_back({number, Invoice_Object(number, attachment)});
    Pdf_Builder_Object_Stream(&b, &packed, container++, objects, layout.flate);
  }
  const uint32_t xref = container;
  const uint32_t size = xref + 1;
  const std::string id = " /ID [<0123456789ABCDEF> <0123456789ABCDEF>]";
  Pdf_Xref_Stream_Options options;
  options.widths = layout.widths;
  options.flate = layout.flate;
  options.png_up = layout.png_up;
  if (!layout.hybrid) {
    if (layout.with_index) options.index = {0, 3, 3, size - 3};
    options.extra_entries = "/Root 1 0 R" + id;
    Pdf_Builder_Xref_Stream(&b, xref, Pdf_Xref_Stream_Rows(b, packed, size), size, options);
    return b.bytes;
  }
  // The packed rows go into a stream of their own, the rest into a classic table.
  std::vector<Pdf_Xref_Stream_Row> all = Pdf_Xref_Stream_Rows(b, packed, size);
  std::vector<Pdf_Xref_Stream_Row> rows;
  for (uint32_t number : packed_numbers) rows.push_back(all[number]);
  options.index = Runs(packed_numbers);
  std::string data = Pdf_Xref_Stream_Pack(rows, options.widths);
  std::string entries = "/Type /XRef /Size " + std::to_string(size) + " /W [1 2 1] /Index [";
  for (size_t i = 0; i < options.index.size(); ++i) entries += (i == 0 ? "" : " ") + std::to_string(options.index[i]);
  entries += "]";
  uint64_t stream_offset = Pdf_Builder_Stream(&b, xref, entries, data);
  std::set<uint32_t> plain = {0};
  for (const auto& object : b.offsets) {
    if (object.first != xref) plain.insert(object.first);
  }
  std::vector<Pdf_Xref_Subsection> subsections;
  std::vector<uint32_t> runs = Runs(plain);
  for (size_t i = 0; i < runs.size(); i += 2) {
    Pdf_Xref_Subsection subsection{runs[i], {}};
    for (uint32_t number = runs[i]; number < runs[i] + runs[i + 1]; ++number) {
      subsection.lines.push_back(number == 0 ? Pdf_Xref_Line{0, 65535, 'f'} : Pdf_Xref_Line{b.offsets.at(number), 0, 'n'});
    }
    subsections.push_back(subsection);
  }
  uint64_t table = Pdf_Builder_Xref(&b, subsections);
  Pdf_Builder_Trailer(&b, "/Size " + std::to_string(size) + " /Root 1 0 R /XRefStm " + std::to_string(stream_offset) + id,
                      table);
  return b.bytes;
}

// Both exported calls on the bytes, with the extracted XML.
void Expect_Invoice(const std::string& name, const std::string& bytes, int32_t expected) {
  const std::string pdf = Test_Temp_Path("packed.pdf");
  const std::string xml = Test_Temp_Path("packed.xml");
  ASSERT_TRUE(Test_Write_File(pdf, bytes));
  remove(xml.c_str());
  EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), expected) << name;
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), expected) << name;
  std::string written;
  if (expected == 0) {
    EXPECT_TRUE(Test_Read_File(xml, &written)) << name;
    EXPECT_EQ(written, Invoice_Sample_Xml()) << name;
  }
  remove(xml.c_str());
  remove(pdf.c_str());
}

TEST(Stream_Invoice, InvoicesWithObjectStreamsAreRecognisedAndExtracted) {
  const std::vector<std::vector<uint32_t>> together = {{1, 2, 5, 6}};
  const Packed_Layout layouts[] = {
      {"widths 1 2 1", {1, 2, 1}, false, false, false, together, false},
      {"widths 1 4 2, Index, Flate", {1, 4, 2}, true, true, false, together, false},
      {"widths 2 3 2, PNG rows", {2, 3, 2}, false, true, true, together, false},
      {"widths 1 2 1, Index, PNG rows", {1, 2, 1}, true, true, true, together, false},
      {"catalog alone, file specification alone", {1, 3, 1}, true, true, false, {{1}, {5}, {2, 6}}, false},
      {"file specification first in its stream", {1, 2, 1}, false, true, false, {{5, 6, 2}, {1}}, false},
      {"only the metadata's neighbour", {1, 2, 1}, false, false, false, {{2}}, false},
      {"hybrid", {1, 2, 1}, false, false, false, together, true},
      {"hybrid, Flate object streams", {1, 2, 1}, false, true, false, {{1, 2}, {5, 6}}, true},
  };
  for (const Packed_Layout& layout : layouts) {
    const std::string bytes = Packed_Invoice(layout);
    Expect_Invoice(layout.name, bytes, 0);
    Expect_Invoice(layout.name + ", other attachment", Packed_Invoice(layout, "other.xml"), -3);
    for (int8_t level = 0; level <= 4; ++level) {
      Opened_Document opened(bytes, level);
      ASSERT_EQ(opened.result, 0) << layout.name << " at level " << int(level);
      EXPECT_EQ(opened.body()->xref_stream_read, 1);
      for (uint32_t number = 1; number <= 6; ++number) {
        EXPECT_NE(opened.object(number), nullptr) << layout.name << ": object " << number;
      }
      EXPECT_EQ(PDF_Object_Get_Type(opened.object(1)), PDF_Object_Type_Catalog) << layout.name;
      EXPECT_EQ(PDF_Object_Get_Type(opened.object(5)), PDF_Object_Type_Filespec) << layout.name;
      EXPECT_EQ(PDF_Object_Get_Type(opened.object(3)), PDF_Object_Type_Metadata) << layout.name;
    }
  }
}

TEST(Stream_Invoice, NewestStreamWinsOverItsPrev) {
  // The first revision names another attachment; an update redefines the
  // file specification as a plain object with the right name.
  Packed_Layout layout = {"base", {1, 2, 1}, false, true, false, {{1, 2, 5, 6}}, false};
  std::string bytes = Packed_Invoice(layout, "other.xml");
  const uint64_t first_xref = std::stoull(bytes.substr(bytes.rfind("startxref\n") + 10));
  Pdf_Builder b;
  b.bytes = bytes;
  Pdf_Builder_Object(&b, 5, Invoice_Object(5, "ZUGFeRD-invoice.xml"));
  Pdf_Xref_Stream_Options options;
  options.widths = {1, 4, 1};
  options.index = {5, 1, 9, 1};
  options.extra_entries = "/Root 1 0 R /Prev " + std::to_string(first_xref);
  Pdf_Builder_Xref_Stream(&b, 9, {{1, b.offsets.at(5), 0}, {0, 0, 0}}, 10, options);
  Expect_Invoice("updated", b.bytes, 0);
  Expect_Invoice("first revision", bytes, -3);
  Opened_Document opened(b.bytes, 0);
  ASSERT_EQ(opened.result, 0);
  EXPECT_EQ(opened.entry(5)->type, 'n');
  EXPECT_EQ(opened.entry(1)->type, 'c');
  EXPECT_FALSE(PDF_Dictionary_Has_Key(PDF_Trailer_Get_Dictionary(opened.body()->trailer), "Prev"));
}

TEST(Stream_Invoice, XRefTypeDecidesTheOpenAtLevelZero) {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  Pdf_Builder_Object(&b, 1, "<< /Type /Catalog >>");
  Pdf_Xref_Stream_Options options;
  options.type_entry = "";
  options.extra_entries = "/Root 1 0 R";
  Pdf_Builder_Xref_Stream(&b, 2, Pdf_Xref_Stream_Rows(b, {}, 3), 3, options);
  // The same stream as an older section behind a newer, well-typed one.
  Pdf_Builder update = b;
  const uint64_t first_xref = std::stoull(b.bytes.substr(b.bytes.rfind("startxref\n") + 10));
  Pdf_Builder_Object(&update, 3, "(new)");
  Pdf_Xref_Stream_Options newer;
  newer.index = {3, 2};
  newer.extra_entries = "/Root 1 0 R /Prev " + std::to_string(first_xref);
  Pdf_Builder_Xref_Stream(&update, 4, {{1, update.offsets.at(3), 0}, {0, 0, 0}}, 5, newer);
  for (int8_t level = 0; level <= 4; ++level) {
    Opened_Document newest(b.bytes, level);
    EXPECT_EQ(newest.result, level == 0 ? -71 : 0) << int(level);
    Opened_Document older(update.bytes, level);
    EXPECT_EQ(older.result, level == 0 ? -100 : 0) << int(level);
    if (older.result == 0) {
      EXPECT_NE(older.object(1), nullptr);
      EXPECT_NE(older.object(3), nullptr);
    }
  }
}

}  // namespace
