// item_bench: cmpi-hostd serving the benchmark provider (class Bench_Item, instances computed
// without storage, bench/provider/), against the bare cost of moving the same bytes over
// AF_UNIX. The provider does almost nothing, so the figures are those of the host and the
// library.
//
//   Item/GetInstance               GetInstance of item000042 through the warm daemon, one
//                                  request after another: p50_us, p99_us, requests per second
//   Item/GetInstanceBare           a bare connect/send/receive of the same bytes (the floor)
//   Item/GetInstanceConcurrent/threads:<t>
//                                  <t> clients at once (requests per second over the wall clock)
//   Item/GetInstanceBareConcurrent/threads:<t>
//                                  the same with bare exchanges (the floor)
//   Item/Enumerate/<n>             EnumerateInstances of <n> items through the daemon into a
//                                  client array (the library's tokenizer)
//   Item/EnumerateDaemonOnly/<n>   the same request, read by a bare client that only counts bytes
//   Item/EnumerateClientOnly/<n>   the library client against a canned server with the daemon's
//                                  bytes for <n>
//   Item/EnumerateBare/<n>         a bare connect/send/receive of those bytes (the floor)
//
// Every size of enumeration gets its own daemon (BENCH_ITEM_COUNT=<n> in its environment), so
// its peak memory counters (peak_front_kib, peak_workers_kib: VmHWM of the front and of its
// workers after the runs, and rss_*_kib, the resident memory then) belong to that size alone.
// The memory is read after the daemon has been idle for a second. Beside VmRSS: pss_front_kib,
// pss_workers_kib and pss_total_kib (proportional set size, shared pages divided among the
// processes of the machine that map them) and rss_distinct_kib (the distinct physical pages of
// the front and its workers together, each counted once; -1 unless run as root).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>

#include "bench_main.h"
#include "canned_server.h"
#include "e2e_client.h"
#include "e2e_environment.h"
#include "hostd_process.h"
#include "resident_pages.h"

