// The front end's reads through blocks held in memory, compared call by call
// with the stdio callback on the same file, and the document arena.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "front/zugf_callbacks.h"
#include "runtime/pdf_result.h"
#include "support/pdf_builder.h"

namespace {

const uint64_t kBlock = ZUGF_INPUT_BLOCK;

struct Read_Call {
  uint32_t mode;
  uint64_t offset;
  uint64_t size;
  bool with_buffer;
  bool by_path;
};

// Bytes that differ from position to position, so that a read from the
// wrong place can't pass.
std::string Patterned(uint64_t size) {
  std::string bytes(size, '\0');
  std::mt19937 generator(static_cast<uint32_t>(size));
  for (char& byte : bytes) byte = static_cast<char>(generator());
  return bytes;
}

struct Read_Result {
  uint64_t count;
  std::string bytes;
  bool operator==(const Read_Result& other) const { return count == other.count && bytes == other.bytes; }
};

// Runs the calls through one callback over a freshly opened stream; the
// context is the stream itself or an input record over it.
std::vector<Read_Result> Run_Calls(const std::string& path, const std::vector<Read_Call>& calls, bool through_input) {
  std::vector<Read_Result> results;
  FILE* stream = fopen(path.c_str(), "rb");
  EXPECT_NE(stream, nullptr);
  if (stream == nullptr) return results;
  ZUGF_Input input{};
  input.stream = stream;
  for (const Read_Call& call : calls) {
    std::vector<char> buffer(call.size + 1, '\xAA');
    void* target = call.with_buffer ? buffer.data() : nullptr;
    const char* by_path = call.by_path ? path.c_str() : nullptr;
    uint64_t count = through_input
                         ? ZUGF_Read_Input_Callback(target, call.mode, call.offset, call.size, by_path, &input)
                         : ZUGF_Read_Callback(target, call.mode, call.offset, call.size, by_path, stream);
    uint64_t shown = std::min<uint64_t>(count, call.size);
    results.push_back({count, std::string(buffer.data(), static_cast<size_t>(shown))});
  }
  ZUGF_Release_Input(&input);
  fclose(stream);
  return results;
}

const uint64_t kMinus4 = static_cast<uint64_t>(-4);

struct Script {
  const char* name;
  std::vector<Read_Call> calls;
};

// Scripts over a file of the given size.
std::vector<Script> Scripts(uint64_t size) {
  std::vector<Script> scripts;
  Script forward{"every byte forward, then past the end", {}};
  for (uint64_t at = 0; at < size + 3; ++at) forward.calls.push_back({1, at, 1, true, false});
  scripts.push_back(forward);
  Script backward{"every byte backward, as the startxref search goes", {}};
  for (uint64_t at = size + 2; at-- > 0;) backward.calls.push_back({1, at, 9, true, false});
  scripts.push_back(backward);
  Script scattered{"scattered reads of up to 40 bytes", {}};
  std::mt19937 generator(7);
  for (int i = 0; i < 3000; ++i) {
    scattered.calls.push_back({1, generator() % (size + 64), 1 + generator() % 40, true, false});
  }
  scripts.push_back(scattered);
  scripts.push_back({"across block edges and larger than a block",
                     {{1, kBlock - 3, 10, true, false},
                      {1, 2 * kBlock - 1, 2, true, false},
                      {1, 7, 2 * kBlock + 5, true, false},
                      {1, kBlock, kBlock, true, false},
                      {1, kBlock + 1, kBlock, true, false},
                      {1, size > 5 ? size - 5 : 0, kBlock + 1, true, false},
                      {1, 3, 4, true, false}}});
  scripts.push_back({"offsets cut to 32 bits; negative ones fail",
                     {{1, (1ull << 32) + 5, 3, true, false},
                      {1, 0x80000000ull, 1, true, false},
                      {1, 0xFFFFFFFFull, 2, true, false},
                      {0, 0, 4, true, false},
                      {1, (1ull << 33) + 2, 2, true, false}}});
  scripts.push_back(
      {"no size, no buffer: nothing read, the seek still made",
       {{1, 9, 0, true, false}, {0, 0, 3, true, false}, {1, 20, 5, false, false}, {0, 0, 2, true, false}}});
  scripts.push_back({"reads at the stream's own position",
                     {{0, 0, 3, true, false},
                      {0, 0, 5, true, false},
                      {1, 11, 2, true, false},
                      {0, 0, 4, true, false},
                      {1, size + 10, 2, true, false},
                      {0, 0, 2, true, false},
                      {1, 0xFFFFFFF0ull, 2, true, false},
                      {0, 0, 2, true, false},
                      {7, 0, 3, true, false}}});
  scripts.push_back({"seeks from the end",
                     {{2, kMinus4, 4, true, false},
                      {0, 0, 2, true, false},
                      {2, 0, 1, true, false},
                      {2, 3, 1, true, false},
                      {0, 0, 1, true, false},
                      {2, static_cast<uint64_t>(-static_cast<int64_t>(size) - 1), 1, true, false},
                      {0, 0, 3, true, false},
                      {1, 1, 2, true, false},
                      {0, 0, 2, true, false}}});
  scripts.push_back({"a path opens its own stream and leaves the input's alone",
                     {{1, 2, 3, true, false},
                      {1, 5, 2, true, true},
                      {0, 0, 2, true, false},
                      {2, kMinus4, 2, true, true},
                      {1, 0xFFFFFFFFull, 2, true, true}}});
  return scripts;
}

TEST(Input_Callback, SameCountsAndBytesAsTheStreamCallback) {
  const uint64_t sizes[] = {
      0, 1, 10, kBlock - 1, kBlock, kBlock + 1, 3 * kBlock + 100, (ZUGF_INPUT_BLOCKS + 3) * kBlock + 17};
  for (uint64_t size : sizes) {
    const std::string path = Test_Temp_Path("input_" + std::to_string(size) + ".bin");
    ASSERT_TRUE(Test_Write_File(path, Patterned(size)));
    for (const Script& script : Scripts(size)) {
      std::vector<Read_Result> expected = Run_Calls(path, script.calls, false);
      std::vector<Read_Result> actual = Run_Calls(path, script.calls, true);
      ASSERT_EQ(actual.size(), expected.size());
      for (size_t i = 0; i < expected.size(); ++i) {
        const Read_Call& call = script.calls[i];
        EXPECT_TRUE(actual[i] == expected[i])
            << script.name << ", file of " << size << " bytes, call " << i << " (mode " << call.mode << ", offset "
            << call.offset << ", size " << call.size << "): " << actual[i].count << " bytes instead of "
            << expected[i].count;
      }
    }
    remove(path.c_str());
  }
}

TEST(Input_Callback, StreamsThatCantBeReadGiveWhatTheStreamCallbackGives) {
  // A folder opens but can't be read; the input gives up on its blocks and
  // reads as the stream callback does from then on.
  const std::vector<Read_Call> calls = {
      {1, 0, 1, true, false}, {1, 5, 3, true, false}, {0, 0, 2, true, false}, {2, kMinus4, 2, true, false}};
  std::vector<Read_Result> expected = Run_Calls("/", calls, false);
  std::vector<Read_Result> actual = Run_Calls("/", calls, true);
  ASSERT_EQ(actual.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_TRUE(actual[i] == expected[i]) << "call " << i;

  char buffer[4] = {};
  ZUGF_Input empty{};
  EXPECT_EQ(ZUGF_Read_Input_Callback(buffer, 1, 0, 4, nullptr, &empty), 0u) << "no stream";
  EXPECT_EQ(ZUGF_Read_Input_Callback(buffer, 1, 0, 4, nullptr, nullptr), 0u) << "no input";
}

TEST(Input_Callback, ReleasedInputReadsAgain) {
  const std::string path = Test_Temp_Path("input_again.bin");
  const std::string bytes = Patterned(2 * kBlock + 3);
  ASSERT_TRUE(Test_Write_File(path, bytes));
  FILE* stream = fopen(path.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  ZUGF_Input input{};
  input.stream = stream;
  char buffer[8];
  for (int round = 0; round < 2; ++round) {
    for (uint64_t at : {uint64_t{0}, kBlock + 1, 2 * kBlock}) {
      ASSERT_EQ(ZUGF_Read_Input_Callback(buffer, 1, at, 3, nullptr, &input), 3u);
      EXPECT_EQ(std::string(buffer, 3), bytes.substr(at, 3)) << "round " << round << ", offset " << at;
    }
    ZUGF_Release_Input(&input);
    for (const ZUGF_Input_Block& block : input.blocks) EXPECT_EQ(block.bytes, nullptr);
  }
  fclose(stream);
  remove(path.c_str());
}

TEST(Arena, SmallBlocksOfEverySizeAreDistinctAndServeAgainOnceFreed) {
  ZUGF_Arena arena{};
  std::vector<uint8_t*> small;
  for (uint64_t size = 1; size <= ZUGF_ARENA_LARGE; size += 37) {
    uint8_t* block = static_cast<uint8_t*>(ZUGF_Arena_Alloc_Callback(size, &arena));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 8, 0u) << size;
    memset(block, static_cast<int>(size & 0xFF), size);
    small.push_back(block);
  }
  // No block overlaps another: each still holds its own pattern.
  uint64_t size = 1;
  for (uint8_t* block : small) {
    EXPECT_EQ(block[0], static_cast<uint8_t>(size & 0xFF)) << size;
    EXPECT_EQ(block[size - 1], static_cast<uint8_t>(size & 0xFF)) << size;
    size += 37;
  }
  EXPECT_EQ(arena.large_count, 0u);
  EXPECT_EQ(ZUGF_Arena_Free_Callback(nullptr, &arena), PDF_RESULT_NOTHING_TO_FREE);

  // A freed block serves the next request of its size (to eight bytes), and
  // only that.
  void* forty = ZUGF_Arena_Alloc_Callback(40, &arena);
  void* other = ZUGF_Arena_Alloc_Callback(40, &arena);
  EXPECT_EQ(ZUGF_Arena_Free_Callback(forty, &arena), 0);
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(48, &arena), forty);
  EXPECT_EQ(ZUGF_Arena_Alloc_Callback(33, &arena), forty);
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(40, &arena), other);
  int outside = 0;
  EXPECT_EQ(ZUGF_Arena_Free_Callback(&outside, &arena), 0) << "a block of no chunk is left alone";

