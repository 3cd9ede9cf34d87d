#include "front/zugf_callbacks.h"

#include <sys/mman.h>
#include <sys/types.h>

#include <cstdlib>
#include <cstring>

#include "runtime/pdf_result.h"

void* ZUGF_Alloc_Callback(uint64_t size, void*) { return malloc(size); }

int32_t ZUGF_Free_Callback(void* block, void*) {
  if (block == nullptr) return PDF_RESULT_NOTHING_TO_FREE;
  free(block);
  return PDF_RESULT_OK;
}

// Positions are 64-bit throughout, so that a file of 4 GiB or more is read
// where its offsets say. An offset beyond the largest signed 64-bit value
// turns negative and the seek fails, in both read callbacks alike.
static_assert(sizeof(off_t) == 8, "file positions must be 64-bit");

static off_t Seek_Offset(uint64_t offset) { return static_cast<off_t>(offset); }

uint64_t ZUGF_Read_Callback(void* buffer, uint32_t mode, uint64_t offset, uint64_t size, const char* path,
                            void* stream) {
  FILE* file = static_cast<FILE*>(stream);
  FILE* opened = nullptr;
  if (path != nullptr) {
    opened = fopen(path, "rb");
    file = opened;
  }
  if (file == nullptr) return 0;

  off_t seek_offset = Seek_Offset(offset);
  int seek_failed = 0;
  if (mode == 1) {
    seek_failed = fseeko(file, seek_offset, SEEK_SET);
  } else if (mode == 2) {
    seek_failed = fseeko(file, seek_offset, SEEK_END);
  }
  // Kept: a stream opened above stays open when the seek fails. The leak is
  // the callback's documented behaviour, and tests count the descriptors.
  if (seek_failed != 0) return 0;

  uint64_t result = 0;
  if (size != 0 && buffer != nullptr) result = fread(buffer, 1, size, file);
  if (opened != nullptr) fclose(opened);
  return result;
}

namespace {

// Notes that the file ends at or before offset.
void Bound_End(ZUGF_Input* input, uint64_t offset) {
  if (!input->end_known || offset < input->end_bound) input->end_bound = offset;
  input->end_known = 1;
}

// Gives up on the blocks: the stream is read as ZUGF_Read_Callback reads it.
void Go_Plain(ZUGF_Input* input) {
  ZUGF_Release_Input(input);
  input->plain = 1;
}

// The slot holding block number, read in when needed; null when the stream
// can't seek or read, or no memory is to be had.
ZUGF_Input_Block* Block(ZUGF_Input* input, uint64_t number) {
  input->clock += 1;
  ZUGF_Input_Block* last = &input->blocks[input->last_slot];
  if (last->bytes != nullptr && last->number == number) {
    last->last_use = input->clock;
    return last;
  }
  uint32_t victim = 0;
  for (uint32_t slot = 0; slot < ZUGF_INPUT_BLOCKS; ++slot) {
    ZUGF_Input_Block* block = &input->blocks[slot];
    if (block->bytes != nullptr && block->number == number) {
      block->last_use = input->clock;
      input->last_slot = slot;
      return block;
    }
    if (block->last_use < input->blocks[victim].last_use) victim = slot;
  }
  ZUGF_Input_Block* block = &input->blocks[victim];
  if (block->bytes == nullptr) {
    block->bytes = static_cast<uint8_t*>(malloc(ZUGF_INPUT_BLOCK));
    if (block->bytes == nullptr) return nullptr;
  }
  block->last_use = 0;  // until it holds the new block's bytes
  block->number = ~0ull;
  uint64_t start = number * ZUGF_INPUT_BLOCK;
  if (fseeko(input->stream, static_cast<off_t>(start), SEEK_SET) != 0) return nullptr;
  uint64_t length = fread(block->bytes, 1, ZUGF_INPUT_BLOCK, input->stream);
  if (ferror(input->stream)) return nullptr;
  if (length < ZUGF_INPUT_BLOCK) Bound_End(input, start + length);
  block->number = number;
  block->start = start;
  block->length = length;
  block->last_use = input->clock;
  input->last_slot = victim;
  return block;
}

// The read of size bytes at a non-negative target that fseek and fread would
// make. False: the blocks have been given up, and what was copied is void.
bool Serve(ZUGF_Input* input, void* buffer, uint64_t target, uint64_t size, uint64_t* count) {
  *count = 0;
  if (size == 0 || buffer == nullptr) return true;
  if (size > ZUGF_INPUT_BLOCK) {
    // Large reads go straight into the caller's buffer.
    if (input->end_known && target >= input->end_bound) return true;
    if (fseeko(input->stream, static_cast<off_t>(target), SEEK_SET) != 0) return false;
    *count = fread(buffer, 1, size, input->stream);
    if (ferror(input->stream)) return false;
    if (*count < size) Bound_End(input, target + *count);
    return true;
  }
  uint8_t* out = static_cast<uint8_t*>(buffer);
  while (*count < size) {
    uint64_t at = target + *count;
    if (input->end_known && at >= input->end_bound) break;  // fread delivers nothing past the end
    ZUGF_Input_Block* block = Block(input, at / ZUGF_INPUT_BLOCK);
    if (block == nullptr) return false;
    uint64_t inside = at % ZUGF_INPUT_BLOCK;
    if (inside >= block->length) break;  // a short block ends where the file ends
    uint64_t n = block->length - inside;
    if (n > size - *count) n = size - *count;
    memcpy(out + *count, block->bytes + inside, n);
    *count += n;
  }
  return true;
}

// Every request but the usual one.
__attribute__((noinline)) uint64_t Read_Input(void* buffer, uint32_t mode, uint64_t offset, uint64_t size,
                                              const char* path, ZUGF_Input* input);

}  // namespace

