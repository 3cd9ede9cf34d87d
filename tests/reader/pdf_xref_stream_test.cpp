#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <vector>

#include "invoice_extract.h"

#include "objects/pdf_array.h"
#include "objects/pdf_data_object.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_stream.h"
#include "reader/pdf_trailer.h"
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
        text += "n" + std::to_string(PDF_Object_Get_Number(entry->object));
        if (entry->generation != 0) text += "/" + std::to_string(entry->generation);
      } else if (entry->type == 'f') {
        text += "f" + std::to_string(entry->generation) + (entry->object != nullptr || entry->offset != 0 ? "!" : "");
      } else if (entry->type == 'c') {
        text += "c" + std::to_string(entry->container) + "." + std::to_string(entry->offset);
        if (entry->object == nullptr || entry->object->value != nullptr || PDF_Object_Is_From_File(entry->object)) {
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
  const Read_Case cases[] = {
      {x + "/Size 5 /W [1 2 1]", {F(255), N(1), N(2), C(9, 0), N(3, 4)}, 0, "0+5: f255 n1 n2 c9.0 n3/4"},
      {x + "/Size 3 /W [0 2 0]", {N(1), N(2), N(3)}, 0, "0+3: n1 n2 n3", {0, 2, 0}},
      // A wide type field: only its last byte counts.
      {x + "/Size 3 /W [2 2 1]",
       {Row{0x0301, Base().offsets.at(4), 0}, Row{0x0100, 0, 7}, Row{0x0002, 9, 4}},
       0,
       "0+3: n4 f7 c9.4",
       {2, 2, 1}},
      // An unknown type is stored free; generations are cut to 16 bits.
      {x + "/Size 2 /W [1 2 2]", {Row{7, 1234, 9}, N(1)}, 0, "0+2: f9 n1", {1, 2, 2}},
      {x + "/Size 2 /W [1 2 3]", {N(1, 0x010005), F(0x020003)}, 0, "0+2: n1/5 f3", {1, 2, 3}},
      {x + "/Size 6 /W [1 3 2] /Filter /FlateDecode", six, 0, "0+6: f255 n1 c40000.2 n2 n3 n6", {1, 3, 2}, 1},
      {x + "/Size 6 /W [2 4 2] /Filter /FlateDecode /DecodeParms << /Predictor 12 /Columns 8 >>",
       six,
       0,
       "0+6: f255 n1 c40000.2 n2 n3 n6",
       {2, 4, 2},
       2},
      // A single row is never read.
      {x + "/Size 1 /W [1 2 1]", {N(1)}, 0, ""},
      {x + "/Size 3 /W [1 2 1]", {}, 0, ""},
      {x + "/Size 20 /W [1 2 1] /Index [3 2 10 2 12 1]",
       {N(1), N(2), N(3), N(4), N(5), N(6)},
       0,
       "3+2: n1 n2 | 10+2: n3 n4 | 12+1: n5"},
      // Rows behind the last pair continue the numbers; a lone number starts the rest.
      {x + "/Size 20 /W [1 2 1] /Index [3 2]", {N(1), N(2), N(3), N(4), N(5)}, 0, "3+2: n1 n2 | 5+3: n3 n4 n5"},
      {x + "/Size 20 /W [1 2 1] /Index [2]", {N(1), N(2), N(3)}, 0, "2+3: n1 n2 n3"},
      {x + "/Size 10 /W [1 2 1]", {F(255), N(1), N(2)}, 0, "0+3: f255 n1 n2"},
      {x + "/Size 2 /W [1 2 1]", {F(255), N(1), N(2), N(3)}, 0, "0+2: f255 n1"},
      // No pass starts at Size; one that starts below keeps its own count.
      {x + "/Size 2 /W [1 2 1] /Index [0 2 5 2]", {F(255), N(1), N(2), N(3)}, 0, "0+2: f255 n1"},
      {x + "/Size 2 /W [1 2 1] /Index [0 1 5 2]", {F(255), N(1), N(2), N(3)}, 0, "0+1: f255 | 5+2: n1 n2"},
      // Count 0 takes the rest of the rows, up to Size.
      {x + "/Size 10 /W [1 2 1] /Index [4 0]", {N(1), N(2), N(3)}, 0, "4+3: n1 n2 n3"},
      {x + "/Size 6 /W [1 2 1] /Index [4 0]", {N(1), N(2), N(3)}, 0, "4+2: n1 n2"},
      // A number met again keeps its first row; sections are kept in order of number.
      {x + "/Size 9 /W [1 2 1] /Index [0 2 1 2]", {N(1), N(2), N(3), N(4)}, 0, "0+2: n1 n2 | 2+1: n4"},
      {x + "/Size 20 /W [1 2 1] /Index [8 2 1 2]", {N(1), N(2), N(3), N(4), N(5)}, 0, "1+2: n3 n4 | 8+2: n1 n2"},
      // In-use rows without an object header there.
      {x + "/Size 9 /W [1 2 1] /Index [0 2 4 2]",
       {F(255), N(1), N(2), Row{1, 1, 0}, N(3)},
       PDF_RESULT_OBJECT_UNREADABLE,
       "0+2: f255 n1"},
      {x + "/Size 9 /W [1 4 1]", {F(255), N(1), Row{1, 999999, 0}, N(2)}, PDF_RESULT_OBJECT_UNREADABLE, "", {1, 4, 1}},
      {x + "/W [1 2 1]", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, ""},
      {x + "/Size 2", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, ""},
      {x + "/Size 2 /W [1 2]", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, ""},
      {x + "/Size 2 /W [-1 3 2]", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, ""},
      {x + "/Size 2 /W [1 0 3]", {N(1), N(2)}, PDF_RESULT_MALFORMED_XREF, "", {1, 0, 3}},
      {x + "/Size 3 /W [1 2 1] /Filter /DCTDecode", {N(1), N(2), N(3)}, PDF_RESULT_UNSUPPORTED_FILTER, ""},
      // A name in W or Index gives the element's code; Index that is not an array counts as absent.
      {x + "/Size 2 /W [1 /Two 1]", {N(1), N(2)}, PDF_RESULT_INVALID_ARGUMENT, ""},
      {x + "/Size 9 /W [1 2 1] /Index [/Zero 2]", {N(1), N(2), N(3)}, PDF_RESULT_INVALID_ARGUMENT, ""},
      {x + "/Size 9 /W [1 2 1] /Index 5", {N(1), N(2), N(3)}, 0, "0+3: n1 n2 n3"},
      // Without the type the stream is refused at level 0 only.
      {"/Size 2 /W [1 2 1]", {N(1), N(2)}, 0, "0+2: n1 n2"},
      {"/Type /ObjStm /Size 2 /W [1 2 1]", {N(1), N(2)}, 0, "0+2: n1 n2"},
      {"/Type (XRef) /Size 2 /W [1 2 1]", {N(1), N(2)}, 0, "0+2: n1 n2"},
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

TEST_F(Xref_Stream, EarlierDefinitionsInTheTableWin) {
  // Numbers 2 and 3 are known already, one of them free.
  PDF_Xref_Table* table = nullptr;
  ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, nullptr, 2, 0, 1, 'f'), 0);
  PDF_Object* known = nullptr;
  ASSERT_EQ(PDF_Object_Create(&known, file, nullptr, 3, 0, 0), 0);
  ASSERT_EQ(PDF_Xref_Table_Add_Entry(table, file, known, 3, 0, 0, 'n'), 0);
  PDF_Stream* stream = Parse_Stream("/Type /XRef /Size 6 /W [1 2 1]",
                                    Pdf_Xref_Stream_Pack({F(255), N(1), N(2), N(4), N(5), N(6)}, {1, 2, 1}));
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(table, stream, file, reader), 0);
  EXPECT_EQ(Describe(table), "0+2: f255 n1 | 2+2: f1 n3 | 4+2: n5 n6");
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 2, 0), nullptr) << "the older free entry hides row 2";
  EXPECT_EQ(PDF_Xref_Table_Get_Object(table, 3, 0), known);
  // Null arguments.
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(nullptr, stream, file, reader), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(table, nullptr, file, reader), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Xref_Table_Read_Stream(table, stream, nullptr, reader), PDF_RESULT_INVALID_ARGUMENT);
  PDF_Trailer* trailer = reinterpret_cast<PDF_Trailer*>(this);
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(nullptr, file, stream), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, nullptr, stream), PDF_RESULT_INVALID_ARGUMENT);
  EXPECT_EQ(trailer, nullptr);
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, nullptr), PDF_RESULT_INVALID_ARGUMENT);
  Drop();
  EXPECT_EQ(PDF_Xref_Table_Delete(&table, file), 0);
}

