// The front end's reads: the stdio callback by itself, the reads through
// blocks held in memory compared call by call with it, and the document arena.
#include "front/zugf_callbacks.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "runtime/pdf_result.h"
#include "support/pdf_builder.h"

namespace {

const uint64_t kBlock = ZUGF_INPUT_BLOCK;

int Open_Descriptors() {
  int count = 0;
  for (int fd = 0; fd < 1024; ++fd) count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
  return count;
}

TEST(Callbacks, ReadSeeksByModeAndReadsBytes) {
  const std::string path = Test_Temp_Path("read.bin");
  ASSERT_TRUE(Test_Write_File(path, "0123456789"));
  const struct {
    uint32_t mode;
    uint64_t offset, size;
    bool with_buffer, by_path;
    std::string bytes;
  } cases[] = {
      {1, 8, 4, true, false, "89"},
      {2, static_cast<uint64_t>(-4), 4, true, false, "6789"},
      {0, 9, 3, true, false, "012"},              // the stream's own position
      {1, (1ull << 32) + 2, 2, true, false, ""},  // 64-bit: far past the end of the file
      {1, 2, 2, true, false, "23"},
      {1, UINT64_MAX, 2, true, false, ""},  // negative as a file position: the seek fails
      {1, 0, 0, true, false, ""},
      {1, 0, 4, false, false, ""},
      {1, 5, 2, true, true, "56"},
  };
  for (const auto& c : cases) {
    FILE* stream = fopen(path.c_str(), "rb");
    char buffer[16] = {};
    uint64_t result = ZUGF_Read_Callback(c.with_buffer ? buffer : nullptr, c.mode, c.offset, c.size,
                                         c.by_path ? path.c_str() : nullptr, c.by_path ? nullptr : stream);
    EXPECT_EQ(std::string(buffer, result), c.bytes) << c.mode << " " << c.offset << " " << c.size;
    fclose(stream);
  }
  char buffer[4];
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, 0, 4, nullptr, nullptr), 0u);
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, 0, 4, "/nonexistent/file", nullptr), 0u);
  // A stream that the callback opened itself is not closed when the seek fails.
  int before = Open_Descriptors();
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, UINT64_MAX, 2, path.c_str(), nullptr), 0u);
  EXPECT_EQ(Open_Descriptors(), before + 1);
  EXPECT_EQ(ZUGF_Read_Callback(buffer, 1, 1, 2, path.c_str(), nullptr), 2u);
  EXPECT_EQ(Open_Descriptors(), before + 1) << "the successful read closed its own stream";
  remove(path.c_str());
  void* block = ZUGF_Alloc_Callback(16, nullptr);
  EXPECT_EQ(ZUGF_Free_Callback(block, nullptr), PDF_RESULT_OK);
  EXPECT_EQ(ZUGF_Free_Callback(nullptr, nullptr), PDF_RESULT_NOTHING_TO_FREE);
}

struct Read_Call {
  uint32_t mode;
  uint64_t offset, size;
  bool with_buffer, by_path;
};

// The count and the bytes of every call through one callback over a freshly
// opened stream; the context is the stream itself or an input record over it.
std::vector<std::string> Run_Calls(const std::string& path, const std::vector<Read_Call>& calls, bool through_input) {
  std::vector<std::string> results;
  FILE* stream = fopen(path.c_str(), "rb");
  ZUGF_Input input{};
  input.stream = stream;
  for (const Read_Call& call : calls) {
    std::vector<char> buffer(call.size + 1, '\xAA');
    void* target = call.with_buffer ? buffer.data() : nullptr;
    const char* by_path = call.by_path ? path.c_str() : nullptr;
    uint64_t count = through_input
                         ? ZUGF_Read_Input_Callback(target, call.mode, call.offset, call.size, by_path, &input)
                         : ZUGF_Read_Callback(target, call.mode, call.offset, call.size, by_path, stream);
    results.push_back(std::to_string(count) + ":" + std::string(buffer.data(), std::min(count, call.size)));
  }
  ZUGF_Release_Input(&input);
  if (stream != nullptr) fclose(stream);
  return results;
}

