// The file object behind a document handle: header, cross-reference chain,
// security state, and the context that every object operation receives.
#ifndef INVOICE_EXTRACT_PDF_FILE_H
#define INVOICE_EXTRACT_PDF_FILE_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_Memory;
struct PDF_Message;

struct PDF_Body;
struct PDF_Dictionary_Failures;
struct PDF_Header;
struct PDF_Key;
struct PDF_Metadata_Cache;
struct PDF_Object_Stream_Cache;
struct PDF_Object_Walk;
struct PDF_Read_Data;

// Tolerance levels: each names the lowest level at which a kind of damage is
// forgiven; a file's level forgives its own kind and every kind below it.
enum : int8_t {
  PDF_TOLERANCE_STRICT = 0,         // nothing forgiven
  PDF_TOLERANCE_SKIP_DAMAGE = 1,    // a damaged entry, keyword or classification is skipped or accepted
  PDF_TOLERANCE_REPAIR = 2,         // repairs: Root searched, Info made indirect, missing targets read as null
  PDF_TOLERANCE_SHORT_STREAMS = 3,  // stream data shorter than its Length is kept; what the front end passes
  PDF_TOLERANCE_MAXIMUM = 4,        // the highest level accepted; sets tolerant
};

struct PDF_File {
  uint32_t next_object_id;   // counter behind object ids, from 1
  PDF_Body* xref_table;      // the cross-reference chain; owned
  PDF_Memory* memory;        // not owned
  PDF_Message* message;      // may be null; not owned
  int8_t tolerance_level;    // which damage is forgiven
  uint8_t all_objects_read;  // every object below all trailers is loaded (a new document)
  uint8_t encrypted;         // Standard encryption of an accepted kind
  uint32_t encryption_mode;  // 0 none, else 1, 2 or 3
  uint32_t permissions;
  PDF_Key* key;  // null: no key installed; owned
  uint8_t metadata_is_plain;
  uint8_t header_level;         // copy of the header's level
  int32_t metadata_failure;     // last tolerant metadata failure, 0 if none
  PDF_Header* header;           // owned
  PDF_Body* second_xref_table;  // searched after the first; owned
  uint8_t tolerant;             // tolerance_level >= PDF_TOLERANCE_MAXIMUM
  uint8_t writable;             // starts at 1
  void* write_security;         // further record of the writing side; owned when set
  void* extra_block_1;          // further blocks of the writing side; owned when set
  void* extra_block_2;
  PDF_Metadata_Cache* metadata_cache;  // the parsed metadata packet, reused by queries; owned
  // Releases metadata_cache; set with it by the metadata queries, which know
  // the packet's type, so that the file can release it without knowing it.
  PDF_Result (*release_metadata_cache)(PDF_File* file);
  PDF_Object_Stream_Cache* object_streams;       // pairs of the object streams read so far; owned, may be null
  uint32_t dictionary_depth;                     // dictionary reads under way, nested
  PDF_Dictionary_Failures* dictionary_failures;  // positions that failed in the outermost read under way; may be null
  uint32_t nesting_depth;                        // nested values, parses and walks under way (PDF_NESTING_LIMIT)
  PDF_Object_Walk* object_walk;                  // objects whose values a Load_All walk has still to visit; may be null
  uint64_t value_reads;                          // values read so far (PDF_VALUE_READ_LIMIT)
};

PDF_Result PDF_File_New(PDF_File** out_file, PDF_Memory* memory, PDF_Message* message);
PDF_Result PDF_File_Open(PDF_File** out_file, PDF_Memory* memory, PDF_Read_Data* reader, PDF_Message* message,
                         int8_t tolerance_level);
PDF_Result PDF_File_Delete(PDF_File** holder);
// After the walk: a missing Root is searched for among the plain objects (from
// level 2), and an Info of a bad kind is repaired or refused by level.
PDF_Result PDF_File_Check_Root(PDF_Body* body, PDF_File* file);

#endif
