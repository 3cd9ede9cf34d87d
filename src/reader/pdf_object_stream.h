// Objects stored inside object streams: a compressed entry of the object
// table is parsed out of its container the first time it is looked up.
#ifndef INVOICE_EXTRACT_PDF_OBJECT_STREAM_H
#define INVOICE_EXTRACT_PDF_OBJECT_STREAM_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Object;
struct PDF_Xref_Entry;

// Turns a compressed entry into an ordinary in-use one: the container is
// found and decoded, the entry's pair located, and the body parsed from the
// container's bytes. 0 for an entry that is not compressed; on failure the
// entry stays compressed and its object empty.
PDF_Result PDF_Xref_Entry_Load_Compressed(PDF_Xref_Entry* entry);

// The number and offset pairs at the head of each decoded object stream, read
// once per container instead of once for each member loaded from it. A member
// at index k needs the pairs 0 to k (and k + 1 when there is one); they are
// read in order from the start of the data exactly as a reading per member
// would, so a pair that can't be read fails every member that needs it. A
// cache, kept by the PDF_File in memory from the C runtime (so that the
// document's allocations stay as they were); without it the pairs are read
// per member.
struct PDF_Object_Stream_Pairs {
  const PDF_Object* container;  // the record holds for this object, stream and data
  const void* stream;
  const uint8_t* data;
  uint64_t length;
  uint64_t at;    // where the next pair begins
  uint32_t read;  // pairs read
  uint32_t capacity;
  uint8_t failed;   // the pair at index read can't be read
  int32_t* values;  // number and offset of each pair read
  // A container whose one filter could not decode it: the same stream would
  // fail the same way again, so its other members get the code at once
  // instead of inflating it once more each.
  const void* undecodable;  // the stream that failed, or null
  PDF_Result decode_result;
};

struct PDF_Object_Stream_Cache {
  uint32_t count;                   // records in use
  uint32_t capacity;                // slots, a power of two
  PDF_Object_Stream_Pairs** slots;  // open addressing by container
};

// Frees the file's cache.
void PDF_Object_Stream_Cache_Delete(PDF_File* file);
// Drops what the cache holds for an object leaving the table.
void PDF_Object_Stream_Cache_Forget(PDF_File* file, const PDF_Object* container);

#endif
