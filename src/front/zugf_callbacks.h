// The callbacks that the front end hands to the PDF library: allocation and
// release through the C runtime, and reading through a stdio stream.
#ifndef INVOICE_EXTRACT_ZUGF_CALLBACKS_H
#define INVOICE_EXTRACT_ZUGF_CALLBACKS_H

#include <cstdint>
#include <cstdio>

void* ZUGF_Alloc_Callback(uint64_t size, void* data);
int32_t ZUGF_Free_Callback(void* block, void* data);
// Reads size bytes at offset of the stream (or of the file at path, opened for
// this one call). Mode 1 seeks from the start, mode 2 from the end, any other
// mode reads at the current position. Returns the number of bytes read.
uint64_t ZUGF_Read_Callback(void* buffer, uint32_t mode, uint64_t offset, uint64_t size, const char* path,
                            void* stream);

// Bytes of the input stream held in memory, so that the library's one-byte
// reads cost no system call: a few blocks of the file, each read with one
// seek and one read when a request first falls into it, the least recently
// used one making room. All fields start at zero.
enum { ZUGF_INPUT_BLOCK = 16 * 1024, ZUGF_INPUT_BLOCKS = 32 };

struct ZUGF_Input_Block {
  uint64_t number;  // file offset / ZUGF_INPUT_BLOCK
  uint64_t start;   // file offset of bytes[0]
  uint64_t length;  // bytes held; below the block size only where the file ended
  uint64_t last_use;
  uint8_t* bytes;  // ZUGF_INPUT_BLOCK bytes from the C runtime; null: slot never used
};

struct ZUGF_Input {
  FILE* stream;  // the input; not owned
  ZUGF_Input_Block blocks[ZUGF_INPUT_BLOCKS];
  uint64_t clock;      // counts block uses
  uint32_t last_slot;  // the block that served the last request
  uint64_t end_bound;  // with end_known: the file ends at or before this offset
  uint64_t position;   // with position_known: where the stream's own position would stand
  uint8_t end_known;
  uint8_t position_known;  // 0: the stream's own position is the true one
  uint8_t plain;           // the blocks can't serve this stream: every call goes to ZUGF_Read_Callback
};

// ZUGF_Read_Callback over the input's stream, served from the blocks. Counts,
// failures, the 64-bit offsets, mode 2 and the path argument are those of
// ZUGF_Read_Callback on the same stream.
uint64_t ZUGF_Read_Input_Callback(void* buffer, uint32_t mode, uint64_t offset, uint64_t size, const char* path,
                                  void* input);
// Frees the blocks; the stream stays open and the record can be used again.
void ZUGF_Release_Input(ZUGF_Input* input);

// Memory for one document, so that its many small blocks cost neither a
// malloc nor a free each. Blocks up to ZUGF_ARENA_LARGE bytes are carved, in
// steps of eight bytes (all that the library's records need), from runs of
// ZUGF_ARENA_RUN bytes, each run serving one size; runs are cut from chunks
// taken from the C runtime, which double in size up to ZUGF_ARENA_LAST_CHUNK.
// Where the library has said how much it is about to ask for
// (ZUGF_Arena_Expect_Callback) and that would fill less than half a chunk of
// the last size, the next chunk is cut to it, plus ZUGF_ARENA_SLACK for what
// follows.
// A freed small block goes on its size's list and serves the next request of
// that size, so that memory stays as bounded as with malloc. Larger blocks
// (stream data, decoder buffers) go to malloc and free as they come, and are
// known by their addresses. Everything goes with the arena after the
// document. All fields start at zero.
enum {
  ZUGF_ARENA_LARGE = 2048,
  ZUGF_ARENA_SIZES = ZUGF_ARENA_LARGE / 8,
  ZUGF_ARENA_RUN = 4096,
  ZUGF_ARENA_FIRST_CHUNK = 16 * 1024,
  ZUGF_ARENA_LAST_CHUNK = 2 * 1024 * 1024,
  ZUGF_ARENA_SLACK = 256 * 1024,
};

// The blocks of one size.
struct ZUGF_Arena_Size {
  void* free_list;  // freed blocks, each holding the address of the next
  uint8_t* next;    // free space of the newest run of this size
  uint64_t left;    // bytes there
};

struct ZUGF_Arena_Chunk {
  uint8_t* start;
  uint64_t size;
  uint8_t* run_sizes;  // for each run, the index of its size
};

struct ZUGF_Arena {
  ZUGF_Arena_Size* sizes;    // ZUGF_ARENA_SIZES of them, from the first small block on
  ZUGF_Arena_Chunk* chunks;  // every chunk, ascending by address
  uint32_t chunk_count;
  uint32_t chunk_capacity;
  uint8_t* next;        // runs not yet handed out, in the newest chunk
  uint64_t left;        // bytes there
  uint64_t chunk_size;  // size of the newest chunk, or ZUGF_ARENA_LAST_CHUNK after one cut to a hint
  uint64_t handed_out;  // bytes of runs handed out so far
  uint64_t expected;    // with a hint: the value handed_out will reach, by the library's word
  void** large;         // the large blocks handed out and not yet freed, by open addressing
  uint32_t large_count;
  uint32_t large_capacity;  // a power of two, or 0
  uint8_t closing;          // set while the document is released: every block goes with the arena
};

// ZUGF_Alloc_Callback and ZUGF_Free_Callback over an arena: the block or null,
// and -8 for a null block, 0 otherwise.
void* ZUGF_Arena_Alloc_Callback(uint64_t size, void* arena);
int32_t ZUGF_Arena_Free_Callback(void* block, void* arena);
// PDF_Expect_Callback over an arena: about size bytes of small blocks follow.
void ZUGF_Arena_Expect_Callback(uint64_t size, void* arena);
// Frees every chunk and every large block still there; the record can be used again.
void ZUGF_Release_Arena(ZUGF_Arena* arena);

#endif
