// datetime.cpp - CMPIDateTime: a point in time or an interval, kept as its 25-character CIM text
// and its binary value.
//
// Contract:
//  - a date-time made from text reads back exactly that text (asterisks included); one made
//    from a binary value or the current time reads back as UTC with offset "+000";
//  - getStringFormat hands out a new CMPIString the caller releases;
//  - getBinaryFormat gives microseconds (since 1970-01-01 00:00:00 UTC, or the interval's
//    length). A point in time before the epoch has no such value: 0 with CMPI_RC_ERR_FAILED.
#include <algorithm>
#include <ctime>
#include "datetime_text.h"
#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

struct DateTimeImpl {
  CMPIDateTime object;
  bool interval;
  bool has_binary;  // false for a point in time before the epoch
  CMPIUint64 binary;
  char text[cmpi::kDateTimeTextLength + 1];
};

DateTimeImpl *impl_of(const CMPIDateTime *dt) { return cmpi::impl_of<DateTimeImpl>(dt); }

DateTimeImpl *new_record() { return cmpi::new_impl<DateTimeImpl>(cmpi::datetime_table()); }

CMPIStatus datetime_release(CMPIDateTime *dt) { return cmpi::release_impl<DateTimeImpl>(dt); }

CMPIDateTime *datetime_clone(const CMPIDateTime *dt, CMPIStatus *rc) {
  return cmpi::clone_impl<DateTimeImpl>(
      dt, cmpi::datetime_table(), rc, [](const DateTimeImpl &from, DateTimeImpl *to) {
        to->interval = from.interval;
        to->has_binary = from.has_binary;
        to->binary = from.binary;
        std::copy(from.text, from.text + sizeof(from.text), to->text);
        return CMPI_RC_OK;
      });
}

CMPIUint64 datetime_get_binary_format(const CMPIDateTime *dt, CMPIStatus *rc) {
  const DateTimeImpl *impl = impl_of(dt);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  if (!impl->has_binary) {
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return 0;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return impl->binary;
}

CMPIString *datetime_get_string_format(const CMPIDateTime *dt, CMPIStatus *rc) {
  const DateTimeImpl *impl = impl_of(dt);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return CreateString(impl->text, rc);
}

CMPIBoolean datetime_is_interval(const CMPIDateTime *dt, CMPIStatus *rc) {
  const DateTimeImpl *impl = impl_of(dt);
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  cmpi::set_rc(rc, CMPI_RC_OK);
  return impl->interval ? 1 : 0;
}

CMPIDateTimeFT datetime_ft = {
    CMPICurrentVersion,         datetime_release,           datetime_clone,
    datetime_get_binary_format, datetime_get_string_format, datetime_is_interval,
};

}  // namespace

namespace cmpi {

const CMPIDateTimeFT *datetime_table() { return &datetime_ft; }

CMPIDateTime *new_datetime_from_binary(CMPIUint64 microseconds, bool interval, CMPIStatus *rc) {
  char text[kDateTimeTextLength + 1];
  if (!format_datetime_text(microseconds, interval, text)) {
    set_rc(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return nullptr;
  }
  DateTimeImpl *impl = new_record();
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  impl->interval = interval;
  impl->has_binary = true;
  impl->binary = microseconds;
  std::copy(text, text + sizeof(text), impl->text);
  set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}

CMPIDateTime *new_datetime_now(CMPIStatus *rc) {
  struct timespec now;
  if (clock_gettime(CLOCK_REALTIME, &now) != 0 || now.tv_sec < 0) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  const CMPIUint64 microseconds = static_cast<CMPIUint64>(now.tv_sec) * 1000000u +
                                  static_cast<CMPIUint64>(now.tv_nsec / 1000);
  return new_datetime_from_binary(microseconds, false, rc);
}

}  // namespace cmpi

extern "C" CMPIDateTime *makeNewCMPIDateTimeFromChars(const char *cimDateTime, CMPIStatus *rc) {
  cmpi::ParsedDateTime parsed;
  if (!cmpi::parse_datetime_text(cimDateTime, &parsed)) {
    cmpi::set_rc(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return nullptr;
  }
  DateTimeImpl *impl = new_record();
  if (impl == nullptr) {
    cmpi::set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  impl->interval = parsed.interval;
  if (parsed.interval) {
    impl->has_binary = true;
    impl->binary = parsed.interval_microseconds;
  } else {
    impl->has_binary = parsed.point_microseconds >= 0;
    impl->binary = impl->has_binary ? static_cast<CMPIUint64>(parsed.point_microseconds) : 0;
  }
  std::copy(cimDateTime, cimDateTime + cmpi::kDateTimeTextLength, impl->text);
  impl->text[cmpi::kDateTimeTextLength] = '\0';
  cmpi::set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}
