// string_test.cpp - CMPIString: CreateString, the one-block layout and every StringFT slot.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

TEST(CreateString, CopiesTheText) {
  char buffer[] = "root/cimv2";
  CMPIStatus rc;
  CMPIString *s = CreateString(buffer, &rc);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_EQ(val(rc.msg), nullptr);
  buffer[0] = 'X';
  EXPECT_STREQ(static_cast<const char *>(s->hdl), "root/cimv2");
  EXPECT_NE(s->hdl, static_cast<void *>(buffer));
  EXPECT_EQ(s->ft, cmpi::string_table());
  EXPECT_EQ(s->ft->release(s).rc, CMPI_RC_OK);
}

TEST(CreateString, EmptyTextIsAValidEmptyString) {
  CMPIStatus rc;
  CMPIString *s = CreateString("", &rc);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_STREQ(static_cast<const char *>(s->hdl), "");
  EXPECT_NE(s->hdl, nullptr);
  s->ft->release(s);
}

TEST(CreateString, NullTextIsInvalidParameter) {
  CMPIStatus rc;
  EXPECT_EQ(CreateString(nullptr, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(CreateString(nullptr, nullptr), nullptr);
}

TEST(CreateString, RcMayBeNull) {
  CMPIString *s = CreateString("x", nullptr);
  ASSERT_NE(s, nullptr);
  EXPECT_STREQ(static_cast<const char *>(s->hdl), "x");
  s->ft->release(s);
}

TEST(CreateString, OneBlockTheTextFollowsTheObject) {
  CMPIString *s = CreateString("abc", nullptr);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(static_cast<char *>(s->hdl), reinterpret_cast<char *>(s) + sizeof(CMPIString));
  // A plain free of the object releases everything (the leak check of the sanitizer build
  // proves it).
  std::free(s);
}

TEST(CreateString, LongAndUtf8TextsAreKept) {
  std::string long_text(10000, 'a');
  long_text += "\xC3\xA9\xE2\x98\xBA";
  CMPIString *s = CreateString(long_text.c_str(), nullptr);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(std::string(static_cast<const char *>(s->hdl)), long_text);
  s->ft->release(s);
}

TEST(StringFT, VersionIsCurrent) { EXPECT_EQ(cmpi::string_table()->ftVersion, CMPICurrentVersion); }

TEST(StringFT, GetCharPtrReturnsTheHandleText) {
  CMPIString *s = CreateString("Demo_Fan", nullptr);
  CMPIStatus rc;
  const char *p = s->ft->getCharPtr(s, &rc);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_STREQ(p, "Demo_Fan");
  EXPECT_EQ(p, s->hdl);
  EXPECT_EQ(s->ft->getCharPtr(s, nullptr), s->hdl);
  s->ft->release(s);
}

TEST(StringFT, CloneIsAnIndependentBlock) {
  CMPIString *s = CreateString("one", nullptr);
  CMPIStatus rc;
  CMPIString *c = s->ft->clone(s, &rc);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_OK);
  EXPECT_NE(c, s);
  EXPECT_NE(c->hdl, s->hdl);
  EXPECT_EQ(static_cast<char *>(c->hdl), reinterpret_cast<char *>(c) + sizeof(CMPIString));
  static_cast<char *>(c->hdl)[0] = 'O';  // mutate the clone: the original is unchanged
  EXPECT_STREQ(static_cast<const char *>(s->hdl), "one");
  s->ft->release(s);  // release the original: the clone is still valid
  EXPECT_STREQ(static_cast<const char *>(c->hdl), "One");
  CMPIString *c2 = c->ft->clone(c, nullptr);
  ASSERT_NE(c2, nullptr);
  EXPECT_STREQ(static_cast<const char *>(c2->hdl), "One");
  std::free(c2);  // a clone is one block too
  EXPECT_EQ(c->ft->release(c).rc, CMPI_RC_OK);
}

TEST(StringFT, NullObjectOrHandleIsInvalidHandle) {
  const CMPIStringFT *ft = cmpi::string_table();
  CMPIString bad;
  bad.hdl = nullptr;
  bad.ft = const_cast<CMPIStringFT *>(ft);
  CMPIStatus rc;

  EXPECT_EQ(ft->release(nullptr).rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(ft->release(&bad).rc, CMPI_RC_ERR_INVALID_HANDLE);

  rc.rc = CMPI_RC_OK;
  EXPECT_EQ(ft->clone(nullptr, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
  rc.rc = CMPI_RC_OK;
  EXPECT_EQ(ft->clone(&bad, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(ft->clone(&bad, nullptr), nullptr);

  rc.rc = CMPI_RC_OK;
  EXPECT_EQ(ft->getCharPtr(nullptr, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
  rc.rc = CMPI_RC_OK;
  EXPECT_EQ(ft->getCharPtr(&bad, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(ft->getCharPtr(&bad, nullptr), nullptr);
}

TEST(StringFT, ForeignHandleIsInvalidHandle) {
  // An object whose handle does not point into its own block was not made here.
  char text[] = "elsewhere";
  CMPIString foreign;
  foreign.hdl = text;
  foreign.ft = const_cast<CMPIStringFT *>(cmpi::string_table());
  CMPIStatus rc;
  EXPECT_EQ(foreign.ft->release(&foreign).rc, CMPI_RC_ERR_INVALID_HANDLE);
  EXPECT_EQ(foreign.ft->getCharPtr(&foreign, &rc), nullptr);
  EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

}  // namespace
