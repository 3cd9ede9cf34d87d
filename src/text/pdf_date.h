// The current time as a PDF date string, and the one place where the library
// meets the runtime's time functions.
#ifndef INVOICE_EXTRACT_PDF_DATE_H
#define INVOICE_EXTRACT_PDF_DATE_H

#include <ctime>

// Seconds since the epoch, 64 bits wide.
typedef time_t PDF_Time;
static_assert(sizeof(PDF_Time) == 8, "the library needs a 64-bit time");

// The size of buffer that PDF_Date_Format_Now fills: 23 characters and a NUL.
enum : unsigned { PDF_DATE_BUFFER_SIZE = 24 };

// The current time; also stored in *out_time when it isn't null.
PDF_Time PDF_Time_Now(PDF_Time* out_time);
// A broken-down local time to seconds. Fields out of range are normalised in
// place; tm_isdst says whether daylight saving time is to be assumed.
PDF_Time PDF_Time_To_Seconds(struct tm* local_time);
// The local and the UTC broken-down time of *time into *out_time, which is
// returned; null when the time can't be broken down.
struct tm* PDF_Time_To_Local(const PDF_Time* time, struct tm* out_time);
struct tm* PDF_Time_To_UTC(const PDF_Time* time, struct tm* out_time);

// Writes the current time as "D:YYYYMMDDHHmmSS" in local time, followed by
// the offset from UTC as "Z00'00'", "+HH'mm'" or "-HH'mm'", into a buffer of
// PDF_DATE_BUFFER_SIZE bytes.
void PDF_Date_Format_Now(char* buffer);
// The same for a given time.
void PDF_Date_Format_Time(PDF_Time time, char* buffer);

#endif
