// JSON lines that programs print, read by a JSON library that shares no code
// with the tool's writer: strict RFC 8259, text must be UTF-8, nothing may
// follow the value.
#ifndef INVOICE_EXTRACT_JSON_READER_H
#define INVOICE_EXTRACT_JSON_READER_H

#include <string>
#include <utility>
#include <vector>

struct Json_Value {
  enum Kind { Null, Boolean, Number, String, Array, Object };
  Kind kind = Null;
  bool boolean = false;
  double number = 0;
  std::string text;                                         // String, as UTF-8
  std::vector<Json_Value> items;                            // Array
  std::vector<std::pair<std::string, Json_Value>> members;  // Object, in order

  // The member of an object, or null when absent (or not an object).
  const Json_Value* Find(const std::string& key) const;
};

// Reads text as exactly one JSON value (white space around it allowed).
// False with a reason in *error otherwise.
bool Json_Parse(const std::string& text, Json_Value* value, std::string* error);

#endif
