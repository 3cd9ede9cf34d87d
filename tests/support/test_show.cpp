#include "support/test_show.h"

#include <cstdio>

#include "objects/pdf_array.h"
#include "objects/pdf_boolean.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_name.h"
#include "objects/pdf_number.h"
#include "objects/pdf_object.h"
#include "objects/pdf_object_reference.h"
#include "objects/pdf_string.h"

std::string Show(const PDF_Data_Object* object) {
  if (object == nullptr) return "-";
  std::string out;
  switch (object->type) {
    case PDF_Data_Type_Null:
      return object->value == nullptr ? "null" : "null!value";
    case PDF_Data_Type_Boolean:
      return *static_cast<PDF_Boolean*>(object->value) ? "true" : "false";
    case PDF_Data_Type_Reference: {
      auto* reference = static_cast<PDF_Object_Reference*>(object->value);
      out = "R" + std::to_string(reference->number) + "." + std::to_string(reference->generation);
      if (reference->target != nullptr) {
        bool cleared = reference->number == 0 && reference->generation == 0;
        out = "R@" + std::to_string(PDF_Object_Get_Number(reference->target)) + (cleared ? "" : "!numbers");
      }
      break;
    }
    case PDF_Data_Type_Number: {
      auto* number = static_cast<PDF_Number*>(object->value);
      char text[40];
      snprintf(text, sizeof(text), "%.17g", PDF_Number_Get_Real(number));
      out = text + (number->decimals != 0 ? "d" + std::to_string(number->decimals) : "");
      break;
    }
    case PDF_Data_Type_String:
    case PDF_Data_Type_Name: {
      auto* string = static_cast<PDF_String*>(object->value);
      if (string->kind > 2) return "!kind";
      std::string bytes = string->length != 0 ? "!length" : "";
      if (string->bytes != nullptr) {
        bytes = std::string(reinterpret_cast<char*>(string->bytes), string->length);
        if (string->bytes[string->length] != 0) bytes += "!nul";
      }
      const char* ends[] = {"/", "", "(", ")", "<", ">"};
      out = std::string(ends[2 * string->kind]) + bytes + ends[2 * string->kind + 1];
      break;
    }
    case PDF_Data_Type_Array:
      for (auto* element = static_cast<PDF_Array*>(object->value)->first; element; element = element->next) {
        out += (out.empty() ? "" : " ") + Show(element->value);
      }
      out = "[" + out + "]";
      break;
    case PDF_Data_Type_Dictionary:
      for (auto* entry = static_cast<PDF_Dictionary*>(object->value)->first; entry; entry = entry->next) {
        const char* key = PDF_Name_Get_Text(entry->key);
        out += std::string(out.empty() ? "/" : " /") + (key == nullptr ? "" : key) + " " + Show(entry->value);
      }
      out = "<<" + out + ">>";
      break;
    default:
      return "#" + std::to_string(object->type);
  }
  return *static_cast<PDF_Data_Object* const*>(object->value) == object ? out : out + "!owner";
}
