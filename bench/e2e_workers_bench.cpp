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

// state.threads() clients at once through the main daemon or (bare) against the canned server
// (time_concurrent_requests).
void concurrent_requests(benchmark::State &state, bool bare) {
  Environment &env = environment();
  std::string error;
  if (state.thread_index() == 0) {
    if (!prepare_get(state)) error = "the environment could not be prepared";
  } else {
    error = env.error;
  }
  const std::string &socket = bare ? env.canned.path() : env.hostd.socket();
  const long expected = static_cast<long>(env.get_answer.size());
  time_concurrent_requests(state, error, [&] {
    return bare ? bare_exchange(socket, env.get_frame) == expected
                : get_instance(socket, env.get_frame);
  });
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * env.get_answer.size()));
  if (state.thread_index() == 0) {
    state.counters["answer_bytes"] = static_cast<double>(env.get_answer.size());
  }
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
