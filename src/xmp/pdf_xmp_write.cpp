#include "xmp/pdf_xmp_write.h"

#include <nettle/md5.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <type_traits>

#include "runtime/pdf_memory.h"
#include "text/pdf_date.h"
#include "text/pdf_text.h"
#include "xmp/pdf_xmp.h"

const char PDF_XMP_NS_PDF[] = "http://ns.adobe.com/pdf/1.3/";
const char PDF_XMP_NS_XMP[] = "http://ns.adobe.com/xap/1.0/";
const char PDF_XMP_NS_DC[] = "http://purl.org/dc/elements/1.1/";
const char PDF_XMP_NS_XMP_MM[] = "http://ns.adobe.com/xap/1.0/mm/";

namespace {

const uint32_t XMP_OPTION_COMPOSITE_MASK = 0x1F00;

// The named properties and the options that their setters write with.
struct Named_Property {
  const char* name_space;
  const char* name;
  uint32_t options;
};

const Named_Property producer = {PDF_XMP_NS_PDF, "Producer", 0};
const Named_Property creator_tool = {PDF_XMP_NS_XMP, "CreatorTool", 0};
const Named_Property keywords = {PDF_XMP_NS_PDF, "Keywords", 0};
const Named_Property description = {PDF_XMP_NS_DC, "description", 0x1A00};
const Named_Property creator = {PDF_XMP_NS_DC, "creator", 0x600};
const Named_Property title = {PDF_XMP_NS_DC, "title", 0x1A00};

PDF_Result Get_Named(PDF_XMP* xmp, const Named_Property& property, const char** out_text, uint64_t* out_length) {
  return PDF_XMP_Get_Property(xmp, property.name_space, property.name, out_text, out_length);
}

PDF_Result Set_Named(PDF_XMP* xmp, const Named_Property& property, const char* text, uint64_t length) {
  return PDF_XMP_Set_Text(xmp, property.name_space, property.name, property.options, text, length);
}

// A NUL-terminated UTF-8 copy of the text from the memory.
// Kept: text that isn't UTF-8 is not refused but read as Latin-1, byte for
// code point, so that single-byte text from older callers still arrives
// readable. The UTF-8 test reads on behind length into a cut sequence.
PDF_Result Copy_As_UTF8(PDF_Memory* memory, const char* text, uint64_t length, char** out_copy) {
  uint64_t measured = 0;
  uint8_t wide = 0;
  PDF_Result result = PDF_Text_From_UTF8(nullptr, text, length, nullptr, &measured, &wide, true);
  if (result == PDF_RESULT_BAD_UTF8) {
    uint64_t converted = 0;
    return PDF_Text_To_UTF8(memory, text, length, PDF_TEXT_LATIN1, out_copy, &converted, false);
  }
  if (result != PDF_RESULT_OK) return result;
  char* copy = static_cast<char*>(PDF_Memory_Alloc(memory, length + 1));
  if (copy == nullptr) return PDF_RESULT_OUT_OF_MEMORY;
  memcpy(copy, text, length);
  copy[length] = '\0';
  *out_copy = copy;
  return PDF_RESULT_OK;
}

// Writes the copy by the options: -282 when the toolkit refuses.
PDF_Result Write_Text(XmpPtr meta, const char* name_space, const char* name, uint32_t options, const char* value) {
  bool written = false;
  if ((options & PDF_XMP_VALUE_IS_ARRAY) != 0 && (options & PDF_XMP_ARRAY_IS_ALT_TEXT) != 0) {
    written = xmp_set_localized_text(meta, name_space, name, "", "x-default", value, 0);
  } else if ((options & PDF_XMP_VALUE_IS_ARRAY) != 0) {
    written = xmp_append_array_item(meta, name_space, name, options, value, 0);
  } else if ((options & PDF_XMP_VALUE_IS_STRUCT) != 0) {
    // Kept: a struct can't be written from one text. The caller learns that
    // with the code of a missing argument, and after the old value is gone.
    return PDF_RESULT_INVALID_ARGUMENT;
  } else {
    written = xmp_set_property(meta, name_space, name, value, options);
  }
  return written ? PDF_RESULT_OK : PDF_RESULT_XMP_WRITE_FAILED;
}

void Append_Two_Digits(std::string* out, int32_t value) {
  char digits[16];
  snprintf(digits, sizeof(digits), "%02d", static_cast<int>(value));
  out->append(digits);
}

}  // namespace

