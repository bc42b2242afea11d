// wire_fit_test.cpp - a provider whose instances have dateTime, integer and boolean keys and
// arrays with a null element (providers/fit_provider.c, class Test_Fit), served by cmpi-hostd
// and read with the library's client: the keys arrive as the text string keys would have given,
// the arrays that cannot be carried are left out while the rest of every instance arrives, and
// the daemon says so once per request and property.
#include <cmpimacs.h>

#include <algorithm>

#include "hostd_fixture.h"

namespace e2e {
namespace {

constexpr int kInstances = 500;

std::string when_text(int n) {
  char text[32];
  std::snprintf(text, sizeof text, "202401%02d103000.000000+000", n % 28 + 1);
  return text;
}

std::string key_of(int n) {
  return "When=" + when_text(n) + ",Id=" + std::to_string(n) +
         ",Active=" + (n % 2 != 0 ? "true" : "false") + ",";
}

bool has_property(const CMPIInstance *inst, const char *name) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  CMPIData d = CMGetProperty(inst, name, &st);
  if (st.rc == CMPI_RC_OK && (d.state & CMPI_nullValue) == 0) {
    CMPIValue v = d.value;
    cmpiReleaseCMPIValue(d.type, &v);
  }
  return st.rc == CMPI_RC_OK;
}

// A boolean property as 0 or 1; -1 when it is missing, null or of another type.
int boolean_property(const CMPIInstance *inst, const char *name) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  CMPIData d = CMGetProperty(inst, name, &st);
  if (st.rc != CMPI_RC_OK || d.type != CMPI_boolean || (d.state & CMPI_nullValue) != 0) return -1;
  return d.value.boolean != 0 ? 1 : 0;
}

class WireFitEndToEnd : public HostdTest {
 protected:
  CMPIObjectPath *fit_class() { return make_path("Test_Fit"); }

  // How often the daemon logged exactly this line.
  long count_of(const cmpitest::LogLine &line) const {
    const std::vector<cmpitest::LogLine> lines = daemon_.lines();
    return std::count(lines.begin(), lines.end(), line);
  }

  static cmpitest::LogLine left_out(const std::string &operation, const std::string &property,
                                    const std::string &why) {
    return Hostd(operation + ": property " + property + " of Test_Fit is left out: " + why +
                     ", which the wire cannot carry",
                 2);
  }
};

TEST_F(WireFitEndToEnd, EnumerationDeliversEveryInstanceWithoutTheArraysAndLogsOncePerProperty) {
  Answer a = enumerate(socket(), build_frame(ENUMINST, "root", fit_class()), ENUMINST);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  ASSERT_EQ(a.instances.size(), static_cast<std::size_t>(kInstances));
  for (int n : {0, 7, kInstances - 1}) {
    SCOPED_TRACE(n);
    const CMPIInstance *inst = a.instances[n];
    EXPECT_EQ(number_property(inst, "Id"), static_cast<unsigned long long>(n));
    EXPECT_EQ(number_property(inst, "Level"), static_cast<unsigned long long>(n) * 10);
    EXPECT_EQ(boolean_property(inst, "Active"), n % 2);
    EXPECT_EQ(text_property(inst, "Name"), "fit" + std::to_string(n));
    EXPECT_TRUE(has_property(inst, "When"));
    EXPECT_FALSE(has_property(inst, "Tags"));
    EXPECT_FALSE(has_property(inst, "Codes"));
  }
  // The date-time property itself travels as it always did.
  EXPECT_NE(a.raw.find(R"("When":{"DataState":0,"DataType":6144,"Value":")" + when_text(7) +
                       "\"}"),
            std::string::npos);
  EXPECT_EQ(a.raw.find("\"Tags\""), std::string::npos);
  EXPECT_EQ(a.raw.find("\"Codes\""), std::string::npos);

  const cmpitest::LogLine tags =
      left_out("EnumerateInstances", "Tags", "its string array holds a null element");
  const cmpitest::LogLine codes =
      left_out("EnumerateInstances", "Codes", "its uint32 array holds a null element");
  ASSERT_TRUE(daemon_.wait_for(tags));
  ASSERT_TRUE(daemon_.wait_for(codes));
  EXPECT_EQ(count_of(tags), 1);
  EXPECT_EQ(count_of(codes), 1);

  // A second request logs its own line.
  Answer again = enumerate(socket(), build_frame(ENUMINST, "root", fit_class()), ENUMINST);
  EXPECT_EQ(again.rc, 0);
  EXPECT_EQ(again.instances.size(), static_cast<std::size_t>(kInstances));
  EXPECT_EQ(count_of(tags), 2);
  EXPECT_EQ(count_of(codes), 2);
}

