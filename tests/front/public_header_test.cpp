#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>

#include "front/public_header_c.h"
#include "invoice_extract.h"

namespace {

TEST(PublicHeader, EveryDocumentedCodeHasItsOwnMeaningInCAndCpp) {
  const int32_t* codes = nullptr;
  size_t count = Public_Header_C_Codes(&codes);
  const std::string unknown = ZUGF_Describe_Result(INT32_MIN);
  std::set<int32_t> values;
  std::set<std::string> meanings;
  for (size_t i = 0; i < count; ++i) {
    std::string meaning = Public_Header_C_Describe(codes[i]);
    EXPECT_EQ(meaning, ZUGF_Describe_Result(codes[i])) << codes[i] << ": C and C++ differ";
    EXPECT_NE(meaning, unknown) << codes[i];
    EXPECT_FALSE(meaning.empty()) << codes[i];
    values.insert(codes[i]);
    meanings.insert(meaning);
  }
  EXPECT_EQ(values.size(), count) << "two constants share a value";
  EXPECT_EQ(meanings.size(), count) << "two codes share a meaning";
}

TEST(PublicHeader, CodesOutsideTheListAreUnknown) {
  // Neighbours of the exported codes, and the library's internal codes that
  // the exported calls translate (out of memory -7, output failure -9,
  // undecodable filter -105, invalid argument -500).
  const int32_t others[] = {1, -4, -9, -13, -19, -21, -7, -105, -500, INT32_MAX, INT32_MIN};
  for (int32_t code : others) {
    EXPECT_STREQ(Public_Header_C_Describe(code), "unknown result") << code;
    EXPECT_STREQ(ZUGF_Describe_Result(code), "unknown result") << code;
  }
}

TEST(PublicHeader, VersionStringMatchesTheNumbers) {
  int major = -1, minor = -1, patch = -1;
  const char* text = nullptr;
  Public_Header_C_Version(&major, &minor, &patch, &text);
  EXPECT_EQ(std::string(text), std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch));
  // The shared library built beside this header carries the same version.
  const std::string library = INVOICE_EXTRACT_SHARED_LIBRARY;
  const std::string suffix = std::string(".so.") + text;
  ASSERT_GE(library.size(), suffix.size());
  EXPECT_EQ(library.substr(library.size() - suffix.size()), suffix) << library;
}

}  // namespace
