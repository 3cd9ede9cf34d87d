#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>

#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "objects/pdf_stream.h"
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
  PDF_Stream* stream = nullptr;
  PDF_Dictionary* dictionary = nullptr;
};

struct Head_Case {
  std::string name;
  std::string text;
  int8_t lowest_level;  // from this level on the result below holds; below it the parse fails
  bool is_stream;
  uint64_t count;     // bytes consumed
  uint64_t position;  // first data byte, for a stream
};

TEST_F(StreamHead, KeywordAndLineEndByLevel) {
  const std::string d = "<< /Length 3 >>";  // 15 bytes
  const Head_Case cases[] = {
      {"LF", d + "\nstream\nabc", 0, true, 23, 23},
      {"CR LF", d + "\nstream\r\nabc", 0, true, 24, 24},
      {"CR alone", d + "\nstream\rabc", 0, true, 23, 23},
      {"CR and a data byte", d + "\nstream\rXbc", 0, true, 23, 23},
      {"space and LF", d + "\nstream \nabc", 2, true, 24, 24},
      {"eight-byte token", d + " streamXY\nabc", 0, true, 25, 25},
      {"token of eleven bytes", d + " streamABCDE\nabc", 0, false, 15, 0},
      {"token of five bytes", d + " strea\nabc", 0, false, 15, 0},
      {"other keyword", d + " endobj", 0, false, 15, 0},
      {"nothing behind", d, 0, false, 15, 0},
      {"keyword at the end", d + " stream", 99, false, 0, 0},
      {"junk after the keyword", d + " stream abc", 99, false, 0, 0},
      {"no Length", "<< /Type /X >>\nstream\nabc", 99, false, 0, 0},
  };
  for (const Head_Case& c : cases) {
    for (int8_t level = 0; level <= 4; ++level) {
      uint64_t count = Read(c.text, level);
      bool works = level >= c.lowest_level;
      if (works) {
        EXPECT_EQ(count, c.count) << c.name << " at level " << int(level);
        EXPECT_EQ(stream != nullptr, c.is_stream) << c.name;
        EXPECT_EQ(dictionary != nullptr, !c.is_stream) << c.name;
        if (stream != nullptr) {
          EXPECT_EQ(stream->position, c.position) << c.name;
          EXPECT_EQ(stream->length, 3u);
          EXPECT_EQ(stream->data, nullptr) << "nothing is read before first use";
          EXPECT_NE(stream->reader, nullptr);
        }
      } else {
        EXPECT_EQ(count, 0u) << c.name << " at level " << int(level);
        EXPECT_EQ(stream, nullptr);
        EXPECT_EQ(dictionary, nullptr);
      }
      Release();
    }
  }
}

TEST_F(StreamHead, LoadsByLengthAloneAndByLevel) {
  struct Case {
    std::string name;
    std::string text;
    int8_t level;
    PDF_Result result;
    std::string data;
  };
  const Case cases[] = {
      {"exact", "<< /Length 3 >>\nstream\nabcendstream", 3, 0, "abc"},
      {"too short a Length cuts silently", "<< /Length 2 >>\nstream\nabc\nendstream", 0, 0, "ab"},
      {"too long, level 2", "<< /Length 9 >>\nstream\nabc", 2, PDF_RESULT_UNREADABLE, ""},
      {"too long, level 3 keeps a partial buffer", "<< /Length 9 >>\nstream\nabc", 3, 0, "abc"},
      {"nothing at all, level 3", "<< /Length 9 >>\nstream\n", 3, PDF_RESULT_UNREADABLE, ""},
      {"Length -1", "<< /Length -1 >>\nstream\nabc", 3, PDF_RESULT_OUT_OF_MEMORY, ""},
  };
  for (const Case& c : cases) {
    ASSERT_NE(Read(c.text, c.level), 0u) << c.name;
    ASSERT_NE(stream, nullptr) << c.name;
    EXPECT_EQ(PDF_Stream_Load(stream), c.result) << c.name;
    if (c.result == 0) {
      ASSERT_NE(stream->data, nullptr);
      EXPECT_EQ(std::string(reinterpret_cast<char*>(stream->data), c.data.size()), c.data) << c.name;
      EXPECT_EQ(stream->reader, nullptr) << "in memory, the reader's hold given back";
      EXPECT_EQ(PDF_Stream_Load(stream), 0);
    } else if (c.result == PDF_RESULT_UNREADABLE) {
      // The refused buffer and the reader's hold stay, and a second load
      // takes the buffer for loaded data.
      EXPECT_NE(stream->data, nullptr) << c.name;
      EXPECT_NE(stream->reader, nullptr) << c.name;
      EXPECT_EQ(PDF_Stream_Load(stream), PDF_RESULT_OK) << c.name;
    }
    Release();
  }
}

