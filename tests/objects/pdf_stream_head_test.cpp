// The head of a stream (keyword, line end, Length), its load by Length alone
// and by tolerance level, copies, and the decryption of one stream.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>

#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
#include "support/filter_test_support.h"
#include "support/test_cipher.h"
#include "support/test_objects.h"

namespace {

class StreamHead : public Objects_Fixture {
 protected:
  // Reads a stream or dictionary at position 0; keeps both holders.
  uint64_t Read(const std::string& text, int8_t level) {
    file->tolerance_level = level;
    return PDF_Stream_Read(&stream, &dictionary, file, Input(text), 0);
  }
  void Release() {
    if (stream != nullptr) PDF_Stream_Delete(&stream, PDF_DELETE_MODE_RELEASE);
    if (dictionary != nullptr) PDF_Dictionary_Delete(&dictionary, file, PDF_DELETE_MODE_RELEASE);
  }
  std::string Data() const { return std::string(reinterpret_cast<char*>(stream->data), stream->length); }
  PDF_Stream* stream = nullptr;
  PDF_Dictionary* dictionary = nullptr;
};

TEST_F(StreamHead, KeywordAndLineEndByLevel) {
  const std::string d = "<< /Length 3 >>";  // 15 bytes
  const struct {
    std::string name;
    std::string text;
    int8_t lowest_level;  // from this level on the result below holds; below it the parse fails
    bool is_stream;
    uint64_t count;  // bytes consumed, and the first data byte of a stream
  } cases[] = {
      {"LF", d + "\nstream\nabc", 0, true, 23},
      {"CR and a data byte", d + "\nstream\rXbc", 0, true, 23},
      {"space and LF", d + "\nstream \nabc", 2, true, 24},
      {"ten-byte token", d + " streamABCD\nabc", 0, true, 27},
      {"token of eleven bytes", d + " streamABCDE\nabc", 0, false, 15},
      {"token of five bytes", d + " strea\nabc", 0, false, 15},
      {"keyword at the end", d + " stream", 99, false, 0},
      {"junk after the keyword", d + " stream abc", 99, false, 0},
      {"no Length", "<< /Type /X >>\nstream\nabc", 99, false, 0},
  };
  for (const auto& c : cases) {
    for (int8_t level = 0; level <= 4; ++level) {
      SCOPED_TRACE(c.name + " at level " + std::to_string(level));
      uint64_t count = Read(c.text, level);
      bool works = level >= c.lowest_level;
      EXPECT_EQ(count, works ? c.count : 0u);
      EXPECT_EQ(stream != nullptr, works && c.is_stream);
      EXPECT_EQ(dictionary != nullptr, works && !c.is_stream);
      if (stream != nullptr) {
        EXPECT_EQ(stream->position, c.count);
        EXPECT_EQ(stream->length, 3u);
        EXPECT_EQ(stream->data, nullptr) << "nothing is read before first use";
      }
      Release();
    }
  }
  // A Length object that is not in any table: -53 in place of a count, and
  // the stream is kept with length 0 for the load to try again.
  EXPECT_EQ(Read("<< /Length 7 0 R >>\nstream\nabc", 3), uint64_t(int64_t(PDF_RESULT_BAD_LENGTH_VALUE)));
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(stream->length, 0u);
  EXPECT_EQ(PDF_Stream_Load(stream), PDF_RESULT_BAD_LENGTH_VALUE) << "still nowhere to be found";
  Release();
}

TEST_F(StreamHead, ReadRawThenLoadByLengthAloneAndByLevel) {
  const struct {
    std::string name;
    std::string text;
    int8_t level;
    PDF_Result raw_result;
    std::string raw;  // the buffer of dots afterwards; "" not asked
    PDF_Result result;
    std::string data;
  } cases[] = {
      {"exact", "<< /Length 3 >>\nstream\nabcendstream", 0, 0, "abc......", 0, "abc"},
      {"too short a Length cuts silently", "<< /Length 2 >>\nstream\nabc", 0, 0, "ab.......", 0, "ab"},
      {"too long, level 2", "<< /Length 9 >>\nstream\nabc", 2, PDF_RESULT_UNREADABLE, "abc......",
       PDF_RESULT_UNREADABLE, ""},
      {"too long, level 3 keeps a partial buffer", "<< /Length 9 >>\nstream\nabc", 3, 0, "abc......", 0, "abc"},
      {"nothing at all, level 3", "<< /Length 9 >>\nstream\n", 3, PDF_RESULT_UNREADABLE, ".........",
       PDF_RESULT_UNREADABLE, ""},
      {"Length -1", "<< /Length -1 >>\nstream\nabc", 3, PDF_RESULT_OK, "", PDF_RESULT_OUT_OF_MEMORY, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_NE(Read(c.text, c.level), 0u);
    ASSERT_NE(stream, nullptr);
    char buffer[9];
    memset(buffer, '.', sizeof(buffer));
    EXPECT_EQ(PDF_Stream_Read_Raw(stream, nullptr), PDF_RESULT_INVALID_ARGUMENT);
    if (!c.raw.empty()) {
      EXPECT_EQ(PDF_Stream_Read_Raw(stream, buffer), c.raw_result);
      EXPECT_EQ(std::string(buffer, sizeof(buffer)), c.raw);
    }
    EXPECT_EQ(stream->data, nullptr) << "a stream on file stays on file";
    EXPECT_EQ(PDF_Stream_Load(stream), c.result);
    if (c.result == 0) {
      ASSERT_NE(stream->data, nullptr);
      EXPECT_EQ(std::string(reinterpret_cast<char*>(stream->data), c.data.size()), c.data);
      EXPECT_EQ(stream->reader, nullptr) << "in memory, the reader's hold given back";
    } else if (c.result == PDF_RESULT_UNREADABLE) {
      // The refused buffer and the reader's hold stay, and a second load
      // takes the buffer for loaded data.
      EXPECT_NE(stream->data, nullptr);
      EXPECT_NE(stream->reader, nullptr);
      EXPECT_EQ(PDF_Stream_Load(stream), PDF_RESULT_OK);
    }
    Release();
  }
}

TEST_F(StreamHead, LoadAllReadsLengthAgainWhateverLengthHeld) {
  const struct {
    std::string text;
    PDF_Result result;
    uint64_t after;  // from a length of 5 put in by hand
  } cases[] = {
      {"<< /Length 3 >>\nstream\nabc", PDF_RESULT_OK, 3},
      {"<< /Length -1 >>\nstream\nabc", PDF_RESULT_OK, UINT64_MAX},  // sign-extended
      {"<< /Length /Three >>\nstream\nabc", PDF_RESULT_BAD_LENGTH_VALUE, 5},
  };
  for (const auto& c : cases) {
    ASSERT_NE(Read(c.text, 3), 0u) << c.text;
    ASSERT_NE(stream, nullptr) << c.text;
    stream->length = 5;
    EXPECT_EQ(PDF_Stream_Load_All(stream), c.result) << c.text;
    EXPECT_EQ(stream->length, c.after) << c.text;
    EXPECT_EQ(stream->data, nullptr) << "the data isn't touched";
    Release();
  }
}

TEST_F(StreamHead, CopyKeepsTheNewStreamOnAFailedLoadAndNeverCopiesTheDecryptedMark) {
  // A source with a length but neither data nor a reader: its load fails.
  ASSERT_EQ(PDF_Stream_Create(&stream, file), PDF_RESULT_OK);
  stream->length = 4;
  std::set<void*> before = Snapshot();
  PDF_Stream* copy = stream;  // must be cleared
  EXPECT_EQ(PDF_Stream_Copy(&copy, file, stream, false, PDF_COPY_MODE_ORDINARY), PDF_RESULT_UNREADABLE);
  EXPECT_EQ(copy, nullptr);
  EXPECT_GE(Free_Since(before), 2u) << "the new stream and its dictionary stay allocated";
  stream->length = 0;
  Release();

  ASSERT_NE(Read("<< /Length 3 >>\nstream\nabc", 3), 0u);
  stream->decrypted = 1;
  ASSERT_EQ(PDF_Stream_Copy(&copy, file, stream, false, PDF_COPY_MODE_ORDINARY), PDF_RESULT_OK);
  EXPECT_EQ(copy->decrypted, 0) << "a copy of a decrypted stream can be decrypted again";
  EXPECT_EQ(copy->reader, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(copy->data), copy->length), "abc");
  EXPECT_NE(stream->data, nullptr) << "copying forced the source into memory";
  EXPECT_EQ(PDF_Stream_Delete(&copy, PDF_DELETE_MODE_RELEASE), PDF_RESULT_OK);
  Release();
}

TEST_F(StreamHead, DecryptionIsTriedOnceAndMetadataThatDecodesStaysDecoded) {
  const std::string xml = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>";
  const std::string packed = Deflate(xml);
  ASSERT_NE(Read("<< /Type /Metadata /Subtype /XML /Filter /FlateDecode /Length " + std::to_string(packed.size()) +
                     " >>\nstream\n" + packed,
                 3),
            0u);
  EXPECT_EQ(PDF_Stream_Decrypt(stream, file, nullptr), 0);
  EXPECT_EQ(Data(), xml) << "data that decodes was plain: it stays decoded";
  EXPECT_FALSE(PDF_Dictionary_Has_Key(stream->dictionary, "Filter"));
  EXPECT_EQ(file->metadata_is_plain, 0) << "the flag is set by the unfiltered trial alone";
  Release();

  // Too long a Length at level 2: the load inside the decryption fails and
  // leaves its partial buffer behind; the stream is not tried again.
  Test_Install_Key(file, "key-9");
  PDF_Object* container = nullptr;
  ASSERT_EQ(PDF_Object_Create(&container, file, nullptr, 9, 0, 0), PDF_RESULT_OK);
  ASSERT_NE(Read("<< /Length 9 >>\nstream\nabc", 2), 0u);
  EXPECT_EQ(PDF_Stream_Decrypt(stream, file, container), PDF_RESULT_UNREADABLE);
  EXPECT_EQ(stream->decrypted, 1);
  EXPECT_EQ(PDF_Stream_Decrypt(stream, file, container), PDF_RESULT_OK);
  ASSERT_NE(stream->data, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(stream->data), 3), "abc") << "the bytes were not deciphered";
  Release();
  EXPECT_EQ(PDF_Object_Delete(&container, file, PDF_DELETE_MODE_RELEASE), PDF_RESULT_OK);
}

}  // namespace
