// datetime_test.cpp - CMPIDateTime: the text and binary forms, validation, asterisks, the current
// time and every DateTimeFT slot. Expected binary values are worked out by hand from the
// calendar (microseconds since 1970-01-01 00:00:00 UTC).
#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "cmpiinterface.h"
#include "datetime_text.h"
#include "objects.h"

namespace {

std::string text_of(CMPIDateTime *dt) {
  CMPIString *s = dt->ft->getStringFormat(dt, nullptr);
  if (s == nullptr) {
    return "<null>";
  }
  std::string t(static_cast<const char *>(s->hdl));
  s->ft->release(s);
  return t;
}

CMPIUint64 binary_of(const char *text) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars(text, nullptr);
  EXPECT_NE(dt, nullptr) << text;
  if (dt == nullptr) {
    return 0;
  }
  CMPIStatus rc;
  const CMPIUint64 b = dt->ft->getBinaryFormat(dt, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_OK) << text;
  dt->ft->release(dt);
  return b;
}

// ---- binary values ----------------------------------------------------------------------------

TEST(DateTimeBinary, PointsInTime) {
  EXPECT_EQ(binary_of("19700101000000.000000+000"), 0u);
  EXPECT_EQ(binary_of("19700101010000.000000+060"), 0u);  // 01:00 at UTC+1 is midnight UTC
  EXPECT_EQ(binary_of("19700101000000.000001+000"), 1u);
  EXPECT_EQ(binary_of("19700102000000.000000+000"), 86400000000u);
  EXPECT_EQ(binary_of("20000101000000.000000+000"), 946684800000000u);
  // 12:05:23.243424 five hours west of UTC is 17:05:23.243424 UTC.
  EXPECT_EQ(binary_of("20041114120523.243424-300"), 1100451923243424u);
  EXPECT_EQ(binary_of("20240229235959.999999-030"), 1709252999999999u);
  EXPECT_EQ(binary_of("99991231235959.999999+000"), 253402300799999999u);
}

TEST(DateTimeBinary, Intervals) {
  EXPECT_EQ(binary_of("00000000000000.000000:000"), 0u);
  EXPECT_EQ(binary_of("00000001120032.000000:000"), 129632000000u);  // 1 d 12 h 0 m 32 s
  EXPECT_EQ(binary_of("00000000000000.000001:000"), 1u);
  EXPECT_EQ(binary_of("00000000010203.000004:000"), 3723000004u);
  EXPECT_EQ(binary_of("99999999235959.999999:000"), 8639999999999999999u);
}

// ---- the text form ----------------------------------------------------------------------------

TEST(DateTimeText, TextReadsBackExactlyAsGiven) {
  const char *texts[] = {"20041114120523.243424-300", "19700101010000.000000+060",
                         "00000001120032.000000:000", "20240229235959.999999-030",
                         "20240101******.******+000", "20240101123456.123***+000",
                         "19000101000000.000000+000", "20000101000000.000000-000"};
  for (const char *t : texts) {
    CMPIStatus rc;
    CMPIDateTime *dt = makeNewCMPIDateTimeFromChars(t, &rc);
    ASSERT_NE(dt, nullptr) << t;
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(text_of(dt), t);
    dt->ft->release(dt);
  }
}

TEST(DateTimeText, FromBinaryGivesUtcPointsAndIntervals) {
  struct {
    CMPIUint64 us;
    bool interval;
    const char *text;
  } cases[] = {
      {0, false, "19700101000000.000000+000"},
      {1100451923243424u, false, "20041114170523.243424+000"},
      {1709252999999999u, false, "20240301002959.999999+000"},
      {253402300799999999u, false, "99991231235959.999999+000"},
      {0, true, "00000000000000.000000:000"},
      {129632000000u, true, "00000001120032.000000:000"},
      {8639999999999999999u, true, "99999999235959.999999:000"},
  };
  for (const auto &c : cases) {
    CMPIStatus rc;
    CMPIDateTime *dt = cmpi::new_datetime_from_binary(c.us, c.interval, &rc);
    ASSERT_NE(dt, nullptr) << c.text;
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(text_of(dt), c.text);
    EXPECT_EQ(dt->ft->getBinaryFormat(dt, nullptr), c.us);
    EXPECT_EQ(dt->ft->isInterval(dt, nullptr), c.interval ? 1 : 0);
    dt->ft->release(dt);
  }
}