TEST_F(StreamHead, IndirectLengthNotYetKnownIsResolvedAtLoad) {
  // The Length object is not in any table: the parser answers -53 in place of
  // a count and keeps the stream with length 0.
  uint64_t count = Read("<< /Length 7 0 R >>\nstream\nabc", 3);
  EXPECT_EQ(count, static_cast<uint64_t>(static_cast<int64_t>(PDF_RESULT_BAD_LENGTH_VALUE)));
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(stream->length, 0u);
  EXPECT_EQ(PDF_Stream_Load(stream), PDF_RESULT_BAD_LENGTH_VALUE) << "still nowhere to be found";
  Release();
}

TEST_F(StreamHead, ReadRawCopiesWithoutLoading) {
  struct Case {
    std::string name;
    std::string text;
    int8_t level;
    PDF_Result result;
    std::string buffer;  // afterwards, from a buffer of dots
  };
  const Case cases[] = {
      {"whole", "<< /Length 3 >>\nstream\nabc", 0, PDF_RESULT_OK, "abc......"},
      {"short, level 2", "<< /Length 9 >>\nstream\nabc", 2, PDF_RESULT_UNREADABLE, "abc......"},
      {"short, level 3 takes the part that came", "<< /Length 9 >>\nstream\nabc", 3, PDF_RESULT_OK, "abc......"},
      {"nothing, level 3", "<< /Length 9 >>\nstream\n", 3, PDF_RESULT_UNREADABLE, "........."},
  };
  for (const Case& c : cases) {
    ASSERT_NE(Read(c.text, c.level), 0u) << c.name;
    char buffer[9];
    memset(buffer, '.', sizeof(buffer));
    EXPECT_EQ(PDF_Stream_Read_Raw(stream, nullptr), PDF_RESULT_INVALID_ARGUMENT) << c.name;
    EXPECT_EQ(PDF_Stream_Read_Raw(stream, buffer), c.result) << c.name;
    EXPECT_EQ(std::string(buffer, sizeof(buffer)), c.buffer) << c.name;
    EXPECT_EQ(stream->data, nullptr) << "a stream on file stays on file";
    Release();
  }
  char buffer[3] = {};

  PDF_Stream* empty = nullptr;
  ASSERT_EQ(PDF_Stream_Create(&empty, file), 0);
  EXPECT_EQ(PDF_Stream_Read_Raw(empty, nullptr), 0) << "length 0 returns at once";
  empty->length = 4;
  EXPECT_EQ(PDF_Stream_Read_Raw(empty, buffer), PDF_RESULT_OBJECT_UNREADABLE) << "neither data nor source";
  empty->length = 0;
  PDF_Stream_Delete(&empty, PDF_DELETE_MODE_RELEASE);
  EXPECT_EQ(PDF_Stream_Read_Raw(nullptr, buffer), PDF_RESULT_INVALID_ARGUMENT);
}

TEST_F(StreamHead, AllocationFailureOfTheStreamIsReported) {
  const std::string text = "<< /Length 3 >>\nstream\nabc";
  for (uint64_t n = 1;; ++n) {
    Fail_Request(n);
    uint64_t count = Read(text, 3);
    bool failed = Failure_Reached();
    Stop_Failing();
    if (!failed) {
      EXPECT_NE(stream, nullptr);
      Release();
      break;
    }
    EXPECT_EQ(count, 0u) << n;
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(dictionary, nullptr);
    Release();
  }
  EXPECT_GE(Resource_Reports("Unable to allocate memory for stream object!"), 1u);
}

}  // namespace

#include <zlib.h>