TEST_F(Xref_Stream, TrailerTakesSixKeysInOrderAndNeedsSize) {
  // Without Size nothing survives, whatever else was there.
  PDF_Trailer* trailer = reinterpret_cast<PDF_Trailer*>(this);
  PDF_Stream* stream = Parse_Stream("/Type /XRef /W [1 2 1] /Root 1 0 R /Prev 10 /ID [<01> <02>]", "");
  EXPECT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, stream), PDF_RESULT_MISSING_ROOT_OR_SIZE);
  EXPECT_EQ(trailer, nullptr);
  Drop();
  ASSERT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, Parse_Stream("/Type /XRef /W [1 2 1] /Size 3", "")), 0);
  EXPECT_EQ(Keys(PDF_Trailer_Get_Dictionary(trailer)), "Size");
  EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), 0);
  Drop();
  stream = Parse_Stream(
      "/ID [<01> <02>] /Info 7 0 R /Type /XRef /Filter /FlateDecode /Encrypt 8 0 R /Root 1 0 R /Prev 4711 "
      "/Index [0 9] /Size 9 /W [1 2 1] /Extra true",
      "");
  ASSERT_EQ(PDF_Trailer_Create_From_Xref_Stream(&trailer, file, stream), 0);
  PDF_Dictionary* dictionary = PDF_Trailer_Get_Dictionary(trailer);
  EXPECT_EQ(Keys(dictionary), "Size Prev Root Encrypt Info ID");
  EXPECT_EQ(PDF_Trailer_Get_Prev(trailer), 4711u);
  // References are copied as they stand (not bound), and the copies are the trailer's own.
  PDF_Object_Reference* root = static_cast<PDF_Object_Reference*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "Root"), PDF_Data_Type_Reference));
  ASSERT_NE(root, nullptr);
  EXPECT_TRUE(root->target == nullptr && root->number == 1u);
  PDF_Array* id = static_cast<PDF_Array*>(
      PDF_Data_Object_Get_Direct_Value(PDF_Dictionary_Find_Value(dictionary, "ID"), PDF_Data_Type_Array));
  EXPECT_NE(PDF_Dictionary_Find_Value(dictionary, "ID"), PDF_Stream_Find_Value(stream, "ID"));
  Drop();
  EXPECT_EQ(PDF_Array_Get_Count(id), 2u);
  EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), 0);
}

