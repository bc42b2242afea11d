// Tests of the broker: the shared instance, every up-call slot, every factory and helper slot
// (object kinds, message substitution, log and trace lines), the operating-system services
// (threads, once, keys, mutexes, conditions) and the memory services.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <type_traits>
#include <vector>
#include <vector>

#include "cmpiinterface.h"
#include "cmpimacs.h"
#include "log_capture.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

constexpr int kProviderModule = 231;

class BrokerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CMPIStatus rc = unset_status();
    mb_ = getCMPIBroker(&rc);
    ASSERT_EQ(CMPI_RC_OK, +rc.rc);
    ASSERT_NE(nullptr, mb_);
    ctx_ = makeNewCMPIContext(nullptr);
    op_ = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
    op_->ft->addKey(op_, "DeviceID", reinterpret_cast<const CMPIValue *>("fan0"), CMPI_chars);
  }
  void TearDown() override {
    op_->ft->release(op_);
    ctx_->ft->release(ctx_);
  }

  CMPIBroker *mb_ = nullptr;
  CMPIContext *ctx_ = nullptr;
  CMPIObjectPath *op_ = nullptr;
};

// ---- the broker itself ---------------------------------------------------------------------

TEST_F(BrokerTest, OneSharedBrokerWithAllFourTables) {
  EXPECT_EQ(mb_, getCMPIBroker(nullptr));
  EXPECT_NE(nullptr, +mb_->hdl);
  EXPECT_NE(nullptr, +mb_->bft);
  EXPECT_NE(nullptr, +mb_->eft);
  EXPECT_NE(nullptr, +mb_->xft);
  EXPECT_NE(nullptr, +mb_->mft);
  EXPECT_EQ(CMPICurrentVersion, +mb_->eft->ftVersion);
  EXPECT_EQ(CMPICurrentVersion, +mb_->xft->ftVersion);
  EXPECT_EQ(CMPICurrentVersion, +mb_->mft->ftVersion);
}

// ---- up-calls ------------------------------------------------------------------------------

TEST_F(BrokerTest, BrokerDataFields) {
  EXPECT_EQ(static_cast<unsigned>(CMPI_MB_OSEncapsulationSupport), +mb_->bft->brokerCapabilities);
  EXPECT_EQ(200u, +mb_->bft->brokerVersion);
  EXPECT_STREQ("cmpiinterface", +mb_->bft->brokerName);
}

TEST_F(BrokerTest, PrepareAttachThreadHandsOutACloneOfTheContext) {
  ctx_->ft->addEntry(ctx_, CMPIPrincipal, reinterpret_cast<const CMPIValue *>("alice"),
                     CMPI_chars);
  CMPIContext *thread_ctx = mb_->bft->prepareAttachThread(mb_, ctx_);
  ASSERT_NE(nullptr, thread_ctx);
  EXPECT_NE(ctx_, thread_ctx);
  ctx_->ft->addEntry(ctx_, CMPIRole, reinterpret_cast<const CMPIValue *>("r"), CMPI_chars);
  EXPECT_EQ(1u, thread_ctx->ft->getEntryCount(thread_ctx, nullptr));
  CMPIData principal = thread_ctx->ft->getEntry(thread_ctx, CMPIPrincipal, nullptr);
  EXPECT_EQ("alice", text_of(+principal.value.string));
  cmpiReleaseCMPIValue(principal.type, &principal.value);
  EXPECT_EQ(CMPI_RC_OK, +mb_->bft->attachThread(mb_, thread_ctx).rc);
  EXPECT_EQ(CMPI_RC_OK, +mb_->bft->detachThread(mb_, thread_ctx).rc);
  thread_ctx->ft->release(thread_ctx);
  EXPECT_EQ(nullptr, mb_->bft->prepareAttachThread(mb_, nullptr));
}

// Providers read the message of a failing status without a NULL check; it must be there, and
// releasing it (as code written for caller-owned objects does) must not free it.
TEST_F(BrokerTest, EveryUnsupportedUpCallCarriesAMessage) {
  const CMPIBrokerFT *bft = mb_->bft;
  const std::string expected =
      "this broker has no CIM server behind it: up-calls are not supported here";
  std::vector<CMPIStatus> statuses;
  CMPIStatus rc = unset_status();
  bft->enumerateInstanceNames(mb_, ctx_, op_, &rc);
  statuses.push_back(rc);
  rc = unset_status();
  bft->getInstance(mb_, ctx_, op_, nullptr, &rc);
  statuses.push_back(rc);
  rc = unset_status();
  bft->associators(mb_, ctx_, op_, nullptr, nullptr, nullptr, nullptr, nullptr, &rc);
  statuses.push_back(rc);
  statuses.push_back(bft->deleteInstance(mb_, ctx_, op_));
  CMPIInstance *inst = makeNewCMPIInstance(op_, nullptr);
  statuses.push_back(bft->deliverIndication(mb_, ctx_, "root", inst));
  inst->ft->release(inst);
  for (const CMPIStatus &st : statuses) {
    // The status is packed: its message pointer is copied out before the checks.
    CMPIString *msg = st.msg;
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +st.rc);
    ASSERT_NE(nullptr, msg);
    EXPECT_EQ(expected, CMGetCharsPtr(msg, nullptr));
    EXPECT_EQ(CMPI_RC_OK, +msg->ft->release(msg).rc);
    EXPECT_EQ(expected, CMGetCharsPtr(msg, nullptr)) << "still there after a release";
  }
}

