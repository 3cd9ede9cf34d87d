#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/pdf_data_object.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_xref_stream.h"
#include "reader/pdf_xref_table.h"
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

Row N(uint32_t number, uint64_t generation = 0) { return Row{1, Base().offsets.at(number), generation}; }
Row F(uint64_t generation) { return Row{0, 0, generation}; }
Row C(uint64_t container, uint64_t index) { return Row{2, container, index}; }

// Sections and entries of a table: "first+count: entries | ...", where an
// in-use entry shows the number of the header it read (and a non-zero
// generation after a slash), a free one its generation, and a compressed one
// container.index. Broken links show as "!".
std::string Describe(const PDF_Xref_Table* table) {
  std::string text;
  for (const PDF_Xref_Section* section = table->first_section; section != nullptr; section = section->next) {
    int64_t count = PDF_Number_Get_Long(section->count), linked = 0;
    text += (text.empty() ? "" : " | ") + std::to_string(PDF_Number_Get_Long(section->first_number)) + "+" +
            std::to_string(count) + ":";
    const PDF_Xref_Entry* previous = nullptr;
    for (const PDF_Xref_Entry* entry = section->head; entry != nullptr; previous = entry, entry = entry->next) {
      linked += 1;
      text += entry->previous != previous ? "! " : " ";
      if (entry->type == 'n') {
        // A deferred object is made here, from its header.
        PDF_Object* object =
            PDF_Xref_Entry_Get_Object(const_cast<PDF_Xref_Table*>(table), const_cast<PDF_Xref_Entry*>(entry));
        text += "n" + std::to_string(PDF_Object_Get_Number(object));
        if (entry->generation != 0) text += "/" + std::to_string(entry->generation);
      } else if (entry->type == 'f') {
        text += "f" + std::to_string(entry->generation) + (entry->object != nullptr || entry->offset != 0 ? "!" : "");
      } else if (entry->type == 'c') {
        // The object is made on first load, of the entry's number.
        text += "c" + std::to_string(entry->container) + "." + std::to_string(entry->offset);
        if (entry->object != nullptr || entry->number != PDF_Number_Get_Long(section->first_number) + linked - 1) {
          text += "!";
        }
      } else {
        text += "?";
      }
    }
    if (linked != count || section->tail != previous) text += " !";
  }
  return text;
}

class Xref_Stream : public Objects_Fixture {
 public:
  // Reads "<<entries /Length n>> stream ... endstream", placed behind the
  // base objects, into a new table and describes the table.
  std::string Read(const std::string& entries, const std::string& data, int8_t level, PDF_Result* result) {
    file->tolerance_level = level;
    PDF_Xref_Table* table = nullptr;
    EXPECT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
    std::string bytes = Base().bytes;
    uint64_t position = bytes.size();
    bytes += "<<" + entries + " /Length " + std::to_string(data.size()) + ">>\nstream\n" + data + "\nendstream\n";
    PDF_Read_Data* reader = Input(bytes);
    PDF_Data_Object* variant = nullptr;
    EXPECT_NE(PDF_Data_Object_Read(&variant, file, reader, position), 0u);
    PDF_Stream* stream = static_cast<PDF_Stream*>(PDF_Data_Object_Get_Direct_Value(variant, PDF_Data_Type_Stream));
    EXPECT_NE(stream, nullptr);
    *result = PDF_Xref_Table_Read_Stream(table, stream, file, reader);
    std::string text = Describe(table);
    EXPECT_EQ(PDF_Xref_Table_Delete(&table, file), 0);
    Delete(&variant);
    return text;
  }
};

struct Read_Case {
  std::string entries;  // besides Type and Length
  std::vector<Row> rows;
  PDF_Result result;
  std::string table;
  std::vector<uint32_t> widths = {1, 2, 1};  // of the packed rows
  int coding = 0;                            // 1: Flate, 2: PNG rows and Flate
};