TEST_F(Xref_Stream, ExhaustedMemoryLeavesNothingBehind) {
  const std::string entries =
      "/Type /XRef /Size 9 /W [1 2 1] /Index [0 3 5 3] /Filter /FlateDecode /Prev 7 "
      "/Root 1 0 R /Encrypt << /V 1 >> /Info 3 0 R /ID [<01> <02>]";
  const std::string data =
      Pdf_Flate(Pdf_Xref_Stream_Pack({F(255), N(1), C(8, 0), N(2), F(1), C(8, 1), N(3)}, {1, 2, 1}));
  bool reached = true;
  // The nth request fails in the reading of the rows or, past them, in the trailer.
  for (uint64_t n = 1; reached && n < 800; ++n) {
    std::set<void*> before = Snapshot();
    PDF_Xref_Table* table = nullptr;
    ASSERT_EQ(PDF_Xref_Table_Create(&table, file, false), 0);
    PDF_Stream* stream = Parse_Stream(entries, data);
    PDF_Trailer* trailer = nullptr;
    Fail_Request(n);
    PDF_Result read = PDF_Xref_Table_Read_Stream(table, stream, file, reader);
    PDF_Result made = PDF_Trailer_Create_From_Xref_Stream(&trailer, file, stream);
    reached = Failure_Reached();
    Stop_Failing();
    if (read == 0) {
      EXPECT_EQ(Describe(table), "0+3: f255 n1 c8.0 | 5+3: n2 f1 c8.1") << "request " << n;
    } else {
      EXPECT_TRUE(reached && (read == PDF_RESULT_OUT_OF_MEMORY || read == PDF_RESULT_OBJECT_UNREADABLE))
          << "request " << n << " gave " << read;
    }
    if (made == 0) {
      EXPECT_EQ(Keys(PDF_Trailer_Get_Dictionary(trailer)), "Size Prev Root Encrypt Info ID");
      EXPECT_EQ(PDF_Trailer_Delete(&trailer, file), 0);
    } else {
      EXPECT_TRUE(reached && made == PDF_RESULT_OUT_OF_MEMORY && trailer == nullptr)
          << "request " << n << " gave " << made;
    }
    Drop();
    EXPECT_EQ(PDF_Xref_Table_Delete(&table, file), 0);
    EXPECT_EQ(Snapshot(), before) << "request " << n;
  }
  EXPECT_FALSE(reached) << "the loop never got past the last request";
}