// Every byte forward and backward past the end, then mixed calls: every mode,
// offsets near the block edges and around 2 GiB and 4 GiB, reads larger than
// a block, no size, no buffer, and a path that opens a stream of its own.
std::vector<Read_Call> Script(uint64_t size) {
  std::vector<Read_Call> calls;
  for (uint64_t at = 0; at < size + 3; ++at) calls.push_back({1, at, 1, true, false});
  for (uint64_t at = size + 2; at-- > 0;) calls.push_back({1, at, 9, true, false});
  std::mt19937 generator(static_cast<uint32_t>(size));
  const uint64_t bases[] = {0, kBlock, 2 * kBlock, size, 1ull << 32, 0x80000000ull, 0xFFFFFFF0ull};
  const uint64_t sizes[] = {0, 1, 3, 40, kBlock - 1, kBlock, kBlock + 1, 2 * kBlock + 5};
  for (int i = 0; i < 3000; ++i) {
    uint32_t kind = generator() % 20;
    uint32_t mode = kind < 12 ? 1 : kind < 16 ? 0 : kind < 19 ? 2 : 7;
    uint64_t offset = bases[generator() % 7] + static_cast<uint64_t>(generator() % 9) - 4;
    if (mode == 2) offset = static_cast<uint64_t>(-static_cast<int64_t>(generator() % (size + 1))) + generator() % 2;
    calls.push_back({mode, offset, generator() % 3 == 0 ? sizes[generator() % 8] : 1 + generator() % 40,
                     generator() % 25 != 0, generator() % 40 == 0});
  }
  return calls;
}

TEST(Input_Callback, SameCountsAndBytesAsTheStreamCallback) {
  const uint64_t sizes[] = {0, 10, kBlock, kBlock + 1, (ZUGF_INPUT_BLOCKS + 3) * kBlock + 17};
  for (uint64_t size : sizes) {
    const std::string path = Test_Temp_Path("input_" + std::to_string(size) + ".bin");
    std::string bytes(size, '\0');
    std::mt19937 generator(static_cast<uint32_t>(size));
    for (char& byte : bytes) byte = static_cast<char>(generator());
    ASSERT_TRUE(Test_Write_File(path, bytes));
    const std::vector<Read_Call> calls = Script(size);
    std::vector<std::string> expected = Run_Calls(path, calls, false);
    std::vector<std::string> actual = Run_Calls(path, calls, true);
    for (size_t i = 0; i < expected.size(); ++i) {
      ASSERT_TRUE(actual[i] == expected[i]) << "file of " << size << " bytes, call " << i << ": mode " << calls[i].mode
                                            << ", offset " << calls[i].offset << ", size " << calls[i].size << ": "
                                            << actual[i].substr(0, 20) << " instead of " << expected[i].substr(0, 20);
    }
    remove(path.c_str());
  }
  // A folder opens but can't be read; the input gives up on its blocks and
  // reads as the stream callback does from then on.
  const std::vector<Read_Call> calls = {{1, 0, 1, true, false}, {0, 0, 2, true, false}};
  EXPECT_EQ(Run_Calls("/", calls, true), Run_Calls("/", calls, false));
  char buffer[4] = {};
  ZUGF_Input empty{};
  EXPECT_EQ(ZUGF_Read_Input_Callback(buffer, 1, 0, 4, nullptr, &empty), 0u) << "no stream";
  EXPECT_EQ(ZUGF_Read_Input_Callback(buffer, 1, 0, 4, nullptr, nullptr), 0u) << "no input";
}

