#include "support/pdf_builder.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

void Pdf_Builder_Header(Pdf_Builder* builder, const std::string& version) {
  builder->bytes += "%PDF-" + version + "\n%\xE2\xE3\xCF\xD3\n";
}

void Pdf_Builder_Raw(Pdf_Builder* builder, const std::string& text) { builder->bytes += text; }

uint64_t Pdf_Builder_Object(Pdf_Builder* builder, uint32_t number, const std::string& body, uint16_t generation) {
  uint64_t offset = builder->bytes.size();
  builder->offsets[number] = offset;
  builder->generations[number] = generation;
  builder->bytes += std::to_string(number) + " " + std::to_string(generation) + " obj\n" + body + "\nendobj\n";
  return offset;
}

uint64_t Pdf_Builder_Stream(Pdf_Builder* builder, uint32_t number, const std::string& entries,
                            const std::string& data) {
  std::string body =
      "<<" + entries + " /Length " + std::to_string(data.size()) + ">>\nstream\r\n" + data + "\r\nendstream";
  return Pdf_Builder_Object(builder, number, body);
}

std::string Pdf_Xref_Line_Text(const Pdf_Xref_Line& line) {
  char text[32];
  snprintf(text, sizeof(text), "%010llu %05u %c\r\n", static_cast<unsigned long long>(line.offset),
           static_cast<unsigned>(line.generation), line.type);
  return text;
}

uint64_t Pdf_Builder_Xref(Pdf_Builder* builder, const std::vector<Pdf_Xref_Subsection>& subsections) {
  uint64_t offset = builder->bytes.size();
  builder->bytes += "xref\n";
  for (const Pdf_Xref_Subsection& subsection : subsections) {
    builder->bytes += std::to_string(subsection.first) + " " + std::to_string(subsection.lines.size()) + "\n";
    for (const Pdf_Xref_Line& line : subsection.lines) builder->bytes += Pdf_Xref_Line_Text(line);
  }
  return offset;
}

Pdf_Xref_Subsection Pdf_Builder_All_Objects(const Pdf_Builder* builder) {
  Pdf_Xref_Subsection subsection{0, {}};
  uint32_t highest = builder->offsets.empty() ? 0 : builder->offsets.rbegin()->first;
  subsection.lines.push_back(Pdf_Xref_Line{0, 65535, 'f'});
  for (uint32_t number = 1; number <= highest; ++number) {
    auto found = builder->offsets.find(number);
    if (found == builder->offsets.end()) {
      subsection.lines.push_back(Pdf_Xref_Line{0, 0, 'f'});
    } else {
      subsection.lines.push_back(Pdf_Xref_Line{found->second, builder->generations.at(number), 'n'});
    }
  }
  return subsection;
}

void Pdf_Builder_Trailer(Pdf_Builder* builder, const std::string& entries, uint64_t xref_offset) {
  builder->bytes += "trailer\n<<" + entries + ">>\nstartxref\n" + std::to_string(xref_offset) + "\n%%EOF\n";
}

void Pdf_Builder_Finish(Pdf_Builder* builder, const std::string& trailer_entries) {
  Pdf_Xref_Subsection all = Pdf_Builder_All_Objects(builder);
  uint64_t xref = Pdf_Builder_Xref(builder, {all});
  Pdf_Builder_Trailer(builder, "/Size " + std::to_string(all.lines.size()) + " " + trailer_entries, xref);
}

std::string Test_Temp_Path(const std::string& name) {
  const char* folder = getenv("TMPDIR");
  std::string base = folder != nullptr && folder[0] != '\0' ? folder : "/tmp";
  return base + "/invoice_extract_test_" + std::to_string(getpid()) + "_" + name;
}

bool Test_Write_File(const std::string& path, const std::string& bytes) {
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return fclose(file) == 0 && written;
}

bool Test_Read_File(const std::string& path, std::string* bytes) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  bytes->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return true;
}
