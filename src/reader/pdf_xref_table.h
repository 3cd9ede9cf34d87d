// The object table: cross-reference sections of consecutive object numbers,
// each entry holding the indirect object it describes, and the body that ties
// the table to the trailer (reader/pdf_trailer.h). The table owns every PDF_Object in it.
#ifndef INVOICE_EXTRACT_PDF_XREF_TABLE_H
#define INVOICE_EXTRACT_PDF_XREF_TABLE_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Number;
struct PDF_Object;
struct PDF_Read_Data;

// A large file has one entry per object, so the entry is kept at 56 bytes:
// the two fields of our own sit in the room the alignment leaves behind type.
struct PDF_Xref_Entry {
  uint64_t offset;  // for a compressed entry, the index inside the object stream
  uint16_t generation;
  uint32_t container;  // the object stream's number for a compressed entry
  uint8_t type;        // 'n', 'f' or 'c'
  uint8_t deferred;    // in use, its object made from the header at offset on first lookup
  uint32_t number;     // a compressed entry's object number: its object is made on first load
  PDF_File* file;      // the owning file
  PDF_Object* object;  // owned; null for a free entry
  PDF_Xref_Entry* previous;
  PDF_Xref_Entry* next;
};

struct PDF_Trailer;
struct PDF_Xref_Section_Index;
struct PDF_Xref_Table_Index;

struct PDF_Xref_Section {
  PDF_Number* first_number;  // owned
  PDF_Number* count;         // owned
  PDF_Xref_Entry* head;
  PDF_Xref_Entry* tail;
  PDF_Xref_Entry* cursor;
  PDF_Xref_Section* previous;
  PDF_Xref_Section* next;
  PDF_Object* hidden_object;      // stepped over by number lookup; null while reading
  PDF_Xref_Section_Index* index;  // the entries by position, for lookups; owned, may be null
};

struct PDF_Xref_Table {
  PDF_Xref_Section* first_section;
  PDF_Xref_Section* last_section;
  PDF_Xref_Section* last_hit_section;  // last section that answered a lookup
  PDF_Xref_Table_Index* index;         // which section covers which numbers; owned, may be null
  PDF_Xref_Entry* id_hit;              // the entry that answered the last lookup by id; a hint, may be stale
  PDF_Read_Data* reader;               // where deferred entries' headers are read; not owned
};

// Lookup aids. A lookup by number used to walk every section and, inside the
// section that covers the number, every entry from the head; with these it
// finds the section by a binary search and the entry by its position. They
// are caches: built on first use, brought up to date after each change that
// goes through the operations below, and never needed for an answer. Their
// memory comes from the C runtime and not from the document's allocator, so
// that the allocations the library makes, and what a failed one does, stay as
// they were; where that memory can't be had, lookups walk the table.
//
// The entries of a section by position, taken when the section had the
// first number, count, head and tail recorded here.
struct PDF_Xref_Section_Index {
  uint32_t first;
  uint32_t count;
  PDF_Xref_Entry* head;
  PDF_Xref_Entry* tail;
  uint32_t length;  // entries held: the list's length, at most count
  uint32_t capacity;
  PDF_Xref_Entry** entries;  // entries[i] is the (i+1)th entry from the head
};

// Numbers first to end - 1 lie in exactly the one section given, or, with a
// null section, in more than one (overlapping subsections, or an entry added
// over a free one), where a lookup walks the sections in table order.
struct PDF_Xref_Range {
  uint64_t first;
  uint64_t end;
  PDF_Xref_Section* section;
};

struct PDF_Xref_Table_Index {
  uint8_t valid;  // cleared by every change of the table's sections
  uint32_t count;
  uint32_t capacity;
  PDF_Xref_Range* ranges;  // ascending, disjoint; numbers in none lie in no section
};