namespace {

TEST_F(StreamHead, MetadataTrialKeepsDecodableDataDecoded) {
  const std::string xml = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>";
  uLongf size = compressBound(xml.size());
  std::string packed(size, '\0');
  ASSERT_EQ(
      compress(reinterpret_cast<Bytef*>(&packed[0]), &size, reinterpret_cast<const Bytef*>(xml.data()), xml.size()),
      Z_OK);
  packed.resize(size);
  const std::string head = "<< /Type /Metadata /Subtype /XML /Filter /FlateDecode /Length " +
                           std::to_string(packed.size()) + " >>\nstream\n";
  ASSERT_NE(Read(head + packed, 3), 0u);
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(PDF_Stream_Decrypt(stream, file, nullptr), 0);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(stream->data), stream->length), xml)
      << "data that decodes was plain: it stays decoded";
  EXPECT_FALSE(PDF_Dictionary_Has_Key(stream->dictionary, "Filter"));
  EXPECT_EQ(file->metadata_is_plain, 0) << "the flag is set by the unfiltered trial alone";
  EXPECT_EQ(PDF_Stream_Decrypt(stream, file, nullptr), 0) << "once per stream";
  Release();

  // Without filters, plain ASCII whose count of high bytes doesn't fall is
  // taken as plain (deciphered twice, so unchanged), and the flag ends all
  // later trials.
  Test_Install_Key(file, "key-9");
  PDF_Object* container = nullptr;
  ASSERT_EQ(PDF_Object_Create(&container, file, nullptr, 9, 0, 0), 0);
  ASSERT_NE(Read("<< /Type /Metadata /Subtype /XML /Length 4 >>\nstream\nabcd", 3), 0u);
  EXPECT_EQ(PDF_Stream_Decrypt(stream, file, container), 0);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(stream->data), stream->length), "abcd");
  EXPECT_EQ(file->metadata_is_plain, 1);
  Release();
  EXPECT_EQ(PDF_Object_Delete(&container, file, PDF_DELETE_MODE_RELEASE), 0);
}

}  // namespace

namespace {

TEST_F(StreamHead, LoadAllReadsLengthAgainWhateverLengthHeld) {
  const struct {
    std::string text;
    uint64_t before;  // put into length by hand
    PDF_Result result;
    uint64_t after;
  } cases[] = {
      {"<< /Length 3 >>\nstream\nabc", 7, PDF_RESULT_OK, 3},
      {"<< /Length 3 >>\nstream\nabc", 0, PDF_RESULT_OK, 3},
      {"<< /Length -1 >>\nstream\nabc", 3, PDF_RESULT_OK, UINT64_MAX},  // sign-extended
      {"<< /Length /Three >>\nstream\nabc", 5, PDF_RESULT_BAD_LENGTH_VALUE, 5},
  };
  for (const auto& c : cases) {
    ASSERT_NE(Read(c.text, 3), 0u) << c.text;
    ASSERT_NE(stream, nullptr) << c.text;
    stream->length = c.before;
    EXPECT_EQ(PDF_Stream_Load_All(stream), c.result) << c.text;
    EXPECT_EQ(stream->length, c.after) << c.text;
    EXPECT_EQ(stream->data, nullptr) << "the data isn't touched";
    Release();
  }
}

TEST_F(StreamHead, CopyKeepsTheNewStreamOnAFailedLoadAndNeverCopiesTheDecryptedMark) {
  // A source with a length but neither data nor a reader: its load fails.
  PDF_Stream* source = nullptr;
  ASSERT_EQ(PDF_Stream_Create(&source, file), PDF_RESULT_OK);
  source->length = 4;
  std::set<void*> before = Snapshot();
  PDF_Stream* copy = source;  // must be cleared
  EXPECT_EQ(PDF_Stream_Copy(&copy, file, source, false, PDF_COPY_MODE_ORDINARY), PDF_RESULT_UNREADABLE);
  EXPECT_EQ(copy, nullptr);
  EXPECT_GE(Free_Since(before), 2u) << "the new stream and its dictionary stay allocated";
  source->length = 0;
  EXPECT_EQ(PDF_Stream_Delete(&source, PDF_DELETE_MODE_RELEASE), PDF_RESULT_OK);

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

TEST_F(StreamHead, AFailedDecryptionIsNotTriedAgain) {
  Test_Install_Key(file, "key-9");
  PDF_Object* container = nullptr;
  ASSERT_EQ(PDF_Object_Create(&container, file, nullptr, 9, 0, 0), PDF_RESULT_OK);
  // Too long a Length at level 2: the load inside the decryption fails and
  // leaves its partial buffer behind.
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
