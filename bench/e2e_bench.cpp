// e2e_bench: requests through a real cmpi-hostd with the demo provider, against the bare cost of
// moving the same bytes over AF_UNIX.
//
// The benchmark starts the built cmpi-hostd (foreground, temporary directory and socket, log
// level 3, the demo provider, a fresh demo state) the first time an E2E benchmark runs, and stops
// it at the end. Requests are made the way a client makes them: getClientReq + doSerialization
// once, then per request clientConnectServersock, clientSend, xselect + clientRecv in 64 KiB
// pieces, and the tokenizer of the operation (CMUtilEnumStringTokenize into a CMPI array,
// CMUtilGETStringTokenize). The principal is the user running the benchmark.
//
//   E2E/Enumerate/<n>            EnumerateInstances of Demo_Fan with <n> instances in the demo
//                                state, through the daemon, into a client array
//   E2E/EnumerateDaemonOnly/<n>  the same request through the daemon, read by a bare client that
//                                only counts bytes: the daemon's side alone
//   E2E/EnumerateClientOnly/<n>  the library client against a canned server that answers with the
//                                bytes the daemon sent for <n>: the client's side alone
//   E2E/EnumerateBare/<n>        a bare connect/send/receive of those bytes (the floor)
//   E2E/GetInstance              GetInstance of fan0 through the daemon: per-request latency,
//                                p50_us and p99_us counters (microseconds)
//   E2E/GetInstanceClientOnly    the library client against the canned GetInstance answer
//   E2E/GetInstanceBare          a bare connect/send/receive of those bytes (the floor)
//
// Every request is timed on its own with the clock (manual time); items are instances for the
// enumerations (items_per_second = instances per second) and requests for GetInstance; p50_us and
// p99_us are the median and 99th percentile of the request latencies in microseconds. The demo's
// state gets its extra instances as copies of fan0 written straight into its state file
// (hostd_process.h) before the timing starts.
#include <benchmark/benchmark.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <cmpiutility/stream.h>
#include <cmpiutility/transport.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "bench_main.h"
#include "canned_server.h"
#include "hostd_process.h"

