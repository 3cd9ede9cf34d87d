// PDF dates: the local time and its offset from UTC under several time
// zones, set through TZ for the length of each case.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "text/pdf_date.h"

namespace {

// Sets TZ for its lifetime and puts back what was there before.
struct Time_Zone {
  const char* const old = getenv("TZ");
  const std::string kept = old != nullptr ? old : "";
  explicit Time_Zone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~Time_Zone() {
    old != nullptr ? setenv("TZ", kept.c_str(), 1) : unsetenv("TZ");
    tzset();
  }
};

// Seconds of a UTC date and time, worked out by the C library's timegm.
PDF_Time Utc(int year, int month, int day, int hour, int minute, int second) {
  struct tm fields = {};
  fields.tm_year = year - 1900;
  fields.tm_mon = month - 1;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  fields.tm_sec = second;
  return timegm(&fields);
}

std::string Format(PDF_Time time) {
  char buffer[PDF_DATE_BUFFER_SIZE];
  memset(buffer, 'x', sizeof(buffer));
  PDF_Date_Format_Time(time, buffer);
  return std::string(buffer, strnlen(buffer, sizeof(buffer)));
}

const char kSummerZone[] = "EST5EDT,M3.2.0,M11.1.0";

TEST(PdfDate, FixedTimesUnderSeveralZones) {
  const struct {
    const char* zone;
    PDF_Time time;
    const char* expected;
  } cases[] = {
      {"UTC0", Utc(2024, 7, 3, 12, 0, 0), "D:20240703120000Z00'00'"},  // the letter and two zero fields
      {"CET-1", Utc(2024, 7, 3, 12, 0, 0), "D:20240703130000+01'00'"},
      {"NST3:30", Utc(2024, 7, 3, 12, 0, 0), "D:20240703083000-03'30'"},
      {"AAA-5:45", Utc(2024, 1, 9, 3, 4, 5), "D:20240109084905+05'45'"},
      // Daylight saving time: the local time is that of summer time, while
      // the offset stays the zone's standard one.
      {kSummerZone, Utc(2024, 7, 3, 12, 0, 0), "D:20240703080000-05'00'"},
      {kSummerZone, Utc(2024, 1, 3, 12, 0, 0), "D:20240103070000-05'00'"},
      // Months and days roll over in local time; months run from 01 to 12.
      {"CET-1", Utc(2024, 12, 31, 23, 59, 59), "D:20250101005959+01'00'"},
      {"NST3:30", Utc(2025, 1, 1, 2, 0, 0), "D:20241231223000-03'30'"},
      // Seconds of an offset are dropped, toward zero on either side.
      {"LMT-0:19:32", Utc(2024, 3, 1, 0, 0, 0), "D:20240301001932+00'19'"},
      {"LMT0:19:32", Utc(2024, 3, 1, 0, 0, 0), "D:20240229234028-00'19'"},
      // The year always has four digits.
      {"UTC0", Utc(999, 6, 1, 12, 0, 0), "D:09990601120000Z00'00'"},
      {"UTC0", Utc(2040, 2, 29, 6, 7, 8), "D:20400229060708Z00'00'"},  // past 2038
  };
  for (const auto& c : cases) {
    Time_Zone zone(c.zone);
    EXPECT_EQ(Format(c.time), c.expected) << c.zone;
  }
}

TEST(PdfDate, AYearPastTheBufferIsCutShort) {
  Time_Zone zone("UTC0");
  char buffer[PDF_DATE_BUFFER_SIZE + 8];
  memset(buffer, 'x', sizeof(buffer));
  PDF_Date_Format_Time(Utc(10000, 1, 1, 12, 0, 0), buffer);
  EXPECT_EQ(std::string(buffer), "D:100000101120000Z00'00");
  EXPECT_EQ(buffer[PDF_DATE_BUFFER_SIZE], 'x') << "nothing written past the 24 bytes";
}

// Now is the formatted time of a moment within the call.
TEST(PdfDate, NowIsTheTimeOfTheCall) {
  Time_Zone zone("NST3:30");
  const time_t before = time(nullptr);
  char buffer[PDF_DATE_BUFFER_SIZE];
  PDF_Date_Format_Now(buffer);
  const time_t after = time(nullptr);
  bool matched = false;
  for (time_t moment = before; moment <= after; ++moment) matched = matched || Format(moment) == buffer;
  EXPECT_TRUE(matched) << buffer;
}

}  // namespace