uint64_t ZUGF_Read_Input_Callback(void* buffer, uint32_t mode, uint64_t offset, uint64_t size, const char* path,
                                  void* context) {
  ZUGF_Input* input = static_cast<ZUGF_Input*>(context);
  // The library's usual request: an absolute read that the block of the last
  // request holds whole. (Its bytes are null once the blocks are given up.)
  if (mode == 1 && path == nullptr && input != nullptr && buffer != nullptr && size != 0) {
    const ZUGF_Input_Block* block = &input->blocks[input->last_slot];
    off_t seek_offset = Seek_Offset(offset);
    uint64_t inside = static_cast<uint64_t>(seek_offset) - block->start;
    if (seek_offset >= 0 && block->bytes != nullptr && static_cast<uint64_t>(seek_offset) >= block->start &&
        inside < block->length && size <= block->length - inside) {
      if (size == 1) {
        *static_cast<uint8_t*>(buffer) = block->bytes[inside];
      } else {
        memcpy(buffer, block->bytes + inside, size);
      }
      input->position = static_cast<uint64_t>(seek_offset) + size;
      input->position_known = 1;
      return size;
    }
  }
  return Read_Input(buffer, mode, offset, size, path, input);
}

namespace {

uint64_t Read_Input(void* buffer, uint32_t mode, uint64_t offset, uint64_t size, const char* path, ZUGF_Input* input) {
  // Kept: a path opens a stream of its own for this call and mode 2 seeks
  // from the end, though the library passes neither: both go to the stdio
  // callback as they stand, so that they answer as they always did.
  if (path != nullptr) return ZUGF_Read_Callback(buffer, mode, offset, size, path, nullptr);
  if (input == nullptr || input->stream == nullptr) return 0;
  if (input->plain) return ZUGF_Read_Callback(buffer, mode, offset, size, nullptr, input->stream);

  uint64_t target = 0;
  if (mode == 1) {
    off_t seek_offset = Seek_Offset(offset);
    if (seek_offset < 0) return 0;  // fseek refuses a negative offset and the position stays
    target = static_cast<uint64_t>(seek_offset);
  } else if (mode == 2 || !input->position_known) {
    // A seek from the end, or a read where the stream itself stands: the
    // stream does it, and its position is the true one from here on.
    input->position_known = 0;
    return ZUGF_Read_Callback(buffer, mode, offset, size, nullptr, input->stream);
  } else {
    target = input->position;  // no seek: the read goes on where the last one ended
  }
  uint64_t count = 0;
  if (!Serve(input, buffer, target, size, &count)) {
    // Given up: the request is made again as ZUGF_Read_Callback makes it,
    // from the position the stream would have had.
    Go_Plain(input);
    if (mode == 1) return ZUGF_Read_Callback(buffer, mode, offset, size, nullptr, input->stream);
    if (fseeko(input->stream, static_cast<off_t>(target), SEEK_SET) != 0) return 0;
    return fread(buffer, 1, size, input->stream);
  }
  input->position = target + count;
  input->position_known = 1;
  return count;
}

}  // namespace