TEST(Arena, BlocksAreDistinctServeAgainOnceFreedAndGoWithTheArena) {
  ZUGF_Arena arena{};
  std::vector<uint8_t*> small;
  for (uint64_t size = 1; size <= ZUGF_ARENA_LARGE; size += 37) {
    small.push_back(static_cast<uint8_t*>(ZUGF_Arena_Alloc_Callback(size, &arena)));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(small.back()) % 8, 0u) << size;
    memset(small.back(), static_cast<int>(size & 0xFF), size);
  }
  // No block overlaps another: each still holds its own pattern.
  for (size_t i = 0; i < small.size(); ++i) {
    EXPECT_EQ(small[i][37 * i], static_cast<uint8_t>((1 + 37 * i) & 0xFF)) << i;
  }
  // A freed block serves the next request of its size (to eight bytes), and only that.
  void* forty = ZUGF_Arena_Alloc_Callback(40, &arena);
  EXPECT_EQ(ZUGF_Arena_Free_Callback(forty, &arena), PDF_RESULT_OK);
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(48, &arena), forty);
  EXPECT_EQ(ZUGF_Arena_Alloc_Callback(33, &arena), forty);
  int outside = 0;
  EXPECT_EQ(ZUGF_Arena_Free_Callback(&outside, &arena), PDF_RESULT_OK) << "a block of no chunk is left alone";
  EXPECT_EQ(ZUGF_Arena_Free_Callback(nullptr, &arena), PDF_RESULT_NOTHING_TO_FREE);
  // Allocating and freeing for ever takes no more memory than one round of it.
  const uint32_t chunks = arena.chunk_count;
  for (int round = 0; round < 20000; ++round) {
    EXPECT_EQ(ZUGF_Arena_Free_Callback(ZUGF_Arena_Alloc_Callback(300, &arena), &arena), PDF_RESULT_OK);
    EXPECT_EQ(ZUGF_Arena_Free_Callback(ZUGF_Arena_Alloc_Callback(ZUGF_ARENA_LARGE, &arena), &arena), PDF_RESULT_OK);
  }
  EXPECT_LE(arena.chunk_count, chunks + 2);
  // Large blocks, freed in a shuffled order with others still out: the
  // record of those still out stays whole (the sanitizer run checks that
  // each is freed exactly once, here or at the release).
  std::vector<void*> large;
  for (int i = 0; i < 500; ++i) large.push_back(ZUGF_Arena_Alloc_Callback(ZUGF_ARENA_LARGE + 1 + i, &arena));
  std::shuffle(large.begin(), large.end(), std::mt19937(3));
  for (size_t i = 0; i < 400; ++i) EXPECT_EQ(ZUGF_Arena_Free_Callback(large[i], &arena), PDF_RESULT_OK);
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(0, &arena), nullptr) << "an empty request goes to malloc as well";
  // While the document is released every free waits for the arena.
  arena.closing = 1;
  EXPECT_EQ(ZUGF_Arena_Free_Callback(large[400], &arena), PDF_RESULT_OK);
  EXPECT_EQ(arena.large_count, 101u);
  ZUGF_Release_Arena(&arena);
  EXPECT_EQ(arena.large_count, 0u);
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(40, &arena), nullptr) << "the record serves again after its release";
  ZUGF_Release_Arena(&arena);
}

TEST(Arena, ChunkOfTheLastSizeIsCutToWhatTheLibraryAnnounced) {
  struct Row {
    const char* name;
    bool hinted;
    uint64_t hint;      // given when the next run needs a new chunk
    uint64_t expected;  // size of the chunk that follows
  };
  const Row rows[] = {
      {"no hint: a full chunk", false, 0, ZUGF_ARENA_LAST_CHUNK},
      {"a small rest: cut, with room for what follows", true, 10000, 3 * 4096 + ZUGF_ARENA_SLACK},
      {"a rest spent: the room alone", true, 0, ZUGF_ARENA_SLACK},
      {"a rest of half a chunk or more: a full chunk", true, ZUGF_ARENA_LAST_CHUNK / 2, ZUGF_ARENA_LAST_CHUNK},
      {"a damaged count's hint: a full chunk", true, UINT64_MAX, ZUGF_ARENA_LAST_CHUNK},
  };
  for (const Row& row : rows) {
    ZUGF_Arena arena{};
    // Blocks of one size until the chunks have doubled to the last size and
    // the newest has handed out all its runs.
    std::vector<uint64_t*> blocks;
    while (arena.chunk_size < ZUGF_ARENA_LAST_CHUNK || arena.left > 0) {
      blocks.push_back(static_cast<uint64_t*>(ZUGF_Arena_Alloc_Callback(56, &arena)));
    }
    const uint32_t chunks = arena.chunk_count;
    if (row.hinted) ZUGF_Arena_Expect_Callback(row.hint, &arena);
    while (arena.chunk_count == chunks) {
      blocks.push_back(static_cast<uint64_t*>(ZUGF_Arena_Alloc_Callback(56, &arena)));
    }
    uint64_t newest = 0;
    for (uint32_t i = 0; i < arena.chunk_count; ++i) {
      if (arena.chunks[i].start <= reinterpret_cast<uint8_t*>(blocks.back()) &&
          reinterpret_cast<uint8_t*>(blocks.back()) < arena.chunks[i].start + arena.chunks[i].size) {
        newest = arena.chunks[i].size;
      }
    }
    EXPECT_EQ(newest, row.expected) << row.name;
    // The cut chunk serves to its end and the next block comes from a chunk
    // of its own: every block is written and keeps its value.
    while (arena.chunk_count == chunks + 1) {
      blocks.push_back(static_cast<uint64_t*>(ZUGF_Arena_Alloc_Callback(56, &arena)));
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
      ASSERT_NE(blocks[i], nullptr) << row.name;
      for (int word = 0; word < 7; ++word) blocks[i][word] = i;
    }
    for (size_t i = 0; i < blocks.size(); ++i) ASSERT_EQ(blocks[i][6], i) << row.name;
    ZUGF_Release_Arena(&arena);
  }
}

}  // namespace