PDF_Result PDF_XMP_Set_Text(PDF_XMP* xmp, const char* name_space, const char* name, uint32_t options, const char* text,
                            uint64_t length) {
  if (xmp == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  char* copy = nullptr;
  PDF_Result result = PDF_RESULT_OK;
  try {
    // The old value goes first, whatever follows: a null text removes the
    // property, and a failure below leaves it removed.
    if (!xmp_delete_property(xmp->meta, name_space, name)) {
      result = PDF_RESULT_XMP_WRITE_FAILED;
    } else if (text != nullptr) {
      result = Copy_As_UTF8(xmp->memory, text, length, &copy);
      if (result == PDF_RESULT_OK) result = Write_Text(xmp->meta, name_space, name, options, copy);
    }
  } catch (...) {
    result = PDF_RESULT_XMP_WRITE_FAILED;
  }
  if (copy != nullptr) PDF_Memory_Free(xmp->memory, &copy);
  return result;
}

PDF_Result PDF_XMP_Get_Producer(PDF_XMP* xmp, const char** out_text, uint64_t* out_length) {
  return Get_Named(xmp, producer, out_text, out_length);
}

PDF_Result PDF_XMP_Get_Creator_Tool(PDF_XMP* xmp, const char** out_text, uint64_t* out_length) {
  return Get_Named(xmp, creator_tool, out_text, out_length);
}

PDF_Result PDF_XMP_Get_Keywords(PDF_XMP* xmp, const char** out_text, uint64_t* out_length) {
  return Get_Named(xmp, keywords, out_text, out_length);
}

PDF_Result PDF_XMP_Get_Description(PDF_XMP* xmp, const char** out_text, uint64_t* out_length) {
  return Get_Named(xmp, description, out_text, out_length);
}

PDF_Result PDF_XMP_Get_Creator(PDF_XMP* xmp, const char** out_text, uint64_t* out_length) {
  return Get_Named(xmp, creator, out_text, out_length);
}

PDF_Result PDF_XMP_Get_Title(PDF_XMP* xmp, const char** out_text, uint64_t* out_length) {
  return Get_Named(xmp, title, out_text, out_length);
}

PDF_Result PDF_XMP_Set_Producer(PDF_XMP* xmp, const char* text, uint64_t length) {
  return Set_Named(xmp, producer, text, length);
}

PDF_Result PDF_XMP_Set_Creator_Tool(PDF_XMP* xmp, const char* text, uint64_t length) {
  return Set_Named(xmp, creator_tool, text, length);
}

PDF_Result PDF_XMP_Set_Keywords(PDF_XMP* xmp, const char* text, uint64_t length) {
  if (xmp == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  // Kept: keywords that would not change are not written at all, so that a
  // packet whose keywords are set again to what they were stays untouched.
  // The other setters always write.
  std::string current;
  if (PDF_XMP_Get_Text(xmp, keywords.name_space, keywords.name, &current)) {
    if (text != nullptr && current.size() == length && PDF_Bytes_Differ(current.data(), text, length) == 0) {
      return PDF_RESULT_OK;
    }
  } else if (text == nullptr) {
    return PDF_RESULT_OK;
  }
  return Set_Named(xmp, keywords, text, length);
}

PDF_Result PDF_XMP_Set_Description(PDF_XMP* xmp, const char* text, uint64_t length) {
  return Set_Named(xmp, description, text, length);
}

PDF_Result PDF_XMP_Set_Creator(PDF_XMP* xmp, const char* text, uint64_t length) {
  return Set_Named(xmp, creator, text, length);
}

PDF_Result PDF_XMP_Set_Title(PDF_XMP* xmp, const char* text, uint64_t length) {
  return Set_Named(xmp, title, text, length);
}

PDF_Result PDF_XMP_Ensure_Document_Id(PDF_XMP* xmp) {
  if (xmp == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  try {
    if (xmp_has_property(xmp->meta, PDF_XMP_NS_XMP_MM, "DocumentID")) return PDF_RESULT_OK;
    if (xmp_get_error() != 0) return PDF_RESULT_INVALID_ARGUMENT;
  } catch (...) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }

  // Kept: the process's random numbers are seeded with the current time, as
  // the identifier has always been made; a caller's own rand() sequence
  // starts over. Two identifiers made in the same second for records at the
  // same address come out equal.
  srand(static_cast<unsigned>(time(nullptr)));
  char date[PDF_DATE_BUFFER_SIZE];
  PDF_Date_Format_Now(date);
  char seed[200];
  snprintf(seed, sizeof(seed), "%04lx%04lx%s%6d",
           static_cast<unsigned long>(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&PDF_XMP_Ensure_Document_Id))),
           static_cast<unsigned long>(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(xmp))), date, rand());

  md5_ctx context;
  uint8_t digest[MD5_DIGEST_SIZE];
  md5_init(&context);
  md5_update(&context, strlen(seed), reinterpret_cast<const uint8_t*>(seed));
  md5_digest(&context, sizeof(digest), digest);
  char id[42];
  snprintf(id, sizeof(id), "uuid:%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", digest[0],
           digest[1], digest[2], digest[3], digest[4], digest[5], digest[6], digest[7], digest[8], digest[9],
           digest[10], digest[11], digest[12], digest[13], digest[14], digest[15]);

  try {
    if (!xmp_set_property(xmp->meta, PDF_XMP_NS_XMP_MM, "DocumentID", id, 0)) return PDF_RESULT_XMP_WRITE_FAILED;
  } catch (...) {
    return PDF_RESULT_XMP_WRITE_FAILED;
  }
  return PDF_RESULT_OK;
}

