// datetime_text.h - the 25-character CIM date-time text and its binary value; pure functions.
//
// Two forms, both exactly 25 characters:
//  - point in time  yyyymmddhhmmss.mmmmmmsutc   (s = '+' east of UTC or '-' west of it, utc =
//    the offset in minutes, three digits);
//  - interval       ddddddddhhmmss.mmmmmm:000   (days, hours, minutes, seconds, microseconds).
//
// Validation: digits where digits belong, month 01-12, day 01 up to the length of that month
// (leap years of the Gregorian calendar, applied to every year 0000-9999), hour 00-23, minute
// 00-59, second 00-59 (a leap second 60 is rejected), '.' at position 15, '+'/'-' with a
// three-digit offset, or ':' followed by "000".
//
// Asterisks: in a point in time the fields hour, minute, second and microseconds may be
// replaced by asterisks, from the least significant upward: the microseconds may end in any
// number of asterisks ("123***"); an asterisk in the seconds, minutes or hours fills the whole
// field and requires every less significant field to be all asterisks. Year, month, day and the
// offset never hold asterisks, nor does an interval. Asterisked fields count as 0 in the binary
// value; the text keeps them.
//
// Binary value: for a point in time the microseconds since 1970-01-01 00:00:00 UTC (the local
// fields minus the offset), which is negative for moments before the epoch; for an interval its
// total length in microseconds.
#ifndef CMPIINTERFACE_DATETIME_TEXT_H
#define CMPIINTERFACE_DATETIME_TEXT_H

#include <cstddef>
#include <cstdint>

namespace cmpi {

// Characters in a date-time text, without the terminating NUL.
constexpr std::size_t kDateTimeTextLength = 25;

struct ParsedDateTime {
  bool interval;
  // Point in time: microseconds since the epoch (negative before it). Interval: its length.
  std::int64_t point_microseconds;
  std::uint64_t interval_microseconds;
};

// Parses and validates text (NULL, a length other than 25 or any malformed field gives false).
bool parse_datetime_text(const char *text, ParsedDateTime *out);

// The largest binary values that have a text form: 9999-12-31 23:59:59.999999 UTC for a point
// in time, 99999999 days 23:59:59.999999 for an interval.
constexpr std::uint64_t kMaxPointMicroseconds = 253402300799999999ULL;
constexpr std::uint64_t kMaxIntervalMicroseconds = 8639999999999999999ULL;

// Writes the text of a binary value into buffer (kDateTimeTextLength + 1 bytes, NUL-terminated):
// a point in time as UTC with offset "+000", an interval with ":000". False (buffer untouched)
// when the value is beyond the largest one above.
bool format_datetime_text(std::uint64_t microseconds, bool interval, char *buffer);

}  // namespace cmpi

#endif
