#include "text/pdf_date.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

PDF_Time PDF_Time_Now(PDF_Time* out_time) { return time(out_time); }

PDF_Time PDF_Time_To_Seconds(struct tm* local_time) { return mktime(local_time); }

struct tm* PDF_Time_To_Local(const PDF_Time* time, struct tm* out_time) {
  return localtime_r(time, out_time);
}

struct tm* PDF_Time_To_UTC(const PDF_Time* time, struct tm* out_time) {
  return gmtime_r(time, out_time);
}

void PDF_Date_Format_Now(char* buffer) { PDF_Date_Format_Time(PDF_Time_Now(nullptr), buffer); }

void PDF_Date_Format_Time(PDF_Time time, char* buffer) {
  if (buffer == nullptr) return;
  // The offset is worked out by reading the UTC broken-down time back as if
  // it were local, and the local one the same way.
  struct tm utc = {};
  PDF_Time_To_UTC(&time, &utc);
  PDF_Time utc_seconds = PDF_Time_To_Seconds(&utc);
  struct tm local = {};
  PDF_Time_To_Local(&time, &local);
  PDF_Time local_seconds = PDF_Time_To_Seconds(&local);
  // Kept: the UTC broken-down time carries tm_isdst 0, so it is read back as
  // standard time. While daylight saving time is in effect the offset is
  // therefore the zone's standard offset, an hour away from the local time
  // printed beside it.
  //
  // A signed 32-bit difference, computed modulo 2^32 so that times past 2038
  // still give the small offset; the seconds of an offset are dropped.
  int32_t offset = static_cast<int32_t>(static_cast<uint32_t>(local_seconds) - static_cast<uint32_t>(utc_seconds));
  offset /= 60;
  // Kept: UTC prints the letter and two zero fields, "Z00'00'", never a bare
  // "Z"; readers that match the full shape rely on it.
  char sign = 'Z';
  if (offset > 0) {
    sign = '+';
  } else if (offset < 0) {
    sign = '-';
    offset = -offset;
  }
  // A year past 9999 would need more than the 24 bytes; it is cut short.
  char text[64];
  snprintf(text, sizeof(text), "D:%04d%02d%02d%02d%02d%02d%c%02ld'%02ld'", local.tm_year + 1900, local.tm_mon + 1,
           local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, sign, static_cast<long>(offset / 60),
           static_cast<long>(offset % 60));
  size_t length = strlen(text);
  if (length > PDF_DATE_BUFFER_SIZE - 1) length = PDF_DATE_BUFFER_SIZE - 1;
  memcpy(buffer, text, length);
  buffer[length] = 0;
}
