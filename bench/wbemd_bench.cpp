// wbemd_bench.cpp - the CIM-XML front end (cmpi-wbemd) in front of cmpi-hostd with the benchmark
// provider (Bench_Item, no storage), each figure beside its floor measured in the same run
// (docs/PERFORMANCE.md, "The CIM-XML front end"). Needs root: the daemon drops from root to
// nobody, and the Basic logins are those of a local user the benchmark makes and removes.
//
//   Wbemd/GetInstance/<transport>/<login>  GetInstance of item000042 over one kept-alive
//                                          connection per client thread (threads:1 and :8):
//                                          http or https; basic (the benchmark's user, logged
//                                          in once per connection) or local (no credentials,
//                                          --trust-local-peers serves the client's own user)
//   Bare/GetInstance/<transport>           the floor: the same request bytes to a bare loopback
//                                          server that answers with the front end's captured
//                                          answer bytes, kept alive, same client code
//   Direct/GetInstance                     the same operation straight to cmpi-hostd through the
//                                          library client (one AF_UNIX connection per request)
//   Wbemd/Enumerate/<n>/<plain|trailers>   EnumerateInstances of n items (chunked), time to the
//                                          last byte, without and with "TE: trailers"; the
//                                          daemon's peak memory (VmHWM) after the runs
//   Bare/Enumerate/<n>/<plain|trailers>    the floor: the captured answer bytes over a
//                                          kept-alive loopback connection
//   Direct/Enumerate/<n>                   the library client straight to cmpi-hostd
//
// Every size of enumeration, and the GetInstance rows, get a cmpi-hostd and a cmpi-wbemd of
// their own (started on first use), so each daemon's peak memory belongs to one size alone.
// wbemd_cpu_us / wbemd_cpu_ms: the CPU time cmpi-wbemd spent per request (all its threads).
// A run that is killed leaves its user (wbench<pid>) and its /tmp/wbench-* directory behind:
// remove them with userdel and rm; the daemons stop with it.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cmpimacs.h>
#include <cmpiutility/records.h>
#include <cmpiutility/request.h>

#include "bare_http_server.h"
#include "bench_main.h"
#include "e2e_client.h"
#include "e2e_environment.h"
#include "hostd_process.h"
#include "http_client.h"
#include "wbemd_process.h"

