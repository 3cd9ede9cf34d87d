// A document opened over bytes in memory with the counting allocator and a
// message log; the destructor releases it and checks that nothing leaked.
#ifndef INVOICE_EXTRACT_OPENED_DOCUMENT_H
#define INVOICE_EXTRACT_OPENED_DOCUMENT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "document/pdf_document.h"
#include "objects/pdf_object.h"
#include "reader/pdf_file.h"
#include "reader/pdf_xref_table.h"
#include "support/test_memory.h"

struct Opened_Document {
  Test_Allocator allocator{};
  Test_Message_Log log;
  Test_Counted_Input input{"", 0};
  PDF_Document* document = nullptr;
  PDF_Result result = 0;

  Opened_Document(const std::string& bytes, int8_t level) {
    input.bytes = bytes;
    result = PDF_Document_Create(&document, Test_Alloc, &allocator, Test_Free, &allocator, Test_Counted_Read, &input,
                                 Test_Message_Callback, &log, level);
  }
  ~Opened_Document() {
    allocator.fail_at = 0;
    if (document != nullptr) {
      EXPECT_EQ(PDF_Document_Release(&document), 0);
    }
    EXPECT_EQ(allocator.live, 0) << "blocks left behind";
  }
  PDF_File* file() { return document->file; }
  PDF_Body* body() { return document->file->xref_table; }
  PDF_Object* object(uint32_t number) { return PDF_Body_Find_Object(body(), number, 0); }
  uint32_t id_of(uint32_t number) { return PDF_Object_Get_Id(object(number)); }
  // The loaded value of an object, or null.
  PDF_Data_Object* value(uint32_t number) {
    PDF_Object* found = object(number);
    if (found == nullptr || PDF_Object_Load(found) != 0) return nullptr;
    return PDF_Object_Get_Value(found);
  }
  // Whether a repair report (code 10, level 11) with this text was made.
  bool reported(const std::string& text) const {
    for (const Test_Message& message : log.messages) {
      if (message.text == text && message.code == 10 && message.level == 11) return true;
    }
    return false;
  }
  // The table entry of a number in the first section that spans it, or
  // null; nothing is loaded.
  PDF_Xref_Entry* entry(uint32_t number) {
    for (PDF_Xref_Section* section = body()->table->first_section; section != nullptr; section = section->next) {
      if (Section_Spans(section, number)) return Section_Entry(section, number);
    }
    return nullptr;
  }

  static bool Section_Spans(const PDF_Xref_Section* section, uint32_t number) {
    uint32_t first = static_cast<uint32_t>(PDF_Number_Get_Long(section->first_number));
    return number >= first && number - first < static_cast<uint32_t>(PDF_Number_Get_Long(section->count));
  }
  // The entry of a number that the section spans, walked from its head.
  static PDF_Xref_Entry* Section_Entry(PDF_Xref_Section* section, uint32_t number) {
    PDF_Xref_Entry* at = section->head;
    for (uint32_t i = static_cast<uint32_t>(PDF_Number_Get_Long(section->first_number)); i < number && at != nullptr;
         ++i) {
      at = at->next;
    }
    return at;
  }
};

#endif