TEST_F(Xref_Stream, RowsBecomeSectionsOfTheTable) {
  const std::string x = "/Type /XRef ";
  const std::vector<Row> six = {F(255), N(1), C(40000, 2), N(2), N(3), N(6)};
  const std::vector<Row> n1_6 = {N(1), N(2), N(3), N(4), N(5), N(6)};
  const std::vector<Row> unreadable = {F(255), N(1), N(2), Row{1, 1, 0}, N(3)};  // 1 1 0: no object header there
  const std::string png = "/Filter /FlateDecode /DecodeParms << /Predictor 12 /Columns 8 >>";
  const Read_Case cases[] = {
      {x + "/Size 5 /W [1 2 1]", {F(255), N(1), N(2), C(9, 0), N(3, 4)}, 0, "0+5: f255 n1 n2 c9.0 n3/4"},
      {x + "/Size 3 /W [0 2 0]", {N(1), N(2), N(3)}, 0, "0+3: n1 n2 n3", {0, 2, 0}},
      // A wide type field: only its last byte counts.
      {x + "/Size 2 /W [2 2 1]", {Row{0x0301, Base().offsets.at(4), 0}, Row{0x0100, 0, 7}}, 0, "0+2: n4 f7", {2, 2, 1}},
      // An unknown type is stored free; generations are cut to 16 bits.
      {x + "/Size 3 /W [1 2 3]", {Row{7, 12, 0x010009}, N(1, 0x010005), F(0x020003)}, 0, "0+3: f9 n1/5 f3", {1, 2, 3}},
      {x + "/Size 6 /W [2 4 2] " + png, six, 0, "0+6: f255 n1 c40000.2 n2 n3 n6", {2, 4, 2}, 2},
      // A single row is never read.
      {x + "/Size 1 /W [1 2 1]", {N(1)}, 0, ""},
      {x + "/Size 20 /W [1 2 1] /Index [3 2 10 2 12 1]", n1_6, 0, "3+2: n1 n2 | 10+2: n3 n4 | 12+1: n5"},
      // Rows behind the last pair continue the numbers; a lone number starts the rest.
      {x + "/Size 20 /W [1 2 1] /Index [3 2]", {N(1), N(2), N(3), N(4), N(5)}, 0, "3+2: n1 n2 | 5+3: n3 n4 n5"},
      {x + "/Size 20 /W [1 2 1] /Index [2]", {N(1), N(2), N(3)}, 0, "2+3: n1 n2 n3"},
      {x + "/Size 2 /W [1 2 1]", {F(255), N(1), N(2), N(3)}, 0, "0+2: f255 n1"},
      // No pass starts at Size; one that starts below keeps its own count;
      // count 0 takes the rest of the rows, up to Size.
      {x + "/Size 2 /W [1 2 1] /Index [0 1 5 2]", {F(255), N(1), N(2), N(3)}, 0, "0+1: f255 | 5+2: n1 n2"},
      {x + "/Size 6 /W [1 2 1] /Index [4 0]", {N(1), N(2), N(3)}, 0, "4+2: n1 n2"},
      // A number met again keeps its first row; sections are kept in order of number.
      {x + "/Size 9 /W [1 2 1] /Index [0 2 1 2]", {N(1), N(2), N(3), N(4)}, 0, "0+2: n1 n2 | 2+1: n4"},
      {x + "/Size 20 /W [1 2 1] /Index [8 2 1 2]", {N(1), N(2), N(3), N(4), N(5)}, 0, "1+2: n3 n4 | 8+2: n1 n2"},
      {x + "/Size 9 /W [1 2 1] /Index [0 2 4 2]", unreadable, PDF_RESULT_OBJECT_UNREADABLE, "0+2: f255 n1"},
      {x + "/W [1 2 1]", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, ""},
      {x + "/Size 2 /W [1 2]", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, ""},
      {x + "/Size 2 /W [-1 3 2]", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, ""},
      {x + "/Size 3 /W [1 2 1] /Filter /DCTDecode", {N(1), N(2), N(3)}, PDF_RESULT_UNSUPPORTED_FILTER, ""},
      // A name in W or Index gives the element's code; Index that is not an array counts as absent.
      {x + "/Size 2 /W [1 /Two 1]", {N(1), N(2)}, PDF_RESULT_INVALID_ARGUMENT, ""},
      {x + "/Size 9 /W [1 2 1] /Index 5", {N(1), N(2), N(3)}, 0, "0+3: n1 n2 n3"},
      // Without the type the stream is refused at level 0 only.
      {"/Size 2 /W [1 2 1]", {N(1), N(2)}, 0, "0+2: n1 n2"},
      {"/Type /xref /Size 2 /W [1 2 1]", {N(1), N(2)}, 0, "0+2: n1 n2"},
  };
  // With the type in place nothing here depends on the level: a bad W or
  // Size and an unreadable in-use row are never forgiven.
  for (const Read_Case& c : cases) {
    std::string data = Pdf_Xref_Stream_Pack(c.rows, c.widths);
    if (c.coding == 2) data = Pdf_Png_Up_Rows(data, c.widths[0] + c.widths[1] + c.widths[2]);
    if (c.coding != 0) data = Pdf_Flate(data);
    for (int8_t level = 0; level <= 4; ++level) {
      const bool refused = level == 0 && c.entries.compare(0, x.size(), x) != 0;
      PDF_Result result = 1;
      EXPECT_EQ(Read(c.entries, data, level, &result), refused ? "" : c.table)
          << c.entries << " at level " << int(level);
      EXPECT_EQ(result, refused ? PDF_RESULT_MALFORMED_XREF : c.result) << c.entries << " at level " << int(level);
    }
  }
}

}  // namespace