namespace {

using bench::Clock;
using bench::HostdProcess;

// One daemon serving count items, its canned twin and the captured answers.
struct ItemDaemon {
  HostdProcess hostd;
  bench::CannedServer canned;
  std::string error;
  std::string get_frame;
  std::string enum_frame;
  std::string get_answer;
  std::string enum_answer;
};

std::mutex g_mutex;
std::map<size_t, std::unique_ptr<ItemDaemon>> g_daemons;

constexpr size_t kGetDaemon = 10000;

// The daemon serving count items, started (and its answers captured) on first use.
ItemDaemon &daemon_for(size_t count) {
  std::lock_guard<std::mutex> lock(g_mutex);
  std::unique_ptr<ItemDaemon> &slot = g_daemons[count];
  if (slot) return *slot;
  slot = std::make_unique<ItemDaemon>();
  ItemDaemon &d = *slot;
  const std::string user = bench::current_user();
  CMPIObjectPath *item = makeNewObjectPath("root/cimv2", "Bench_Item", nullptr);
  CMAddKey(item, "Id", "item000042", CMPI_chars);
  d.get_frame = bench::request_frame(GETINST, user, item);
  d.enum_frame = bench::request_frame(
      ENUMINST, user, makeNewObjectPath("root/cimv2", "Bench_Item", nullptr));
  if (d.get_frame.empty() || d.enum_frame.empty()) {
    d.error = "the request frames cannot be made";
    return d;
  }
  if (!d.hostd.start(&d.error, {}, {"BENCH_ITEM_COUNT=" + std::to_string(count)})) return d;
  if (!d.canned.start(d.hostd.directory() + "/canned.sock", &d.error)) return d;
  if (!bench::get_instance(d.hostd.socket(), d.get_frame, &d.get_answer)) {
    d.error = "GetInstance of item000042 through cmpi-hostd failed (log in " +
              d.hostd.directory() + ", BENCH_KEEP=1 keeps it)";
  }
  return d;
}

ItemDaemon *ready_daemon(benchmark::State &state, size_t count) {
  ItemDaemon &d = daemon_for(count);
  if (!d.error.empty()) {
    state.SkipWithError(d.error.c_str());
    return nullptr;
  }
  return &d;
}

// The daemon's answer to the enumeration of all its items, captured once.
const std::string *enumeration_answer(benchmark::State &state, ItemDaemon &d, size_t count) {
  if (d.enum_answer.empty()) {
    const long got = bench::enumerate(d.hostd.socket(), d.enum_frame, &d.enum_answer);
    if (got != static_cast<long>(count)) {
      d.enum_answer.clear();
      const std::string error = "the enumeration gave " + std::to_string(got) + " items, not " +
                                std::to_string(count);
      state.SkipWithError(error.c_str());
      return nullptr;
    }
  }
  return &d.enum_answer;
}

// How long the daemon is left alone before its memory is read: a worker gives its free heap
// back after half a second without requests, so this reads the idle daemon.
constexpr auto kIdleBeforeMemory = std::chrono::milliseconds(1000);

// The memory of a daemon's front and workers (its children), in KiB, read once the daemon has
// been idle for kIdleBeforeMemory.
void memory_counters(benchmark::State &state, const HostdProcess &hostd) {
  std::this_thread::sleep_for(kIdleBeforeMemory);
  const bench::ProcessMemory front = bench::process_memory(hostd.pid());
  const std::vector<pid_t> workers = bench::child_processes(hostd.pid());
  long peak_workers = 0;
  long rss_workers = 0;
  long pss_workers = 0;
  for (pid_t worker : workers) {
    const bench::ProcessMemory m = bench::process_memory(worker);
    peak_workers += std::max(0L, m.peak_kib);
    rss_workers += std::max(0L, m.resident_kib);
    pss_workers += std::max(0L, m.proportional_kib);
  }
  std::vector<pid_t> daemon = workers;
  daemon.push_back(hostd.pid());
  state.counters["peak_front_kib"] = static_cast<double>(front.peak_kib);
  state.counters["peak_workers_kib"] = static_cast<double>(peak_workers);
  state.counters["rss_front_kib"] = static_cast<double>(front.resident_kib);
  state.counters["rss_workers_kib"] = static_cast<double>(rss_workers);
  state.counters["pss_front_kib"] = static_cast<double>(front.proportional_kib);
  state.counters["pss_workers_kib"] = static_cast<double>(pss_workers);
  state.counters["pss_total_kib"] = static_cast<double>(front.proportional_kib + pss_workers);
  state.counters["rss_distinct_kib"] = static_cast<double>(bench::distinct_resident_kib(daemon));
}

// ---- GetInstance -------------------------------------------------------------------------------

void GetInstance(benchmark::State &state) {
  ItemDaemon *d = ready_daemon(state, kGetDaemon);
  if (d == nullptr) return;
  {
    bench::DaemonCost cost(state, d->hostd.pid(), 1);
    bench::time_requests(state, 1, d->get_answer,
                         [&] { return bench::get_instance(d->hostd.socket(), d->get_frame); });
  }
  memory_counters(state, d->hostd);
}

void GetInstanceBare(benchmark::State &state) {
  ItemDaemon *d = ready_daemon(state, kGetDaemon);
  if (d == nullptr) return;
  d->canned.set_answer(d->get_answer);
  const long expected = static_cast<long>(d->get_answer.size());
  bench::time_requests(state, 1, d->get_answer, [&] {
    return bench::bare_exchange(d->canned.path(), d->get_frame) == expected;
  });
}

// state.threads() clients at once through the daemon or (bare) against the canned server.
void concurrent(benchmark::State &state, bool bare) {
  ItemDaemon &d = daemon_for(kGetDaemon);
  if (state.thread_index() == 0 && d.error.empty()) d.canned.set_answer(d.get_answer);
  const std::string &socket = bare ? d.canned.path() : d.hostd.socket();
  const long expected = static_cast<long>(d.get_answer.size());
  bench::time_concurrent_requests(state, d.error, [&] {
    return bare ? bench::bare_exchange(socket, d.get_frame) == expected
                : bench::get_instance(socket, d.get_frame);
  });
}

void GetInstanceConcurrent(benchmark::State &state) { concurrent(state, false); }
void GetInstanceBareConcurrent(benchmark::State &state) { concurrent(state, true); }

// ---- EnumerateInstances ------------------------------------------------------------------------

// Which side of an enumeration a benchmark measures.
enum class Side { kThrough, kDaemonOnly, kClientOnly, kBare };

// EnumerateInstances of state.range(0) items: through the daemon into a client array, through
// the daemon read by a bare client, the library client against the canned answer, or a bare
// exchange of the canned answer. The daemon's memory goes with the daemon's sides.
void enumeration(benchmark::State &state, Side side) {
  const size_t count = static_cast<size_t>(state.range(0));
  ItemDaemon *d = ready_daemon(state, count);
  if (d == nullptr) return;
  const std::string *answer = enumeration_answer(state, *d, count);
  if (answer == nullptr) return;
  const bool canned = side == Side::kClientOnly || side == Side::kBare;
  if (canned) d->canned.set_answer(*answer);
  const std::string &socket = canned ? d->canned.path() : d->hostd.socket();
  const bool library = side == Side::kThrough || side == Side::kClientOnly;
  const long expected = library ? static_cast<long>(count) : static_cast<long>(answer->size());
  auto run = [&] {
    bench::time_requests(state, count, *answer, [&] {
      return (library ? bench::enumerate(socket, d->enum_frame)
                      : bench::bare_exchange(socket, d->enum_frame)) == expected;
    });
  };
  if (canned) {
    run();
    return;
  }
  {
    bench::DaemonCost cost(state, d->hostd.pid(), count);
    run();
  }
  memory_counters(state, d->hostd);
}

void Enumerate(benchmark::State &state) { enumeration(state, Side::kThrough); }
void EnumerateDaemonOnly(benchmark::State &state) { enumeration(state, Side::kDaemonOnly); }
void EnumerateClientOnly(benchmark::State &state) { enumeration(state, Side::kClientOnly); }
void EnumerateBare(benchmark::State &state) { enumeration(state, Side::kBare); }

void stop_daemons() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_daemons.clear();
}

