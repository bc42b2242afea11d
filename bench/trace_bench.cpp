// trace_bench: what the library's Enter/Exit trace lines cost when they are not written, beside
// the codec work they accompany. Run with DLOG_LEVEL unset (threshold 2): the trace lines are
// level 4, so they are neither formatted nor written.
//
//   Trace/DisabledPair        one cmpiutility::ScopedTrace made and destroyed, as at the top of
//                             every exported function: an "Enter function = %s" and an
//                             "Exit  function = %s" line that stay below the threshold. The
//                             library's own lib/log/trace.cpp is compiled into this program
//                             (the shared library does not export it) and calls the shared
//                             dlog as the library does.
//   Trace/Serialize/10        getResponseStruct + serializeResponse + free of one
//                             EnumerateInstances result whose instance has 10 properties (the
//                             same work as Codec/Serialize/10)
//   Trace/Deserialize/10      deserializeResp + releaseClientResponseData of that document (as
//                             Codec/Deserialize/10)
//
// The codec benchmarks carry the counter trace_pairs: the Enter lines one operation issues,
// counted once before the timing through a sink (which receives every line whatever the
// threshold). The share of the disabled traces in a codec operation is
//   trace_pairs × DisabledPair time ÷ codec time.
// Every benchmark fails if the threshold is not 2 or if a line was formatted while it ran.
#include <benchmark/benchmark.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <cmpiutility/response.h>
#include <dlog.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "bench_instances.h"
#include "bench_main.h"
#include "log/log.h"

namespace {

constexpr int kDefaultThreshold = 2;

// The default threshold is in force; otherwise the benchmark is skipped with an error.
bool at_default_threshold(benchmark::State &state) {
  if (dlog_threshold() == kDefaultThreshold) return true;
  state.SkipWithError("DLOG_LEVEL is set: the trace lines would be written");
  return false;
}

// After the timing: no line was formatted while it ran.
void check_nothing_formatted(benchmark::State &state, unsigned long before) {
  if (dlog_formatted_count() != before) state.SkipWithError("lines were formatted");
}

// Counts the Enter lines of the trace pairs passed to the sink.
void count_enter_lines(void *context, int level, int module, const char *text) {
  if (level == cmpiutility::kLogLevelTrace && module == cmpiutility::kLogModule &&
      strncmp(text, "Enter function = ", 17) == 0)
    ++*static_cast<long *>(context);
}

// How many trace pairs one call of operation issues.
template <typename Operation>
long trace_pairs_of(Operation operation) {
  long pairs = 0;
  dlog_set_sink(count_enter_lines, &pairs);
  operation();
  dlog_set_sink(nullptr, nullptr);
  return pairs;
}

struct Document {
  std::vector<bench::Property> properties;
  CMPIInstance *instance = nullptr;
  std::string text;  // what the library writes
  explicit Document(size_t count)
      : properties(bench::property_set(count)), instance(bench::make_instance(properties)) {
    text = bench::response_document(instance, ENUMINST);
  }
  ~Document() { CMRelease(instance); }
  Document(const Document &) = delete;
  Document &operator=(const Document &) = delete;
};

void DisabledPair(benchmark::State &state) {
  if (!at_default_threshold(state)) return;
  const unsigned long formatted = dlog_formatted_count();
  for (auto _ : state) {
    cmpiutility::ScopedTrace trace("serializeResponse");
    benchmark::ClobberMemory();
  }
  check_nothing_formatted(state, formatted);
  state.SetItemsProcessed(state.iterations());
}

// One serializeResponse of doc's instance; false when it fails.
bool serialize_once(const Document &doc) {
  CMPIStatus ok = {CMPI_RC_OK, nullptr};
  CMPIValue none;
  none.uint64 = 0;
  char fixed[FRAME_BUFFER_SIZE];
  ServerResp *resp = nullptr;
  getResponseStruct(&resp, ENUMINST, doc.instance, nullptr, none, CMPI_null, &ok, nullptr);
  char *method = nullptr;
  uint32_t length = 0;
  void *buffer = nullptr;
  const bool done = serializeResponse(resp, fixed, &method, &length, &buffer) == 0;
  benchmark::DoNotOptimize(buffer);
  free(buffer);
  releaseResponseData(resp);
  return done;
}

void Serialize(benchmark::State &state) {
  Document doc(static_cast<size_t>(state.range(0)));
  if (doc.text.empty() || !serialize_once(doc)) {
    state.SkipWithError("serializeResponse refused the instance");
    return;
  }
  if (!at_default_threshold(state)) return;
  const long pairs = trace_pairs_of([&] { serialize_once(doc); });
  const unsigned long formatted = dlog_formatted_count();
  for (auto _ : state) {
    if (!serialize_once(doc)) state.SkipWithError("serializeResponse failed");
  }
  check_nothing_formatted(state, formatted);
  state.SetItemsProcessed(state.iterations());
  state.counters["trace_pairs"] = static_cast<double>(pairs);
}

void deserialize_once(const Document &doc) {
  ServerResp *resp = deserializeResp(doc.text.c_str());
  benchmark::DoNotOptimize(resp);
  releaseClientResponseData(resp);
}

void Deserialize(benchmark::State &state) {
  Document doc(static_cast<size_t>(state.range(0)));
  ServerResp *probe = doc.text.empty() ? nullptr : deserializeResp(doc.text.c_str());
  const bool good = probe != nullptr && probe->instance != nullptr &&
                    CMGetPropertyCount(probe->instance, nullptr) == doc.properties.size();
  if (probe != nullptr) releaseClientResponseData(probe);
  if (!good) {
    state.SkipWithError("deserializeResp did not give the instance back");
    return;
  }
  if (!at_default_threshold(state)) return;
  const long pairs = trace_pairs_of([&] { deserialize_once(doc); });
  const unsigned long formatted = dlog_formatted_count();
  for (auto _ : state) deserialize_once(doc);
  check_nothing_formatted(state, formatted);
  state.SetItemsProcessed(state.iterations());
  state.counters["trace_pairs"] = static_cast<double>(pairs);
}

BENCHMARK(DisabledPair)->Name("Trace/DisabledPair")->Unit(benchmark::kNanosecond);
BENCHMARK(Serialize)->Name("Trace/Serialize")->Arg(10)->Unit(benchmark::kMicrosecond);
BENCHMARK(Deserialize)->Name("Trace/Deserialize")->Arg(10)->Unit(benchmark::kMicrosecond);

}  // namespace

CMPIUTILITY_BENCH_MAIN((void)0)
