// e2e_workers_bench.cpp - the end-to-end benchmarks of the daemon's persistent workers (the list
// is in e2e_bench.cpp): the first request of a worker, concurrent clients, and memory over many
// requests.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include "canned_server.h"
#include "e2e_client.h"
#include "e2e_environment.h"
#include "hostd_process.h"

namespace bench {

namespace {

// ---- the first request of a worker -------------------------------------------------------------

// Through a daemon started with --worker-requests 1: the front starts a worker for every request
// (fork, identity, provider load, schema database open) and retires it after the answer.
void GetInstanceCold(benchmark::State &state) {
  Environment &env = environment();
  const HostdProcess *cold = start_daemon(env.cold, state);
  if (cold == nullptr) return;
  time_requests(state, 1, env.get_answer,
                [&] { return get_instance(cold->socket(), env.get_frame); });
}

// ---- concurrent clients ----------------------------------------------------------------------

// The latencies of every thread of the running concurrent benchmark, one vector per thread.
// Thread 0 sizes it before the start barrier of the timing loop and reads it after the stop
// barrier; between the two each thread writes only its own vector.
std::vector<std::vector<double>> g_thread_latencies;

// state.threads() clients at once, each with its own connections, one request after another;
// through the main daemon or (bare) against the canned server. Requests per second are over the
// wall-clock time of the run (UseRealTime), summed over the threads; p50_us and p99_us are over
// the requests of all threads. A thread must pass through the timing loop even when it skips,
// or the others wait at its barrier for ever.
void concurrent_requests(benchmark::State &state, bool bare) {
  Environment &env = environment();
  const bool first = state.thread_index() == 0;
  bool ready = true;
  if (first) {
    ready = prepare_get(state);
    g_thread_latencies.assign(static_cast<size_t>(state.threads()), std::vector<double>());
  } else if (!env.error.empty()) {
    state.SkipWithError(env.error.c_str());
    ready = false;
  }
  if (!ready) {
    for (auto _ : state) {
    }
    return;
  }
  const std::string &socket = bare ? env.canned.path() : env.hostd.socket();
  const long expected = static_cast<long>(env.get_answer.size());
  std::vector<double> latencies;
  latencies.reserve(static_cast<size_t>(state.max_iterations));
  bool failed = false;
  for (auto _ : state) {
    if (failed) continue;
    const Clock::time_point start = Clock::now();
    const bool ok = bare ? bare_exchange(socket, env.get_frame) == expected
                         : get_instance(socket, env.get_frame);
    latencies.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    if (!ok) {
      state.SkipWithError("request failed or incomplete");
      failed = true;
    }
    // The loop's last check waits for the other threads; hand the latencies over before it.
    if (latencies.size() == static_cast<size_t>(state.max_iterations)) {
      g_thread_latencies[static_cast<size_t>(state.thread_index())].swap(latencies);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * env.get_answer.size()));
  if (!first) return;
  // Counters are summed over the threads, so only thread 0 sets these.
  std::vector<double> all;
  for (const std::vector<double> &each : g_thread_latencies) {
    all.insert(all.end(), each.begin(), each.end());
  }
  if (all.empty()) return;
  std::sort(all.begin(), all.end());
  state.counters["p50_us"] = median(all) * 1e6;
  state.counters["p99_us"] = percentile99(all) * 1e6;
  state.counters["answer_bytes"] = static_cast<double>(env.get_answer.size());
}

void GetInstanceConcurrent(benchmark::State &state) { concurrent_requests(state, false); }
void GetInstanceBareConcurrent(benchmark::State &state) { concurrent_requests(state, true); }

// ---- memory over requests --------------------------------------------------------------------

constexpr int kWarmUpRequests = 100;

// The resident memory of a daemon's front and of its workers (the front's children), in KiB.
struct DaemonMemory {
  long front_kib = 0;
  long workers_kib = 0;
  long workers_anon_kib = 0;
  std::vector<pid_t> workers;
};

DaemonMemory daemon_memory(pid_t front) {
  DaemonMemory memory;
  memory.front_kib = process_memory(front).resident_kib;
  memory.workers = child_processes(front);
  for (pid_t worker : memory.workers) {
    const ProcessMemory m = process_memory(worker);
    memory.workers_kib += std::max(0L, m.resident_kib);
    memory.workers_anon_kib += std::max(0L, m.anonymous_kib);
  }
  return memory;
}

// Through a daemon whose worker never retires for its request count (--worker-requests 0; by
// default a worker retires after 10,000 requests, which would replace it during the run), after
// kWarmUpRequests requests that are not timed. Counters: resident KiB of the front, of all
// workers together and their anonymous part, the number of workers, before and after, and how
// many of the workers present before are gone after.
void MemoryOverRequests(benchmark::State &state) {
  Environment &env = environment();
  const HostdProcess *lasting = start_daemon(env.lasting, state);
  if (lasting == nullptr) return;
  for (int i = 0; i < kWarmUpRequests; ++i) {
    if (!get_instance(lasting->socket(), env.get_frame)) {
      state.SkipWithError("a warm-up request failed");
      return;
    }
  }
  const DaemonMemory before = daemon_memory(lasting->pid());
  time_requests(state, 1, env.get_answer,
                [&] { return get_instance(lasting->socket(), env.get_frame); });
  const DaemonMemory after = daemon_memory(lasting->pid());
  long gone = 0;
  for (pid_t worker : before.workers) {
    gone += std::count(after.workers.begin(), after.workers.end(), worker) == 0 ? 1 : 0;
  }
  state.counters["front_kib_before"] = static_cast<double>(before.front_kib);
  state.counters["front_kib_after"] = static_cast<double>(after.front_kib);
  state.counters["workers_kib_before"] = static_cast<double>(before.workers_kib);
  state.counters["workers_kib_after"] = static_cast<double>(after.workers_kib);
  state.counters["workers_anon_kib_before"] = static_cast<double>(before.workers_anon_kib);
  state.counters["workers_anon_kib_after"] = static_cast<double>(after.workers_anon_kib);
  state.counters["workers_before"] = static_cast<double>(before.workers.size());
  state.counters["workers_after"] = static_cast<double>(after.workers.size());
  state.counters["workers_replaced"] = static_cast<double>(gone);
}

}  // namespace

void register_memory_benchmark() {
  benchmark::RegisterBenchmark("E2E/MemoryOverRequests", MemoryOverRequests)
      ->Iterations(10000)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

void register_worker_benchmarks() {
  using benchmark::RegisterBenchmark;
  RegisterBenchmark("E2E/GetInstanceCold", GetInstanceCold)
      ->Iterations(200)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
  // With 8 clients the iterations are per thread: 4,000 requests in all.
  const int kThreads[][2] = {{1, 2000}, {8, 500}};
  for (const auto &t : kThreads) {
    RegisterBenchmark("E2E/GetInstanceConcurrent", GetInstanceConcurrent)
        ->Threads(t[0])
        ->Iterations(t[1])
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
    RegisterBenchmark("E2E/GetInstanceBareConcurrent", GetInstanceBareConcurrent)
        ->Threads(t[0])
        ->MinTime(1.0)
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
  }
}

}  // namespace bench