// Values the wire carries but changes: the text "NULL" and a uint64 above the largest sint64.
// They are sent as they are and warned about once per provider and property, however many
// instances and requests carry them.
TEST_F(WireFitEndToEnd, ValuesTheWireChangesAreWarnedAboutOncePerProviderAndProperty) {
  const cmpitest::LogLine note = Hostd(
      "EnumerateInstances: property Note of Test_Lossy from provider TestFit: its text \"NULL\" "
      "arrives as null (the wire cannot carry it); logged once per provider and property",
      2);
  const cmpitest::LogLine serial = Hostd(
      "EnumerateInstances: property Serial of Test_Lossy from provider TestFit: its uint64 "
      "value above 9223372036854775807 arrives as 9223372036854775807 (the wire cannot carry "
      "it); logged once per provider and property",
      2);
  for (int round = 0; round < 2; ++round) {
    Answer a = enumerate(socket(), build_frame(ENUMINST, "root", make_path("Test_Lossy")),
                         ENUMINST);
    EXPECT_EQ(a.rc, 0);
    ASSERT_EQ(a.instances.size(), static_cast<std::size_t>(kInstances));
    EXPECT_EQ(number_property(a.instances[3], "Serial"), 9223372036854775807ull);
    EXPECT_FALSE(has_property(a.instances[3], "Note") &&
                 text_property(a.instances[3], "Note") == "NULL")
        << "the client reads the text NULL as null";
  }
  ASSERT_TRUE(daemon_.wait_for(note));
  ASSERT_TRUE(daemon_.wait_for(serial));
  EXPECT_EQ(count_of(note), 1);
  EXPECT_EQ(count_of(serial), 1);
  // Test_Fit has neither: nothing is warned about for it.
  Answer plain = enumerate(socket(), build_frame(ENUMINST, "root", fit_class()), ENUMINST);
  EXPECT_EQ(plain.rc, 0);
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    EXPECT_EQ(line.text.find("of Test_Fit from provider"), std::string::npos) << line.text;
  }
}

TEST_F(WireFitEndToEnd, GetInstanceDeliversTheInstanceWithoutTheArrays) {
  CMPIObjectPath *path = make_path(
      "Test_Fit", {{"When", when_text(7)}, {"Id", "7"}, {"Active", "true"}});
  Answer a = get_instance(socket(), build_frame(GETINST, "root", path));
  EXPECT_EQ(a.rc, 0);
  ASSERT_EQ(a.instances.size(), 1u);
  EXPECT_EQ(number_property(a.instances[0], "Id"), 7u);
  EXPECT_EQ(boolean_property(a.instances[0], "Active"), 1);
  EXPECT_EQ(text_property(a.instances[0], "Name"), "fit7");
  EXPECT_FALSE(has_property(a.instances[0], "Tags"));
  EXPECT_FALSE(has_property(a.instances[0], "Codes"));
  EXPECT_TRUE(ends_with(a.raw, "CMPIOPERATION_COMPLETECMPI_EOF"));
  EXPECT_TRUE(daemon_.wait_for(
      left_out("GetInstance", "Tags", "its string array holds a null element")));
  EXPECT_TRUE(daemon_.wait_for(
      left_out("GetInstance", "Codes", "its uint32 array holds a null element")));
}

TEST_F(WireFitEndToEnd, InstanceNamesCarryTheKeysAsText) {
  Answer a = enumerate(socket(), build_frame(ENUMINSTNAMES, "root", fit_class()), ENUMINSTNAMES);
  EXPECT_EQ(a.rc, 0);
  EXPECT_TRUE(a.complete);
  ASSERT_EQ(a.paths.size(), static_cast<std::size_t>(kInstances));
  for (int n : {0, 7, kInstances - 1}) {
    SCOPED_TRACE(n);
    EXPECT_EQ(key_text(a.paths[n], "When"), when_text(n));
    EXPECT_EQ(key_text(a.paths[n], "Id"), std::to_string(n));
    EXPECT_EQ(key_text(a.paths[n], "Active"), n % 2 != 0 ? "true" : "false");
    EXPECT_NE(a.raw.find("\"key\":\"" + key_of(n) + "\""), std::string::npos);
  }
  // The key text of a name finds its instance.
  CMPIObjectPath *again = make_path(
      "Test_Fit", {{"When", when_text(12)}, {"Id", "12"}, {"Active", "false"}});
  Answer got = get_instance(socket(), build_frame(GETINST, "root", again));
  EXPECT_EQ(got.rc, 0);
  ASSERT_EQ(got.instances.size(), 1u);
  EXPECT_EQ(number_property(got.instances[0], "Level"), 120u);
  // Converting keys loses nothing: nothing is logged for it.
  for (const cmpitest::LogLine &line : daemon_.lines()) {
    EXPECT_EQ(line.text.find("EnumerateInstanceNames:"), std::string::npos) << line.text;
  }
}

}  // namespace
}  // namespace e2e