TEST(DateTimeText, BothFormsRoundTrip) {
  // text -> binary -> text (UTC points keep their text)
  for (const char *t : {"20381231235959.000000+000", "00000042235959.500000:000",
                        "19700301000000.000000+000", "21000228235959.999999+000"}) {
    CMPIDateTime *dt = makeNewCMPIDateTimeFromChars(t, nullptr);
    ASSERT_NE(dt, nullptr) << t;
    CMPIDateTime *back = cmpi::new_datetime_from_binary(dt->ft->getBinaryFormat(dt, nullptr),
                                                        dt->ft->isInterval(dt, nullptr), nullptr);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(text_of(back), t);
    back->ft->release(back);
    dt->ft->release(dt);
  }
  // binary -> text -> binary
  for (CMPIUint64 us : {0ull, 1ull, 951782400000000ull /* 2000-02-29 */, 4102444799999999ull}) {
    for (bool interval : {false, true}) {
      CMPIDateTime *dt = cmpi::new_datetime_from_binary(us, interval, nullptr);
      ASSERT_NE(dt, nullptr);
      const std::string t = text_of(dt);
      EXPECT_EQ(binary_of(t.c_str()), us) << t;
      dt->ft->release(dt);
    }
  }
}

TEST(DateTimeText, FromBinaryBeyondTheLastTextIsInvalidParameter) {
  CMPIStatus rc;
  EXPECT_EQ(cmpi::new_datetime_from_binary(253402300800000000u, false, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(cmpi::new_datetime_from_binary(8640000000000000000u, true, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(cmpi::new_datetime_from_binary(18446744073709551615u, true, nullptr), nullptr);
}

// ---- validation -------------------------------------------------------------------------------

TEST(DateTimeValidation, MalformedTextsAreRejected) {
  const char *bad[] = {
      "",
      "2004111412052.243424-300",     // 24 characters
      "20041114120523.243424-3000",   // 26 characters
      "2004111412052a.243424-300",    // letter in the seconds
      "20041114120523,243424-300",    // no '.'
      "20041114120523.24342x-300",    // letter in the microseconds
      "20041114120523.243424*300",    // no sign
      "20041114120523.243424+30a",    // letter in the offset
      "20041114120523.243424+***",    // asterisks in the offset
      "20040014120523.243424+000",    // month 00
      "20041314120523.243424+000",    // month 13
      "20041100120523.243424+000",    // day 00
      "20041132120523.243424+000",    // day 32
      "20040431120523.243424+000",    // 31 April
      "20230229120523.243424+000",    // 29 February of a common year
      "19000229120523.243424+000",    // 1900 is no leap year
      "20041114240523.243424+000",    // hour 24
      "20041114126023.243424+000",    // minute 60
      "20041114120560.243424+000",    // second 60 (leap seconds are rejected)
      " 0041114120523.243424+000",    // blank in the year
      "-0041114120523.243424+000",    // sign in the year
      "00000001120032.000000:001",    // interval must end in :000
      "00000001120032.000000;000",    // neither sign nor colon
      "00000001240032.000000:000",    // interval hour 24
      "00000001126032.000000:000",    // interval minute 60
      "00000001120060.000000:000",    // interval second 60
      "0000000112003*.******:000",    // no asterisks in intervals
      "00000001120032.******:000",    // no asterisks in intervals
      "2004111412052*.******+000",    // a partly asterisked second
      "20041114****23.243424+000",    // asterisks above digits
      "200411141205**.243424+000",    // asterisked seconds with microsecond digits
      "20041114120523.**3424+000",    // asterisks before microsecond digits
      "20041114120523.2*3424+000",    // an asterisk between microsecond digits
      "********120523.243424+000",    // no asterisks in the date
      "2004****120523.243424+000",    // no asterisks in the date
      "200411**120523.243424+000",    // no asterisks in the date
  };
  for (const char *t : bad) {
    CMPIStatus rc;
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(makeNewCMPIDateTimeFromChars(t, &rc), nullptr) << t;
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER) << t;
    EXPECT_EQ(makeNewCMPIDateTimeFromChars(t, nullptr), nullptr) << t;
  }
}

TEST(DateTimeValidation, NullTextIsInvalidParameter) {
  CMPIStatus rc;
  EXPECT_EQ(makeNewCMPIDateTimeFromChars(nullptr, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST(DateTimeValidation, CalendarEdgesAreAccepted) {
  EXPECT_EQ(binary_of("20000229000000.000000+000"), 951782400000000u);  // 2000 is a leap year
  const char *good[] = {"00000229000000.000000+000", "00000101000000.000000+999",
                        "99991231235959.999999-999", "20041231235959.999999+000",
                        "20040229000000.000000+000", "00000000235959.999999:000"};
  for (const char *t : good) {
    CMPIDateTime *dt = makeNewCMPIDateTimeFromChars(t, nullptr);
    EXPECT_NE(dt, nullptr) << t;
    if (dt != nullptr) {
      dt->ft->release(dt);
    }
  }
}

// ---- asterisks --------------------------------------------------------------------------------

TEST(DateTimeAsterisks, AsteriskedFieldsCountAsZero) {
  EXPECT_EQ(binary_of("20240101******.******+000"), 1704067200000000u);
  EXPECT_EQ(binary_of("20240101123456.123***+000"), 1704112496123000u);
  EXPECT_EQ(binary_of("2024010112****.******+000"), 1704110400000000u);
  EXPECT_EQ(binary_of("202401011200**.******+000"), 1704110400000000u);
  EXPECT_EQ(binary_of("20240101120000.******+000"), 1704110400000000u);
  EXPECT_EQ(binary_of("20240101120000.******+060"), 1704106800000000u);
}

TEST(DateTimeAsterisks, TheTextKeepsTheAsterisks) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("2024010112****.******+000", nullptr);
  ASSERT_NE(dt, nullptr);
  EXPECT_EQ(text_of(dt), "2024010112****.******+000");
  CMPIDateTime *c = dt->ft->clone(dt, nullptr);
  EXPECT_EQ(text_of(c), "2024010112****.******+000");
  c->ft->release(c);
  dt->ft->release(dt);
}

// ---- before the epoch -------------------------------------------------------------------------

TEST(DateTimeEpoch, PointsBeforeTheEpochHaveNoBinaryValue) {
  for (const char *t : {"19691231235959.999999+000", "19700101000000.000000+001",
                        "00000101000000.000000+000"}) {
    CMPIStatus rc;
    CMPIDateTime *dt = makeNewCMPIDateTimeFromChars(t, &rc);
    ASSERT_NE(dt, nullptr) << t;
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(dt->ft->getBinaryFormat(dt, &rc), 0u);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_FAILED) << t;
    EXPECT_EQ(dt->ft->getBinaryFormat(dt, nullptr), 0u);
    EXPECT_EQ(text_of(dt), t);  // the text is kept
    dt->ft->release(dt);
  }
  EXPECT_EQ(binary_of("19700101000000.000000-001"), 60000000u);  // after the epoch in UTC
}

// ---- now --------------------------------------------------------------------------------------

TEST(DateTimeNow, IsTheCurrentUtcTime) {
  struct timespec before;
  struct timespec after;
  clock_gettime(CLOCK_REALTIME, &before);
  CMPIStatus rc;
  CMPIDateTime *dt = cmpi::new_datetime_now(&rc);
  clock_gettime(CLOCK_REALTIME, &after);
  ASSERT_NE(dt, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  const CMPIUint64 lo = static_cast<CMPIUint64>(before.tv_sec) * 1000000u +
                        static_cast<CMPIUint64>(before.tv_nsec / 1000);
  const CMPIUint64 hi = static_cast<CMPIUint64>(after.tv_sec) * 1000000u +
                        static_cast<CMPIUint64>(after.tv_nsec / 1000);
  const CMPIUint64 now = dt->ft->getBinaryFormat(dt, nullptr);
  EXPECT_GE(now, lo);
  EXPECT_LE(now, hi);
  EXPECT_EQ(dt->ft->isInterval(dt, nullptr), 0);
  const std::string t = text_of(dt);
  ASSERT_EQ(t.size(), 25u);
  EXPECT_EQ(t.substr(21), "+000");
  EXPECT_EQ(binary_of(t.c_str()), now);
  dt->ft->release(dt);
  CMPIDateTime *no_rc = cmpi::new_datetime_now(nullptr);
  ASSERT_NE(no_rc, nullptr);
  no_rc->ft->release(no_rc);
}

// ---- DateTimeFT slots -------------------------------------------------------------------------

TEST(DateTimeFT, VersionAndTable) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20000101000000.000000+000", nullptr);
  ASSERT_NE(dt, nullptr);
  EXPECT_EQ(dt->ft, cmpi::datetime_table());
  EXPECT_EQ(dt->ft->ftVersion, CMPICurrentVersion);
  EXPECT_NE(dt->hdl, nullptr);
  EXPECT_EQ(dt->ft->release(dt).rc, CMPI_RC_OK);
}

TEST(DateTimeFT, IsInterval) {
  CMPIDateTime *p = makeNewCMPIDateTimeFromChars("20000101000000.000000+000", nullptr);
  CMPIDateTime *i = makeNewCMPIDateTimeFromChars("00000000000001.000000:000", nullptr);
  CMPIStatus rc;
  EXPECT_EQ(p->ft->isInterval(p, &rc), 0);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(i->ft->isInterval(i, &rc), 1);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  p->ft->release(p);
  i->ft->release(i);
}

TEST(DateTimeFT, GetStringFormatHandsOutANewStringEachTime) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("20041114120523.243424-300", nullptr);
  CMPIStatus rc;
  CMPIString *a = dt->ft->getStringFormat(dt, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  CMPIString *b = dt->ft->getStringFormat(dt, nullptr);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_NE(a, b);
  dt->ft->release(dt);  // the strings belong to the caller and outlive the date-time
  EXPECT_STREQ(static_cast<const char *>(a->hdl), "20041114120523.243424-300");
  EXPECT_STREQ(static_cast<const char *>(b->hdl), "20041114120523.243424-300");
  a->ft->release(a);
  b->ft->release(b);
}

TEST(DateTimeFT, CloneIsIndependent) {
  CMPIDateTime *dt = makeNewCMPIDateTimeFromChars("00000001120032.000000:000", nullptr);
  CMPIStatus rc;
  CMPIDateTime *c = dt->ft->clone(dt, &rc);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(c, dt);
  EXPECT_NE(c->hdl, dt->hdl);
  dt->ft->release(dt);  // the clone outlives the original
  EXPECT_EQ(text_of(c), "00000001120032.000000:000");
  EXPECT_EQ(c->ft->getBinaryFormat(c, nullptr), 129632000000u);
  EXPECT_EQ(c->ft->isInterval(c, nullptr), 1);
  CMPIDateTime *before_epoch = makeNewCMPIDateTimeFromChars("19000101000000.000000+000", nullptr);
  CMPIDateTime *c2 = before_epoch->ft->clone(before_epoch, nullptr);
  before_epoch->ft->release(before_epoch);
  EXPECT_EQ(c2->ft->getBinaryFormat(c2, &rc), 0u);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_FAILED);
  c2->ft->release(c2);
  c->ft->release(c);
}

TEST(DateTimeFT, NullObjectOrHandleIsInvalidHandleInEverySlot) {
  const CMPIDateTimeFT *ft = cmpi::datetime_table();
  CMPIDateTime bad;
  bad.hdl = nullptr;
  bad.ft = const_cast<CMPIDateTimeFT *>(ft);
  for (CMPIDateTime *dt : {static_cast<CMPIDateTime *>(nullptr), &bad}) {
    CMPIStatus rc;
    EXPECT_EQ(ft->release(dt).rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->clone(dt, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->getBinaryFormat(dt, &rc), 0u);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->getStringFormat(dt, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    rc.rc = CMPI_RC_OK;
    EXPECT_EQ(ft->isInterval(dt, &rc), 0);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
    EXPECT_EQ(ft->clone(dt, nullptr), nullptr);
    EXPECT_EQ(ft->getBinaryFormat(dt, nullptr), 0u);
    EXPECT_EQ(ft->getStringFormat(dt, nullptr), nullptr);
    EXPECT_EQ(ft->isInterval(dt, nullptr), 0);
  }
}

// ---- the text functions on their own ----------------------------------------------------------

TEST(DateTimeTextFunctions, ParseAndFormat) {
  cmpi::ParsedDateTime p;
  ASSERT_TRUE(cmpi::parse_datetime_text("19700101010000.000000+060", &p));
  EXPECT_FALSE(p.interval);
  EXPECT_EQ(p.point_microseconds, 0);
  ASSERT_TRUE(cmpi::parse_datetime_text("19700101000000.000000+060", &p));
  EXPECT_EQ(p.point_microseconds, -3600000000ll);
  ASSERT_TRUE(cmpi::parse_datetime_text("00000001120032.000000:000", &p));
  EXPECT_TRUE(p.interval);
  EXPECT_EQ(p.interval_microseconds, 129632000000u);
  EXPECT_FALSE(cmpi::parse_datetime_text(nullptr, &p));
  EXPECT_FALSE(cmpi::parse_datetime_text("19700101000000.000000+000", nullptr));

  char buffer[cmpi::kDateTimeTextLength + 1];
  ASSERT_TRUE(cmpi::format_datetime_text(946684800000000u, false, buffer));
  EXPECT_STREQ(buffer, "20000101000000.000000+000");
  ASSERT_TRUE(cmpi::format_datetime_text(3723000004u, true, buffer));
  EXPECT_STREQ(buffer, "00000000010203.000004:000");
  EXPECT_FALSE(cmpi::format_datetime_text(cmpi::kMaxPointMicroseconds + 1, false, buffer));
  EXPECT_STREQ(buffer, "00000000010203.000004:000");  // untouched
  EXPECT_FALSE(cmpi::format_datetime_text(0, false, nullptr));
}

}  // namespace
