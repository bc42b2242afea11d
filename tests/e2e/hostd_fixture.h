// hostd_fixture.h - a test with a running cmpi-hostd.
//
// SetUp starts the daemon with the common arguments plus options(); TearDown stops it with
// SIGTERM and checks that it exited with status 0 and that its standard error holds no
// sanitizer report (the sanitized build runs the sanitized daemon, supervisors and workers).
#ifndef CMPI_E2E_HOSTD_FIXTURE_H
#define CMPI_E2E_HOSTD_FIXTURE_H

#include <cmpiutility/records.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "hostd_client.h"
#include "hostd_harness.h"

namespace e2e {

class HostdTest : public ::testing::Test {
 protected:
  virtual std::vector<std::string> options() const { return {}; }

  void SetUp() override { ASSERT_TRUE(daemon_.start(options())); }

  void TearDown() override {
    int status = daemon_.stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "wait status " << status;
    std::string err = daemon_.standard_error();
    EXPECT_EQ(err.find("Sanitizer"), std::string::npos) << err;
    EXPECT_EQ(err.find("runtime error"), std::string::npos) << err;
  }

  const std::string &socket() const { return ws_.socket; }

  // The fan fan0 / fan1 of the demo state.
  static CMPIObjectPath *fan(const std::string &id) {
    return make_path("Demo_Fan", {{"DeviceID", id}, {"SystemName", "bmc0"}});
  }

  // A GetInstance of a demo fan as user.
  Answer get_fan(const std::string &id, const char *user = "root") {
    return get_instance(socket(), build_frame(GETINST, user, fan(id)));
  }

  Workspace ws_;
  HostDaemon daemon_{ws_};
};

}  // namespace e2e

#endif  // CMPI_E2E_HOSTD_FIXTURE_H
