// Builds PDF files byte by byte for tests, keeping the exact offset of every
// object so that cross-reference tables can be written (or deliberately
// damaged) by the test.
#ifndef INVOICE_EXTRACT_PDF_BUILDER_H
#define INVOICE_EXTRACT_PDF_BUILDER_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct Pdf_Builder {
  std::string bytes;
  std::map<uint32_t, uint64_t> offsets;      // object number -> offset of "n g obj"
  std::map<uint32_t, uint16_t> generations;  // object number -> generation
};

struct Pdf_Xref_Line {
  uint64_t offset;
  uint16_t generation;
  char type;  // 'n' or 'f'
};

struct Pdf_Xref_Subsection {
  uint32_t first;
  std::vector<Pdf_Xref_Line> lines;
};

// "%PDF-<version>" and a binary comment line.
void Pdf_Builder_Header(Pdf_Builder* builder, const std::string& version = "1.7");
void Pdf_Builder_Raw(Pdf_Builder* builder, const std::string& text);
// "n g obj\n<body>\nendobj\n"; returns the offset of the object.
uint64_t Pdf_Builder_Object(Pdf_Builder* builder, uint32_t number, const std::string& body, uint16_t generation = 0);
// A stream object: "<<entries /Length n>>\nstream\r\n<data>\r\nendstream".
uint64_t Pdf_Builder_Stream(Pdf_Builder* builder, uint32_t number, const std::string& entries, const std::string& data);
// One classic line: 10-digit offset, 5-digit generation, type, CR LF.
std::string Pdf_Xref_Line_Text(const Pdf_Xref_Line& line);
// "xref" and the given subsections; returns the offset of the keyword.
uint64_t Pdf_Builder_Xref(Pdf_Builder* builder, const std::vector<Pdf_Xref_Subsection>& subsections);
// One subsection from 0 to the highest object number added, free lines for gaps.
Pdf_Xref_Subsection Pdf_Builder_All_Objects(const Pdf_Builder* builder);
// "trailer\n<<entries>>\nstartxref\n<xref offset>\n%%EOF\n".
void Pdf_Builder_Trailer(Pdf_Builder* builder, const std::string& entries, uint64_t xref_offset);
// Table over all objects and a trailer with /Size and the given entries.
void Pdf_Builder_Finish(Pdf_Builder* builder, const std::string& trailer_entries);

// A path under the system's temporary folder, unique to this process.
std::string Test_Temp_Path(const std::string& name);
bool Test_Write_File(const std::string& path, const std::string& bytes);
bool Test_Read_File(const std::string& path, std::string* bytes);

#endif