int register_benchmarks() {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark("Item/GetInstance", GetInstance)
      ->Iterations(2000)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  RegisterBenchmark("Item/GetInstanceBare", GetInstanceBare)
      ->Iterations(4000)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  // With 8 clients the iterations are per thread: 8,000 requests in all.
  const int kThreads[][2] = {{1, 4000}, {8, 1000}};
  for (const auto &t : kThreads) {
    RegisterBenchmark("Item/GetInstanceConcurrent", GetInstanceConcurrent)
        ->Threads(t[0])
        ->Iterations(t[1])
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
    RegisterBenchmark("Item/GetInstanceBareConcurrent", GetInstanceBareConcurrent)
        ->Threads(t[0])
        ->MinTime(1.0)
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
  }
  const int kSizes[][2] = {{10000, 5}, {100000, 3}};
  for (const auto &s : kSizes) {
    for (auto [name, function] :
         {std::pair{"Item/EnumerateDaemonOnly", EnumerateDaemonOnly},
          std::pair{"Item/Enumerate", Enumerate},
          std::pair{"Item/EnumerateClientOnly", EnumerateClientOnly}}) {
      RegisterBenchmark(name, function)
          ->Arg(s[0])
          ->Iterations(s[1])
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
    }
    RegisterBenchmark("Item/EnumerateBare", EnumerateBare)
        ->Arg(s[0])
        ->MinTime(0.5)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  return 0;
}

[[maybe_unused]] const int registered = register_benchmarks();

}  // namespace

CMPIUTILITY_BENCH_MAIN(stop_daemons())