namespace {

constexpr int kPiece = 64 * 1024;
constexpr int kAnswerWaitSeconds = 60;

// ---- the library client ----------------------------------------------------------------------

void drop_message(CMPIStatus *st) {
  if (st->msg != nullptr) CMRelease(st->msg);
  st->msg = nullptr;
}

// One request frame, made by the library's client functions (the path is taken over).
std::string request_frame(int type, const std::string &user, CMPIObjectPath *path) {
  ClientReq *req = nullptr;
  if (getClientReq(&req, user.c_str(), type, path, nullptr, nullptr, nullptr, nullptr) != 0) {
    return std::string();
  }
  char fixed[FRAME_BUFFER_SIZE];
  char *dynamic = static_cast<char *>(calloc(FRAME_BUFFER_SIZE, 1));
  std::string frame;
  if (doSerialization(req, fixed, &dynamic) == 0) frame = fixed;
  free(dynamic);
  releaseRequestData(req);
  return frame;
}

// Connects, sends frame and hands each received piece to feed until it returns true or the peer
// closes. raw (when given) receives every byte. False when the exchange failed.
template <typename Feed>
bool converse(const std::string &socket, const std::string &frame, Feed feed, std::string *raw) {
  SockInfo info;
  memset(&info, 0, sizeof info);
  if (clientConnectServersock(&info, socket.c_str()) != CMPIU_SOCK_OK) return false;
  if (clientSend(&info, frame.data(), static_cast<int>(frame.size())) != CMPIU_SOCK_OK) {
    clientCloseConnection(&info);
    return false;
  }
  static thread_local std::vector<char> buf(kPiece + 1);
  bool ok = true;
  for (;;) {
    int seconds = kAnswerWaitSeconds;
    if (xselect(info.fd, CMPIU_SELECT_READ, &seconds) == CMPIU_SOCK_TIMEOUT) {
      ok = false;
      break;
    }
    if (clientRecv(&info, buf.data(), kPiece) != CMPIU_SOCK_OK) break;
    if (raw != nullptr) raw->append(buf.data(), static_cast<size_t>(info.connFd));
    if (feed(buf.data())) break;
  }
  clientCloseConnection(&info);
  return ok;
}

// EnumerateInstances into a new array; the number of instances that arrived, or -1 when the
// operation did not complete with code 0.
long enumerate(const std::string &socket, const std::string &frame, std::string *raw = nullptr) {
  CMPIArray *array = makeNewCMPIArray(0, CMPI_instance, nullptr);
  char *carry = nullptr;
  uint32_t complete = 0;
  int rc = 0;
  const bool ok = converse(
      socket, frame,
      [&](const char *piece) {
        CMPIStatus st = CMUtilEnumStringTokenize(piece, array, &carry, &complete);
        rc = static_cast<int>(st.rc);
        drop_message(&st);
        return complete != 0 || rc != 0;
      },
      raw);
  free(carry);
  const long count = static_cast<long>(CMGetArrayCount(array, nullptr));
  CMRelease(array);
  return (ok && complete == 1 && rc == 0) ? count : -1;
}

// GetInstance; true when an instance arrived and the operation completed.
bool get_instance(const std::string &socket, const std::string &frame, std::string *raw = nullptr) {
  char *carry = nullptr;
  uint32_t complete = 0;
  int rc = 0;
  CMPIInstance *inst = nullptr;
  const bool ok = converse(
      socket, frame,
      [&](const char *piece) {
        CMPIInstance *got = nullptr;
        CMPIStatus st = CMUtilGETStringTokenize(piece, &got, &carry, &complete);
        rc = static_cast<int>(st.rc);
        drop_message(&st);
        if (got != nullptr) {
          if (inst != nullptr) CMRelease(inst);
          inst = got;
        }
        return complete != 0 || rc != 0;
      },
      raw);
  free(carry);
  const bool good = ok && complete == 1 && rc == 0 && inst != nullptr;
  if (inst != nullptr) CMRelease(inst);
  return good;
}

// ---- the environment: daemon, canned server, frames, captured answers ------------------------

struct Environment {
  bench::HostdProcess hostd;
  bench::CannedServer canned;
  std::string error;  // set when the environment could not be made
  std::string enum_frame;
  std::string get_frame;
  std::string get_answer;
  std::map<size_t, std::string> enum_answers;
};

Environment *g_environment = nullptr;

std::string current_user() {
  const struct passwd *pw = getpwuid(geteuid());
  return pw != nullptr ? pw->pw_name : std::to_string(geteuid());
}

Environment &environment() {
  if (g_environment != nullptr) return *g_environment;
  g_environment = new Environment;
  Environment &env = *g_environment;
  const std::string user = current_user();
  env.enum_frame =
      request_frame(ENUMINST, user, makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr));
  CMPIObjectPath *fan0 = makeNewObjectPath("root/cimv2", "Demo_Fan", nullptr);
  CMAddKey(fan0, "DeviceID", "fan0", CMPI_chars);
  CMAddKey(fan0, "SystemName", "bmc0", CMPI_chars);
  env.get_frame = request_frame(GETINST, user, fan0);
  if (env.enum_frame.empty() || env.get_frame.empty()) {
    env.error = "the request frames cannot be made";
    return env;
  }
  if (!env.hostd.start(&env.error)) return env;
  if (!env.canned.start(env.hostd.directory() + "/canned.sock", &env.error)) return env;
  // The first request makes the demo's state file; its answer is the canned GetInstance answer.
  if (!get_instance(env.hostd.socket(), env.get_frame, &env.get_answer)) {
    env.error = "GetInstance of fan0 through cmpi-hostd failed (log in " + env.hostd.directory() +
                ", BENCH_KEEP=1 keeps it)";
  }
  return env;
}

void stop_environment() {
  delete g_environment;
  g_environment = nullptr;
}

// Puts count fans into the demo state and returns the daemon's answer to the enumeration
// (captured once per count), or nullptr after SkipWithError.
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

using Clock = std::chrono::steady_clock;

// Times every request with the clock (manual time: the set-up between requests is not counted)
// and reports the median and the 99th percentile of the request latencies, the items (instances
// or requests) and bytes per second, and the size of the answer. Every E2E benchmark reports the
// same counters, so that --benchmark_format=csv works for any selection.
template <typename Request>
void time_requests(benchmark::State &state, size_t items_per_request, const std::string &answer,
                   Request request) {
  std::vector<double> latencies;
  latencies.reserve(static_cast<size_t>(state.max_iterations));
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    const bool ok = request();
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(seconds);
    latencies.push_back(seconds);
    if (!ok) {
      state.SkipWithError("request failed or incomplete");
      break;
    }
  }
  if (latencies.empty()) return;
  std::sort(latencies.begin(), latencies.end());
  const size_t n = latencies.size();
  const size_t p99 = std::min(n - 1, (n * 99 + 99) / 100 - 1);  // nearest rank
  state.counters["p50_us"] = latencies[n / 2] * 1e6;
  state.counters["p99_us"] = latencies[p99] * 1e6;
  state.counters["answer_bytes"] = static_cast<double>(answer.size());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * items_per_request));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * answer.size()));
}

