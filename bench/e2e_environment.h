// e2e_environment.h - what the end-to-end benchmarks share: the daemons, the canned server, the
// request frames and captured answers, and the timing of requests one by one.
//
// The main daemon (default options) and the canned server start the first time an E2E benchmark
// asks for them and stop when the program ends (stop_environment). The daemons with other
// options (ExtraDaemon) start the first time a benchmark that needs them runs, so a filtered run
// starts only what it uses. Every daemon gets its own directory, demo state and socket.
#ifndef CMPIUTILITY_BENCH_E2E_ENVIRONMENT_H
#define CMPIUTILITY_BENCH_E2E_ENVIRONMENT_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "canned_server.h"
#include "hostd_process.h"

namespace bench {

// A daemon started with extra command-line options; started on first use.
struct ExtraDaemon {
  explicit ExtraDaemon(std::vector<std::string> extra) : options(std::move(extra)) {}
  std::vector<std::string> options;
  HostdProcess hostd;
  bool tried = false;
  std::string error;  // set when it could not be started or did not answer
};

struct Environment {
  HostdProcess hostd;  // the warm daemon: default options
  CannedServer canned;
  std::string error;  // set when the environment could not be made
  std::string enum_frame;
  std::string get_frame;
  std::string get_answer;
  std::map<size_t, std::string> enum_answers;
  // Every request served by a worker started for it (its first and only request).
  ExtraDaemon cold{{"--worker-requests", "1"}};
  // Workers that never retire for their request count: one worker lives through a whole run.
  ExtraDaemon lasting{{"--worker-requests", "0"}};
};

// The environment, made on the first call (from any thread; calls are serialised).
Environment &environment();
void stop_environment();

// The daemon of extra, started (with one GetInstance, which makes its demo state) on the first
// call; nullptr after state.SkipWithError when it cannot serve. Not for several threads at once.
const HostdProcess *start_daemon(ExtraDaemon &extra, benchmark::State &state);

// Puts count fans into the main daemon's demo state and returns the daemon's answer to the
// enumeration (captured once per count), or nullptr after SkipWithError.
const std::string *prepare_enumeration(benchmark::State &state, size_t count);

// The main daemon's demo state back at fan0 and fan1, the canned server answering with the
// captured GetInstance answer; false after SkipWithError.
bool prepare_get(benchmark::State &state);

// Of sorted values (not empty): the median (the upper one of an even count) and the 99th
// percentile (nearest rank).
double median(const std::vector<double> &sorted);
double percentile99(const std::vector<double> &sorted);

using Clock = std::chrono::steady_clock;

// While it lives, counts what a daemon (front and workers) spends; when it goes, sets
// daemon_cpu_us (CPU time per item: per request, or per instance for enumerations), front_cpu_us
// (the front's share of it) and daemon_sleeps (times its processes went to sleep waiting, per
// request) on state. They move far less with the machine's load than the wall clock does.
class DaemonCost {
 public:
  DaemonCost(benchmark::State &state, pid_t daemon, size_t items_per_request)
      : state_(state),
        daemon_(daemon),
        items_(items_per_request),
        cpu_(daemon_cpu_ns(daemon)),
        front_cpu_(front_cpu_ns(daemon)),
        sleeps_(daemon_sleeps(daemon)) {}
  ~DaemonCost() {
    const double requests = static_cast<double>(state_.iterations());
    if (requests <= 0) return;
    const double items = requests * static_cast<double>(items_);
    state_.counters["daemon_cpu_us"] =
        static_cast<double>(daemon_cpu_ns(daemon_) - cpu_) / 1000.0 / items;
    state_.counters["front_cpu_us"] =
        static_cast<double>(front_cpu_ns(daemon_) - front_cpu_) / 1000.0 / items;
    state_.counters["daemon_sleeps"] =
        static_cast<double>(daemon_sleeps(daemon_) - sleeps_) / requests;
  }
  DaemonCost(const DaemonCost &) = delete;
  DaemonCost &operator=(const DaemonCost &) = delete;

 private:
  benchmark::State &state_;
  pid_t daemon_;
  size_t items_;
  long long cpu_;
  long long front_cpu_;
  long long sleeps_;
};

// Times every request with the clock (manual time: the set-up between requests is not counted)
// and reports the median and the 99th percentile of the request latencies, the items (instances
// or requests) and bytes per second, and the size of the answer. Every E2E benchmark reports
// these counters, so that --benchmark_format=csv works for any selection. Single-threaded
// benchmarks only (a failed request ends the loop).
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
  state.counters["p50_us"] = median(latencies) * 1e6;
  state.counters["p99_us"] = percentile99(latencies) * 1e6;
  state.counters["answer_bytes"] = static_cast<double>(answer.size());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * items_per_request));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * answer.size()));
}

// The latencies of every thread of the running concurrent benchmark, one vector per thread.
// Thread 0 sizes it before the start barrier of the timing loop and reads it after the stop
// barrier; between the two each thread writes only its own vector.
std::vector<std::vector<double>> &thread_latencies();

// state.threads() clients at once, each calling request() (true: answered in full) once per
// iteration with its own connections. error: when not empty, the benchmark is skipped (with
// that reason unless one was given already; every
// thread still passes through the timing loop, or the others would wait at its barrier for
// ever). Requests per second are over the wall-clock time of the run (UseRealTime), summed over
// the threads; thread 0 reports p50_us and p99_us over the requests of all threads.
template <typename Request>
void time_concurrent_requests(benchmark::State &state, const std::string &error,
                              Request request) {
  const bool first = state.thread_index() == 0;
  if (first) {
    thread_latencies().assign(static_cast<size_t>(state.threads()), std::vector<double>());
  }
  if (!error.empty()) {
    if (first && !state.error_occurred()) state.SkipWithError(error.c_str());
    for (auto _ : state) {
    }
    return;
  }
  std::vector<double> latencies;
  latencies.reserve(static_cast<size_t>(state.max_iterations));
  bool failed = false;
  for (auto _ : state) {
    if (failed) continue;
    const Clock::time_point start = Clock::now();
    const bool ok = request();
    latencies.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    if (!ok) {
      state.SkipWithError("request failed or incomplete");
      failed = true;
    }
    // The loop's last check waits for the other threads; hand the latencies over before it.
    if (latencies.size() == static_cast<size_t>(state.max_iterations)) {
      thread_latencies()[static_cast<size_t>(state.thread_index())].swap(latencies);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  if (!first) return;
  // Counters are summed over the threads, so only thread 0 sets these.
  std::vector<double> all;
  for (const std::vector<double> &each : thread_latencies()) {
    all.insert(all.end(), each.begin(), each.end());
  }
  if (all.empty()) return;
  std::sort(all.begin(), all.end());
  state.counters["p50_us"] = median(all) * 1e6;
  state.counters["p99_us"] = percentile99(all) * 1e6;
}

// Register the benchmarks of e2e_workers_bench.cpp: E2E/MemoryOverRequests first of all (the CSV
// reporter takes its columns from the first benchmark it reports, and only that one has the
// memory counters), the others after those of e2e_bench.cpp.
void register_memory_benchmark();
void register_worker_benchmarks();

}  // namespace bench

#endif  // CMPIUTILITY_BENCH_E2E_ENVIRONMENT_H