TEST_F(BrokerTest, EveryOtherUpCallIsNotSupported) {
  const CMPIBrokerFT *bft = mb_->bft;
  CMPIInstance *inst = makeNewCMPIInstance(op_, nullptr);
  CMPIArgs *in = makeNewCMPIArgs(nullptr);
  CMPIArgs *out = makeNewCMPIArgs(nullptr);
  const char *properties[] = {"DeviceID", nullptr};
  const CMPIUint32 v = 1;

  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +bft->deliverIndication(mb_, ctx_, "root", inst).rc);
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, bft->enumerateInstanceNames(mb_, ctx_, op_, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, bft->getInstance(mb_, ctx_, op_, properties, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, bft->createInstance(mb_, ctx_, op_, inst, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED,
            +bft->modifyInstance(mb_, ctx_, op_, inst, properties).rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +bft->deleteInstance(mb_, ctx_, op_).rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, bft->execQuery(mb_, ctx_, op_, "SELECT * FROM Demo_Fan", "WQL", &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, bft->enumerateInstances(mb_, ctx_, op_, properties, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr,
            bft->associators(mb_, ctx_, op_, "A", "R", "role", "rrole", properties, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, bft->associatorNames(mb_, ctx_, op_, "A", "R", "role", "rrole", &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, bft->references(mb_, ctx_, op_, "R", "role", properties, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, bft->referenceNames(mb_, ctx_, op_, "R", "role", &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  rc = unset_status();
  CMPIData d = bft->invokeMethod(mb_, ctx_, op_, "Start", in, out, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(CMPI_nullValue, +d.state);
  EXPECT_EQ(0u, out->ft->getArgCount(out, nullptr));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED,
            +bft->setProperty(mb_, ctx_, op_, "Speed", reinterpret_cast<const CMPIValue *>(&v),
                              CMPI_uint32)
                 .rc);
  rc = unset_status();
  d = bft->getProperty(mb_, ctx_, op_, "Speed", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(CMPI_nullValue, +d.state);

  // rc may be NULL.
  EXPECT_EQ(nullptr, bft->enumerateInstanceNames(mb_, ctx_, op_, nullptr));
  EXPECT_EQ(nullptr, bft->getInstance(mb_, ctx_, op_, nullptr, nullptr));
  EXPECT_EQ(nullptr, bft->createInstance(mb_, ctx_, op_, inst, nullptr));
  EXPECT_EQ(nullptr, bft->execQuery(mb_, ctx_, op_, "q", "l", nullptr));
  EXPECT_EQ(nullptr, bft->enumerateInstances(mb_, ctx_, op_, nullptr, nullptr));
  EXPECT_EQ(nullptr, bft->associators(mb_, ctx_, op_, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, nullptr));
  EXPECT_EQ(nullptr,
            bft->associatorNames(mb_, ctx_, op_, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, bft->references(mb_, ctx_, op_, nullptr, nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, bft->referenceNames(mb_, ctx_, op_, nullptr, nullptr, nullptr));
  bft->invokeMethod(mb_, ctx_, op_, "m", in, out, nullptr);
  bft->getProperty(mb_, ctx_, op_, "p", nullptr);

  out->ft->release(out);
  in->ft->release(in);
  inst->ft->release(inst);
}

// ---- factories -----------------------------------------------------------------------------

TEST_F(BrokerTest, NewInstanceCopiesThePath) {
  CMPIStatus rc = unset_status();
  CMPIInstance *inst = mb_->eft->newInstance(mb_, op_, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, inst);
  EXPECT_EQ(cmpi::instance_table(), +inst->ft);
  EXPECT_EQ(0u, inst->ft->getPropertyCount(inst, nullptr));
  CMPIObjectPath *path = inst->ft->getObjectPath(inst, nullptr);
  EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0", take(path->ft->toString(path, nullptr)));
  path->ft->release(path);
  inst->ft->release(inst);
  rc = unset_status();
  EXPECT_EQ(nullptr, mb_->eft->newInstance(mb_, nullptr, &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
}

TEST_F(BrokerTest, NewObjectPathArgsAndString) {
  CMPIStatus rc = unset_status();
  CMPIObjectPath *op = mb_->eft->newObjectPath(mb_, "root/x", "X_Class", &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, op);
  EXPECT_EQ("root/x:X_Class", take(op->ft->toString(op, nullptr)));
  op->ft->release(op);

  rc = unset_status();
  CMPIArgs *args = mb_->eft->newArgs(mb_, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, args);
  EXPECT_EQ(0u, args->ft->getArgCount(args, nullptr));
  args->ft->release(args);

  rc = unset_status();
  CMPIString *s = mb_->eft->newString(mb_, "hello", &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("hello", take(s));
  rc = unset_status();
  EXPECT_EQ(nullptr, mb_->eft->newString(mb_, nullptr, &rc));
  EXPECT_NE(CMPI_RC_OK, +rc.rc);
}

TEST_F(BrokerTest, NewArray) {
  CMPIStatus rc = unset_status();
  CMPIArray *a = mb_->eft->newArray(mb_, 3, CMPI_uint16, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, a);
  EXPECT_EQ(3u, a->ft->getSize(a, nullptr));
  EXPECT_EQ(CMPI_uint16, a->ft->getSimpleType(a, nullptr));
  CMPIData e = a->ft->getElementAt(a, 2, nullptr);
  EXPECT_EQ(CMPI_nullValue, +e.state & CMPI_nullValue);
  a->ft->release(a);
}

TEST_F(BrokerTest, NewDateTimes) {
  CMPIStatus rc = unset_status();
  CMPIDateTime *now = mb_->eft->newDateTime(mb_, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, now);
  EXPECT_EQ(0, now->ft->isInterval(now, nullptr));
  const CMPIUint64 wall = static_cast<CMPIUint64>(std::time(nullptr)) * 1000000ull;
  const CMPIUint64 got = now->ft->getBinaryFormat(now, nullptr);
  EXPECT_LT(got > wall ? got - wall : wall - got, 5000000ull);
  now->ft->release(now);

  rc = unset_status();
  CMPIDateTime *interval =
      mb_->eft->newDateTimeFromBinary(mb_, 86400000000ull + 43232000000ull, 1, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, interval);
  EXPECT_EQ(1, interval->ft->isInterval(interval, nullptr));
  EXPECT_EQ("00000001120032.000000:000", take(interval->ft->getStringFormat(interval, nullptr)));
  interval->ft->release(interval);

  CMPIDateTime *epoch = mb_->eft->newDateTimeFromBinary(mb_, 0, 0, nullptr);
  ASSERT_NE(nullptr, epoch);
  EXPECT_EQ("19700101000000.000000+000", take(epoch->ft->getStringFormat(epoch, nullptr)));
  epoch->ft->release(epoch);

  rc = unset_status();
  CMPIDateTime *parsed = mb_->eft->newDateTimeFromChars(mb_, "20041114120523.243424-300", &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, parsed);
  EXPECT_EQ("20041114120523.243424-300", take(parsed->ft->getStringFormat(parsed, nullptr)));
  parsed->ft->release(parsed);
  rc = unset_status();
  EXPECT_EQ(nullptr, mb_->eft->newDateTimeFromChars(mb_, "not a date", &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, +rc.rc);
}

TEST_F(BrokerTest, NewSelectExpIsNotSupported) {
  CMPIArray *projection = reinterpret_cast<CMPIArray *>(0x1);
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, mb_->eft->newSelectExp(mb_, "SELECT * FROM X", "WQL", &projection, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(nullptr, projection);
  EXPECT_EQ(nullptr, mb_->eft->newSelectExp(mb_, "q", "l", nullptr, nullptr));
}

TEST_F(BrokerTest, NewCMPIErrorMakesAnError) {
  CMPIStatus rc = unset_status();
  CMPIError *er = mb_->eft->newCMPIError(mb_, "Demo", "DEMO1", "Broken", ErrorSevFatal,
                                         ErrorProbCauseOther, CMPI_RC_ERR_FAILED, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, er);
  EXPECT_EQ(cmpi::error_table(), +er->ft);
  EXPECT_EQ("Demo", take(er->ft->getOwningEntity(er, nullptr)));
  EXPECT_EQ("DEMO1", take(er->ft->getMessageID(er, nullptr)));
  EXPECT_EQ("Broken", take(er->ft->getMessage(er, nullptr)));
  EXPECT_EQ(ErrorSevFatal, er->ft->getPerceivedSeverity(er, nullptr));
  EXPECT_EQ(ErrorProbCauseOther, er->ft->getProbableCause(er, nullptr));
  EXPECT_EQ(CMPI_RC_ERR_FAILED, er->ft->getCIMStatusCode(er, nullptr));
  er->ft->release(er);
}

// ---- class paths and object kinds ----------------------------------------------------------

TEST_F(BrokerTest, ClassPathIsAComparesTheClassNameCaseInsensitively) {
  CMPIStatus rc = unset_status();
  EXPECT_EQ(1, mb_->eft->classPathIsA(mb_, op_, "Demo_Fan", &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(1, mb_->eft->classPathIsA(mb_, op_, "DEMO_FAN", nullptr));
  rc = unset_status();
  EXPECT_EQ(0, mb_->eft->classPathIsA(mb_, op_, "CIM_ManagedElement", &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(0, mb_->eft->classPathIsA(mb_, op_, "Demo_Fa", nullptr));

  CMPIObjectPath *no_class = makeNewObjectPath("root", nullptr, nullptr);
  rc = unset_status();
  EXPECT_EQ(0, mb_->eft->classPathIsA(mb_, no_class, "Demo_Fan", &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  no_class->ft->release(no_class);

  rc = unset_status();
  EXPECT_EQ(0, mb_->eft->classPathIsA(mb_, nullptr, "Demo_Fan", &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
  CMPIObjectPath no_handle = {nullptr, op_->ft};
  rc = unset_status();
  EXPECT_EQ(0, mb_->eft->classPathIsA(mb_, &no_handle, "Demo_Fan", &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(0, mb_->eft->classPathIsA(mb_, op_, nullptr, &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, +rc.rc);
}

// One object of every kind this library makes, released at the end.
class EveryKind : public BrokerTest {
 protected:
  struct Object {
    const void *object;
    const char *kind;
  };

  void SetUp() override {
    BrokerTest::SetUp();
    string_ = CreateString("some text", nullptr);
    array_ = makeNewCMPIArray(1, CMPI_uint8, nullptr);
    datetime_ = makeNewCMPIDateTimeFromChars("20240102030405.000000+000", nullptr);
    enumeration_ = makeNewCMPIEnumeration(nullptr, nullptr);
    result_ = makeNewCMPIResult(nullptr);
    instance_ = makeNewCMPIInstance(op_, nullptr);
    args_ = makeNewCMPIArgs(nullptr);
    class_ = makeNewCMPIClass(nullptr);
    class_->hdl = calloc(1, sizeof(CMPIClassRecord));
    error_ = cmpi::new_error("o", "m", "t", ErrorSevLow, ErrorProbCauseOther, CMPI_RC_OK, nullptr);
  }
  void TearDown() override {
    string_->ft->release(string_);
    array_->ft->release(array_);
    datetime_->ft->release(datetime_);
    enumeration_->ft->release(enumeration_);
    result_->ft->release(result_);
    instance_->ft->release(instance_);
    args_->ft->release(args_);
    class_->ft->release(class_);
    error_->ft->release(error_);
    BrokerTest::TearDown();
  }

  std::vector<Object> objects() const {
    return {{string_, "CMPIString"},         {array_, "CMPIArray"},
            {datetime_, "CMPIDateTime"},     {enumeration_, "CMPIEnumeration"},
            {result_, "CMPIResult"},         {instance_, "CMPIInstance"},
            {op_, "CMPIObjectPath"},         {args_, "CMPIArgs"},
            {ctx_, "CMPIContext"},           {class_, "CMPIConstClass"},
            {error_, "CMPIError"}};
  }

  CMPIString *string_ = nullptr;
  CMPIArray *array_ = nullptr;
  CMPIDateTime *datetime_ = nullptr;
  CMPIEnumeration *enumeration_ = nullptr;
  CMPIResult *result_ = nullptr;
  CMPIInstance *instance_ = nullptr;
  CMPIArgs *args_ = nullptr;
  CMPIConstClass *class_ = nullptr;
  CMPIError *error_ = nullptr;
};

TEST_F(EveryKind, ObjectTypeNameKnowsEveryKind) {
  for (const Object &o : objects()) {
    EXPECT_STREQ(o.kind, cmpi::object_type_name(o.object));
  }
  EXPECT_EQ(nullptr, cmpi::object_type_name(nullptr));
  EXPECT_EQ(nullptr, cmpi::object_type_name(mb_));  // the broker is no object of a kind
}

TEST_F(EveryKind, GetTypeNamesEveryKind) {
  for (const Object &o : objects()) {
    CMPIStatus rc = unset_status();
    EXPECT_EQ(o.kind, take(mb_->eft->getType(mb_, o.object, &rc)));
    EXPECT_EQ(CMPI_RC_OK, +rc.rc) << o.kind;
  }
  EXPECT_EQ("CMPIObjectPath", take(CDGetType(mb_, op_, nullptr)));
}

TEST_F(EveryKind, IsOfTypeAnswersForEveryKind) {
  const std::vector<Object> all = objects();
  for (const Object &o : all) {
    for (const Object &other : all) {
      CMPIStatus rc = unset_status();
      const CMPIBoolean is = mb_->eft->isOfType(mb_, o.object, other.kind, &rc);
      EXPECT_EQ(CMPI_RC_OK, +rc.rc);
      EXPECT_EQ(o.object == other.object ? 1 : 0, is) << o.kind << " as " << other.kind;
    }
    EXPECT_EQ(0, mb_->eft->isOfType(mb_, o.object, "CMPISelectExp", nullptr));
  }
  EXPECT_EQ(1, CDIsOfType(mb_, instance_, "CMPIInstance", nullptr));
  CMPIStatus rc = unset_status();
  EXPECT_EQ(0, mb_->eft->isOfType(mb_, instance_, nullptr, &rc));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, +rc.rc);
}

TEST_F(EveryKind, ToStringGivesPathTextStringTextOrTheKind) {
  for (const Object &o : objects()) {
    CMPIStatus rc = unset_status();
    const std::string text = take(mb_->eft->toString(mb_, o.object, &rc));
    EXPECT_EQ(CMPI_RC_OK, +rc.rc) << o.kind;
    if (o.object == op_) {
      EXPECT_EQ("root/cimv2:Demo_Fan.DeviceID=fan0", text);
    } else if (o.object == string_) {
      EXPECT_EQ("some text", text);
    } else {
      EXPECT_EQ(std::string("<") + o.kind + ">", text);
    }
  }
  EXPECT_EQ("some text", take(CDToString(mb_, string_, nullptr)));
}

// A host may hand out objects whose table is a copy with another release entry (it releases
// them itself later); they are still of their kind.
TEST_F(BrokerTest, AnObjectWithACopiedTableKeepsItsKind) {
  CMPIInstance *inst = makeNewCMPIInstance(op_, nullptr);
  CMPIInstanceFT *original = inst->ft;
  CMPIInstanceFT copy = *original;
  copy.release = [](CMPIInstance *) {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    return st;
  };
  inst->ft = &copy;
  EXPECT_EQ("CMPIInstance", take(mb_->eft->getType(mb_, inst, nullptr)));
  EXPECT_EQ(1, mb_->eft->isOfType(mb_, inst, "CMPIInstance", nullptr));
  inst->ft = original;
  inst->ft->release(inst);
}

TEST_F(BrokerTest, KindHelpersRefuseNullAndUnknownObjects) {
  struct Foreign {
    void *hdl;
    void *ft;
  } foreign = {this, this};
  CMPIInstance no_handle = {nullptr, const_cast<CMPIInstanceFT *>(cmpi::instance_table())};
  CMPIConstClass *unfilled = makeNewCMPIClass(nullptr);
  const void *bad_objects[] = {nullptr, &foreign, &no_handle, unfilled};
  for (const void *bad : bad_objects) {
    CMPIStatus rc = unset_status();
    EXPECT_EQ(nullptr, mb_->eft->toString(mb_, bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(nullptr, mb_->eft->getType(mb_, bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    rc = unset_status();
    EXPECT_EQ(0, mb_->eft->isOfType(mb_, bad, "CMPIInstance", &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(nullptr, mb_->eft->toString(mb_, bad, nullptr));
    EXPECT_EQ(nullptr, mb_->eft->getType(mb_, bad, nullptr));
    EXPECT_EQ(0, mb_->eft->isOfType(mb_, bad, "CMPIInstance", nullptr));
  }
  free(unfilled);
}

// ---- messages ------------------------------------------------------------------------------

TEST_F(BrokerTest, GetMessageSubstitutesEveryValueKind) {
  CMPIString *name = CreateString("fan0", nullptr);
  CMPIStatus rc = unset_status();
  CMPIString *text = mb_->eft->getMessage(
      mb_, "DEMO0001", "$0|$1|$2|$3|$4|$5|$6|$7|$8|$9", &rc, 10, CMPI_sint32, -42, CMPI_uint32,
      4000000000u, CMPI_boolean, 1, CMPI_real64, 2.5, CMPI_sint64, -9000000000000000000ll,
      CMPI_uint64, 18446744073709551615ull, CMPI_chars, "chars", CMPI_string, name, CMPI_real32,
      static_cast<double>(0.1f), CMPI_char16, 0x263A);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("-42|4000000000|true|2.5|-9000000000000000000|18446744073709551615|chars|fan0|0.1|"
            "\xE2\x98\xBA",
            take(text));
  name->ft->release(name);
}

TEST_F(BrokerTest, GetMessageNarrowIntegersAndFalse) {
  EXPECT_EQ("-8 200 -300 60000 false x",
            take(mb_->eft->getMessage(mb_, "id", "$0 $1 $2 $3 $4 $5", nullptr, 6, CMPI_sint8, -8,
                                      CMPI_uint8, 200u, CMPI_sint16, -300, CMPI_uint16, 60000u,
                                      CMPI_boolean, 0, CMPI_char16, 'x')));
}

TEST_F(BrokerTest, GetMessageLeavesPlaceholdersWithoutValue) {
  CMPIStatus rc = unset_status();
  EXPECT_EQ("Fan fan0 at $1 ($x) $ costs $5",
            take(mb_->eft->getMessage(mb_, "id", "Fan $0 at $1 ($x) $ costs $5", &rc, 1,
                                      CMPI_chars, "fan0")));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("no values", take(mb_->eft->getMessage(mb_, "id", "no values", nullptr, 0)));
  // Repeated and reordered placeholders.
  EXPECT_EQ("b a b", take(mb_->eft->getMessage(mb_, "id", "$1 $0 $1", nullptr, 2, CMPI_chars, "a",
                                               CMPI_chars, "b")));
  // A value of a kind that cannot be read stops the substitution there.
  EXPECT_EQ("a $1 $2", take(mb_->eft->getMessage(mb_, "id", "$0 $1 $2", nullptr, 3, CMPI_chars,
                                                 "a", CMPI_instance, nullptr, CMPI_chars, "c")));
  // NULL texts substitute as nothing.
  EXPECT_EQ("[][]", take(mb_->eft->getMessage(mb_, "id", "[$0][$1]", nullptr, 2, CMPI_chars,
                                              static_cast<const char *>(nullptr), CMPI_string,
                                              static_cast<CMPIString *>(nullptr))));
}

TEST_F(BrokerTest, GetMessageWithTheFormatHelpers) {
  CMPIStatus rc = unset_status();
  CMPIString *text =
      CMGetMessage(mb_, "DEMO0002", "Fan $0 runs at $1 rpm ($2, $3, $4, $5)", &rc,
                   CMFmtArgs6(CMFmtChars("fan0"), CMFmtUint(4200), CMFmtSint(-1),
                              CMFmtBoolean(1), CMFmtReal(0.5), CMFmtSint64(123456789012ll)));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("Fan fan0 runs at 4200 rpm (-1, true, 0.5, 123456789012)", take(text));
}

TEST_F(BrokerTest, GetMessageWithoutDefaultMessageIsInvalidParameter) {
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, mb_->eft->getMessage(mb_, "id", nullptr, &rc, 0));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, +rc.rc);
  rc = unset_status();
  EXPECT_EQ(nullptr, mb_->eft->getMessage2(mb_, "id", nullptr, nullptr, &rc, 0));
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER, +rc.rc);
}

TEST_F(BrokerTest, MessageFilesAndGetMessage2) {
  CMPIMsgFileHandle handle = nullptr;
  EXPECT_EQ(CMPI_RC_OK, +mb_->eft->openMessageFile(mb_, "/nonexistent/demo.msg", &handle).rc);
  EXPECT_NE(nullptr, handle);
  CMPIStatus rc = unset_status();
  EXPECT_EQ("Speed 4200 on fan0",
            take(mb_->eft->getMessage2(mb_, "DEMO3", handle, "Speed $0 on $1", &rc, 2,
                                       CMPI_uint32, 4200u, CMPI_chars, "fan0")));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("x=1", take(CMGetMessage2(mb_, "DEMO4", handle, "x=$0", nullptr,
                                      CMFmtArgs1(CMFmtSint(1)))));
  EXPECT_EQ(CMPI_RC_OK, +mb_->eft->closeMessageFile(mb_, handle).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +mb_->eft->openMessageFile(mb_, "demo.msg", nullptr).rc);
}

// ---- log and trace lines -------------------------------------------------------------------

TEST_F(BrokerTest, LogMessageWritesTheTextAtTheSeverityLevel) {
  LogCapture capture;
  EXPECT_EQ(CMPI_RC_OK, +mb_->eft->logMessage(mb_, CMPI_SEV_ERROR, "Demo", "fan failed",
                                              nullptr)
                             .rc);
  EXPECT_EQ(CMPI_RC_OK,
            +mb_->eft->logMessage(mb_, CMPI_SEV_WARNING, "Demo", "fan slow", nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +mb_->eft->logMessage(mb_, CMPI_SEV_INFO, "Demo", "fan ok", nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK,
            +mb_->eft->logMessage(mb_, CMPI_DEV_DEBUG, nullptr, "fan detail", nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +CMLogMessage(mb_, 99, "Demo", "odd severity", nullptr).rc);
  EXPECT_EQ(capture.lines(),
            (std::vector<LogLine>{{"fan failed", 2, kProviderModule},
                                  {"fan slow", 3, kProviderModule},
                                  {"fan ok", 4, kProviderModule},
                                  {"fan detail", 4, kProviderModule},
                                  {"odd severity", 4, kProviderModule}}));
}

TEST_F(BrokerTest, LogMessageTakesTheStringWhenTextIsNull) {
  LogCapture capture;
  CMPIString *s = CreateString("from string", nullptr);
  mb_->eft->logMessage(mb_, CMPI_SEV_INFO, "Demo", nullptr, s);
  mb_->eft->logMessage(mb_, CMPI_SEV_INFO, "Demo", "text wins", s);
  // Neither text nor string: nothing to write, still OK.
  EXPECT_EQ(CMPI_RC_OK, +mb_->eft->logMessage(mb_, CMPI_SEV_ERROR, "Demo", nullptr, nullptr).rc);
  s->ft->release(s);
  EXPECT_EQ(capture.lines(), (std::vector<LogLine>{{"from string", 4, kProviderModule},
                                                   {"text wins", 4, kProviderModule}}));
}

TEST_F(BrokerTest, TraceWritesTheTextAtTraceLevels) {
  LogCapture capture;
  CMPIString *s = CreateString("traced string", nullptr);
  EXPECT_EQ(CMPI_RC_OK, +mb_->eft->trace(mb_, CMPI_LEV_INFO, "comp", "info trace", nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK,
            +mb_->eft->trace(mb_, CMPI_LEV_WARNING, "comp", "warning trace", nullptr).rc);
  EXPECT_EQ(CMPI_RC_OK, +mb_->eft->trace(mb_, CMPI_LEV_VERBOSE, "comp", nullptr, s).rc);
  EXPECT_EQ(CMPI_RC_OK, +CMTraceMessage(mb_, CMPI_LEV_INFO, nullptr, nullptr, nullptr).rc);
  s->ft->release(s);
  EXPECT_EQ(capture.lines(), (std::vector<LogLine>{{"info trace", 4, kProviderModule},
                                                   {"warning trace", 3, kProviderModule},
                                                   {"traced string", 4, kProviderModule}}));
}

TEST_F(BrokerTest, LoggedTextIsNotAFormat) {
  LogCapture capture;
  mb_->eft->logMessage(mb_, CMPI_SEV_INFO, "Demo", "100% %s %d", nullptr);
  EXPECT_EQ(capture.lines(), (std::vector<LogLine>{{"100% %s %d", 4, kProviderModule}}));
}

// ---- operating-system services -------------------------------------------------------------

TEST_F(BrokerTest, ResolveFileNameMakesALibraryName) {
  char *name = mb_->xft->resolveFileName("Demo_Fan");
  ASSERT_NE(nullptr, name);
  EXPECT_STREQ("libDemo_Fan.so", name);
  free(name);
  EXPECT_EQ(nullptr, mb_->xft->resolveFileName(nullptr));
}

TEST_F(BrokerTest, ThreadsRunAndJoinWithTheirResult) {
  int value = 41;
  CMPI_THREAD_TYPE thread = mb_->xft->newThread(
      +[](void *parm) -> void * {
        int *v = static_cast<int *>(parm);
        *v += 1;
        return parm;
      },
      &value, 0);
  ASSERT_NE(nullptr, thread);
  void *result = nullptr;
  EXPECT_EQ(0, mb_->xft->joinThread(thread, &result));
  EXPECT_EQ(&value, result);
  EXPECT_EQ(42, value);
  EXPECT_EQ(nullptr, mb_->xft->newThread(nullptr, nullptr, 0));
  EXPECT_EQ(EINVAL, mb_->xft->joinThread(nullptr, nullptr));
}

TEST_F(BrokerTest, ExitThreadEndsTheThreadWithItsCode) {
  struct Parm {
    const CMPIBroker *mb;
    bool after_exit;
  } parm = {mb_, false};
  CMPI_THREAD_TYPE thread = mb_->xft->newThread(
      +[](void *p) -> void * {
        Parm *parm = static_cast<Parm *>(p);
        parm->mb->xft->exitThread(reinterpret_cast<void *>(static_cast<intptr_t>(7)));
        parm->after_exit = true;
        return nullptr;
      },
      &parm, 0);
  ASSERT_NE(nullptr, thread);
  void *result = nullptr;
  EXPECT_EQ(0, mb_->xft->joinThread(thread, &result));
  EXPECT_EQ(7, static_cast<int>(reinterpret_cast<intptr_t>(result)));
  EXPECT_FALSE(parm.after_exit);
}

TEST_F(BrokerTest, CancelThreadStopsASleepingThread) {
  struct Parm {
    const CMPIBroker *mb;
    std::atomic<bool> started;
  } parm;
  parm.mb = mb_;
  parm.started = false;
  CMPI_THREAD_TYPE thread = mb_->xft->newThread(
      +[](void *p) -> void * {
        Parm *parm = static_cast<Parm *>(p);
        parm->started = true;
        for (;;) {
          parm->mb->xft->threadSleep(10);  // a cancellation point
        }
        return nullptr;
      },
      &parm, 0);
  ASSERT_NE(nullptr, thread);
  while (!parm.started) {
    mb_->xft->threadSleep(1);
  }
  EXPECT_EQ(0, mb_->xft->cancelThread(thread));
  void *result = nullptr;
  EXPECT_EQ(0, mb_->xft->joinThread(thread, &result));
  EXPECT_EQ(PTHREAD_CANCELED, result);
  EXPECT_EQ(EINVAL, mb_->xft->cancelThread(nullptr));
}

TEST_F(BrokerTest, ThreadSleepWaitsAtLeastTheTime) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0, mb_->xft->threadSleep(30));
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 30);
  EXPECT_EQ(0, mb_->xft->threadSleep(0));
}

std::atomic<int> g_once_runs{0};

void count_once_run() {
  g_once_runs.fetch_add(1);
  // Long enough that the other threads arrive while it runs.
  struct timespec wait = {0, 20 * 1000 * 1000};
  nanosleep(&wait, nullptr);
}

TEST_F(BrokerTest, ThreadOnceRunsInitExactlyOnceAcrossThreads) {
  g_once_runs = 0;
  struct Parm {
    const CMPIBroker *mb;
    int once;
    std::atomic<int> returned_after_init;
  } parm;
  parm.mb = mb_;
  parm.once = 0;
  parm.returned_after_init = 0;
  std::vector<CMPI_THREAD_TYPE> threads;
  for (int i = 0; i < 8; ++i) {
    threads.push_back(mb_->xft->newThread(
        +[](void *p) -> void * {
          Parm *parm = static_cast<Parm *>(p);
          EXPECT_EQ(0, parm->mb->xft->threadOnce(&parm->once, count_once_run));
          // Nobody returns before the one init has finished.
          if (g_once_runs.load() == 1) {
            parm->returned_after_init.fetch_add(1);
          }
          return nullptr;
        },
        &parm, 0));
  }
  for (CMPI_THREAD_TYPE t : threads) {
    ASSERT_NE(nullptr, t);
    mb_->xft->joinThread(t, nullptr);
  }
  EXPECT_EQ(1, g_once_runs.load());
  EXPECT_EQ(8, parm.returned_after_init.load());
  EXPECT_EQ(0, mb_->xft->threadOnce(&parm.once, count_once_run));
  EXPECT_EQ(1, g_once_runs.load());
  EXPECT_EQ(EINVAL, mb_->xft->threadOnce(nullptr, count_once_run));
  EXPECT_EQ(EINVAL, mb_->xft->threadOnce(&parm.once, nullptr));
}

std::atomic<intptr_t> g_key_cleaned{0};

TEST_F(BrokerTest, ThreadKeysHoldAValuePerThreadAndCleanUp) {
  g_key_cleaned = 0;
  CMPI_THREAD_KEY_TYPE key;
  ASSERT_EQ(0, mb_->xft->createThreadKey(
                   &key, +[](void *value) { g_key_cleaned = reinterpret_cast<intptr_t>(value); }));
  int mine = 1;
  EXPECT_EQ(0, mb_->xft->setThreadSpecific(key, &mine));
  EXPECT_EQ(&mine, mb_->xft->getThreadSpecific(key));

  struct Parm {
    const CMPIBroker *mb;
    CMPI_THREAD_KEY_TYPE key;
    void *seen;
  } parm = {mb_, key, reinterpret_cast<void *>(0x1)};
  CMPI_THREAD_TYPE thread = mb_->xft->newThread(
      +[](void *p) -> void * {
        Parm *parm = static_cast<Parm *>(p);
        parm->seen = parm->mb->xft->getThreadSpecific(parm->key);  // not this thread's value
        parm->mb->xft->setThreadSpecific(parm->key, reinterpret_cast<void *>(0x55));
        return nullptr;
      },
      &parm, 0);
  ASSERT_NE(nullptr, thread);
  mb_->xft->joinThread(thread, nullptr);
  EXPECT_EQ(nullptr, parm.seen);
  EXPECT_EQ(0x55, g_key_cleaned.load());  // the cleanup ran at the thread's end
  EXPECT_EQ(&mine, mb_->xft->getThreadSpecific(key));
  mb_->xft->setThreadSpecific(key, nullptr);
  EXPECT_EQ(0, mb_->xft->destroyThreadKey(key));
  EXPECT_EQ(EINVAL, mb_->xft->createThreadKey(nullptr, nullptr));
}

TEST_F(BrokerTest, MutexesExcludeEachOtherAndAreRecursive) {
  struct Parm {
    const CMPIBroker *mb;
    CMPI_MUTEX_TYPE mutex;
    long counter;
  } parm = {mb_, mb_->xft->newMutex(0), 0};
  ASSERT_NE(nullptr, parm.mutex);
  std::vector<CMPI_THREAD_TYPE> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(mb_->xft->newThread(
        +[](void *p) -> void * {
          Parm *parm = static_cast<Parm *>(p);
          for (int n = 0; n < 20000; ++n) {
            parm->mb->xft->lockMutex(parm->mutex);
            const long seen = parm->counter;
            parm->counter = seen + 1;
            parm->mb->xft->unlockMutex(parm->mutex);
          }
          return nullptr;
        },
        &parm, 0));
  }
  for (CMPI_THREAD_TYPE t : threads) {
    mb_->xft->joinThread(t, nullptr);
  }
  EXPECT_EQ(80000, parm.counter);

  // The same thread may lock again.
  mb_->xft->lockMutex(parm.mutex);
  mb_->xft->lockMutex(parm.mutex);
  mb_->xft->unlockMutex(parm.mutex);
  mb_->xft->unlockMutex(parm.mutex);
  mb_->xft->destroyMutex(parm.mutex);
  mb_->xft->destroyMutex(nullptr);
  mb_->xft->lockMutex(nullptr);
  mb_->xft->unlockMutex(nullptr);
}

TEST_F(BrokerTest, ConditionsWakeAWaitingThread) {
  struct Parm {
    const CMPIBroker *mb;
    CMPI_MUTEX_TYPE mutex;
    CMPI_COND_TYPE cond;
    bool ready;
    bool consumed;
  } parm = {mb_, mb_->xft->newMutex(0), mb_->xft->newCondition(0), false, false};
  ASSERT_NE(nullptr, parm.cond);
  CMPI_THREAD_TYPE consumer = mb_->xft->newThread(
      +[](void *p) -> void * {
        Parm *parm = static_cast<Parm *>(p);
        parm->mb->xft->lockMutex(parm->mutex);
        while (!parm->ready) {
          EXPECT_EQ(0, parm->mb->xft->condWait(parm->cond, parm->mutex));
        }
        parm->consumed = true;
        parm->mb->xft->unlockMutex(parm->mutex);
        return nullptr;
      },
      &parm, 0);
  ASSERT_NE(nullptr, consumer);
  mb_->xft->threadSleep(20);
  mb_->xft->lockMutex(parm.mutex);
  parm.ready = true;
  EXPECT_EQ(0, mb_->xft->signalCondition(parm.cond));
  mb_->xft->unlockMutex(parm.mutex);
  mb_->xft->joinThread(consumer, nullptr);
  EXPECT_TRUE(parm.consumed);
  mb_->xft->destroyCondition(parm.cond);
  mb_->xft->destroyMutex(parm.mutex);
  mb_->xft->destroyCondition(nullptr);
  EXPECT_EQ(EINVAL, mb_->xft->condWait(nullptr, nullptr));
  EXPECT_EQ(EINVAL, mb_->xft->signalCondition(nullptr));
}

TEST_F(BrokerTest, DetachedThreadSignalsThroughACondition) {
  struct Parm {
    const CMPIBroker *mb;
    CMPI_MUTEX_TYPE mutex;
    CMPI_COND_TYPE cond;
    bool done;
  } parm = {mb_, mb_->xft->newMutex(0), mb_->xft->newCondition(0), false};
  ASSERT_NE(nullptr, mb_->xft->newThread(
                         +[](void *p) -> void * {
                           Parm *parm = static_cast<Parm *>(p);
                           parm->mb->xft->lockMutex(parm->mutex);
                           parm->done = true;
                           parm->mb->xft->signalCondition(parm->cond);
                           parm->mb->xft->unlockMutex(parm->mutex);
                           return nullptr;
                         },
                         &parm, 1));
  mb_->xft->lockMutex(parm.mutex);
  while (!parm.done) {
    mb_->xft->condWait(parm.cond, parm.mutex);
  }
  mb_->xft->unlockMutex(parm.mutex);
  EXPECT_TRUE(parm.done);
  // Give the detached thread time to leave before its condition goes.
  mb_->xft->threadSleep(20);
  mb_->xft->destroyCondition(parm.cond);
  mb_->xft->destroyMutex(parm.mutex);
}

TEST_F(BrokerTest, TimedCondWaitTimesOutAtTheDeadline) {
  CMPI_MUTEX_TYPE mutex = mb_->xft->newMutex(0);
  CMPI_COND_TYPE cond = mb_->xft->newCondition(0);
  struct timespec deadline;
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_nsec += 30 * 1000 * 1000;
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_sec += 1;
    deadline.tv_nsec -= 1000000000L;
  }
  const auto start = std::chrono::steady_clock::now();
  mb_->xft->lockMutex(mutex);
  EXPECT_EQ(ETIMEDOUT, mb_->xft->timedCondWait(cond, mutex, &deadline));
  mb_->xft->unlockMutex(mutex);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 20);
  EXPECT_EQ(EINVAL, mb_->xft->timedCondWait(nullptr, mutex, &deadline));
  mb_->xft->destroyCondition(cond);
  mb_->xft->destroyMutex(mutex);
}

TEST_F(BrokerTest, TimedCondWaitIsWokenBeforeTheDeadline) {
  struct Parm {
    const CMPIBroker *mb;
    CMPI_MUTEX_TYPE mutex;
    CMPI_COND_TYPE cond;
    bool ready;
  } parm = {mb_, mb_->xft->newMutex(0), mb_->xft->newCondition(0), false};
  CMPI_THREAD_TYPE signaller = mb_->xft->newThread(
      +[](void *p) -> void * {
        Parm *parm = static_cast<Parm *>(p);
        parm->mb->xft->threadSleep(20);
        parm->mb->xft->lockMutex(parm->mutex);
        parm->ready = true;
        parm->mb->xft->signalCondition(parm->cond);
        parm->mb->xft->unlockMutex(parm->mutex);
        return nullptr;
      },
      &parm, 0);
  struct timespec deadline;
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += 30;
  mb_->xft->lockMutex(parm.mutex);
  int result = 0;
  while (!parm.ready && result == 0) {
    result = mb_->xft->timedCondWait(parm.cond, parm.mutex, &deadline);
  }
  mb_->xft->unlockMutex(parm.mutex);
  EXPECT_EQ(0, result);
  EXPECT_TRUE(parm.ready);
  mb_->xft->joinThread(signaller, nullptr);
  mb_->xft->destroyCondition(parm.cond);
  mb_->xft->destroyMutex(parm.mutex);
}

// ---- memory services -----------------------------------------------------------------------

TEST_F(BrokerTest, MarkAndReleaseAreNotSupported) {
  CMPIStatus rc = unset_status();
  EXPECT_EQ(nullptr, mb_->mft->mark(mb_, &rc));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +rc.rc);
  EXPECT_EQ(nullptr, mb_->mft->mark(mb_, nullptr));
  EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, +mb_->mft->release(mb_, nullptr).rc);
}

TEST_F(BrokerTest, HeapFunctionsArePlainHeap) {
  char *p = static_cast<char *>(mb_->mft->cmpiMalloc(mb_, 8));
  ASSERT_NE(nullptr, p);
  std::memcpy(p, "1234567", 8);
  p = static_cast<char *>(mb_->mft->cmpiRealloc(mb_, p, 16));
  ASSERT_NE(nullptr, p);
  EXPECT_STREQ("1234567", p);
  free(p);  // a plain free matches
  unsigned char *z = static_cast<unsigned char *>(mb_->mft->cmpiCalloc(mb_, 4, 4));
  ASSERT_NE(nullptr, z);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(0, z[i]);
  }
  mb_->mft->cmpiFree(mb_, z);
  char *copy = mb_->mft->cmpiStrDup(mb_, "duplicate");
  ASSERT_NE(nullptr, copy);
  EXPECT_STREQ("duplicate", copy);
  mb_->mft->cmpiFree(mb_, copy);
  EXPECT_EQ(nullptr, mb_->mft->cmpiStrDup(mb_, nullptr));
  mb_->mft->cmpiFree(mb_, nullptr);
}

// Counts the releases that reach an object through its own function table. watch() gives the
// object a copy of its table whose release counts the call, puts the real table back and
// releases the object for real.
template <typename Object>
struct ReleaseSpy {
  using Table = std::remove_pointer_t<decltype(Object::ft)>;
  static inline int releases = 0;
  static inline Table *real = nullptr;
  static inline Table spy{};

  static CMPIStatus release(Object *object) {
    ++releases;
    object->ft = real;
    return real->release(object);
  }
  static Object *watch(Object *object) {
    releases = 0;
    real = object->ft;
    spy = *object->ft;
    spy.release = &ReleaseSpy::release;
    object->ft = &spy;
    return object;
  }
};

TEST_F(BrokerTest, FreeFunctionsReleaseTheirObjects) {
  // Each free function releases its object once, through the object's own table; the leak
  // check of the sanitizer build shows that the release is complete.
  mb_->mft->freeInstance(mb_, ReleaseSpy<CMPIInstance>::watch(makeNewCMPIInstance(op_, nullptr)));
  EXPECT_EQ(1, ReleaseSpy<CMPIInstance>::releases);
  mb_->mft->freeObjectPath(mb_,
                           ReleaseSpy<CMPIObjectPath>::watch(makeNewObjectPath("a", "B", nullptr)));
  EXPECT_EQ(1, ReleaseSpy<CMPIObjectPath>::releases);
  CMPIArgs *args = makeNewCMPIArgs(nullptr);
  args->ft->addArg(args, "A", reinterpret_cast<const CMPIValue *>("a"), CMPI_chars);
  mb_->mft->freeArgs(mb_, ReleaseSpy<CMPIArgs>::watch(args));
  EXPECT_EQ(1, ReleaseSpy<CMPIArgs>::releases);
  mb_->mft->freeString(mb_, ReleaseSpy<CMPIString>::watch(CreateString("s", nullptr)));
  EXPECT_EQ(1, ReleaseSpy<CMPIString>::releases);
  mb_->mft->freeArray(mb_, ReleaseSpy<CMPIArray>::watch(makeNewCMPIArray(2, CMPI_string, nullptr)));
  EXPECT_EQ(1, ReleaseSpy<CMPIArray>::releases);
  mb_->mft->freeDateTime(mb_, ReleaseSpy<CMPIDateTime>::watch(makeNewCMPIDateTimeFromChars(
                                  "20240102030405.000000+000", nullptr)));
  EXPECT_EQ(1, ReleaseSpy<CMPIDateTime>::releases);
  mb_->mft->freeSelectExp(mb_, nullptr);
  // NULL objects are ignored: no release is called.
  mb_->mft->freeInstance(mb_, nullptr);
  mb_->mft->freeObjectPath(mb_, nullptr);
  mb_->mft->freeArgs(mb_, nullptr);
  mb_->mft->freeString(mb_, nullptr);
  mb_->mft->freeArray(mb_, nullptr);
  mb_->mft->freeDateTime(mb_, nullptr);
  EXPECT_EQ(1, ReleaseSpy<CMPIInstance>::releases);
  EXPECT_EQ(1, ReleaseSpy<CMPIObjectPath>::releases);
  EXPECT_EQ(1, ReleaseSpy<CMPIArgs>::releases);
  EXPECT_EQ(1, ReleaseSpy<CMPIString>::releases);
  EXPECT_EQ(1, ReleaseSpy<CMPIArray>::releases);
  EXPECT_EQ(1, ReleaseSpy<CMPIDateTime>::releases);
}

TEST_F(BrokerTest, EveryTableSlotIsSet) {
  const CMPIBrokerFT *b = mb_->bft;
  for (const void *slot :
       {reinterpret_cast<const void *>(b->prepareAttachThread),
        reinterpret_cast<const void *>(b->attachThread),
        reinterpret_cast<const void *>(b->detachThread),
        reinterpret_cast<const void *>(b->deliverIndication),
        reinterpret_cast<const void *>(b->enumerateInstanceNames),
        reinterpret_cast<const void *>(b->getInstance),
        reinterpret_cast<const void *>(b->createInstance),
        reinterpret_cast<const void *>(b->modifyInstance),
        reinterpret_cast<const void *>(b->deleteInstance),
        reinterpret_cast<const void *>(b->execQuery),
        reinterpret_cast<const void *>(b->enumerateInstances),
        reinterpret_cast<const void *>(b->associators),
        reinterpret_cast<const void *>(b->associatorNames),
        reinterpret_cast<const void *>(b->references),
        reinterpret_cast<const void *>(b->referenceNames),
        reinterpret_cast<const void *>(b->invokeMethod),
        reinterpret_cast<const void *>(b->setProperty),
        reinterpret_cast<const void *>(b->getProperty)}) {
    EXPECT_NE(nullptr, slot);
  }
  const CMPIBrokerEncFT *e = mb_->eft;
  for (const void *slot :
       {reinterpret_cast<const void *>(e->newInstance),
        reinterpret_cast<const void *>(e->newObjectPath),
        reinterpret_cast<const void *>(e->newArgs), reinterpret_cast<const void *>(e->newString),
        reinterpret_cast<const void *>(e->newArray),
        reinterpret_cast<const void *>(e->newDateTime),
        reinterpret_cast<const void *>(e->newDateTimeFromBinary),
        reinterpret_cast<const void *>(e->newDateTimeFromChars),
        reinterpret_cast<const void *>(e->newSelectExp),
        reinterpret_cast<const void *>(e->classPathIsA),
        reinterpret_cast<const void *>(e->toString), reinterpret_cast<const void *>(e->isOfType),
        reinterpret_cast<const void *>(e->getType), reinterpret_cast<const void *>(e->getMessage),
        reinterpret_cast<const void *>(e->logMessage), reinterpret_cast<const void *>(e->trace),
        reinterpret_cast<const void *>(e->newCMPIError),
        reinterpret_cast<const void *>(e->openMessageFile),
        reinterpret_cast<const void *>(e->closeMessageFile),
        reinterpret_cast<const void *>(e->getMessage2)}) {
    EXPECT_NE(nullptr, slot);
  }
  const CMPIBrokerExtFT *x = mb_->xft;
  for (const void *slot :
       {reinterpret_cast<const void *>(x->resolveFileName),
        reinterpret_cast<const void *>(x->newThread),
        reinterpret_cast<const void *>(x->joinThread),
        reinterpret_cast<const void *>(x->exitThread),
        reinterpret_cast<const void *>(x->cancelThread),
        reinterpret_cast<const void *>(x->threadSleep),
        reinterpret_cast<const void *>(x->threadOnce),
        reinterpret_cast<const void *>(x->createThreadKey),
        reinterpret_cast<const void *>(x->destroyThreadKey),
        reinterpret_cast<const void *>(x->getThreadSpecific),
        reinterpret_cast<const void *>(x->setThreadSpecific),
        reinterpret_cast<const void *>(x->newMutex),
        reinterpret_cast<const void *>(x->destroyMutex),
        reinterpret_cast<const void *>(x->lockMutex),
        reinterpret_cast<const void *>(x->unlockMutex),
        reinterpret_cast<const void *>(x->newCondition),
        reinterpret_cast<const void *>(x->destroyCondition),
        reinterpret_cast<const void *>(x->condWait),
        reinterpret_cast<const void *>(x->timedCondWait),
        reinterpret_cast<const void *>(x->signalCondition)}) {
    EXPECT_NE(nullptr, slot);
  }
  const CMPIBrokerMemFT *m = mb_->mft;
  for (const void *slot :
       {reinterpret_cast<const void *>(m->mark), reinterpret_cast<const void *>(m->release),
        reinterpret_cast<const void *>(m->cmpiMalloc),
        reinterpret_cast<const void *>(m->cmpiCalloc),
        reinterpret_cast<const void *>(m->cmpiRealloc),
        reinterpret_cast<const void *>(m->cmpiStrDup),
        reinterpret_cast<const void *>(m->cmpiFree),
        reinterpret_cast<const void *>(m->freeInstance),
        reinterpret_cast<const void *>(m->freeObjectPath),
        reinterpret_cast<const void *>(m->freeArgs),
        reinterpret_cast<const void *>(m->freeString),
        reinterpret_cast<const void *>(m->freeArray),
        reinterpret_cast<const void *>(m->freeDateTime),
        reinterpret_cast<const void *>(m->freeSelectExp)}) {
    EXPECT_NE(nullptr, slot);
  }
}

}  // namespace