// ---- enumeration -----------------------------------------------------------------------------

void Enumerate(benchmark::State &state) {
  const size_t count = static_cast<size_t>(state.range(0));
  const std::string *answer = prepare_enumeration(state, count);
  if (answer == nullptr) return;
  const Environment &env = environment();
  time_requests(state, count, *answer, [&] {
    return enumerate(env.hostd.socket(), env.enum_frame) == static_cast<long>(count);
  });
}

void EnumerateDaemonOnly(benchmark::State &state) {
  const size_t count = static_cast<size_t>(state.range(0));
  const std::string *answer = prepare_enumeration(state, count);
  if (answer == nullptr) return;
  const Environment &env = environment();
  // Nothing varies in the answer but the instances, so its length must match exactly.
  const long expected = static_cast<long>(answer->size());
  time_requests(state, count, *answer, [&] {
    return bench::bare_exchange(env.hostd.socket(), env.enum_frame) == expected;
  });
}

void EnumerateClientOnly(benchmark::State &state) {
  const size_t count = static_cast<size_t>(state.range(0));
  const std::string *answer = prepare_enumeration(state, count);
  if (answer == nullptr) return;
  Environment &env = environment();
  env.canned.set_answer(*answer);
  time_requests(state, count, *answer, [&] {
    return enumerate(env.canned.path(), env.enum_frame) == static_cast<long>(count);
  });
}

void EnumerateBare(benchmark::State &state) {
  const size_t count = static_cast<size_t>(state.range(0));
  const std::string *answer = prepare_enumeration(state, count);
  if (answer == nullptr) return;
  Environment &env = environment();
  env.canned.set_answer(*answer);
  const long expected = static_cast<long>(answer->size());
  time_requests(state, count, *answer, [&] {
    return bench::bare_exchange(env.canned.path(), env.enum_frame) == expected;
  });
}

// ---- GetInstance latency ---------------------------------------------------------------------

// GetInstance runs on the demo's initial state (fan0 and fan1).
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

void GetInstance(benchmark::State &state) {
  if (!prepare_get(state)) return;
  const Environment &env = environment();
  time_requests(state, 1, env.get_answer,
                [&] { return get_instance(env.hostd.socket(), env.get_frame); });
}

void GetInstanceClientOnly(benchmark::State &state) {
  if (!prepare_get(state)) return;
  const Environment &env = environment();
  time_requests(state, 1, env.get_answer,
                [&] { return get_instance(env.canned.path(), env.get_frame); });
}

void GetInstanceBare(benchmark::State &state) {
  if (!prepare_get(state)) return;
  const Environment &env = environment();
  const long expected = static_cast<long>(env.get_answer.size());
  time_requests(state, 1, env.get_answer,
                [&] { return bench::bare_exchange(env.canned.path(), env.get_frame) == expected; });
}

// ---- registration ----------------------------------------------------------------------------

// Instance counts and how many enumerations each gets (one of 10,000 through the daemon takes
// 2 to 3 s on a two-core machine); the bare floor runs by time.
struct Size {
  int count;
  int iterations;
};
constexpr Size kSizes[] = {{100, 30}, {1000, 10}, {10000, 3}};

int register_benchmarks() {
  using benchmark::RegisterBenchmark;
  // Size by size, so that the demo state changes only three times.
  for (const Size &s : kSizes) {
    RegisterBenchmark("E2E/Enumerate", Enumerate)
        ->Arg(s.count)
        ->Iterations(s.iterations)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    RegisterBenchmark("E2E/EnumerateDaemonOnly", EnumerateDaemonOnly)
        ->Arg(s.count)
        ->Iterations(s.iterations)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    RegisterBenchmark("E2E/EnumerateClientOnly", EnumerateClientOnly)
        ->Arg(s.count)
        ->Iterations(s.iterations)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    RegisterBenchmark("E2E/EnumerateBare", EnumerateBare)
        ->Arg(s.count)
        ->MinTime(0.5)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  RegisterBenchmark("E2E/GetInstance", GetInstance)
      ->Iterations(400)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("E2E/GetInstanceClientOnly", GetInstanceClientOnly)
      ->Iterations(4000)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("E2E/GetInstanceBare", GetInstanceBare)
      ->Iterations(4000)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  return 0;
}

[[maybe_unused]] const int registered = register_benchmarks();

}  // namespace

CMPIUTILITY_BENCH_MAIN(stop_environment())