bool PDF_XMP_Get_Date(PDF_XMP* xmp, const char* name_space, const char* name, PDF_Pdf_Date* date) {
  if (xmp == nullptr || date == nullptr) return false;
  XmpDateTime value = {};
  try {
    std::unique_ptr<std::remove_pointer<XmpStringPtr>::type, void (*)(XmpStringPtr)> text(xmp_string_new(),
                                                                                          xmp_string_free);
    uint32_t options = 0;
    bool found = text && xmp_get_property(xmp->meta, name_space, name, text.get(), &options);
    if (!found || (options & XMP_OPTION_COMPOSITE_MASK) != 0) return false;
    // The toolkit's own conversion of the value that was just found.
    if (!xmp_get_property_date(xmp->meta, name_space, name, &value, nullptr)) return false;
  } catch (...) {
    return false;
  }
  date->year = value.year;
  date->month = value.month;
  date->day = value.day;
  date->hour = value.hour;
  date->minute = value.minute;
  date->second = value.second;
  // Kept: the toolkit's sign 0 is read as UTC, and the toolkit gives 0 for a
  // value without a zone as well, so such a value comes back as UTC.
  switch (value.tzSign) {
    case -1:
      date->zone_kind = 3;
      break;
    case 0:
      date->zone_kind = 1;
      break;
    case 1:
      date->zone_kind = 2;
      break;
    default:
      date->zone_kind = 0;
      break;
  }
  date->zone_hour = value.tzHour;
  date->zone_minute = value.tzMinute;
  return true;
}

