// bench_main.h - the main function of the codec, tokenizer and end-to-end benchmarks.
//
// The library's encoder writes every reference key text it encodes to C standard output (and
// flushes it), so a benchmark that encodes references would bury its own report under those
// lines. The report goes to std::cout, which is bound to the original standard output when the
// program starts; pointing the C stream stdout at /dev/null afterwards silences the library
// only. The write the library makes for each reference still happens (into /dev/null), so its
// cost stays in the numbers.
#ifndef CMPIUTILITY_BENCH_MAIN_H
#define CMPIUTILITY_BENCH_MAIN_H

#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

namespace bench {

inline void silence_library_stdout() {
  fflush(stdout);
  if (FILE *null = fopen("/dev/null", "w")) stdout = null;
}

// The library's own log lines go to /dev/null unless DLOG_OUTPUT says otherwise: the tokenizers
// write a level-2 line for every piece that ends inside a frame, which is normal for a stream
// read in pieces. The lines are still formatted and written, so their cost stays as well. The
// report's context notes the log settings (a DLOG_LEVEL above 2 makes every call write trace
// lines and the numbers meaningless).
inline void route_library_log() {
  setenv("DLOG_OUTPUT", "/dev/null", 0);
  const char *level = getenv("DLOG_LEVEL");
  benchmark::AddCustomContext("DLOG_LEVEL", level != nullptr ? level : "(unset: 2)");
  benchmark::AddCustomContext("DLOG_OUTPUT", getenv("DLOG_OUTPUT"));
}

}  // namespace bench

// Used without a trailing semicolon; after_run is a statement run once all benchmarks ran.
#define CMPIUTILITY_BENCH_MAIN(after_run)                             \
  int main(int argc, char **argv) {                                   \
    bench::silence_library_stdout();                                  \
    bench::route_library_log();                                       \
    benchmark::Initialize(&argc, argv);                               \
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1; \
    benchmark::RunSpecifiedBenchmarks();                              \
    after_run;                                                        \
    benchmark::Shutdown();                                            \
    return 0;                                                         \
  }

#endif  // CMPIUTILITY_BENCH_MAIN_H
