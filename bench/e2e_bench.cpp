// e2e_bench: requests through a real cmpi-hostd with the demo provider, against the bare cost of
// moving the same bytes over AF_UNIX.
//
// The benchmark starts the built cmpi-hostd (foreground, temporary directory and socket, log
// level 3, the demo provider, a fresh demo state) the first time an E2E benchmark runs, and stops
// it at the end; the benchmarks of the workers start further daemons with other options
// (e2e_environment.h). Requests are made the way a client makes them (e2e_client.h):
// getClientReq + doSerialization once, then per request clientConnectServersock, clientSend,
// xselect + clientRecv in 64 KiB pieces, and the tokenizer of the operation
// (CMUtilEnumStringTokenize into a CMPI array, CMUtilGETStringTokenize). The principal is the
// user running the benchmark.
//
//   E2E/Enumerate/<n>            EnumerateInstances of Demo_Fan with <n> instances in the demo
//                                state, through the daemon, into a client array
//   E2E/EnumerateDaemonOnly/<n>  the same request through the daemon, read by a bare client that
//                                only counts bytes: the daemon's side alone
//   E2E/EnumerateClientOnly/<n>  the library client against a canned server that answers with the
//                                bytes the daemon sent for <n>: the client's side alone
//   E2E/EnumerateBare/<n>        a bare connect/send/receive of those bytes (the floor)
//   E2E/GetInstance              GetInstance of fan0 through the (warm) daemon: per-request
//                                latency, p50_us and p99_us counters (microseconds)
//   E2E/GetInstanceClientOnly    the library client against the canned GetInstance answer
//   E2E/GetInstanceBare          a bare connect/send/receive of those bytes (the floor)
//
// and, in e2e_workers_bench.cpp, the persistent workers of the daemon:
//
//   E2E/GetInstanceCold          GetInstance through a daemon started with --worker-requests 1:
//                                every request is the first and only one of a new worker
//   E2E/GetInstanceConcurrent/threads:<t>
//                                requests per second of the warm daemon with <t> clients at once
//   E2E/GetInstanceBareConcurrent/threads:<t>
//                                the same with bare exchanges against the canned server (floor)
//   E2E/MemoryOverRequests       10,000 GetInstance requests through a daemon whose worker does
//                                not retire; resident memory of its front and workers before and
//                                after
//
// E2E/MemoryOverRequests runs first: it is the only benchmark with the memory counters, and the
// CSV reporter takes its columns from the first benchmark it reports.
//
// Every request is timed on its own with the clock (manual time), except in the concurrent
// benchmarks (wall-clock time of the whole run); items are instances for the enumerations
// (items_per_second = instances per second) and requests for GetInstance; p50_us and p99_us are
// the median and 99th percentile of the request latencies in microseconds. The demo's state gets
// its extra instances as copies of fan0 written straight into its state file (hostd_process.h)
// before the timing starts.
#include <benchmark/benchmark.h>

#include <string>

#include "bench_main.h"
#include "canned_server.h"
#include "e2e_client.h"
#include "e2e_environment.h"

namespace {

using bench::Environment;
using bench::environment;
using bench::prepare_enumeration;
using bench::prepare_get;
using bench::time_requests;

// ---- enumeration -----------------------------------------------------------------------------

void Enumerate(benchmark::State &state) {
  const size_t count = static_cast<size_t>(state.range(0));
  const std::string *answer = prepare_enumeration(state, count);
  if (answer == nullptr) return;
  const Environment &env = environment();
  bench::DaemonCost cost(state, env.hostd.pid(), count);
  time_requests(state, count, *answer, [&] {
    return bench::enumerate(env.hostd.socket(), env.enum_frame) == static_cast<long>(count);
  });
}

void EnumerateDaemonOnly(benchmark::State &state) {
  const size_t count = static_cast<size_t>(state.range(0));
  const std::string *answer = prepare_enumeration(state, count);
  if (answer == nullptr) return;
  const Environment &env = environment();
  // Nothing varies in the answer but the instances, so its length must match exactly.
  const long expected = static_cast<long>(answer->size());
  bench::DaemonCost cost(state, env.hostd.pid(), count);
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
    return bench::enumerate(env.canned.path(), env.enum_frame) == static_cast<long>(count);
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

void GetInstance(benchmark::State &state) {
  if (!prepare_get(state)) return;
  const Environment &env = environment();
  bench::DaemonCost cost(state, env.hostd.pid(), 1);
  time_requests(state, 1, env.get_answer,
                [&] { return bench::get_instance(env.hostd.socket(), env.get_frame); });
}

void GetInstanceClientOnly(benchmark::State &state) {
  if (!prepare_get(state)) return;
  const Environment &env = environment();
  time_requests(state, 1, env.get_answer,
                [&] { return bench::get_instance(env.canned.path(), env.get_frame); });
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
// about a second on a two-core machine); the bare floor runs by time.
struct Size {
  int count;
  int iterations;
};
constexpr Size kSizes[] = {{100, 30}, {1000, 10}, {10000, 3}};

int register_benchmarks() {
  using benchmark::RegisterBenchmark;
  bench::register_memory_benchmark();
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
  bench::register_worker_benchmarks();
  return 0;
}

[[maybe_unused]] const int registered = register_benchmarks();

}  // namespace

CMPIUTILITY_BENCH_MAIN(bench::stop_environment())
