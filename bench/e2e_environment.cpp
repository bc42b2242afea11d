// e2e_environment.cpp - the daemons, the canned server and the captured answers of the
// end-to-end benchmarks.
#include "e2e_environment.h"

#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>

#include <mutex>

#include "e2e_client.h"

namespace bench {

namespace {

Environment *g_environment = nullptr;
std::mutex g_environment_mutex;

void make_environment(Environment &env) {
  const std::string user = current_user();
  env.enum_frame =
      request_frame(ENUMINST, user, makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr));
  CMPIObjectPath *fan0 = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMAddKey(fan0, "DeviceID", "fan0", CMPI_chars);
  CMAddKey(fan0, "SystemName", "bmc0", CMPI_chars);
  env.get_frame = request_frame(GETINST, user, fan0);
  if (env.enum_frame.empty() || env.get_frame.empty()) {
    env.error = "the request frames cannot be made";
    return;
  }
  if (!env.hostd.start(&env.error)) return;
  if (!env.canned.start(env.hostd.directory() + "/canned.sock", &env.error)) return;
  // The first request makes the demo's state file; its answer is the canned GetInstance answer.
  if (!get_instance(env.hostd.socket(), env.get_frame, &env.get_answer)) {
    env.error = "GetInstance of fan0 through cmpi-hostd failed (log in " + env.hostd.directory() +
                ", BENCH_KEEP=1 keeps it)";
  }
}

}  // namespace

Environment &environment() {
  std::lock_guard<std::mutex> lock(g_environment_mutex);
  if (g_environment == nullptr) {
    g_environment = new Environment;
    make_environment(*g_environment);
  }
  return *g_environment;
}

void stop_environment() {
  std::lock_guard<std::mutex> lock(g_environment_mutex);
  delete g_environment;
  g_environment = nullptr;
}

const HostdProcess *start_daemon(ExtraDaemon &extra, benchmark::State &state) {
  const Environment &env = environment();
  if (!extra.tried) {
    extra.tried = true;
    extra.error = env.error;
    if (extra.error.empty() && !extra.hostd.start(&extra.error, extra.options)) {
      extra.error = "cmpi-hostd with extra options: " + extra.error;
    }
    if (extra.error.empty() && !get_instance(extra.hostd.socket(), env.get_frame)) {
      extra.error = "GetInstance of fan0 through cmpi-hostd with extra options failed (log in " +
                    extra.hostd.directory() + ", BENCH_KEEP=1 keeps it)";
    }
  }
  if (!extra.error.empty()) {
    state.SkipWithError(extra.error.c_str());
    return nullptr;
  }
  return &extra.hostd;
}

const std::string *prepare_enumeration(benchmark::State &state, size_t count) {
  Environment &env = environment();
  std::string error = env.error;
  if (error.empty() && !env.hostd.set_fan_count(count, &error)) error = "state: " + error;
  if (error.empty() && env.enum_answers.count(count) == 0) {
    std::string raw;
    const long got = enumerate(env.hostd.socket(), env.enum_frame, &raw);
    if (got != static_cast<long>(count)) {
      error = "the enumeration through cmpi-hostd gave " + std::to_string(got) +
              " instances, not " + std::to_string(count);
    } else {
      env.enum_answers[count] = raw;
    }
  }
  if (!error.empty()) {
    state.SkipWithError(error.c_str());
    return nullptr;
  }
  return &env.enum_answers[count];
}

bool prepare_get(benchmark::State &state) {
  Environment &env = environment();
  std::string error = env.error;
  if (error.empty() && !env.hostd.set_fan_count(2, &error)) error = "state: " + error;
  if (!error.empty()) {
    state.SkipWithError(error.c_str());
    return false;
  }
  env.canned.set_answer(env.get_answer);
  return true;
}

std::vector<std::vector<double>> &thread_latencies() {
  static std::vector<std::vector<double>> latencies;
  return latencies;
}

double median(const std::vector<double> &sorted) { return sorted[sorted.size() / 2]; }

double percentile99(const std::vector<double> &sorted) {
  const size_t n = sorted.size();
  return sorted[std::min(n - 1, (n * 99 + 99) / 100 - 1)];
}

}  // namespace bench