  // Allocating and freeing for ever, as a reading that loops over the same
  // data does, takes no more memory than one round of it.
  const uint32_t chunks = arena.chunk_count;
  for (int round = 0; round < 20000; ++round) {
    std::vector<void*> blocks;
    for (uint64_t request : {16u, 24u, 48u, 48u, 300u, 2048u}) {
      blocks.push_back(ZUGF_Arena_Alloc_Callback(request, &arena));
    }
    for (void* block : blocks) EXPECT_EQ(ZUGF_Arena_Free_Callback(block, &arena), 0);
  }
  EXPECT_LE(arena.chunk_count, chunks + 6);

  // Large blocks, freed in a shuffled order with others still out: the
  // record of those still out stays whole (the sanitizer run checks that
  // each is freed exactly once, here or at the release).
  std::vector<void*> large;
  for (int i = 0; i < 500; ++i) {
    void* block = ZUGF_Arena_Alloc_Callback(ZUGF_ARENA_LARGE + 1 + i, &arena);
    ASSERT_NE(block, nullptr);
    large.push_back(block);
  }
  std::mt19937 generator(3);
  std::shuffle(large.begin(), large.end(), generator);
  for (size_t i = 0; i < 400; ++i) {
    EXPECT_EQ(ZUGF_Arena_Free_Callback(large[i], &arena), 0);
    EXPECT_EQ(arena.large_count, 500u - i - 1);
  }
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(0, &arena), nullptr) << "an empty request goes to malloc as well";
  EXPECT_EQ(arena.large_count, 101u);
  // While the document is released every free waits for the arena.
  arena.closing = 1;
  for (size_t i = 400; i < 450; ++i) EXPECT_EQ(ZUGF_Arena_Free_Callback(large[i], &arena), 0);
  void* kept = ZUGF_Arena_Alloc_Callback(40, &arena);
  EXPECT_EQ(ZUGF_Arena_Free_Callback(kept, &arena), 0);
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(40, &arena), kept);
  EXPECT_EQ(arena.large_count, 101u);
  ZUGF_Release_Arena(&arena);
  EXPECT_EQ(arena.chunks, nullptr);
  EXPECT_EQ(arena.large, nullptr);
  EXPECT_EQ(arena.large_count, 0u);
  // The record serves again after its release.
  EXPECT_NE(ZUGF_Arena_Alloc_Callback(40, &arena), nullptr);
  ZUGF_Release_Arena(&arena);
}

}  // namespace
