// datetime_text.cpp - parsing, validation and formatting of the CIM date-time text.
#include "datetime_text.h"

#include <cstdio>
#include <cstring>

namespace cmpi {

namespace {

constexpr std::int64_t kMicrosPerSecond = 1000000;
constexpr std::int64_t kMicrosPerMinute = 60 * kMicrosPerSecond;
constexpr std::int64_t kMicrosPerHour = 60 * kMicrosPerMinute;
constexpr std::int64_t kMicrosPerDay = 24 * kMicrosPerHour;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// A field of width digits at text[pos]; false when any character is not a digit.
bool read_digits(const char *text, std::size_t pos, std::size_t width, std::int64_t *value) {
  std::int64_t v = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const char c = text[pos + i];
    if (!is_digit(c)) {
      return false;
    }
    v = v * 10 + (c - '0');
  }
  *value = v;
  return true;
}

bool all_asterisks(const char *text, std::size_t pos, std::size_t width) {
  for (std::size_t i = 0; i < width; ++i) {
    if (text[pos + i] != '*') {
      return false;
    }
  }
  return true;
}

bool is_leap_year(std::int64_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

std::int64_t days_in_month(std::int64_t year, std::int64_t month) {
  static const std::int64_t kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return (month == 2 && is_leap_year(year)) ? 29 : kDays[month - 1];
}

// Days from 1970-01-01 to the given date of the Gregorian calendar (negative before it).
// Counts in 400-year eras of 146097 days each, with the year starting on March 1st so that the
// leap day is the last day of a year.
std::int64_t days_from_civil(std::int64_t year, std::int64_t month, std::int64_t day) {
  const std::int64_t y = month <= 2 ? year - 1 : year;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const std::int64_t year_of_era = y - era * 400;                              // [0, 399]
  const std::int64_t month_from_march = month > 2 ? month - 3 : month + 9;     // [0, 11]
  const std::int64_t day_of_year = (153 * month_from_march + 2) / 5 + day - 1;  // [0, 365]
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;  // [0, 146096]
  return era * 146097 + day_of_era - 719468;  // 719468: days from 0000-03-01 to 1970-01-01
}

// The inverse of days_from_civil for days >= 0.
void civil_from_days(std::int64_t days, std::int64_t *year, std::int64_t *month,
                     std::int64_t *day) {
  const std::int64_t z = days + 719468;
  const std::int64_t era = z / 146097;
  const std::int64_t day_of_era = z - era * 146097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t month_from_march = (5 * day_of_year + 2) / 153;
  *day = day_of_year - (153 * month_from_march + 2) / 5 + 1;
  *month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  *year = year_of_era + era * 400 + (*month <= 2 ? 1 : 0);
}

// The time-of-day part shared by both forms: hhmmss.mmmmmm at position 8. With asterisks
// allowed (points in time only), asterisks run from the least significant field upward.
bool parse_time_of_day(const char *text, bool allow_asterisks, std::int64_t *micros) {
  if (text[14] != '.') {
    return false;
  }
  // Microseconds: digits, then (when allowed) asterisks up to the end of the field.
  std::int64_t fraction = 0;
  std::size_t digits = 0;
  while (digits < 6 && is_digit(text[15 + digits])) {
    fraction = fraction * 10 + (text[15 + digits] - '0');
    ++digits;
  }
  if (digits < 6) {
    if (!allow_asterisks || !all_asterisks(text, 15 + digits, 6 - digits)) {
      return false;
    }
    for (std::size_t i = digits; i < 6; ++i) {
      fraction *= 10;
    }
  }
  bool lower_all_asterisks = digits == 0;  // every less significant field is all asterisks

  // Seconds, minutes, hours: each either all digits within its range, or (when every less
  // significant field is all asterisks) all asterisks.
  static const struct {
    std::size_t pos;
    std::int64_t max;
    std::int64_t unit;
  } kFields[3] = {{12, 59, kMicrosPerSecond}, {10, 59, kMicrosPerMinute}, {8, 23, kMicrosPerHour}};
  std::int64_t total = fraction;
  for (const auto &f : kFields) {
    std::int64_t v = 0;
    if (read_digits(text, f.pos, 2, &v)) {
      if (v > f.max) {
        return false;
      }
      total += v * f.unit;
      lower_all_asterisks = false;
    } else if (allow_asterisks && lower_all_asterisks && all_asterisks(text, f.pos, 2)) {
      // counts as 0
    } else {
      return false;
    }
  }
  *micros = total;
  return true;
}

bool parse_interval(const char *text, ParsedDateTime *out) {
  std::int64_t days = 0;
  std::int64_t time = 0;
  if (!read_digits(text, 0, 8, &days) || !parse_time_of_day(text, false, &time) ||
      std::memcmp(text + 22, "000", 3) != 0) {
    return false;
  }
  out->interval = true;
  out->point_microseconds = 0;
  out->interval_microseconds = static_cast<std::uint64_t>(days) * kMicrosPerDay +
                               static_cast<std::uint64_t>(time);
  return true;
}

bool parse_point(const char *text, ParsedDateTime *out) {
  std::int64_t year = 0;
  std::int64_t month = 0;
  std::int64_t day = 0;
  std::int64_t time = 0;
  std::int64_t offset = 0;
  if (!read_digits(text, 0, 4, &year) || !read_digits(text, 4, 2, &month) ||
      !read_digits(text, 6, 2, &day)) {
    return false;
  }
  if (month < 1 || month > 12 || day < 1 || day > days_in_month(year, month)) {
    return false;
  }
  if (!parse_time_of_day(text, true, &time) || !read_digits(text, 22, 3, &offset)) {
    return false;
  }
  if (text[21] == '-') {
    offset = -offset;
  }
  out->interval = false;
  out->interval_microseconds = 0;
  // Local fields minus the offset: "+060" is one hour east of UTC, so UTC is one hour earlier.
  out->point_microseconds =
      days_from_civil(year, month, day) * kMicrosPerDay + time - offset * kMicrosPerMinute;
  return true;
}

}  // namespace

bool parse_datetime_text(const char *text, ParsedDateTime *out) {
  if (text == nullptr || out == nullptr ||
      strnlen(text, kDateTimeTextLength + 1) != kDateTimeTextLength) {
    return false;
  }
  switch (text[21]) {
    case ':':
      return parse_interval(text, out);
    case '+':
    case '-':
      return parse_point(text, out);
    default:
      return false;
  }
}

bool format_datetime_text(std::uint64_t microseconds, bool interval, char *buffer) {
  const std::uint64_t max = interval ? kMaxIntervalMicroseconds : kMaxPointMicroseconds;
  if (buffer == nullptr || microseconds > max) {
    return false;
  }
  const std::uint64_t per_day = static_cast<std::uint64_t>(kMicrosPerDay);
  const std::uint64_t days = microseconds / per_day;
  std::uint64_t rest = microseconds % per_day;
  const unsigned hours = static_cast<unsigned>(rest / kMicrosPerHour);
  rest %= kMicrosPerHour;
  const unsigned minutes = static_cast<unsigned>(rest / kMicrosPerMinute);
  rest %= kMicrosPerMinute;
  const unsigned seconds = static_cast<unsigned>(rest / kMicrosPerSecond);
  const unsigned micros = static_cast<unsigned>(rest % kMicrosPerSecond);
  char text[64];
  if (interval) {
    std::snprintf(text, sizeof(text), "%08llu%02u%02u%02u.%06u:000",
                  static_cast<unsigned long long>(days), hours, minutes, seconds, micros);
  } else {
    std::int64_t year = 0;
    std::int64_t month = 0;
    std::int64_t day = 0;
    civil_from_days(static_cast<std::int64_t>(days), &year, &month, &day);
    std::snprintf(text, sizeof(text), "%04lld%02lld%02lld%02u%02u%02u.%06u+000",
                  static_cast<long long>(year), static_cast<long long>(month),
                  static_cast<long long>(day), hours, minutes, seconds, micros);
  }
  std::memcpy(buffer, text, kDateTimeTextLength + 1);
  return true;
}

}  // namespace cmpi
