// A provider built for an older CMPI level (older_level_provider.c, level 90) against these
// headers: its stub table puts the provider's SetInstance into the modify slot, reports level 90,
// shares the layout of every structure with the default level, and the statement macros it
// calls without ';' give the statuses they name.

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

extern "C" {
size_t older_level_size(int which);
void *older_level_function(int slot);
extern const CMPIBroker *older_level_broker;
CMPIInstanceMI *Older_Provider_Create_InstanceMI(const CMPIBroker *brkr, const CMPIContext *ctx,
                                                 CMPIStatus *rc);
}

namespace {

class OlderLevelProvider : public ::testing::Test {
 protected:
  void SetUp() override {
    broker_ = getCMPIBroker(nullptr);
    ctx_ = makeNewCMPIContext(nullptr);
    ASSERT_NE(broker_, nullptr);
    ASSERT_NE(ctx_, nullptr);
    CMPIStatus rc = {CMPI_RC_ERR_FAILED, nullptr};
    mi_ = Older_Provider_Create_InstanceMI(broker_, ctx_, &rc);
    ASSERT_NE(mi_, nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    good_ = makeNewObjectPath("root/cimv2", "Older_Good", nullptr);
    other_ = makeNewObjectPath("root/cimv2", "Older_Other", nullptr);
    inst_ = makeNewCMPIInstance(good_, nullptr);
    ASSERT_NE(inst_, nullptr);
  }
  void TearDown() override {
    if (inst_ != nullptr) CMRelease(inst_);
    if (other_ != nullptr) CMRelease(other_);
    if (good_ != nullptr) CMRelease(good_);
    if (ctx_ != nullptr) CMRelease(ctx_);
  }

  // The message of a status as text ("" without one); releases the message.
  static std::string take_message(CMPIStatus *st) {
    std::string text;
    if (st->msg != nullptr) {
      text = CMGetCharsPtr(st->msg, nullptr);
      CMRelease(st->msg);
      st->msg = nullptr;
    }
    return text;
  }

  CMPIBroker *broker_ = nullptr;
  CMPIContext *ctx_ = nullptr;
  CMPIInstanceMI *mi_ = nullptr;
  CMPIObjectPath *good_ = nullptr;
  CMPIObjectPath *other_ = nullptr;
  CMPIInstance *inst_ = nullptr;
};

TEST_F(OlderLevelProvider, TheStubFillsEverySlotInTableOrder) {
  const CMPIInstanceMIFT *ft = mi_->ft;
  ASSERT_NE(ft, nullptr);
  EXPECT_EQ(mi_->hdl, nullptr);
  EXPECT_EQ(ft->ftVersion, 90);
  EXPECT_EQ(ft->miVersion, 90);
  EXPECT_STREQ(ft->miName, "instanceOlder_Provider");
  EXPECT_EQ(reinterpret_cast<void *>(ft->cleanup), older_level_function(0));
  EXPECT_EQ(reinterpret_cast<void *>(ft->enumerateInstanceNames), older_level_function(1));
  EXPECT_EQ(reinterpret_cast<void *>(ft->enumerateInstances), older_level_function(2));
  EXPECT_EQ(reinterpret_cast<void *>(ft->getInstance), older_level_function(3));
  EXPECT_EQ(reinterpret_cast<void *>(ft->createInstance), older_level_function(4));
  EXPECT_EQ(reinterpret_cast<void *>(ft->modifyInstance), older_level_function(5));
  EXPECT_EQ(reinterpret_cast<void *>(ft->deleteInstance), older_level_function(6));
  EXPECT_EQ(reinterpret_cast<void *>(ft->execQuery), older_level_function(7));
  EXPECT_EQ(older_level_broker, broker_);
}

TEST_F(OlderLevelProvider, TheLayoutIsTheSameAtEveryLevel) {
  EXPECT_EQ(older_level_size(0), sizeof(CMPIStatus));
  EXPECT_EQ(older_level_size(1), sizeof(CMPIData));
  EXPECT_EQ(older_level_size(2), sizeof(CMPIValue));
  EXPECT_EQ(older_level_size(3), sizeof(CMPIBrokerFT));
  EXPECT_EQ(older_level_size(4), sizeof(CMPIInstanceFT));
  EXPECT_EQ(older_level_size(5), sizeof(CMPIObjectPathFT));
  EXPECT_EQ(older_level_size(6), sizeof(CMPIBroker));
  EXPECT_EQ(older_level_size(7), sizeof(CMPIInstanceMIFT));
  EXPECT_EQ(older_level_size(8), sizeof(CMPIInstanceMI));
  EXPECT_EQ(older_level_size(9), sizeof(CMPIIndicationMIFT));
}

TEST_F(OlderLevelProvider, TheModifySlotRunsSetInstance) {
  CMPIStatus st = mi_->ft->modifyInstance(mi_, ctx_, nullptr, good_, inst_, nullptr);
  EXPECT_EQ(st.rc, CMPI_RC_OK);
  EXPECT_EQ(take_message(&st), "");

  st = mi_->ft->modifyInstance(mi_, ctx_, nullptr, other_, inst_, nullptr);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(take_message(&st), "x");

  st = mi_->ft->modifyInstance(mi_, ctx_, nullptr, good_, nullptr, nullptr);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER);
  EXPECT_EQ(take_message(&st), "no instance");
}

TEST_F(OlderLevelProvider, StatementMacrosWithoutSemicolonGiveTheirStatuses) {
  CMPIStatus st = mi_->ft->cleanup(mi_, ctx_, 1);
  EXPECT_EQ(st.rc, CMPI_RC_OK);
  st = mi_->ft->cleanup(mi_, ctx_, 0);
  EXPECT_EQ(st.rc, CMPI_RC_DO_NOT_UNLOAD);

  st = mi_->ft->getInstance(mi_, ctx_, nullptr, good_, nullptr);
  EXPECT_EQ(st.rc, CMPI_RC_OK);
  EXPECT_EQ(take_message(&st), "");
  st = mi_->ft->getInstance(mi_, ctx_, nullptr, other_, nullptr);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_EQ(take_message(&st), "no such instance");

  st = mi_->ft->enumerateInstanceNames(mi_, ctx_, nullptr, good_);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(take_message(&st), "no names");

  st = mi_->ft->deleteInstance(mi_, ctx_, nullptr, good_);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_ACCESS_DENIED);
  st = mi_->ft->deleteInstance(mi_, ctx_, nullptr, other_);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);

  st = mi_->ft->createInstance(mi_, ctx_, nullptr, good_, inst_);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  st = mi_->ft->execQuery(mi_, ctx_, nullptr, good_, "SELECT * FROM Older_Good", "WQL");
  EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  st = mi_->ft->enumerateInstances(mi_, ctx_, nullptr, good_, nullptr);
  EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

// The default level, in this file: every level symbol is there and the tables say 200.
TEST(DefaultLevel, DefinesEveryLevelSymbolAndReports200) {
#if !defined(CMPI_VER_85) || !defined(CMPI_VER_86) || !defined(CMPI_VER_87) ||               \
    !defined(CMPI_VER_90) || !defined(CMPI_VER_100) || !defined(CMPI_VER_200)
  ADD_FAILURE() << "a level symbol is missing at the default level";
#endif
  EXPECT_EQ(CMPI_VERSION, 200);
  EXPECT_EQ(CMPICurrentVersion, 200);
}

}  // namespace
