// Tests of CMPIArgs and copyCMPIArgs: every slot of the table, arguments of every type code,
// caller-owned results, clone independence and copying between argument lists.
#include <gtest/gtest.h>

#include <string>

#include "cmpiinterface.h"
#include "objects.h"
#include "value_sweep.h"

namespace {

using namespace cmpitest;

// ---- args tests ----------------------------------------------------------------------------

CMPIArgs *new_args() {
  CMPIStatus rc = unset_status();
  CMPIArgs *args = makeNewCMPIArgs(&rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  return args;
}

Setter setter_of(CMPIArgs *args) {
  return [args](const char *name, const CMPIValue *value, CMPIType type) {
    return args->ft->addArg(args, name, value, type);
  };
}

Getter getter_of(const CMPIArgs *args) {
  return [args](const char *name, CMPIStatus *rc) { return args->ft->getArg(args, name, rc); };
}

std::string string_arg(const CMPIArgs *args, const char *name) {
  return string_value(getter_of(args), name);
}

TEST(Args, FactoryMakesAnEmptyList) {
  CMPIStatus rc = unset_status();
  CMPIArgs *args = makeNewCMPIArgs(&rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, args);
  EXPECT_NE(nullptr, +args->hdl);
  EXPECT_EQ(cmpi::args_table(), +args->ft);
  rc = unset_status();
  EXPECT_EQ(0u, args->ft->getArgCount(args, &rc));
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ(CMPI_RC_OK, +args->ft->release(args).rc);
  args = makeNewCMPIArgs(nullptr);  // rc may be NULL
  ASSERT_NE(nullptr, args);
  args->ft->release(args);
}

TEST(Args, TableVersionAndEverySlotSet) {
  const CMPIArgsFT *ft = cmpi::args_table();
  EXPECT_EQ(CMPICurrentVersion, +ft->ftVersion);
  EXPECT_TRUE(ft->release != nullptr);
  EXPECT_TRUE(ft->clone != nullptr);
  EXPECT_TRUE(ft->addArg != nullptr);
  EXPECT_TRUE(ft->getArg != nullptr);
  EXPECT_TRUE(ft->getArgAt != nullptr);
  EXPECT_TRUE(ft->getArgCount != nullptr);
}

TEST(Args, ArgumentsOfEveryType) {
  CMPIArgs *args = new_args();
  sweep_every_type(setter_of(args), getter_of(args), CMPI_goodValue);
  EXPECT_EQ(38u, args->ft->getArgCount(args, nullptr));
  args->ft->release(args);
}

TEST(Args, NullArguments) {
  CMPIArgs *args = new_args();
  sweep_null_values(setter_of(args), getter_of(args));
  EXPECT_EQ(12u, args->ft->getArgCount(args, nullptr));
  args->ft->release(args);
}

TEST(Args, GetArgAtHandsOutNameAndValueInOrderOfFirstAdd) {
  CMPIArgs *args = new_args();
  const CMPISint32 one = 1, two = 2, three = 3;
  args->ft->addArg(args, "First", reinterpret_cast<const CMPIValue *>(&one), CMPI_sint32);
  args->ft->addArg(args, "Second", reinterpret_cast<const CMPIValue *>(&two), CMPI_sint32);
  // Same name in another case replaces in place, keeping the first spelling.
  EXPECT_EQ(CMPI_RC_OK, +args->ft->addArg(args, "FIRST",
                                         reinterpret_cast<const CMPIValue *>(&three), CMPI_sint32)
                            .rc);
  EXPECT_EQ(2u, args->ft->getArgCount(args, nullptr));
  CMPIString *name = nullptr;
  CMPIStatus rc = unset_status();
  CMPIData d = args->ft->getArgAt(args, 0, &name, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  EXPECT_EQ("First", take(name));
  EXPECT_EQ(CMPI_sint32, +d.type);
  EXPECT_EQ(3, +d.value.sint32);
  d = args->ft->getArgAt(args, 1, &name, nullptr);
  EXPECT_EQ("Second", take(name));
  EXPECT_EQ(2, +d.value.sint32);
  d = args->ft->getArgAt(args, 1, nullptr, nullptr);
  EXPECT_EQ(2, +d.value.sint32);
  d = args->ft->getArg(args, "second", nullptr);
  EXPECT_EQ(2, +d.value.sint32);
  args->ft->release(args);
}

TEST(Args, MissingNameOrIndexGivesNoSuchProperty) {
  CMPIArgs *args = new_args();
  CMPIStatus rc = unset_status();
  CMPIData d = args->ft->getArg(args, "Nope", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(CMPI_null, +d.type);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  rc = unset_status();
  args->ft->getArg(args, nullptr, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
  rc = unset_status();
  d = args->ft->getArgAt(args, 0, &name, &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  EXPECT_EQ(nullptr, name);
  EXPECT_EQ(CMPI_nullValue | CMPI_notFound, +d.state);
  args->ft->getArg(args, "Nope", nullptr);
  args->ft->getArgAt(args, 5, nullptr, nullptr);
  args->ft->release(args);
}

TEST(Args, AddArgRefusesMissingNameAndUnsupportedTypes) {
  CMPIArgs *args = new_args();
  const CMPIUint8 v = 1;
  EXPECT_EQ(CMPI_RC_ERR_INVALID_PARAMETER,
            +args->ft->addArg(args, nullptr, reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8)
                .rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_DATA_TYPE,
            +args->ft->addArg(args, "P", reinterpret_cast<const CMPIValue *>(&v), CMPI_class).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_DATA_TYPE,
            +args->ft->addArg(args, "P", reinterpret_cast<const CMPIValue *>(&v), CMPI_ptr).rc);
  EXPECT_EQ(0u, args->ft->getArgCount(args, nullptr));
  args->ft->release(args);
}

TEST(Args, GettersHandOutCopies) {
  CMPIArgs *args = new_args();
  args->ft->addArg(args, "S", reinterpret_cast<const CMPIValue *>("text"), CMPI_chars);
  CMPIData a = args->ft->getArg(args, "S", nullptr);
  CMPIData b = args->ft->getArgAt(args, 0, nullptr, nullptr);
  EXPECT_NE(+a.value.string, +b.value.string);
  release_data(&a);
  EXPECT_EQ("text", text_of(+b.value.string));
  release_data(&b);
  EXPECT_EQ("text", string_arg(args, "S"));
  args->ft->release(args);
}

TEST(Args, CloneIsDeepAndIndependent) {
  CMPIArgs *args = new_args();
  args->ft->addArg(args, "S", reinterpret_cast<const CMPIValue *>("orig"), CMPI_chars);
  CMPIObjectPath *ref = new_ref_path();
  args->ft->addArg(args, "R", reinterpret_cast<const CMPIValue *>(&ref), CMPI_ref);
  ref->ft->release(ref);
  args->ft->addArg(args, "N", nullptr, CMPI_uint32);

  CMPIStatus rc = unset_status();
  CMPIArgs *copy = args->ft->clone(args, &rc);
  EXPECT_EQ(CMPI_RC_OK, +rc.rc);
  ASSERT_NE(nullptr, copy);
  EXPECT_NE(copy, args);
  EXPECT_EQ(3u, copy->ft->getArgCount(copy, nullptr));
  EXPECT_EQ("orig", string_arg(copy, "S"));
  CMPIData n = copy->ft->getArg(copy, "N", nullptr);
  EXPECT_EQ(CMPI_uint32, +n.type);
  EXPECT_EQ(CMPI_nullValue, +n.state);

  copy->ft->addArg(copy, "S", reinterpret_cast<const CMPIValue *>("changed"), CMPI_chars);
  copy->ft->addArg(copy, "Extra", reinterpret_cast<const CMPIValue *>("e"), CMPI_chars);
  EXPECT_EQ("orig", string_arg(args, "S"));
  EXPECT_EQ(3u, args->ft->getArgCount(args, nullptr));

  args->ft->release(args);
  EXPECT_EQ("changed", string_arg(copy, "S"));
  CMPIData r = copy->ft->getArg(copy, "R", nullptr);
  EXPECT_EQ("root/ref:Ref_Class.Id=r1", path_text(+r.value.ref));
  release_data(&r);
  EXPECT_EQ(CMPI_RC_OK, +copy->ft->release(copy).rc);
}

TEST(Args, NullHandleGivesInvalidHandleOnEverySlot) {
  const CMPIArgsFT *ft = cmpi::args_table();
  CMPIArgs no_handle = {nullptr, const_cast<CMPIArgsFT *>(ft)};
  const CMPIUint8 v = 1;
  for (CMPIArgs *bad : {&no_handle, static_cast<CMPIArgs *>(nullptr)}) {
    CMPIStatus rc = unset_status();
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +ft->release(bad).rc);
    EXPECT_EQ(nullptr, ft->clone(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE,
              +ft->addArg(bad, "A", reinterpret_cast<const CMPIValue *>(&v), CMPI_uint8).rc);
    rc = unset_status();
    CMPIData d = ft->getArg(bad, "A", &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_NE(0, +d.state & CMPI_nullValue);
    rc = unset_status();
    CMPIString *name = reinterpret_cast<CMPIString *>(0x1);
    ft->getArgAt(bad, 0, &name, &rc);
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(nullptr, name);
    rc = unset_status();
    EXPECT_EQ(0u, ft->getArgCount(bad, &rc));
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +rc.rc);
    EXPECT_EQ(nullptr, ft->clone(bad, nullptr));
    ft->getArg(bad, "A", nullptr);
    ft->getArgAt(bad, 0, nullptr, nullptr);
    EXPECT_EQ(0u, ft->getArgCount(bad, nullptr));
  }
}

// ---- copyCMPIArgs --------------------------------------------------------------------------

TEST(CopyArgs, CopiesEveryArgumentAndReplacesSameNames) {
  CMPIArgs *source = new_args();
  const CMPIUint16 port = 5988;
  source->ft->addArg(source, "Port", reinterpret_cast<const CMPIValue *>(&port), CMPI_uint16);
  source->ft->addArg(source, "Name", reinterpret_cast<const CMPIValue *>("new"), CMPI_chars);
  source->ft->addArg(source, "Nothing", nullptr, CMPI_string);
  CMPIArray *list = makeNewCMPIArray(1, CMPI_string, nullptr);
  list->ft->setElementAt(list, 0, reinterpret_cast<const CMPIValue *>("x"), CMPI_chars);
  source->ft->addArg(source, "List", reinterpret_cast<const CMPIValue *>(&list), CMPI_stringA);
  list->ft->release(list);

  CMPIArgs *target = new_args();
  target->ft->addArg(target, "Kept", reinterpret_cast<const CMPIValue *>("k"), CMPI_chars);
  target->ft->addArg(target, "name", reinterpret_cast<const CMPIValue *>("old"), CMPI_chars);

  CMPIStatus st = copyCMPIArgs(source, target);
  EXPECT_EQ(CMPI_RC_OK, +st.rc);
  EXPECT_EQ(5u, target->ft->getArgCount(target, nullptr));
  EXPECT_EQ("k", string_arg(target, "Kept"));
  EXPECT_EQ("new", string_arg(target, "Name"));
  CMPIString *name = nullptr;
  CMPIData replaced = target->ft->getArgAt(target, 1, &name, nullptr);
  EXPECT_EQ("name", take(name));
  EXPECT_EQ("new", text_of(+replaced.value.string));
  release_data(&replaced);  // replaced in place, first spelling kept
  CMPIData p = target->ft->getArg(target, "Port", nullptr);
  EXPECT_EQ(CMPI_uint16, +p.type);
  EXPECT_EQ(5988, +p.value.uint16);
  CMPIData n = target->ft->getArg(target, "Nothing", nullptr);
  EXPECT_EQ(CMPI_string, +n.type);
  EXPECT_EQ(CMPI_nullValue, +n.state);

  // The source is unchanged, and releasing it leaves the copies valid.
  EXPECT_EQ(4u, source->ft->getArgCount(source, nullptr));
  source->ft->release(source);
  CMPIData l = target->ft->getArg(target, "List", nullptr);
  EXPECT_EQ(CMPI_stringA, +l.type);
  CMPIData e = l.value.array->ft->getElementAt(l.value.array, 0, nullptr);
  EXPECT_EQ("x", text_of(+e.value.string));
  release_data(&e);
  release_data(&l);
  target->ft->release(target);
}

TEST(CopyArgs, EmptySourceChangesNothing) {
  CMPIArgs *source = new_args();
  CMPIArgs *target = new_args();
  target->ft->addArg(target, "A", reinterpret_cast<const CMPIValue *>("a"), CMPI_chars);
  EXPECT_EQ(CMPI_RC_OK, +copyCMPIArgs(source, target).rc);
  EXPECT_EQ(1u, target->ft->getArgCount(target, nullptr));
  source->ft->release(source);
  target->ft->release(target);
}

TEST(CopyArgs, CopyIntoItselfKeepsEverything) {
  CMPIArgs *args = new_args();
  args->ft->addArg(args, "A", reinterpret_cast<const CMPIValue *>("a"), CMPI_chars);
  const CMPIUint8 b = 2;
  args->ft->addArg(args, "B", reinterpret_cast<const CMPIValue *>(&b), CMPI_uint8);
  EXPECT_EQ(CMPI_RC_OK, +copyCMPIArgs(args, args).rc);
  EXPECT_EQ(2u, args->ft->getArgCount(args, nullptr));
  EXPECT_EQ("a", string_arg(args, "A"));
  args->ft->release(args);
}

TEST(CopyArgs, NullOrInvalidArgsGiveInvalidHandle) {
  CMPIArgs *good = new_args();
  CMPIArgs no_handle = {nullptr, good->ft};
  CMPIContext *ctx = makeNewCMPIContext(nullptr);
  CMPIArgs *foreign = reinterpret_cast<CMPIArgs *>(ctx);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +copyCMPIArgs(nullptr, good).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +copyCMPIArgs(good, nullptr).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +copyCMPIArgs(&no_handle, good).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +copyCMPIArgs(good, &no_handle).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +copyCMPIArgs(foreign, good).rc);
  EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, +copyCMPIArgs(good, foreign).rc);
  ctx->ft->release(ctx);
  good->ft->release(good);
}

// An embedded instance of the test's own making whose clone works a given number of times and
// then fails, so that a copy can fail part-way.
struct FlakyInstance {
  CMPIInstance object;
  int *clones_left;
};

CMPIStatus flaky_release(CMPIInstance *inst) {
  delete static_cast<FlakyInstance *>(inst->hdl);
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  return st;
}

CMPIInstance *flaky_clone(const CMPIInstance *inst, CMPIStatus *rc);

const CMPIInstanceFT flaky_ft = {CMPICurrentVersion, flaky_release, flaky_clone, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};

CMPIInstance *new_flaky(int *clones_left) {
  FlakyInstance *flaky = new FlakyInstance;
  flaky->object.hdl = flaky;
  flaky->object.ft = const_cast<CMPIInstanceFT *>(&flaky_ft);
  flaky->clones_left = clones_left;
  return &flaky->object;
}

CMPIInstance *flaky_clone(const CMPIInstance *inst, CMPIStatus *rc) {
  int *clones_left = static_cast<const FlakyInstance *>(inst->hdl)->clones_left;
  if (*clones_left <= 0) {
    if (rc != nullptr) {
      rc->rc = CMPI_RC_ERR_ACCESS_DENIED;
      rc->msg = nullptr;
    }
    return nullptr;
  }
  --*clones_left;
  if (rc != nullptr) {
    rc->rc = CMPI_RC_OK;
    rc->msg = nullptr;
  }
  return new_flaky(clones_left);
}

TEST(CopyArgs, FailingArgumentIsAnsweredAndTheOthersAreStillCopied) {
  int clones_left = 1;  // enough for addArg, not for the copy
  CMPIArgs *source = new_args();
  const CMPIUint8 a = 1, c = 3;
  source->ft->addArg(source, "A", reinterpret_cast<const CMPIValue *>(&a), CMPI_uint8);
  CMPIInstance *flaky = new_flaky(&clones_left);
  ASSERT_EQ(CMPI_RC_OK, +source->ft->addArg(source, "B", reinterpret_cast<const CMPIValue *>(&flaky),
                                           CMPI_instance)
                            .rc);
  flaky->ft->release(flaky);
  source->ft->addArg(source, "C", reinterpret_cast<const CMPIValue *>(&c), CMPI_uint8);

  CMPIArgs *target = new_args();
  EXPECT_EQ(CMPI_RC_ERR_ACCESS_DENIED, +copyCMPIArgs(source, target).rc);
  EXPECT_EQ(2u, target->ft->getArgCount(target, nullptr));
  CMPIData got_c = target->ft->getArg(target, "C", nullptr);
  EXPECT_EQ(3, +got_c.value.uint8);
  CMPIStatus rc = unset_status();
  target->ft->getArg(target, "B", &rc);
  EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, +rc.rc);
  target->ft->release(target);
  source->ft->release(source);
}

}  // namespace
