// faults_test.cpp - providers that crash, hang or stop half-way, providers that cannot be found,
// and provider failures: the client gets an error frame, never half a frame, and the next
// request is served.
#include <cmpimacs.h>

#include "hostd_fixture.h"

namespace e2e {
namespace {

using ::testing::HasSubstr;

class Faults : public HostdTest {
 protected:
  Answer enumerate_class(const std::string &cls) {
    return enumerate(socket(), build_frame(ENUMINST, "root", make_path(cls)), ENUMINST);
  }
  void expect_next_request_served() {
    Answer next = get_fan("fan0");
    EXPECT_EQ(next.rc, 0);
    EXPECT_EQ(next.instances.size(), 1u);
  }
};

// Workers that encode larger enumerations on a second thread, whatever the machine.
class FaultsWithEncoderThread : public Faults {
 protected:
  std::vector<std::string> options() const override { return {"--encoder-thread", "on"}; }
};

TEST_F(Faults, CrashingProviderGivesErrorFrameAndTheNextRequestIsServed) {
  Answer a = enumerate_class("Test_Crash");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.raw, "CMPIERROR:1CMPI_EOF");
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "EnumerateInstances of Test_Crash for root: worker N was killed by signal 11 "
      "(Segmentation fault) before its answer was complete (0 frames passed on); the client "
      "gets CMPIERROR:1",
      2)));
  expect_next_request_served();
}

TEST_F(Faults, HangingProviderIsKilledAfterTheProviderTimeOut) {
  Answer a = enumerate_class("Test_Hang");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.raw, "CMPIERROR:1CMPI_EOF");
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("EnumerateInstances of Test_Hang for root: worker N was killed: it produced nothing "
            "for 3 s (0 frames passed on); the client gets CMPIERROR:1",
            2)));
  expect_next_request_served();
}

TEST_F(Faults, ProviderThatDiesHalfWayLeavesWholeFramesAndAnErrorFrame) {
  Answer a = enumerate_class("Test_Partial");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_FALSE(a.complete);
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(text_property(a.instances[0], "Id"), "first");
  EXPECT_THAT(a.raw, ::testing::EndsWith("}CMPI_EOFCMPIERROR:1CMPI_EOF"));
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "EnumerateInstances of Test_Partial for root: worker N exited with status 3 before its "
      "answer was complete (1 frames passed on); the client gets CMPIERROR:1",
      2)));
  expect_next_request_served();
}

// Past its first results, a larger enumeration is encoded on the worker's second thread; a
// provider that dies then still leaves the client whole frames, in order, and the error frame.
TEST_F(FaultsWithEncoderThread, ProviderThatDiesInALargeEnumerationLeavesWholeFramesAndAnErrorFrame) {
  Answer a = enumerate_class("Test_PartialMany");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_FALSE(a.complete);
  EXPECT_GE(a.instances.size(), 8u) << "the first results are passed on as they come";
  EXPECT_LE(a.instances.size(), 200u);
  for (std::size_t i = 0; i < a.instances.size(); ++i) {
    EXPECT_EQ(text_property(a.instances[i], "Id"), "item" + std::to_string(i));
  }
  EXPECT_THAT(a.raw, ::testing::EndsWith("}CMPI_EOFCMPIERROR:1CMPI_EOF"));
  EXPECT_TRUE(daemon_.wait_for(Hostd(
      "EnumerateInstances of Test_PartialMany for root: worker N exited with status 3 before "
      "its answer was complete (" + std::to_string(a.instances.size()) +
          " frames passed on); the client gets CMPIERROR:1",
      2)));
  expect_next_request_served();
}

TEST_F(Faults, GenericFactoryIsUsedWhenTheSpecificOneIsMissing) {
  Answer a = enumerate_class("Test_Generic");
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(text_property(a.instances[0], "MIName"), "TestGeneric");
  EXPECT_EQ(text_property(a.instances[0], "Principal"), "root");
  EXPECT_EQ(text_property(a.instances[0], "InitNameSpace"), "root/cimv2");
  EXPECT_EQ(number_property(a.instances[0], "InvocationFlags"), 0u);
}

TEST_F(Faults, LargeEnumerationArrivesComplete) {
  Answer a = enumerate_class("Test_Many");
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  ASSERT_EQ(a.instances.size(), 3000u);
  EXPECT_EQ(number_property(a.instances[0], "Index"), 0u);
  EXPECT_EQ(number_property(a.instances[2999], "Index"), 2999u);
}

