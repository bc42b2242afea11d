// Tests of CMPIContext: every slot of its table, entries of every type code (including the
// standard entries a host sets), caller-owned results and clone independence.
#include <gtest/gtest.h>

#include <string>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

// ---- context tests -------------------------------------------------------------------------

CMPIContext *new_context() {
  CMPIStatus rc = unset_status();
  CMPIContext *ctx = makeNewCMPIContext(&rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return ctx;
}

Setter setter_of(CMPIContext *ctx) {
  return [ctx](const char *name, const CMPIValue *value, CMPIType type) {
    return ctx->ft->addEntry(ctx, name, value, type);
  };
}

Getter getter_of(const CMPIContext *ctx) {
  return [ctx](const char *name, CMPIStatus *rc) { return ctx->ft->getEntry(ctx, name, rc); };
}

std::string string_entry(const CMPIContext *ctx, const char *name) {
  return string_value(getter_of(ctx), name);
}

TEST(Context, FactoryMakesAnEmptyContext) {
  CMPIStatus rc = unset_status();
  CMPIContext *ctx = makeNewCMPIContext(&rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, ctx);
  EXPECT_NE(nullptr, +ctx->hdl);
  EXPECT_EQ(cmpi::context_table(), +ctx->ft);
  rc = unset_status();
  EXPECT_EQ(0u, ctx->ft->getEntryCount(ctx, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(CMPI_RC_OK, +ctx->ft->release(ctx).rc);
  ctx = makeNewCMPIContext(nullptr);  // rc may be NULL
  ASSERT_NE(nullptr, ctx);
  ctx->ft->release(ctx);
}

TEST(Context, TableVersionAndEverySlotSet) {
  const CMPIContextFT *ft = cmpi::context_table();
  EXPECT_EQ(CMPICurrentVersion, +ft->ftVersion);
  EXPECT_TRUE(ft->release != nullptr);
  EXPECT_TRUE(ft->clone != nullptr);
  EXPECT_TRUE(ft->getEntry != nullptr);
  EXPECT_TRUE(ft->getEntryAt != nullptr);
  EXPECT_TRUE(ft->getEntryCount != nullptr);
  EXPECT_TRUE(ft->addEntry != nullptr);
}

TEST(Context, StandardEntriesAsAHostSetsThem) {
  CMPIContext *ctx = new_context();
  EXPECT_EQ(CMPI_RC_OK, +ctx->ft->addEntry(ctx, CMPIPrincipal,
                                          reinterpret_cast<const CMPIValue *>("alice"), CMPI_chars)
                            .rc);
  const CMPIFlags flags = CMPI_FLAG_LocalOnly | CMPI_FLAG_IncludeClassOrigin;
  EXPECT_EQ(CMPI_RC_OK, +ctx->ft->addEntry(ctx, CMPIInvocationFlags,
                                          reinterpret_cast<const CMPIValue *>(&flags), CMPI_uint32)
                            .rc);
  EXPECT_EQ(CMPI_RC_OK,
            +ctx->ft->addEntry(ctx, CMPIInitNameSpace,
                              reinterpret_cast<const CMPIValue *>("root/cimv2"), CMPI_chars)
                .rc);
  EXPECT_EQ(3u, ctx->ft->getEntryCount(ctx, nullptr));

  CMPIStatus rc = unset_status();
  CMPIData principal = ctx->ft->getEntry(ctx, "CMPIPrincipal", &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(CMPI_string, +principal.type);
  EXPECT_EQ(CMPI_goodValue, +principal.state);
  EXPECT_EQ("alice", text_of(+principal.value.string));
  release_data(&principal);

  CMPIData read_flags = ctx->ft->getEntry(ctx, "CMPIInvocationFlags", &rc);
  EXPECT_EQ(CMPI_uint32, +read_flags.type);
  EXPECT_EQ(9u, +read_flags.value.uint32);
  EXPECT_EQ("root/cimv2", string_entry(ctx, "cmpiinitnamespace"));
  ctx->ft->release(ctx);
}

TEST(Context, EntriesOfEveryType) {
  CMPIContext *ctx = new_context();
  sweep_every_type(setter_of(ctx), getter_of(ctx), CMPI_goodValue);
  EXPECT_EQ(38u, ctx->ft->getEntryCount(ctx, nullptr));
  ctx->ft->release(ctx);
}

TEST(Context, NullEntries) {
  CMPIContext *ctx = new_context();
  sweep_null_values(setter_of(ctx), getter_of(ctx));
  EXPECT_EQ(12u, ctx->ft->getEntryCount(ctx, nullptr));
  ctx->ft->release(ctx);
}

TEST(Context, GetEntryAtHandsOutNameAndValueInOrderOfFirstAdd) {
  CMPIContext *ctx = new_context();
  ctx->ft->addEntry(ctx, "Role", reinterpret_cast<const CMPIValue *>("admin"), CMPI_chars);
  ctx->ft->addEntry(ctx, "Lang", reinterpret_cast<const CMPIValue *>("en"), CMPI_chars);
  ctx->ft->addEntry(ctx, "ROLE", reinterpret_cast<const CMPIValue *>("user"), CMPI_chars);
  EXPECT_EQ(2u, ctx->ft->getEntryCount(ctx, nullptr));
  CMPIString *name = nullptr;
  CMPIStatus rc = unset_status();
  CMPIData d = ctx->ft->getEntryAt(ctx, 0, &name, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("Role", take(name));
  EXPECT_EQ("user", text_of(+d.value.string));
  release_data(&d);
  d = ctx->ft->getEntryAt(ctx, 1, &name, nullptr);
  EXPECT_EQ("Lang", take(name));
  EXPECT_EQ("en", text_of(+d.value.string));
  release_data(&d);
  d = ctx->ft->getEntryAt(ctx, 1, nullptr, nullptr);
  EXPECT_EQ("en", text_of(+d.value.string));
  release_data(&d);
  ctx->ft->release(ctx);
}

TEST(Context, MissingNameOrIndexGivesNoSuchProperty) {
  CMPIContext *ctx = new_context();
  CMPIStatus rc = unset_status();
  CMPIData d = ctx->ft->getEntry(ctx, CMPIRole, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(CMPI_null, +d.type);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  rc = unset_status();
  ctx->ft->getEntry(ctx, nullptr, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
  rc = unset_status();
  d = ctx->ft->getEntryAt(ctx, 0, &name, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(nullptr, name);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  ctx->ft->getEntry(ctx, "x", nullptr);
  ctx->ft->getEntryAt(ctx, 3, nullptr, nullptr);
  ctx->ft->release(ctx);
}

TEST(Context, AddEntryRefusesMissingNameAndUnsupportedTypes) {
  CMPIContext *ctx = new_context();
  const CMPIUint8 v = 1;
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +ctx->ft->addEntry(ctx, nullptr, reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8)
                .rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_DATA_TYPE,
            +ctx->ft->addEntry(ctx, "E", reinterpret_cast<const CMPIValue *>(&v), CMPI_filter).rc);
  EXPECT_EQ(0u, ctx->ft->getEntryCount(ctx, nullptr));
  ctx->ft->release(ctx);
}

TEST(Context, CloneIsDeepAndIndependent) {
  CMPIContext *ctx = new_context();
  ctx->ft->addEntry(ctx, CMPIPrincipal, reinterpret_cast<const CMPIValue *>("alice"), CMPI_chars);
  const CMPIUint32 flags = 2;
  ctx->ft->addEntry(ctx, CMPIInvocationFlags, reinterpret_cast<const CMPIValue *>(&flags),
                    CMPI_uint32);
  CMPIStatus rc = unset_status();
  CMPIContext *copy = ctx->ft->clone(ctx, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(copy, ctx);
  EXPECT_EQ(2u, copy->ft->getEntryCount(copy, nullptr));
  EXPECT_EQ("alice", string_entry(copy, CMPIPrincipal));

  copy->ft->addEntry(copy, CMPIPrincipal, reinterpret_cast<const CMPIValue *>("bob"), CMPI_chars);
  copy->ft->addEntry(copy, CMPIRole, reinterpret_cast<const CMPIValue *>("r"), CMPI_chars);
  EXPECT_EQ("alice", string_entry(ctx, CMPIPrincipal));
  EXPECT_EQ(2u, ctx->ft->getEntryCount(ctx, nullptr));

  ctx->ft->release(ctx);
  EXPECT_EQ("bob", string_entry(copy, CMPIPrincipal));
  CMPIData f = copy->ft->getEntry(copy, CMPIInvocationFlags, nullptr);
  EXPECT_EQ(2u, +f.value.uint32);
  EXPECT_EQ(CMPI_RC_OK, +copy->ft->release(copy).rc);
}

TEST(Context, NullHandleGivesInvalidHandleOnEverySlot) {
  const CMPIContextFT *ft = cmpi::context_table();
  CMPIContext no_handle = {nullptr, const_cast<CMPIContextFT *>(ft)};
  const CMPIUint8 v = 1;
  for (CMPIContext *bad : {&no_handle, static_cast<CMPIContext *>(nullptr)}) {
    CMPIStatus rc = unset_status();
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->release(bad).rc);
    EXPECT_EQ(nullptr, ft->clone(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    CMPIData d = ft->getEntry(bad, "E", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_NE(0, +d.state & CMPI_nullValue);
    rc = unset_status();
    CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
    ft->getEntryAt(bad, 0, &name, &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(nullptr, name);
    rc = unset_status();
    EXPECT_EQ(0u, ft->getEntryCount(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE,
              +ft->addEntry(bad, "E", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8).rc);
    EXPECT_EQ(nullptr, ft->clone(bad, nullptr));
    ft->getEntry(bad, "E", nullptr);
    ft->getEntryAt(bad, 0, nullptr, nullptr);
    EXPECT_EQ(0u, ft->getEntryCount(bad, nullptr));
  }
}

}  // namespace