void ZUGF_Release_Input(ZUGF_Input* input) {
  if (input == nullptr) return;
  for (ZUGF_Input_Block& block : input->blocks) {
    free(block.bytes);
    block = ZUGF_Input_Block{0, 0, 0, 0, nullptr};
  }
  input->last_slot = 0;
}

namespace {

uint32_t Large_Slot(const void* block, uint32_t capacity) {
  uint64_t key = reinterpret_cast<uintptr_t>(block) >> 4;
  return static_cast<uint32_t>((key * 0x9E3779B97F4A7C15ull) >> 40) & (capacity - 1);
}

void Large_Insert(void** slots, uint32_t capacity, void* block) {
  uint32_t slot = Large_Slot(block, capacity);
  while (slots[slot] != nullptr) slot = (slot + 1) & (capacity - 1);
  slots[slot] = block;
}

// Records a large block; false when the memory can't be had.
bool Large_Add(ZUGF_Arena* arena, void* block) {
  if (2 * (arena->large_count + 1) > arena->large_capacity) {
    uint32_t capacity = arena->large_capacity == 0 ? 64 : arena->large_capacity * 2;
    void** slots = static_cast<void**>(calloc(capacity, sizeof(void*)));
    if (slots == nullptr) return false;
    for (uint32_t i = 0; i < arena->large_capacity; ++i) {
      if (arena->large[i] != nullptr) Large_Insert(slots, capacity, arena->large[i]);
    }
    free(arena->large);
    arena->large = slots;
    arena->large_capacity = capacity;
  }
  Large_Insert(arena->large, arena->large_capacity, block);
  arena->large_count += 1;
  return true;
}

// Takes a large block off the record; false when it isn't one.
bool Large_Remove(ZUGF_Arena* arena, void* block) {
  if (arena->large_count == 0) return false;
  const uint32_t mask = arena->large_capacity - 1;
  uint32_t slot = Large_Slot(block, arena->large_capacity);
  while (arena->large[slot] != block) {
    if (arena->large[slot] == nullptr) return false;
    slot = (slot + 1) & mask;
  }
  // Later members of the probe run move up into the gap, as far as their
  // own slots allow.
  uint32_t gap = slot;
  for (uint32_t at = (slot + 1) & mask; arena->large[at] != nullptr; at = (at + 1) & mask) {
    uint32_t home = Large_Slot(arena->large[at], arena->large_capacity);
    if (((at - home) & mask) >= ((at - gap) & mask)) {
      arena->large[gap] = arena->large[at];
      gap = at;
    }
  }
  arena->large[gap] = nullptr;
  arena->large_count -= 1;
  return true;
}

// A new chunk, recorded in address order; false when the memory can't be had.
bool Arena_Grow(ZUGF_Arena* arena) {
  uint64_t size = arena->chunk_size == 0 ? static_cast<uint64_t>(ZUGF_ARENA_FIRST_CHUNK) : arena->chunk_size * 2;
  if (size > ZUGF_ARENA_LAST_CHUNK) size = ZUGF_ARENA_LAST_CHUNK;
  // A page of the last size is resident whole from its first use: where
  // the rest of what the library announced would fill less than half of
  // one, the chunk is cut to that rest and what follows it, and takes small
  // pages, as many as get used. (Up to half a chunk of small pages, since
  // after each call the C library gives such memory back to the system and
  // the next call pays a fault for every page of it again.)
  const uint64_t rest = arena->expected > arena->handed_out ? arena->expected - arena->handed_out : 0;
  const bool cut = size == ZUGF_ARENA_LAST_CHUNK && arena->expected != 0 && rest < ZUGF_ARENA_LAST_CHUNK / 2;
  if (cut) size = (rest + ZUGF_ARENA_SLACK + ZUGF_ARENA_RUN - 1) / ZUGF_ARENA_RUN * ZUGF_ARENA_RUN;
  if (arena->chunk_count == arena->chunk_capacity) {
    uint32_t capacity = arena->chunk_capacity == 0 ? 64 : arena->chunk_capacity * 2;
    void* grown = realloc(arena->chunks, sizeof(ZUGF_Arena_Chunk) * capacity);
    if (grown == nullptr) return false;
    arena->chunks = static_cast<ZUGF_Arena_Chunk*>(grown);
    arena->chunk_capacity = capacity;
  }
  uint8_t* run_sizes = static_cast<uint8_t*>(calloc(size / ZUGF_ARENA_RUN, 1));
  if (run_sizes == nullptr) return false;
  uint8_t* chunk = nullptr;
  if (!cut && size == ZUGF_ARENA_LAST_CHUNK) {
    // Large documents fill chunk after chunk of the full size: one page of
    // that size each, where the system offers such pages, instead of a
    // fault for every small page.
    chunk = static_cast<uint8_t*>(aligned_alloc(ZUGF_ARENA_LAST_CHUNK, size));
#ifdef MADV_HUGEPAGE
    if (chunk != nullptr) madvise(chunk, size, MADV_HUGEPAGE);
#endif
  } else if (cut) {
    // Taken as a full chunk is, but left in small pages and used only up to
    // size: untouched pages cost no memory, and the C library keeps a block of
    // this shape for the next document as it keeps the full chunks. (A plain
    // malloc of the cut size went back to the system after each call, and the
    // next call faulted every page of it in again.)
    chunk = static_cast<uint8_t*>(aligned_alloc(ZUGF_ARENA_LAST_CHUNK, ZUGF_ARENA_LAST_CHUNK));
  } else {
    chunk = static_cast<uint8_t*>(malloc(size));
  }
  if (chunk == nullptr) {
    free(run_sizes);
    return false;
  }
  // In address order, so that a freed block's chunk is found by a binary
  // search.
  uint32_t at = arena->chunk_count;
  while (at > 0 && arena->chunks[at - 1].start > chunk) {
    arena->chunks[at] = arena->chunks[at - 1];
    at -= 1;
  }
  arena->chunks[at] = ZUGF_Arena_Chunk{chunk, size, run_sizes};
  arena->chunk_count += 1;
  arena->chunk_size = cut ? static_cast<uint64_t>(ZUGF_ARENA_LAST_CHUNK) : size;
  arena->next = chunk;
  arena->left = size;
  return true;
}

// The chunk holding the block, or null when no chunk does.
const ZUGF_Arena_Chunk* Chunk_Of(const ZUGF_Arena* arena, const void* block) {
  const uint8_t* address = static_cast<const uint8_t*>(block);
  uint32_t low = 0;
  uint32_t high = arena->chunk_count;  // the chunk wanted is below high
  while (low < high) {
    uint32_t middle = low + (high - low) / 2;
    if (arena->chunks[middle].start <= address) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  if (low == 0) return nullptr;
  const ZUGF_Arena_Chunk* chunk = &arena->chunks[low - 1];
  return address < chunk->start + chunk->size ? chunk : nullptr;
}

}  // namespace

void* ZUGF_Arena_Alloc_Callback(uint64_t size, void* data) {
  ZUGF_Arena* arena = static_cast<ZUGF_Arena*>(data);
  if (arena == nullptr) return malloc(size);
  if (size == 0 || size > ZUGF_ARENA_LARGE) {
    void* block = malloc(size);
    if (block != nullptr && !Large_Add(arena, block)) {
      free(block);
      return nullptr;
    }
    return block;
  }
  if (arena->sizes == nullptr) {
    arena->sizes = static_cast<ZUGF_Arena_Size*>(calloc(ZUGF_ARENA_SIZES, sizeof(ZUGF_Arena_Size)));
    if (arena->sizes == nullptr) return nullptr;
  }
  const uint32_t index = static_cast<uint32_t>((size + 7) / 8 - 1);
  const uint64_t rounded = (index + 1) * 8;
  ZUGF_Arena_Size* size_record = &arena->sizes[index];
  if (size_record->free_list != nullptr) {
    void* block = size_record->free_list;
    size_record->free_list = *static_cast<void**>(block);
    return block;
  }
  if (size_record->left < rounded) {
    // A new run for this size, from the newest chunk or a new one.
    if (arena->left < ZUGF_ARENA_RUN && !Arena_Grow(arena)) return nullptr;
    const ZUGF_Arena_Chunk* chunk = Chunk_Of(arena, arena->next);
    chunk->run_sizes[(arena->next - chunk->start) / ZUGF_ARENA_RUN] = static_cast<uint8_t>(index);
    size_record->next = arena->next;
    size_record->left = ZUGF_ARENA_RUN;
    arena->next += ZUGF_ARENA_RUN;
    arena->left -= ZUGF_ARENA_RUN;
    arena->handed_out += ZUGF_ARENA_RUN;
  }
  void* block = size_record->next;
  size_record->next += rounded;
  size_record->left -= rounded;
  return block;
}

int32_t ZUGF_Arena_Free_Callback(void* block, void* data) {
  if (block == nullptr) return PDF_RESULT_NOTHING_TO_FREE;
  ZUGF_Arena* arena = static_cast<ZUGF_Arena*>(data);
  if (arena == nullptr) {
    free(block);
    return PDF_RESULT_OK;
  }
  // While the document is released, everything waits for the arena.
  if (arena->closing) return PDF_RESULT_OK;
  if (Large_Remove(arena, block)) {
    free(block);
    return PDF_RESULT_OK;
  }
  // A small block serves the next request of its size.
  const ZUGF_Arena_Chunk* chunk = Chunk_Of(arena, block);
  if (chunk != nullptr) {
    ZUGF_Arena_Size* size_record =
        &arena->sizes[chunk->run_sizes[(static_cast<uint8_t*>(block) - chunk->start) / ZUGF_ARENA_RUN]];
    *static_cast<void**>(block) = size_record->free_list;
    size_record->free_list = block;
  }
  return PDF_RESULT_OK;
}

void ZUGF_Arena_Expect_Callback(uint64_t size, void* data) {
  ZUGF_Arena* arena = static_cast<ZUGF_Arena*>(data);
  if (arena == nullptr) return;
  // The newest word counts: it comes as a table is about to be read.
  arena->expected = size > UINT64_MAX - arena->handed_out ? UINT64_MAX : arena->handed_out + size;
}

void ZUGF_Release_Arena(ZUGF_Arena* arena) {
  if (arena == nullptr) return;
  for (uint32_t i = 0; i < arena->chunk_count; ++i) {
    free(arena->chunks[i].start);
    free(arena->chunks[i].run_sizes);
  }
  free(arena->chunks);
  free(arena->sizes);
  for (uint32_t i = 0; i < arena->large_capacity; ++i) free(arena->large[i]);
  free(arena->large);
  *arena = ZUGF_Arena{nullptr, nullptr, 0, 0, nullptr, 0, 0, 0, 0, nullptr, 0, 0, 0};
}