// The worker's encoder thread changes no byte: a daemon that encodes every result on the
// provider's thread answers the same.
TEST_F(FaultsWithEncoderThread, LargeEnumerationIsTheSameWithoutTheEncoderThread) {
  Answer beside = enumerate_class("Test_Many");
  Workspace ws;
  HostDaemon alone(ws);
  ASSERT_TRUE(alone.start({"--encoder-thread", "off"}));
  Answer one_thread = enumerate(ws.socket, build_frame(ENUMINST, "root", make_path("Test_Many")),
                                ENUMINST);
  EXPECT_EQ(alone.stop(), 0);
  EXPECT_EQ(beside.rc, 0);
  EXPECT_EQ(one_thread.rc, 0);
  EXPECT_EQ(beside.instances.size(), 3000u);
  EXPECT_EQ(beside.raw, one_thread.raw);
}

TEST_F(Faults, GetInstanceWithoutAnInstanceIsNotFound) {
  Answer a = get_instance(socket(),
                          build_frame(GETINST, "root", make_path("Test_Generic", {{"Id", "x"}})));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(a.raw, HasSubstr("\"GetInstStatusMsg\":\"the provider returned no instance\""));
}

TEST_F(Faults, ProviderFailureCodeReachesTheClient) {
  Answer a = enumerate(socket(),
                       build_frame(EXECQUERY, "root", make_path("Test_Generic"), nullptr, nullptr,
                                   nullptr, "SELECT * FROM Test_Generic"),
                       EXECQUERY);
  EXPECT_EQ(a.rc, CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED);
  EXPECT_EQ(a.raw, "CMPIERROR:14CMPI_EOF");
}

TEST_F(Faults, ProviderWithoutTheNeededMIGivesNotSupported) {
  Answer a =
      invoke(socket(), build_frame(INVOKEMETHOD, "root", make_path("Test_Generic", {{"Id", "x"}}),
                                   makeNewCMPIArgs(nullptr), nullptr, nullptr, "Go"));
  EXPECT_EQ(a.rc, CMPI_RC_ERR_NOT_SUPPORTED);
  EXPECT_EQ(a.raw, "CMPIERROR:7CMPI_EOF");
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("provider TestGeneric offers no Method MI (neither TestGeneric_Create_MethodMI nor "
            "_Generic_Create_MethodMI)",
            2)));
}

TEST_F(Faults, ClassWithoutProviderGivesInvalidClass) {
  Answer a = enumerate_class("Test_NoProvider");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_EQ(a.raw, "CMPIERROR:5CMPI_EOF");
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request failed: class Test_NoProvider has no provider in the schema database", 2)));
}

TEST_F(Faults, UnknownClassGivesInvalidClass) {
  Answer a = enumerate_class("Test_Unknown");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_TRUE(daemon_.wait_for(
      Hostd("request failed: class Test_Unknown has no provider in the schema database", 2)));
}

TEST_F(Faults, MissingProviderLibraryGivesInvalidClass) {
  Answer a = enumerate_class("Test_Missing");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_INVALID_CLASS);
  EXPECT_TRUE(daemon_.wait_for(Hostd("request failed: the library " + ws_.provider_dir +
                                         "libtestmissing.so of provider TestMissing (class "
                                         "Test_Missing) is missing",
                                     2)));
  expect_next_request_served();
}

class MissingSchema : public HostdTest {
 protected:
  std::vector<std::string> options() const override {
    return {"--schema-db", ws_.dir + "/no-such.db"};
  }
};

TEST_F(MissingSchema, UnreadableSchemaDatabaseGivesFailedAndTheDaemonLives) {
  Answer a = get_fan("fan0");
  EXPECT_EQ(a.rc, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(a.raw, "CMPIERROR:1CMPI_EOF");
  EXPECT_TRUE(
      daemon_.wait_for(Hostd("request failed: the schema database cannot be opened: "
                             "cannot open " +
                                 ws_.dir + "/no-such.db: unable to open database file",
                             2)));
  Answer again = get_fan("fan0");
  EXPECT_EQ(again.rc, CMPI_RC_ERR_FAILED);
}

}  // namespace
}  // namespace e2e
