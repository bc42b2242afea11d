// http_parts_test.cpp - the HTTP half's parts alone: Basic credentials, the request checks,
// the login throttle, the answer pipe and its producer thread, the command line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "answer_pipe.h"
#include "answer_producer.h"
#include "basic_credentials.h"
#include "connection_login.h"
#include "daemon_options.h"
#include "http_log.h"
#include "listen_socket.h"
#include "local_peer.h"
#include "login_throttle.h"
#include "raw_http.h"
#include "request_checks.h"

namespace {

using ::testing::HasSubstr;

TEST(BasicCredentials, ReadsUserAndPassword) {
  wbem::BasicCredentials c;
  ASSERT_TRUE(wbem::parse_basic_credentials(httptest::basic("alice", "se:cr et"), &c));
  EXPECT_EQ(c.user, "alice");
  EXPECT_EQ(c.password, "se:cr et");  // split at the first colon only
  ASSERT_TRUE(wbem::parse_basic_credentials("basic   " + httptest::basic("bob", "").substr(6), &c));
  EXPECT_EQ(c.user, "bob");
  EXPECT_EQ(c.password, "");
}

TEST(BasicCredentials, RefusesAnythingElse) {
  wbem::BasicCredentials c;
  EXPECT_FALSE(wbem::parse_basic_credentials("", &c));
  EXPECT_FALSE(wbem::parse_basic_credentials("Basic", &c));
  EXPECT_FALSE(wbem::parse_basic_credentials("Digest abc", &c));
  EXPECT_FALSE(wbem::parse_basic_credentials("Basic YWxpY2U=", &c));          // no colon
  EXPECT_FALSE(wbem::parse_basic_credentials("Basic YWxpY2U6c2VjcmV0=", &c));  // bad padding
  EXPECT_FALSE(wbem::parse_basic_credentials("Basic YWxp Y2U6", &c));
  EXPECT_FALSE(wbem::parse_basic_credentials("Basic YW=xpY2U6", &c));
  EXPECT_FALSE(wbem::parse_basic_credentials(httptest::basic("-rf", "x"), &c));
  EXPECT_FALSE(wbem::parse_basic_credentials(httptest::basic("a/b", "x"), &c));
  EXPECT_FALSE(wbem::parse_basic_credentials(httptest::basic("", "x"), &c));
  EXPECT_FALSE(wbem::parse_basic_credentials(httptest::basic(std::string(65, 'a'), "x"), &c));
  EXPECT_FALSE(wbem::parse_basic_credentials(httptest::basic("a", std::string(513, 'p')), &c));
  EXPECT_FALSE(wbem::parse_basic_credentials(httptest::basic("a", "p\nq"), &c));
  EXPECT_TRUE(wbem::parse_basic_credentials(httptest::basic("a", std::string(512, 'p')), &c));
}

TEST(ConnectionLogin, RecallsOnlyTheExactValueItRemembered) {
  wbem::ConnectionLogin login;
  std::string user = "unset";
  EXPECT_FALSE(login.recall("Basic YWxpY2U6c2VjcmV0", &user));
  EXPECT_EQ(user, "unset");
  login.remember("Basic YWxpY2U6c2VjcmV0", "alice");
  EXPECT_TRUE(login.recall("Basic YWxpY2U6c2VjcmV0", &user));
  EXPECT_EQ(user, "alice");
  EXPECT_FALSE(login.recall("Basic YWxpY2U6c2VjcmV1", &user));
  EXPECT_FALSE(login.recall("Basic YWxpY2U6c2VjcmV0 ", &user));
  EXPECT_FALSE(login.recall("Basic YWxpY2U6c2VjcmV", &user));
  EXPECT_FALSE(login.recall("", &user));
  login.remember("Basic Ym9iOnB3", "bob");
  EXPECT_FALSE(login.recall("Basic YWxpY2U6c2VjcmV0", &user));
  EXPECT_TRUE(login.recall("Basic Ym9iOnB3", &user));
  EXPECT_EQ(user, "bob");
  login.forget();
  EXPECT_FALSE(login.recall("Basic Ym9iOnB3", &user));
}

TEST(ConnectionLogin, SameSecretComparesEveryByteAndTheLength) {
  EXPECT_TRUE(wbem::same_secret("", ""));
  EXPECT_TRUE(wbem::same_secret("abc", "abc"));
  EXPECT_FALSE(wbem::same_secret("abc", "abd"));
  EXPECT_FALSE(wbem::same_secret("xbc", "abc"));
  EXPECT_FALSE(wbem::same_secret("abc", "abcd"));
  EXPECT_FALSE(wbem::same_secret("abcd", "abc"));
  EXPECT_FALSE(wbem::same_secret("", "a"));
  EXPECT_FALSE(wbem::same_secret(std::string("a\0b", 3), std::string("a\0c", 3)));
}

TEST(RequestChecks, RequestLine) {
  EXPECT_FALSE(wbem::check_request_line("POST", "/cimom"));
  EXPECT_EQ(wbem::check_request_line("POST", "/").value().status, 404);
  EXPECT_EQ(wbem::check_request_line("POST", "/cimom/").value().status, 404);
  EXPECT_EQ(wbem::check_request_line("GET", "/cimom").value().status, 405);
  EXPECT_EQ(wbem::check_request_line("GET", "/cimom").value().allow, "POST");
  EXPECT_EQ(wbem::check_request_line("M-POST", "/cimom").value().status, 501);
  EXPECT_EQ(wbem::check_request_line("BREW", "/cimom").value().status, 501);
}

TEST(RequestChecks, Framing) {
  EXPECT_FALSE(wbem::check_framing({{"Content-Length", "10"}}, 10));
  EXPECT_EQ(wbem::check_framing({{"Content-Length", "11"}}, 10).value().status, 413);
  EXPECT_EQ(wbem::check_framing({}, 10).value().status, 411);
  EXPECT_EQ(wbem::check_framing({{"Content-Length", "1x"}}, 10).value().status, 400);
  EXPECT_EQ(wbem::check_framing({{"Content-Length", "-1"}}, 10).value().status, 400);
  EXPECT_EQ(wbem::check_framing({{"content-length", "1"}, {"Content-Length", "1"}}, 10)
                .value().status,
            400);
  EXPECT_FALSE(wbem::check_framing({{"Transfer-Encoding", "chunked"}}, 10));
  EXPECT_EQ(wbem::check_framing({{"Transfer-Encoding", "gzip"}}, 10).value().status, 400);
}

wbem::HeaderList cim_headers() {
  return {{"Content-Type", "application/xml; charset=\"utf-8\""},
          {"CIMProtocolVersion", "1.0"},
          {"CIMOperation", "MethodCall"},
          {"CIMMethod", "GetInstance"},
          {"CIMObject", "root%2Fcimv2"},
          {"TE", "trailers"}};
}

TEST(RequestChecks, CimHeadersFillTheCall) {
  wbem::CimCall call;
  EXPECT_FALSE(wbem::check_cim_headers(cim_headers(), &call));
  EXPECT_EQ(call.cim_operation, "MethodCall");
  EXPECT_EQ(call.cim_method, "GetInstance");
  EXPECT_EQ(call.cim_object, "root%2Fcimv2");
  EXPECT_TRUE(call.trailers);
  auto h = cim_headers();
  h[0].second = "text/xml";
  EXPECT_FALSE(wbem::check_cim_headers(h, &call));
}

TEST(RequestChecks, EachWrongCimHeader) {
  wbem::CimCall call;
  auto with = [](std::size_t i, const std::string &value) {
    auto h = cim_headers();
    h[i].second = value;
    return h;
  };
  EXPECT_EQ(wbem::check_cim_headers(with(0, "application/json"), &call).value().status, 415);
  EXPECT_EQ(wbem::check_cim_headers(with(0, "text/xml; charset=iso-8859-1"), &call)
                .value().status,
            415);
  EXPECT_EQ(wbem::check_cim_headers(with(1, "2.0"), &call).value().cim_error,
            "unsupported-protocol-version");
  EXPECT_EQ(wbem::check_cim_headers(with(2, "MethodResponse"), &call).value().cim_error,
            "unsupported-operation");
  EXPECT_EQ(wbem::check_cim_headers(with(2, "MethodResponse"), &call).value().status, 501);
  EXPECT_EQ(wbem::check_cim_headers(with(3, "Get Instance"), &call).value().cim_error,
            "header-mismatch");
  EXPECT_EQ(wbem::check_cim_headers(with(4, "root/ cimv2"), &call).value().cim_error,
            "header-mismatch");
  EXPECT_EQ(wbem::check_cim_headers(with(4, std::string(9000, 'a')), &call).value().cim_error,
            "header-mismatch");
  auto batch = cim_headers();
  batch.push_back({"CIMBatch", ""});
  EXPECT_EQ(wbem::check_cim_headers(batch, &call).value().cim_error,
            "multiple-requests-unsupported");
}

TEST(RequestChecks, TrailersAmongOtherCodings) {
  EXPECT_TRUE(wbem::announces_trailers({{"TE", "gzip;q=0.5, Trailers"}}));
  EXPECT_FALSE(wbem::announces_trailers({{"TE", "gzip"}}));
  EXPECT_FALSE(wbem::announces_trailers({{"Connection", "Keep-Alive, TE"}}));
}

TEST(LoginThrottle, DoublesUpToTheCeilingAndForgetsOnSuccess) {
  wbem::LoginThrottle t(std::chrono::milliseconds(100), std::chrono::milliseconds(350));
  auto now = wbem::LoginThrottle::Clock::now();
  EXPECT_EQ(t.failed("10.0.0.1", now).count(), 100);
  EXPECT_EQ(t.failed("10.0.0.1", now).count(), 200);
  EXPECT_EQ(t.failed("10.0.0.1", now).count(), 350);
  EXPECT_EQ(t.failed("10.0.0.2", now).count(), 100);  // per peer
  EXPECT_EQ(t.wait_before_check("10.0.0.1", now + std::chrono::milliseconds(50)).count(), 300);
  EXPECT_EQ(t.wait_before_check("10.0.0.1", now + std::chrono::milliseconds(400)).count(), 0);
  t.succeeded("10.0.0.1");
  EXPECT_EQ(t.failures("10.0.0.1"), 0);
  EXPECT_EQ(t.failed("10.0.0.1", now).count(), 100);
}

TEST(AnswerPipe, ASmallAnswerIsWhole) {
  wbem::AnswerPipe pipe(100);
  std::thread writer([&] {
    pipe.write("abc", 3);
    pipe.finish();
  });
  EXPECT_EQ(pipe.wait_for_shape(), wbem::AnswerPipe::Shape::kWhole);
  writer.join();
  EXPECT_EQ(pipe.take_whole(), "abc");
}

TEST(AnswerPipe, ALargeAnswerStreamsWithinTheCapacity) {
  wbem::AnswerPipe pipe(64);
  std::string sent;
  for (int i = 0; i < 1000; ++i) sent += static_cast<char>('a' + i % 26);
  std::thread writer([&] {
    pipe.write(sent.data(), sent.size());  // one write far past the capacity
    pipe.fail(6, "gone");
  });
  EXPECT_EQ(pipe.wait_for_shape(), wbem::AnswerPipe::Shape::kStream);
  std::string got;
  char buffer[10];
  while (std::size_t n = pipe.read(buffer, sizeof buffer)) got.append(buffer, n);
  writer.join();
  EXPECT_EQ(got, sent);
  EXPECT_EQ(pipe.end(), wbem::AnswerPipe::End::kFailed);
  EXPECT_EQ(pipe.fail_status(), 6);
  EXPECT_EQ(pipe.fail_description(), "gone");
  EXPECT_LE(pipe.peak_held(), 64u);
}

TEST(AnswerPipe, AnAbandonedPipeLetsTheWriterFinish) {
  wbem::AnswerPipe pipe(16);
  std::thread writer([&] {
    std::string big(10000, 'x');
    pipe.write(big.data(), big.size());
    pipe.finish();
  });
  EXPECT_EQ(pipe.wait_for_shape(), wbem::AnswerPipe::Shape::kStream);
  pipe.abandon();
  writer.join();  // does not block
  EXPECT_EQ(pipe.end(), wbem::AnswerPipe::End::kFinished);
}

TEST(AnswerPipe, AProtocolErrorKeepsItsStatus) {
  wbem::AnswerPipe pipe(16);
  pipe.protocol_error(400, "request-not-valid");
  EXPECT_EQ(pipe.wait_for_shape(), wbem::AnswerPipe::Shape::kProtocolError);
  EXPECT_EQ(pipe.http_status(), 400);
  EXPECT_EQ(pipe.cim_error(), "request-not-valid");
}

TEST(AnswerPipe, APipeHoldingAllNeverBlocksAndShapesByTheSizeAtTheEnd) {
  // Written on the reader's own thread, with no reader: write() must not wait.
  wbem::AnswerPipe small(16, true);
  small.write("0123456789abcdef", 16);
  small.finish();
  EXPECT_EQ(small.wait_for_shape(), wbem::AnswerPipe::Shape::kWhole);
  EXPECT_EQ(small.take_whole(), "0123456789abcdef");

  wbem::AnswerPipe large(16, true);
  const std::string sent(1000, 'y');
  large.write(sent.data(), sent.size());
  large.write("z", 1);
  large.fail(6, "gone");
  EXPECT_EQ(large.peak_held(), 1001u);
  EXPECT_EQ(large.wait_for_shape(), wbem::AnswerPipe::Shape::kStream);
  std::string got;
  char buffer[100];
  while (std::size_t n = large.read(buffer, sizeof buffer)) got.append(buffer, n);
  EXPECT_EQ(got, sent + "z");
  EXPECT_EQ(large.end(), wbem::AnswerPipe::End::kFailed);
  EXPECT_EQ(large.fail_status(), 6);

  // Finished past the capacity: still a stream, so that it goes out chunked.
  wbem::AnswerPipe finished(16, true);
  finished.write(sent.data(), 17);
  finished.finish();
  EXPECT_EQ(finished.wait_for_shape(), wbem::AnswerPipe::Shape::kStream);
}

// Records the thread each call ran on; "Open" leaves its answer open.
class ThreadRecorder : public wbem::CimService {
 public:
  void serve(const wbem::CimCall &call, wbem::AnswerSink &sink) override {
    {
      std::lock_guard<std::mutex> lock(mutex);
      threads.push_back(std::this_thread::get_id());
    }
    sink.write(call.body.data(), call.body.size());
    if (call.cim_method != "Open") sink.finish();
  }
  std::mutex mutex;
  std::vector<std::thread::id> threads;
};

TEST(AnswerProducer, RunsEveryAnswerOnOneThreadOfItsOwn) {
  ThreadRecorder service;
  wbem::CimCall call;
  {
    wbem::AnswerProducer producer(service);
    for (const char *body : {"one", "two", "three"}) {
      call.body = body;
      wbem::AnswerPipe pipe(64);
      ASSERT_TRUE(producer.start(call, pipe));
      EXPECT_EQ(pipe.wait_for_shape(), wbem::AnswerPipe::Shape::kWhole);
      producer.wait_idle();
      EXPECT_EQ(pipe.take_whole(), body);
    }
    // An answer serve() leaves open breaks off.
    call.cim_method = "Open";
    wbem::AnswerPipe pipe(64);
    ASSERT_TRUE(producer.start(call, pipe));
    EXPECT_EQ(pipe.wait_for_shape(), wbem::AnswerPipe::Shape::kStream);
    producer.wait_idle();
    EXPECT_EQ(pipe.end(), wbem::AnswerPipe::End::kFailed);
    EXPECT_EQ(pipe.fail_description(), "the answer was left incomplete");
  }
  ASSERT_EQ(service.threads.size(), 4u);
  for (const auto &id : service.threads) EXPECT_EQ(id, service.threads[0]);
  EXPECT_NE(service.threads[0], std::this_thread::get_id());
}

TEST(AnswerProducer, IsDestroyedWhileItsAnswerWaitsForAnAbandonedReader) {
  ThreadRecorder service;
  wbem::CimCall call;
  call.body = std::string(100000, 'x');
  wbem::AnswerPipe pipe(16);
  {
    wbem::AnswerProducer producer(service);
    ASSERT_TRUE(producer.start(call, pipe));
    EXPECT_EQ(pipe.wait_for_shape(), wbem::AnswerPipe::Shape::kStream);
    pipe.abandon();  // the reader went away; the destructor waits for serve() to end
  }
  EXPECT_EQ(pipe.end(), wbem::AnswerPipe::End::kFinished);
  EXPECT_EQ(service.threads.size(), 1u);
}

TEST(HttpLog, ClientTextIsEscapedAndCut) {
  EXPECT_EQ(wbem::log_safe("a\nb\\c"), "a\\x0ab\\x5cc");
  EXPECT_EQ(wbem::log_safe(std::string(150, 'z')), std::string(100, 'z') + "...(+50 bytes)");
}

TEST(RequestChecks, HeaderNamesMatchWithoutRegardToCase) {
  const wbem::HeaderList headers = {{"cimMETHOD", "a"}, {"CIMMethod", "b"}, {"CIMMethods", "c"},
                                    {"CIM-Method", "d"}, {"CIMMethoD", "e"}, {"", "f"}};
  EXPECT_EQ(wbem::header_values(headers, "CIMMethod"), (std::vector<std::string>{"a", "b", "e"}));
  EXPECT_EQ(wbem::header_values(headers, "cim-method"), (std::vector<std::string>{"d"}));
  EXPECT_TRUE(wbem::header_values(headers, "CIMObject").empty());
}

TEST(HttpLog, TracingFollowsTheThreshold) {
  const char *was = std::getenv("DLOG_LEVEL");
  const std::string saved = was != nullptr ? was : "";
  setenv("DLOG_LEVEL", "4", 1);
  dlog_reload();
  EXPECT_TRUE(wbem::http_tracing());
  setenv("DLOG_LEVEL", "3", 1);
  dlog_reload();
  EXPECT_FALSE(wbem::http_tracing());
  if (was != nullptr) {
    setenv("DLOG_LEVEL", saved.c_str(), 1);
  } else {
    unsetenv("DLOG_LEVEL");
  }
  dlog_reload();
}

TEST(ListenSocket, LoopbackAddresses) {
  EXPECT_TRUE(wbem::is_loopback_address("127.0.0.1"));
  EXPECT_TRUE(wbem::is_loopback_address("127.3.2.1"));
  EXPECT_TRUE(wbem::is_loopback_address("::1"));
  EXPECT_FALSE(wbem::is_loopback_address("0.0.0.0"));
  EXPECT_FALSE(wbem::is_loopback_address("10.0.0.1"));
  EXPECT_FALSE(wbem::is_loopback_address(""));
  EXPECT_FALSE(wbem::is_loopback_address("localhost"));
}

TEST(LocalPeer, TheOwnerOfALoopbackClientSocketIsFound) {
  int listener = -1;
  std::string error;
  ASSERT_TRUE(wbem::open_listening_socket({"127.0.0.1", 0}, &listener, &error)) << error;
  struct sockaddr_in address;
  socklen_t size = sizeof address;
  ASSERT_EQ(getsockname(listener, reinterpret_cast<struct sockaddr *>(&address), &size), 0);
  httptest::Connection client(ntohs(address.sin_port));
  ASSERT_TRUE(client.connected());
  int served = accept(listener, nullptr, nullptr);
  ASSERT_GE(served, 0);
  uid_t uid = 12345;
  EXPECT_TRUE(wbem::loopback_peer_uid(served, &uid));
  EXPECT_EQ(uid, geteuid());
  // Nothing is found in tables that do not list the connection.
  EXPECT_FALSE(wbem::loopback_peer_uid(served, &uid, "/nonexistent"));
  close(served);
  close(listener);
}

wbem::DaemonParse parse(std::vector<std::string> args, wbem::DaemonOptions *o, std::string *e) {
  args.insert(args.begin(), "cmpi-wbemd");
  std::vector<char *> argv;
  for (auto &a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  return wbem::parse_daemon_options(static_cast<int>(args.size()), argv.data(), o, e);
}

TEST(DaemonOptions, DefaultsAndValues) {
  wbem::DaemonOptions o;
  std::string e;
  ASSERT_EQ(parse({}, &o, &e), wbem::DaemonParse::kRun);
  EXPECT_EQ(o.https_port, 5989);
  EXPECT_EQ(o.https_address, "");
  EXPECT_EQ(o.http_port, 5988);
  EXPECT_EQ(o.http_address, "127.0.0.1");
  EXPECT_EQ(o.user, "cmpi-wbemd");
  EXPECT_EQ(o.pam_service, "cmpi-wbemd");
  ASSERT_EQ(parse({"--http-port", "0", "--max-body", "2048", "--https-address", "*",
                   "--trust-local-peers"},
                  &o, &e),
            wbem::DaemonParse::kRun);
  EXPECT_EQ(o.http_port, 0);
  EXPECT_EQ(o.limits.max_body, 2048u);
  EXPECT_TRUE(o.trust_local_peers);
}

TEST(DaemonOptions, BadCommandLines) {
  wbem::DaemonOptions o;
  std::string e;
  EXPECT_EQ(parse({"--http-port", "70000"}, &o, &e), wbem::DaemonParse::kExitUsage);
  EXPECT_EQ(e, "--http-port: '70000' is not a number from 0 to 65535");
  EXPECT_EQ(parse({"--nope"}, &o, &e), wbem::DaemonParse::kExitUsage);
  EXPECT_EQ(parse({"--user", ""}, &o, &e), wbem::DaemonParse::kExitUsage);
  wbem::DaemonOptions fresh;
  EXPECT_EQ(parse({"--http-port", "0", "--https-port", "0"}, &fresh, &e),
            wbem::DaemonParse::kExitUsage);
  EXPECT_EQ(parse({"--help"}, &o, &e), wbem::DaemonParse::kShowHelp);
}

TEST(DaemonOptions, HelpListsEveryOption) {
  std::string help = wbem::daemon_help_text("cmpi-wbemd");
  for (const char *name :
       {"--https-port", "--https-address", "--http-port", "--http-address", "--allow-remote-http",
        "--cert", "--key", "--pam-service", "--pam-config-dir", "--user", "--login-delay",
        "--login-delay-max", "--trust-local-peers", "--max-header", "--max-body",
        "--max-connections", "--max-connections-per-peer", "--idle-timeout", "--request-timeout",
        "--stream-threshold", "--max-xml-depth", "--max-xml-elements", "--max-xml-attributes",
        "--max-xml-text", "--host-socket", "--host-timeout", "--schema-db", "--host-name",
        "--foreground", "--log-level", "--help", "--version"}) {
    EXPECT_THAT(help, HasSubstr(std::string("  ") + name + " ")) << name;
  }
}

}  // namespace
