#include "support/json_reader.h"

#include <nlohmann/json.hpp>

namespace {

// ordered_json keeps the members in the order they were written.
Json_Value Convert(const nlohmann::ordered_json& json) {
  Json_Value value;
  if (json.is_boolean()) {
    value.kind = Json_Value::Boolean;
    value.boolean = json.get<bool>();
  } else if (json.is_number()) {
    value.kind = Json_Value::Number;
    value.number = json.get<double>();
  } else if (json.is_string()) {
    value.kind = Json_Value::String;
    value.text = json.get<std::string>();
  } else if (json.is_array()) {
    value.kind = Json_Value::Array;
    for (const auto& item : json) value.items.push_back(Convert(item));
  } else if (json.is_object()) {
    value.kind = Json_Value::Object;
    for (const auto& member : json.items()) value.members.emplace_back(member.key(), Convert(member.value()));
  }
  return value;
}

}  // namespace

const Json_Value* Json_Value::Find(const std::string& key) const {
  for (const auto& member : members) {
    if (member.first == key) return &member.second;
  }
  return nullptr;
}

bool Json_Parse(const std::string& text, Json_Value* value, std::string* error) {
  try {
    *value = Convert(nlohmann::ordered_json::parse(text));
    return true;
  } catch (const nlohmann::ordered_json::parse_error& failure) {
    if (error != nullptr) *error = failure.what();
    return false;
  }
}