PDF_Result PDF_XMP_Format_Date(std::string* out_string, const PDF_Pdf_Date* date) {
  if (out_string == nullptr || date == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  const PDF_Pdf_Date& d = *date;
  if (d.year < 0 || d.month > 12 || d.day > 31 || d.hour > 23 || d.minute > 59 || d.second > 59) {
    return PDF_RESULT_DATE_OUT_OF_RANGE;
  }
  if ((d.zone_kind == 2 || d.zone_kind == 3) &&
      (d.zone_hour < 0 || d.zone_hour > 23 || d.zone_minute < 0 || d.zone_minute > 59)) {
    return PDF_RESULT_DATE_OUT_OF_RANGE;
  }
  // Kept: a date without a zone may not carry a time, and this test is made
  // before a missing month or day drops the time anyway.
  if (d.zone_kind == 0 && (d.hour >= 0 || d.minute >= 0)) return PDF_RESULT_DATE_OUT_OF_RANGE;

  // Each part is written only after the one before it: a month below 1 ends
  // the date at the year, a day below 1 at the month, whatever follows.
  std::string text = std::to_string(d.year);
  if (d.month >= 1) {
    text += '-';
    Append_Two_Digits(&text, d.month);
    if (d.day >= 1) {
      text += '-';
      Append_Two_Digits(&text, d.day);
      if (d.hour >= 0 || d.minute >= 0) {
        // Kept: one negative field of the two is written as 00.
        text += 'T';
        Append_Two_Digits(&text, d.hour < 0 ? 0 : d.hour);
        text += ':';
        Append_Two_Digits(&text, d.minute < 0 ? 0 : d.minute);
        if (d.second >= 0) {
          text += ':';
          Append_Two_Digits(&text, d.second);
        }
        if (d.zone_kind == 1) {
          text += 'Z';
        } else if (d.zone_kind == 2 || d.zone_kind == 3) {
          text += d.zone_kind == 2 ? '+' : '-';
          Append_Two_Digits(&text, d.zone_hour);
          text += ':';
          Append_Two_Digits(&text, d.zone_minute);
        }
      }
    }
  }
  *out_string = text;
  return PDF_RESULT_OK;
}

PDF_Result PDF_XMP_Set_Date(PDF_XMP* xmp, const char* name_space, const char* name, const PDF_Pdf_Date* date) {
  if (xmp == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  try {
    bool done = false;
    if (date != nullptr) {
      std::string text;
      PDF_Result result = PDF_XMP_Format_Date(&text, date);
      if (result != PDF_RESULT_OK) return result;
      done = xmp_set_property(xmp->meta, name_space, name, text.c_str(), 0);
    } else {
      done = xmp_delete_property(xmp->meta, name_space, name);
    }
    // Kept: a date the toolkit refuses gives -500, not the -282 of a text
    // write; callers of the date operations have always seen -500.
    return done ? PDF_RESULT_OK : PDF_RESULT_INVALID_ARGUMENT;
  } catch (...) {
    return PDF_RESULT_INVALID_ARGUMENT;
  }
}

PDF_Pdf_Date* PDF_XMP_Get_Create_Date(PDF_XMP* xmp) {
  if (xmp == nullptr || !PDF_XMP_Get_Date(xmp, PDF_XMP_NS_XMP, "CreateDate", xmp->date)) return nullptr;
  return xmp->date;
}

PDF_Result PDF_XMP_Set_Create_Date(PDF_XMP* xmp, const PDF_Pdf_Date* date) {
  return PDF_XMP_Set_Date(xmp, PDF_XMP_NS_XMP, "CreateDate", date);
}

PDF_Pdf_Date* PDF_XMP_Get_Modify_Date(PDF_XMP* xmp) {
  if (xmp == nullptr || !PDF_XMP_Get_Date(xmp, PDF_XMP_NS_XMP, "ModifyDate", xmp->date)) return nullptr;
  return xmp->date;
}

PDF_Result PDF_XMP_Set_Modify_Date(PDF_XMP* xmp, const PDF_Pdf_Date* date) {
  return PDF_XMP_Set_Date(xmp, PDF_XMP_NS_XMP, "ModifyDate", date);
}