std::string Invoice_Object(uint32_t number, const std::string& attachment) {
  if (number == 1) {
    return "<< /Type /Catalog /Pages 2 0 R /Metadata 3 0 R /Names << /EmbeddedFiles << /Names [(" + attachment +
           ") 5 0 R] >> >> /AF [5 0 R] >>";
  }
  if (number == 2) return "<< /Type /Pages /Kids [6 0 R] /Count 1 >>";
  if (number == 5) {
    return "<< /Type /Filespec /F (" + attachment + ") /UF (" + attachment +
           ") /EF << /F 4 0 R >> /AFRelationship /Alternative >>";
  }
  return "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] >>";
}

// Appends an update: the object as a plain one, and a stream section (number
// xref) over it and itself whose Prev is the newest section so far.
void Append_Update(Pdf_Builder* b, uint32_t number, const std::string& body, uint32_t xref) {
  const std::string prev = b->bytes.substr(b->bytes.rfind("startxref\n") + 10);
  Pdf_Builder_Object(b, number, body);
  Pdf_Xref_Stream_Options options;
  options.widths = {1, 4, 1};
  options.index = {number, 1, xref, 1};
  options.extra_entries = "/Root 1 0 R /Prev " + std::to_string(std::stoull(prev));
  Pdf_Builder_Xref_Stream(b, xref, {{1, b->offsets.at(number), 0}, {0, 0, 0}}, xref + 1, options);
}

// An invoice whose catalog, page tree, page and file specification lie in
// the given groups of Flate object streams (the metadata and the invoice stay
// plain streams). A hybrid file has a classic table, one subsection per plain
// object, and the packed rows in a stream behind XRefStm.
std::string Packed_Invoice(const std::vector<std::vector<uint32_t>>& groups, bool hybrid,
                           const std::string& attachment = "ZUGFeRD-invoice.xml") {
  Pdf_Builder b;
  Pdf_Builder_Header(&b);
  std::set<uint32_t> packed_numbers;
  for (const auto& group : groups) packed_numbers.insert(group.begin(), group.end());
  for (uint32_t number : {1u, 2u, 5u, 6u}) {
    if (packed_numbers.count(number) == 0) Pdf_Builder_Object(&b, number, Invoice_Object(number, attachment));
  }
  Pdf_Builder_Stream(&b, 3, "/Type /Metadata /Subtype /XML", Invoice_Xmp_Packet(Invoice_Options()));
  Pdf_Builder_Stream(&b, 4, "/Type /EmbeddedFile /Subtype /text#2Fxml", Invoice_Sample_Xml());
  Pdf_Packed_Objects packed;
  uint32_t xref = 7;
  for (const auto& group : groups) {
    Pdf_Object_List objects;
    for (uint32_t number : group) objects.push_back({number, Invoice_Object(number, attachment)});
    Pdf_Builder_Object_Stream(&b, &packed, xref++, objects);
  }
  const std::string size = std::to_string(xref + 1);
  const std::string trailer = " /Root 1 0 R /ID [<0123456789ABCDEF> <0123456789ABCDEF>]";
  std::vector<Row> rows = Pdf_Xref_Stream_Rows(b, packed, xref + 1), packed_rows;
  if (!hybrid) {
    Pdf_Xref_Stream_Options options;
    options.flate = true;
    options.extra_entries = trailer;
    Pdf_Builder_Xref_Stream(&b, xref, rows, xref + 1, options);
    return b.bytes;
  }
  // Index pairs over runs of numbers (a one-row pass at the very end would not be read).
  std::vector<uint32_t> pairs;
  std::string index;
  for (uint32_t number : packed_numbers) {
    packed_rows.push_back(rows[number]);
    if (!pairs.empty() && pairs[pairs.size() - 2] + pairs.back() == number) {
      pairs.back() += 1;
    } else {
      pairs.insert(pairs.end(), {number, 1});
    }
  }
  for (uint32_t value : pairs) index += std::to_string(value) + " ";
  uint64_t stream = Pdf_Builder_Stream(&b, xref, "/Type /XRef /Size " + size + " /W [1 2 1] /Index [" + index + "]",
                                       Pdf_Xref_Stream_Pack(packed_rows, {1, 2, 1}));
  std::vector<Pdf_Xref_Subsection> subsections = {{0, {{0, 65535, 'f'}}}};
  for (const auto& object : b.offsets) subsections.push_back({object.first, {{object.second, 0, 'n'}}});
  uint64_t table = Pdf_Builder_Xref(&b, subsections);
  Pdf_Builder_Trailer(&b, "/Size " + size + " /XRefStm " + std::to_string(stream) + trailer, table);
  return b.bytes;
}

