#include "support/pdf_xref_stream_builder.h"

#include <zlib.h>

std::string Pdf_Xref_Stream_Pack(const std::vector<Pdf_Xref_Stream_Row>& rows, const std::vector<uint32_t>& widths) {
  std::string data;
  for (const Pdf_Xref_Stream_Row& row : rows) {
    const uint64_t fields[3] = {row.type, row.second, row.third};
    for (size_t field = 0; field < 3 && field < widths.size(); ++field) {
      for (uint32_t byte = widths[field]; byte > 0; --byte) {
        uint32_t shift = (byte - 1) * 8;
        data += static_cast<char>(shift >= 64 ? 0 : (fields[field] >> shift) & 0xFF);
      }
    }
  }
  return data;
}

std::string Pdf_Png_Up_Rows(const std::string& data, uint32_t columns) {
  std::string out;
  std::string previous(columns, '\0');
  for (size_t at = 0; at < data.size(); at += columns) {
    std::string row = data.substr(at, columns);
    row.resize(columns, '\0');
    out += '\x02';
    for (uint32_t i = 0; i < columns; ++i) out += static_cast<char>(row[i] - previous[i]);
    previous = row;
  }
  return out;
}

std::string Pdf_Flate(const std::string& data) {
  uLongf size = compressBound(data.size());
  std::string out(size, '\0');
  if (compress(reinterpret_cast<Bytef*>(&out[0]), &size, reinterpret_cast<const Bytef*>(data.data()), data.size()) !=
      Z_OK) {
    return std::string();
  }
  out.resize(size);
  return out;
}

namespace {

// "number offset" pairs, then the bodies; *first receives where the bodies begin.
std::string Object_Stream_Data(const Pdf_Object_List& objects, uint64_t* first) {
  std::string pairs;
  std::string bodies;
  for (const auto& object : objects) {
    pairs += std::to_string(object.first) + " " + std::to_string(bodies.size()) + " ";
    bodies += object.second + "\n";
  }
  pairs += "\n";
  *first = pairs.size();
  return pairs + bodies;
}

}  // namespace

uint64_t Pdf_Builder_Object_Stream(Pdf_Builder* builder, Pdf_Packed_Objects* packed, uint32_t number,
                                   const Pdf_Object_List& objects, bool flate) {
  uint64_t first = 0;
  std::string data = Object_Stream_Data(objects, &first);
  std::string entries = "/Type /ObjStm /N " + std::to_string(objects.size()) + " /First " + std::to_string(first);
  if (flate) {
    entries += " /Filter /FlateDecode";
    data = Pdf_Flate(data);
  }
  for (uint32_t index = 0; index < objects.size(); ++index) (*packed)[objects[index].first] = {number, index};
  return Pdf_Builder_Stream(builder, number, entries, data);
}

std::vector<Pdf_Xref_Stream_Row> Pdf_Xref_Stream_Rows(const Pdf_Builder& builder, const Pdf_Packed_Objects& packed,
                                                      uint32_t size) {
  std::vector<Pdf_Xref_Stream_Row> rows;
  for (uint32_t number = 0; number < size; ++number) {
    auto plain = builder.offsets.find(number);
    auto in_stream = packed.find(number);
    if (plain != builder.offsets.end()) {
      rows.push_back({1, plain->second, builder.generations.at(number)});
    } else if (in_stream != packed.end()) {
      rows.push_back({2, in_stream->second.first, in_stream->second.second});
    } else {
      rows.push_back({0, 0, number == 0 ? 65535u : 0u});
    }
  }
  return rows;
}

uint64_t Pdf_Builder_Xref_Stream(Pdf_Builder* builder, uint32_t number, std::vector<Pdf_Xref_Stream_Row> rows,
                                 uint32_t size, const Pdf_Xref_Stream_Options& options) {
  uint64_t offset = builder->bytes.size();
  if (number < rows.size()) rows[number] = {1, offset, 0};
  std::string data = Pdf_Xref_Stream_Pack(rows, options.widths);
  auto array = [](const std::vector<uint32_t>& numbers) {
    std::string text;
    for (uint32_t number : numbers) text += (text.empty() ? "" : " ") + std::to_string(number);
    return "[" + text + "]";
  };
  std::string entries = "/Type /XRef /Size " + std::to_string(size) + " /W " + array(options.widths);
  if (!options.index.empty()) entries += " /Index " + array(options.index);
  if (options.flate) {
    entries += " /Filter /FlateDecode";
    data = Pdf_Flate(data);
  }
  Pdf_Builder_Stream(builder, number, entries + " " + options.extra_entries, data);
  builder->bytes += "startxref\n" + std::to_string(offset) + "\n%%EOF\n";
  return offset;
}