namespace {

using bench::Clock;
using bench::HttpAnswer;
using bench::HttpConnection;

constexpr char kPassword[] = "Bench-wbemd-5pw";

const char kXmlHead[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">\n"
    "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\"><SIMPLEREQ>";
const char kNamespace[] =
    "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"></NAMESPACE><NAMESPACE NAME=\"cimv2\">"
    "</NAMESPACE></LOCALNAMESPACEPATH>\n";
const char kXmlTail[] = "</SIMPLEREQ>\n</MESSAGE></CIM>";

// The bodies wbemcli sends for gi and ei of Bench_Item.
std::string get_body() {
  return std::string(kXmlHead) + "<IMETHODCALL NAME=\"GetInstance\">" + kNamespace +
         "<IPARAMVALUE NAME=\"LocalOnly\"><VALUE>FALSE</VALUE></IPARAMVALUE>\n"
         "<IPARAMVALUE NAME=\"IncludeQualifiers\"><VALUE>FALSE</VALUE></IPARAMVALUE>\n"
         "<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE></IPARAMVALUE>\n"
         "<IPARAMVALUE NAME=\"InstanceName\"><INSTANCENAME CLASSNAME=\"Bench_Item\">"
         "<KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">item000042</KEYVALUE>"
         "</KEYBINDING></INSTANCENAME></IPARAMVALUE>\n</IMETHODCALL>" + kXmlTail;
}

std::string enumerate_body() {
  return std::string(kXmlHead) + "<IMETHODCALL NAME=\"EnumerateInstances\">" + kNamespace +
         "<IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"Bench_Item\"/></IPARAMVALUE>\n"
         "<IPARAMVALUE NAME=\"DeepInheritance\"><VALUE>TRUE</VALUE></IPARAMVALUE>\n"
         "<IPARAMVALUE NAME=\"LocalOnly\"><VALUE>FALSE</VALUE></IPARAMVALUE>\n"
         "<IPARAMVALUE NAME=\"IncludeQualifiers\"><VALUE>FALSE</VALUE></IPARAMVALUE>\n"
         "<IPARAMVALUE NAME=\"IncludeClassOrigin\"><VALUE>TRUE</VALUE></IPARAMVALUE>\n"
         "</IMETHODCALL>" + kXmlTail;
}

// A request as wbemcli frames it; authorization empty for none.
std::string http_request(const std::string &method, const std::string &body,
                         const std::string &authorization, bool trailers) {
  std::string r = "POST /cimom HTTP/1.1\r\nHost: 127.0.0.1\r\n";
  if (!authorization.empty()) r += "Authorization: " + authorization + "\r\n";
  r += "Content-Type: application/xml; charset=\"utf-8\"\r\n";
  r += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  r += "CIMProtocolVersion: 1.0\r\nCIMOperation: MethodCall\r\nCIMMethod: " + method +
       "\r\nCIMObject: root%2Fcimv2\r\n";
  if (trailers) r += "TE: trailers\r\n";
  return r + "\r\n" + body;
}

std::string base64(const std::string &in) {
  static const char table[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  std::size_t i = 0;
  for (; i + 2 < in.size(); i += 3) {
    const unsigned v = (static_cast<unsigned char>(in[i]) << 16) |
                       (static_cast<unsigned char>(in[i + 1]) << 8) |
                       static_cast<unsigned char>(in[i + 2]);
    out += table[v >> 18];
    out += table[(v >> 12) & 63];
    out += table[(v >> 6) & 63];
    out += table[v & 63];
  }
  if (i + 1 == in.size()) {
    const unsigned v = static_cast<unsigned char>(in[i]) << 16;
    out += std::string{table[v >> 18], table[(v >> 12) & 63], '=', '='};
  } else if (i + 2 == in.size()) {
    const unsigned v = (static_cast<unsigned char>(in[i]) << 16) |
                       (static_cast<unsigned char>(in[i + 1]) << 8);
    out += std::string{table[v >> 18], table[(v >> 12) & 63], table[(v >> 6) & 63], '='};
  }
  return out;
}

// What all front ends share: the directory with the certificate and PAM files, and the user.
struct Shared {
  bool tried = false;
  std::string error;
  std::string dir;
  bench::BenchUser user;
  std::string authorization;  // "Basic ..." of the user
};

// One cmpi-hostd serving count items and one cmpi-wbemd in front of it, with their requests,
// captured answers and the bare floor servers.
struct FrontEnd {
  bench::HostdProcess hostd;
  bench::WbemdProcess wbemd;
  bench::BareHttpServer bare_http;
  bench::BareHttpServer bare_https;
  std::string error;
  std::string get_frame;   // for the library client
  std::string enum_frame;
  std::string get_basic;   // HTTP requests
  std::string get_local;
  std::string enum_plain;
  std::string enum_trailers;
  std::string get_answer;  // captured HTTP answers (status line to last byte)
  std::string enum_plain_answer;
  std::string enum_trailers_answer;
  std::size_t get_body_bytes = 0;
  std::size_t enum_body_bytes = 0;
};

std::mutex g_mutex;
Shared g_shared;
std::map<std::string, std::unique_ptr<FrontEnd>> g_front_ends;

bool prepare_shared() {
  Shared &s = g_shared;
  if (s.tried) return s.error.empty();
  s.tried = true;
  if (geteuid() != 0) {
    s.error = "needs root: cmpi-wbemd drops from root to nobody, and the benchmark makes a user";
    return false;
  }
  char name[] = "/tmp/wbench-XXXXXX";
  if (mkdtemp(name) == nullptr) {
    s.error = "mkdtemp failed";
    return false;
  }
  s.dir = name;
  chmod(s.dir.c_str(), 0755);
  if (!bench::make_certificate(s.dir, &s.error) || !bench::make_pam_dir(s.dir, &s.error)) {
    return false;
  }
  const std::string user = "wbench" + std::to_string(getpid() % 100000);
  if (!s.user.make(user, kPassword, &s.error)) return false;
  s.authorization = "Basic " + base64(user + ":" + kPassword);
  return true;
}

// The front end named key serving count items, started and its answers captured on first use.
FrontEnd &front_end(const std::string &key, size_t count) {
  std::lock_guard<std::mutex> lock(g_mutex);
  std::unique_ptr<FrontEnd> &slot = g_front_ends[key];
  if (slot) return *slot;
  slot = std::make_unique<FrontEnd>();
  FrontEnd &f = *slot;
  if (!prepare_shared()) {
    f.error = g_shared.error;
    return f;
  }
  CMPIObjectPath *item = makeNewObjectPath("root/cimv2", "Bench_Item", nullptr);
  CMAddKey(item, "Id", "item000042", CMPI_chars);
  const std::string user = bench::current_user();
  f.get_frame = bench::request_frame(GETINST, user, item);
  f.enum_frame = bench::request_frame(
      ENUMINST, user, makeNewObjectPath("root/cimv2", "Bench_Item", nullptr));
  f.get_basic = http_request("GetInstance", get_body(), g_shared.authorization, false);
  f.get_local = http_request("GetInstance", get_body(), "", false);
  f.enum_plain = http_request("EnumerateInstances", enumerate_body(), g_shared.authorization, false);
  f.enum_trailers =
      http_request("EnumerateInstances", enumerate_body(), g_shared.authorization, true);
  // The daemon's user (nobody) reaches the host's socket as a proxy; root is admitted as a
  // principal for the requests of trusted local peers (the benchmark runs as root).
  if (!f.hostd.start(&f.error,
                     {"--mode", "0666", "--allow-proxy-user", "nobody", "--allow-proxy-root"},
                     {"BENCH_ITEM_COUNT=" + std::to_string(count)})) {
    return f;
  }
  chmod(f.hostd.directory().c_str(), 0755);
  const std::string wbemd_dir = f.hostd.directory() + "/wbemd";
  mkdir(wbemd_dir.c_str(), 0777);
  chmod(wbemd_dir.c_str(), 0777);
  for (const char *file : {"cert.pem", "key.pem"}) {
    symlink((g_shared.dir + "/" + file).c_str(), (wbemd_dir + "/" + file).c_str());
  }
  symlink((g_shared.dir + "/pam").c_str(), (wbemd_dir + "/pam").c_str());
  if (!f.wbemd.start(wbemd_dir, f.hostd.socket(), f.hostd.directory() + "/schema.db", {},
                     &f.error)) {
    return f;
  }
  // The answers, captured once over a connection of their own.
  HttpConnection c;
  HttpAnswer a;
  if (!c.open(f.wbemd.http_port(), false, &f.error)) return f;
  if (!c.exchange(f.get_basic, &a, &f.get_answer) || a.status != 200) {
    f.error = "GetInstance through cmpi-wbemd failed: status " + std::to_string(a.status) +
              " (logs in " + f.hostd.directory() + ")";
    return f;
  }
  f.get_body_bytes = a.body_bytes;
  if (count > 0 && f.get_answer.find("item000042") == std::string::npos) {
    f.error = "the GetInstance answer does not hold item000042";
    return f;
  }
  if (!f.bare_http.start(&f.error) ||
      !f.bare_https.start(&f.error, 8, g_shared.dir + "/cert.pem", g_shared.dir + "/key.pem")) {
    return f;
  }
  return f;
}

// The body of a chunked answer (status line and headers included in answer), its chunks joined.
std::string dechunked(const std::string &answer) {
  std::string body;
  std::size_t at = answer.find("\r\n\r\n");
  if (at == std::string::npos) return body;
  at += 4;
  for (;;) {
    const std::size_t line_end = answer.find("\r\n", at);
    if (line_end == std::string::npos) break;
    const std::size_t size = std::strtoul(answer.c_str() + at, nullptr, 16);
    if (size == 0) break;
    body.append(answer, line_end + 2, size);
    at = line_end + 2 + size + 2;
  }
  return body;
}

// The captured enumeration answers of f (once); false with *error.
bool capture_enumeration(FrontEnd &f, size_t count, std::string *error) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (!f.enum_plain_answer.empty()) return true;
  HttpConnection c;
  HttpAnswer a;
  if (!c.open(f.wbemd.http_port(), false, error)) return false;
  if (!c.exchange(f.enum_plain, &a, &f.enum_plain_answer) || a.status != 200 || !a.chunked) {
    *error = "the enumeration through cmpi-wbemd failed";
    f.enum_plain_answer.clear();
    return false;
  }
  f.enum_body_bytes = a.body_bytes;
  std::string trailers_answer;
  if (!c.exchange(f.enum_trailers, &a, &f.enum_trailers_answer) ||
      a.trailers.find("CIMStatusCode: 0") == std::string::npos ||
      a.body_bytes != f.enum_body_bytes) {
    *error = "the enumeration with trailers through cmpi-wbemd failed";
    f.enum_plain_answer.clear();
    return false;
  }
  // Every item once: count the VALUE.NAMEDINSTANCE elements of the body (the chunks joined).
  const std::string body = dechunked(f.enum_plain_answer);
  size_t items = 0;
  for (std::size_t at = body.find("<VALUE.NAMEDINSTANCE>"); at != std::string::npos;
       at = body.find("<VALUE.NAMEDINSTANCE>", at + 1)) {
    ++items;
  }
  if (items != count) {
    *error = "the enumeration gave " + std::to_string(items) + " items, not " +
             std::to_string(count);
    f.enum_plain_answer.clear();
    return false;
  }
  return true;
}

FrontEnd *ready(benchmark::State &state, const std::string &key, size_t count) {
  FrontEnd &f = front_end(key, count);
  if (!f.error.empty()) {
    state.SkipWithError(f.error.c_str());
    return nullptr;
  }
  return &f;
}

// The CPU time (user and system, all threads) a process has used so far, in seconds; its
// children (the login helper) are not counted.
double process_cpu_seconds(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  std::getline(in, text);
  // The fields after the command name (which may hold spaces) start after the last ')'.
  const std::size_t close = text.rfind(')');
  if (close == std::string::npos) return 0;
  std::istringstream fields(text.substr(close + 2));
  std::string field;
  unsigned long long utime = 0, stime = 0;
  for (int i = 3; i <= 15 && fields >> field; ++i) {
    if (i == 14) utime = std::strtoull(field.c_str(), nullptr, 10);
    if (i == 15) stime = std::strtoull(field.c_str(), nullptr, 10);
  }
  return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void memory_counters(benchmark::State &state, pid_t wbemd) {
  const bench::ProcessMemory m = bench::process_memory(wbemd);
  state.counters["wbemd_peak_kib"] = static_cast<double>(m.peak_kib);
  state.counters["wbemd_rss_kib"] = static_cast<double>(m.resident_kib);
}

// ---- GetInstance -------------------------------------------------------------------------------

enum class Target { kFrontBasic, kFrontLocal, kBare, kDirect };

// The latencies of every thread of the running benchmark (thread 0 sizes it before the timing
// loop and reads it after; each thread writes its own slot).
std::vector<std::vector<double>> g_thread_latencies;

void get_instance(benchmark::State &state, Target target, bool tls) {
  const bool first = state.thread_index() == 0;
  FrontEnd &f = front_end("get", 10000);
  if (first) {
    g_thread_latencies.assign(static_cast<size_t>(state.threads()), std::vector<double>());
    if (f.error.empty()) {
      f.bare_http.set_answer(f.get_answer);
      f.bare_https.set_answer(f.get_answer);
    }
  }
  std::string error = f.error;
  HttpConnection c;
  const std::string &request = target == Target::kFrontLocal ? f.get_local : f.get_basic;
  if (error.empty() && target != Target::kDirect) {
    const uint16_t port = target == Target::kBare
                              ? (tls ? f.bare_https.port() : f.bare_http.port())
                              : (tls ? f.wbemd.https_port() : f.wbemd.http_port());
    c.open(port, tls, &error);
    // Warm: the connection's login, the host's worker, the caches.
    HttpAnswer a;
    for (int i = 0; i < 20 && error.empty(); ++i) {
      if (!c.exchange(request, &a) || a.status != 200) error = "warm-up request failed";
    }
  }
  if (!error.empty()) {
    if (first) state.SkipWithError(error.c_str());
    for (auto _ : state) {
    }
    return;
  }
  std::vector<double> latencies;
  latencies.reserve(static_cast<size_t>(state.max_iterations));
  bool failed = false;
  HttpAnswer a;
  double cpu_before = 0;
  for (auto _ : state) {
    // Read once every thread is in its loop (the loop's start waits for all of them).
    if (first && latencies.empty()) cpu_before = process_cpu_seconds(f.wbemd.pid());
    if (failed) continue;
    const Clock::time_point start = Clock::now();
    const bool ok = target == Target::kDirect
                        ? bench::get_instance(f.hostd.socket(), f.get_frame)
                        : c.exchange(request, &a) && a.body_bytes == f.get_body_bytes;
    latencies.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    if (!ok) {
      state.SkipWithError("request failed or incomplete");
      failed = true;
    }
    // Stored within the last iteration: the end of the loop waits for every thread, so thread
    // 0 reads all of them after it.
    if (latencies.size() == static_cast<size_t>(state.max_iterations)) {
      g_thread_latencies[static_cast<size_t>(state.thread_index())].swap(latencies);
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
  c.close();
  if (!first) return;
  std::vector<double> all;
  for (const std::vector<double> &each : g_thread_latencies) {
    all.insert(all.end(), each.begin(), each.end());
  }
  if (all.empty()) return;
  std::sort(all.begin(), all.end());
  state.counters["p50_us"] = bench::median(all) * 1e6;
  state.counters["p99_us"] = bench::percentile99(all) * 1e6;
  state.counters["answer_bytes"] = static_cast<double>(f.get_answer.size());
  // The front end's CPU per request (all client threads' requests; thread 0 started its count
  // before its loop and reads it after every thread's loop ended).
  const double requests = static_cast<double>(state.iterations()) * state.threads();
  state.counters["wbemd_cpu_us"] =
      target == Target::kDirect ? 0.0
                                : (process_cpu_seconds(f.wbemd.pid()) - cpu_before) * 1e6 / requests;
}

// ---- EnumerateInstances ------------------------------------------------------------------------

void enumerate(benchmark::State &state, Target target, bool trailers) {
  const size_t count = static_cast<size_t>(state.range(0));
  FrontEnd *f = ready(state, "enum" + std::to_string(count), count);
  if (f == nullptr) return;
  std::string error;
  if (!capture_enumeration(*f, count, &error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  const std::string &answer = trailers ? f->enum_trailers_answer : f->enum_plain_answer;
  const std::string &request = trailers ? f->enum_trailers : f->enum_plain;
  HttpConnection c;
  if (target != Target::kDirect) {
    if (target == Target::kBare) f->bare_http.set_answer(answer);
    const uint16_t port = target == Target::kBare ? f->bare_http.port() : f->wbemd.http_port();
    HttpAnswer a;
    if (!c.open(port, false, &error) || !c.exchange(request, &a)) {
      state.SkipWithError(("cannot reach the server: " + error).c_str());
      return;
    }
  }
  HttpAnswer a;
  const double cpu_before = process_cpu_seconds(f->wbemd.pid());
  bench::time_requests(state, count, answer, [&] {
    if (target == Target::kDirect) {
      return bench::enumerate(f->hostd.socket(), f->enum_frame) == static_cast<long>(count);
    }
    return c.exchange(request, &a) && a.body_bytes == f->enum_body_bytes &&
           (!trailers || a.trailers.find("CIMStatusCode: 0") != std::string::npos);
  });
  // The front end's CPU per enumeration (0 for the rows that do not use it).
  state.counters["wbemd_cpu_ms"] =
      target == Target::kFrontBasic
          ? (process_cpu_seconds(f->wbemd.pid()) - cpu_before) * 1e3 /
                static_cast<double>(std::max<int64_t>(1, state.iterations()))
          : 0.0;
  memory_counters(state, f->wbemd.pid());
}

void stop_all() {
  std::lock_guard<std::mutex> lock(g_mutex);
  for (auto &entry : g_front_ends) {
    // On standard error: the C stream stdout is silenced (bench_main.h).
    std::fprintf(stderr, "%s: peak memory of cmpi-wbemd (VmHWM) %ld KiB\n", entry.first.c_str(),
                bench::process_memory(entry.second->wbemd.pid()).peak_kib);
  }
  g_front_ends.clear();
  g_shared.user.remove();
  if (!g_shared.dir.empty()) {
    const std::string command = "rm -rf '" + g_shared.dir + "'";
    if (std::system(command.c_str()) != 0) {
      // left behind in /tmp
    }
  }
}

int register_benchmarks() {
  using benchmark::RegisterBenchmark;
  struct GetRow {
    const char *name;
    Target target;
    bool tls;
  };
  const GetRow rows[] = {
      {"Wbemd/GetInstance/http/basic", Target::kFrontBasic, false},
      {"Wbemd/GetInstance/http/local", Target::kFrontLocal, false},
      {"Bare/GetInstance/http", Target::kBare, false},
      {"Wbemd/GetInstance/https/basic", Target::kFrontBasic, true},
      {"Bare/GetInstance/https", Target::kBare, true},
      {"Direct/GetInstance", Target::kDirect, false},
  };
  // With 8 clients the iterations are per thread.
  const int kThreads[][2] = {{1, 3000}, {8, 500}};
  for (const auto &t : kThreads) {
    for (const GetRow &row : rows) {
      const Target target = row.target;
      const bool tls = row.tls;
      RegisterBenchmark(row.name,
                        [target, tls](benchmark::State &state) {
                          get_instance(state, target, tls);
                        })
          ->Threads(t[0])
          ->Iterations(t[1])
          ->UseRealTime()
          ->Unit(benchmark::kMicrosecond);
    }
  }
  const int kSizes[][2] = {{10000, 5}, {100000, 3}};
  for (const auto &s : kSizes) {
    for (bool trailers : {false, true}) {
      const std::string suffix = trailers ? "/trailers" : "/plain";
      for (auto [name, target] : {std::pair{"Wbemd/Enumerate", Target::kFrontBasic},
                                  std::pair{"Bare/Enumerate", Target::kBare}}) {
        const Target tg = target;
        RegisterBenchmark((std::string(name) + "/" + std::to_string(s[0]) + suffix).c_str(),
                          [tg, trailers](benchmark::State &state) {
                            enumerate(state, tg, trailers);
                          })
            ->Arg(s[0])
            ->Iterations(s[1])
            ->UseManualTime()
            ->Unit(benchmark::kMillisecond);
      }
    }
    RegisterBenchmark(("Direct/Enumerate/" + std::to_string(s[0])).c_str(),
                      [](benchmark::State &state) { enumerate(state, Target::kDirect, false); })
        ->Arg(s[0])
        ->Iterations(s[1])
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  }
  return 0;
}

[[maybe_unused]] const int registered = register_benchmarks();

}  // namespace

CMPIUTILITY_BENCH_MAIN(stop_all())