// Both exported calls on the bytes, with the extracted XML.
void Expect_Invoice(const std::string& name, const std::string& bytes, int32_t expected) {
  const std::string pdf = Test_Temp_Path("packed.pdf"), xml = Test_Temp_Path("packed.xml");
  ASSERT_TRUE(Test_Write_File(pdf, bytes));
  remove(xml.c_str());
  EXPECT_EQ(ZUGF_Check_Zugferd(pdf.c_str()), expected) << name;
  EXPECT_EQ(ZUGF_Extract_Zugferd(pdf.c_str(), xml.c_str()), expected) << name;
  std::string written;
  EXPECT_EQ(Test_Read_File(xml, &written) ? written : "none", expected == 0 ? Invoice_Sample_Xml() : "none") << name;
  remove(xml.c_str());
  remove(pdf.c_str());
}

TEST(Stream_Invoice, InvoicesWithObjectStreamsAreRecognisedAndExtracted) {
  // Together, the catalog and the file specification alone or first in their
  // streams, and a hybrid file.
  const std::vector<std::vector<std::vector<uint32_t>>> layouts = {
      {{1, 2, 5, 6}}, {{1}, {5}, {2, 6}}, {{5, 6, 2}, {1}}, {{1, 2}, {5, 6}}};
  for (size_t i = 0; i < layouts.size(); ++i) {
    const std::string bytes = Packed_Invoice(layouts[i], i == 3), name = "layout " + std::to_string(i);
    Expect_Invoice(name, bytes, 0);
    Opened_Document opened(bytes, 0);
    ASSERT_EQ(opened.result, 0) << name;
    EXPECT_EQ(opened.body()->xref_stream_read, 1);
    for (uint32_t number = 1; number <= 6; ++number) {
      EXPECT_NE(opened.object(number), nullptr) << name << ": object " << number;
    }
  }
}

TEST(Stream_Invoice, NewestStreamWinsOverItsPrev) {
  // The first revision names another attachment; an update redefines the
  // file specification as a plain object with the right name.
  Pdf_Builder b;
  b.bytes = Packed_Invoice({{1, 2, 5, 6}}, false, "other.xml");
  const std::string first = b.bytes;
  Append_Update(&b, 5, Invoice_Object(5, "ZUGFeRD-invoice.xml"), 9);
  Expect_Invoice("updated", b.bytes, 0);
  Expect_Invoice("first revision", first, -3);
  Opened_Document opened(b.bytes, 0);
  ASSERT_EQ(opened.result, 0);
  EXPECT_TRUE(opened.entry(5)->type == 'n' && opened.entry(1)->type == 'c');
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
  Append_Update(&update, 3, "(new)", 4);
  for (int8_t level = 0; level <= 4; ++level) {
    Opened_Document newest(b.bytes, level), older(update.bytes, level);
    EXPECT_EQ(newest.result, level == 0 ? PDF_RESULT_MALFORMED_XREF : PDF_RESULT_OK) << int(level);
    EXPECT_EQ(older.result, level == 0 ? PDF_RESULT_BAD_TRAILER : PDF_RESULT_OK) << int(level);
    EXPECT_TRUE(older.result != 0 || (older.object(1) != nullptr && older.object(3) != nullptr)) << int(level);
  }
}

}  // namespace