struct PDF_Body {
  void* link;                // null
  PDF_Xref_Table* table;     // owned
  PDF_Trailer* trailer;      // owned
  PDF_Body* next;            // newer body
  PDF_Body* previous;        // older body
  void* reserved;            // null
  uint8_t xref_stream_read;  // a cross-reference stream was read
};

// With with_free_head the table starts with entry 0, type 'f', generation 65535.
PDF_Result PDF_Xref_Table_Create(PDF_Xref_Table** out_table, PDF_File* file, bool with_free_head);
// Deletes every section, entry and the objects they hold.
PDF_Result PDF_Xref_Table_Delete(PDF_Xref_Table** holder, PDF_File* file);
// With an object, the object's own number and generation and type 'n' are used;
// an object numbered 0 goes to the end of the last section and is given the
// next number; a number that already has an 'n' or 'c' entry adds nothing (0).
// The table owns the object once this returns 0, whether or not it was added.
PDF_Result PDF_Xref_Table_Add_Entry(PDF_Xref_Table* table, PDF_File* file, PDF_Object* object, uint32_t number,
                                    uint64_t offset, uint16_t generation, uint8_t type);
// A table entry; the entry owns the object, if one is given.
PDF_Result PDF_Xref_Entry_Create(PDF_Xref_Entry** out_entry, PDF_File* file, PDF_Object* object, uint64_t offset,
                                 uint16_t generation, uint8_t type);
// A section of count entries from first_number on, with no entries linked yet.
PDF_Result PDF_Xref_Section_Create(PDF_Xref_Section** out_section, PDF_File* file, uint32_t first_number,
                                   uint32_t count);
// Links the entry behind the section's last one; first number and count are
// left to the caller.
void PDF_Xref_Section_Append_Entry(PDF_Xref_Section* section, PDF_Xref_Entry* entry);
// Deletes a section with its entries and the objects they hold.
PDF_Result PDF_Xref_Section_Delete(PDF_Xref_Section** holder, PDF_File* file);
// Links a section in ascending order of first number, behind equal ones.
void PDF_Xref_Table_Insert_Section(PDF_Xref_Table* table, PDF_Xref_Section* section);
// The entry's object; a deferred one is made first, from its header read
// again through the table's reader (null when that fails).
PDF_Object* PDF_Xref_Entry_Get_Object(PDF_Xref_Table* table, PDF_Xref_Entry* entry);
// Number 0 means a lookup by id; number 0 with id 0, or a free entry, gives null.
PDF_Object* PDF_Xref_Table_Get_Object(PDF_Xref_Table* table, uint32_t number, uint32_t id);
// True if the number lies in the range of any section, whatever the entry's type.
bool PDF_Xref_Table_Has_Number(const PDF_Xref_Table* table, uint32_t number);
// Detaches the object from the entry holding it (the entry becomes free) and
// deletes it with the delete mode. -91 if no entry holds the object.
PDF_Result PDF_Xref_Table_Remove_Object(PDF_Xref_Table* table, PDF_File* file, PDF_Object* object,
                                        uint32_t delete_mode);

// Takes ownership of table and trailer (either may be null) on success.
PDF_Result PDF_Body_Create(PDF_Body** out_body, PDF_File* file, PDF_Xref_Table* table, PDF_Trailer* trailer,
                           bool xref_stream_read);
// Deletes the trailer, then the table, unlinks the body and frees it.
PDF_Result PDF_Body_Delete(PDF_Body** holder, PDF_File* file);
// Asks the tables from the oldest body forward; the first answer wins.
PDF_Object* PDF_Body_Find_Object(PDF_Body* body, uint32_t number, uint32_t id);
// Has_Number over every table of the chain.
bool PDF_Body_Has_Number(const PDF_Body* body, uint32_t number);
// Remove_Object over every table of the chain; -91 if none holds the object.
PDF_Result PDF_Body_Remove_Object(PDF_Body* body, PDF_File* file, PDF_Object* object, uint32_t delete_mode);

#endif
