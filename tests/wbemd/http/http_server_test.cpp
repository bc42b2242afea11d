// http_server_test.cpp - the HTTP half with a canned CIM service: what is served, what is
// refused and how, keep-alive, every limit, and answers streamed or broken off.
#include "http_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dirent.h>

#include <chrono>
#include <memory>
#include <thread>

#include "canned_service.h"
#include "log_capture.h"
#include "raw_http.h"

namespace {

using httptest::Answer;
using httptest::cim_request;
using httptest::Connection;
using ::testing::HasSubstr;

class HttpServerTest : public ::testing::Test {
 protected:
  virtual wbem::ServerLimits limits() const {
    wbem::ServerLimits l;
    l.max_header = 16 * 1024;
    l.max_body = 64 * 1024;
    l.max_connections = 20;
    l.max_connections_per_peer = 3;
    l.idle_timeout = 2;
    l.request_timeout = 3;
    l.stream_threshold = 16 * 1024;
    return l;
  }

  void SetUp() override {
    server_ = std::make_unique<wbem::HttpServer>(limits(), service_, login_, throttle_);
    std::string error;
    ASSERT_TRUE(server_->start({"127.0.0.1", 0}, nullptr, &error)) << error;
    port_ = server_->port();
    ASSERT_NE(port_, 0);
  }

  void TearDown() override { server_->stop(); }

  // One request on a new connection.
  Answer exchange(const std::string &request) {
    Connection c(port_);
    EXPECT_TRUE(c.connected());
    EXPECT_TRUE(c.send(request));
    return c.read_answer();
  }

  httptest::CannedService service_;
  httptest::CannedLogin login_;
  wbem::LoginThrottle throttle_{std::chrono::milliseconds(100), std::chrono::milliseconds(800)};
  std::unique_ptr<wbem::HttpServer> server_;
  uint16_t port_ = 0;
};

TEST_F(HttpServerTest, ServesAPostToCimomAsTheAuthenticatedUser) {
  Answer a = exchange(cim_request("Echo", "<CIM/>"));
  EXPECT_EQ(a.status, 200);
  EXPECT_EQ(a.body, "alice|<CIM/>");
  EXPECT_TRUE(a.complete);
  EXPECT_FALSE(a.chunked);
  EXPECT_EQ(a.headers["content-length"], "12");
  EXPECT_EQ(a.headers["cimoperation"], "MethodResponse");
  EXPECT_THAT(a.headers["content-type"], HasSubstr("application/xml"));
  auto calls = service_.served();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].user, "alice");
  EXPECT_EQ(calls[0].cim_operation, "MethodCall");
  EXPECT_EQ(calls[0].cim_method, "Echo");
  EXPECT_EQ(calls[0].cim_object, "root%2Fcimv2");
  EXPECT_THAT(calls[0].peer, HasSubstr("127.0.0.1:"));
  EXPECT_FALSE(calls[0].trailers);
}

TEST_F(HttpServerTest, OtherPathsAre404) {
  std::string request = cim_request("Echo", "x");
  request.replace(request.find("/cimom"), 6, "/etc/passwd");
  EXPECT_EQ(exchange(request).status, 404);
  request = cim_request("Echo", "x");
  request.replace(request.find("/cimom"), 6, "/cimom/x");
  EXPECT_EQ(exchange(request).status, 404);
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, OtherMethodsAre405Or501) {
  Answer get = exchange("GET /cimom HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(get.status, 405);
  EXPECT_EQ(get.headers["allow"], "POST");
  std::string mpost = cim_request("Echo", "x");
  mpost.replace(0, 4, "M-POST");
  EXPECT_EQ(exchange(mpost).status, 501);
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, APostWithoutContentLengthIs411) {
  std::string request = cim_request("Echo", "");
  request.erase(request.find("Content-Length: 0\r\n"), 19);
  EXPECT_EQ(exchange(request).status, 411);
}

TEST_F(HttpServerTest, AChunkedRequestBodyIsRead) {
  std::string request = cim_request("Echo", "");
  request.replace(request.find("Content-Length: 0"), 17, "Transfer-Encoding: chunked");
  request += "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
  Answer a = exchange(request);
  EXPECT_EQ(a.status, 200);
  EXPECT_EQ(a.body, "alice|abcde");
}

TEST_F(HttpServerTest, AWrongContentTypeIs415) {
  std::string request = cim_request("Echo", "x");
  request.replace(request.find("application/xml"), 15, "text/plain");
  EXPECT_EQ(exchange(request).status, 415);
  request = cim_request("Echo", "x");
  request.replace(request.find("charset=\"utf-8\""), 15, "charset=\"latin1\"");
  EXPECT_EQ(exchange(request).status, 415);
  request = cim_request("Echo", "x");
  request.erase(request.find("Content-Type:"), request.find("Content-Length:") - request.find("Content-Type:"));
  EXPECT_EQ(exchange(request).status, 415);
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, MissingOrInvalidCimHeadersAre400WithCimError) {
  std::string request = cim_request("Echo", "x");
  request.replace(request.find("MethodCall"), 10, "Something");
  Answer a = exchange(request);
  EXPECT_EQ(a.status, 501);
  EXPECT_EQ(a.headers["cimerror"], "unsupported-operation");

  request = cim_request("Echo", "x");
  request.erase(request.find("CIMOperation: MethodCall\r\n"), 26);
  a = exchange(request);
  EXPECT_EQ(a.status, 400);
  EXPECT_EQ(a.headers["cimerror"], "header-mismatch");

  request = cim_request("Echo", "x");
  request.erase(request.find("CIMMethod: Echo\r\n"), 17);
  a = exchange(request);
  EXPECT_EQ(a.status, 400);
  EXPECT_EQ(a.headers["cimerror"], "header-mismatch");

  request = cim_request("Ec<ho", "x");
  a = exchange(request);
  EXPECT_EQ(a.status, 400);
  EXPECT_EQ(a.headers["cimerror"], "header-mismatch");

  request = cim_request("Echo", "x", "CIMMethod: Echo\r\n");
  a = exchange(request);
  EXPECT_EQ(a.status, 400);
  EXPECT_EQ(a.headers["cimerror"], "header-mismatch");

  request = cim_request("Echo", "x");
  request.replace(request.find("CIMProtocolVersion: 1.0"), 23, "CIMProtocolVersion: 2.0");
  a = exchange(request);
  EXPECT_EQ(a.status, 501);
  EXPECT_EQ(a.headers["cimerror"], "unsupported-protocol-version");
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, AProtocolErrorOfTheCimHalfKeepsItsStatusAndCimError) {
  Answer a = exchange(cim_request("Garbled", "<CIM"));
  EXPECT_EQ(a.status, 400);
  EXPECT_EQ(a.headers["cimerror"], "request-not-well-formed");
  EXPECT_EQ(a.body, "");
}

TEST_F(HttpServerTest, TwoRequestsOnOneConnection) {
  Connection c(port_);
  ASSERT_TRUE(c.connected());
  ASSERT_TRUE(c.send(cim_request("Echo", "first", "Connection: Keep-Alive, TE\r\n")));
  Answer first = c.read_answer();
  EXPECT_EQ(first.status, 200);
  EXPECT_EQ(first.body, "alice|first");
  EXPECT_FALSE(first.closed);
  ASSERT_TRUE(c.send(cim_request("Echo", "second", "Connection: Keep-Alive, TE\r\n")));
  Answer second = c.read_answer();
  EXPECT_EQ(second.status, 200);
  EXPECT_EQ(second.body, "alice|second");
  EXPECT_EQ(service_.served().size(), 2u);
}

TEST_F(HttpServerTest, AKeptAliveConnectionAsksForItsLoginOnce) {
  Connection c(port_);
  ASSERT_TRUE(c.connected());
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(c.send(cim_request("Echo", "again")));
    Answer a = c.read_answer();
    EXPECT_EQ(a.status, 200);
    EXPECT_EQ(a.body, "alice|again");
    EXPECT_FALSE(a.closed);
  }
  EXPECT_EQ(login_.asked.load(), 1);
  // Another connection with the same credentials is checked on its own.
  EXPECT_EQ(exchange(cim_request("Echo", "x")).status, 200);
  EXPECT_EQ(login_.asked.load(), 2);
  EXPECT_EQ(service_.served().size(), 4u);
}

TEST_F(HttpServerTest, AChangedAuthorizationOnTheSameConnectionIsCheckedAgain) {
  Connection c(port_);
  ASSERT_TRUE(c.connected());
  ASSERT_TRUE(c.send(cim_request("Echo", "first")));
  EXPECT_EQ(c.read_answer().status, 200);
  EXPECT_EQ(login_.asked.load(), 1);
  // The same user and password written differently (two spaces) is another value: asked.
  ASSERT_TRUE(c.send(cim_request("Echo", "spaced", "", "Basic  YWxpY2U6c2VjcmV0")));
  Answer spaced = c.read_answer();
  EXPECT_EQ(spaced.status, 200);
  EXPECT_EQ(spaced.body, "alice|spaced");
  EXPECT_EQ(login_.asked.load(), 2);
  // A wrong password on the connection that logged in is asked about and refused (the 401
  // ends that connection: its body was not read).
  ASSERT_TRUE(c.send(cim_request("Echo", "wrong", "", httptest::basic("alice", "guess"))));
  Answer wrong = c.read_answer();
  EXPECT_EQ(wrong.status, 401);
  EXPECT_EQ(login_.asked.load(), 3);
  // On a connection that logged in, a request without the header is 401 as anywhere, with no
  // question asked.
  Connection d(port_);
  ASSERT_TRUE(d.send(cim_request("Echo", "back")));
  Answer back = d.read_answer();
  EXPECT_EQ(back.status, 200);
  EXPECT_EQ(back.body, "alice|back");
  EXPECT_EQ(login_.asked.load(), 4);
  ASSERT_TRUE(d.send(cim_request("Echo", "none", "", "")));
  EXPECT_EQ(d.read_answer().status, 401);
  EXPECT_EQ(login_.asked.load(), 4);
  auto calls = service_.served();
  ASSERT_EQ(calls.size(), 3u);
  for (const auto &call : calls) EXPECT_EQ(call.user, "alice");
}

TEST_F(HttpServerTest, ALargeAnswerIsChunkedWithBoundedMemory) {
  service_.large_size = 2000000;
  Answer a = exchange(cim_request("Large", ""));
  EXPECT_EQ(a.status, 200);
  EXPECT_TRUE(a.chunked);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(a.body.size(), 2000000u);
  EXPECT_EQ(a.body.find_first_not_of('x'), std::string::npos);
  EXPECT_EQ(a.headers.count("content-length"), 0u);
  EXPECT_EQ(a.headers.count("trailer"), 0u);
  EXPECT_TRUE(a.trailers.empty());
  // The pipe never held more than the threshold (16 KiB) of the 2 MB answer.
  EXPECT_GT(service_.peak_held.load(), 0u);
  EXPECT_LE(service_.peak_held.load(), 16u * 1024u);
}

TEST_F(HttpServerTest, AnAnswerAtTheThresholdStillGoesWhole) {
  service_.large_size = 16 * 1024 - 1;
  Answer a = exchange(cim_request("Large", ""));
  EXPECT_EQ(a.status, 200);
  EXPECT_FALSE(a.chunked);
  EXPECT_EQ(a.headers["content-length"], std::to_string(16 * 1024 - 1));
}

TEST_F(HttpServerTest, ALargeAnswerToATrailersClientEndsWithStatusZero) {
  Answer a = exchange(cim_request("Large", "", "TE: trailers\r\n"));
  EXPECT_EQ(a.status, 200);
  EXPECT_TRUE(a.chunked);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(a.body.size(), 1000000u);
  EXPECT_EQ(a.headers["trailer"], "CIMStatusCode, CIMStatusDescription");
  EXPECT_EQ(a.trailers["cimstatuscode"], "0");
  EXPECT_TRUE(service_.served().at(0).trailers);
}

TEST_F(HttpServerTest, AFailureMidStreamBecomesTrailersForATrailersClient) {
  Connection c(port_);
  ASSERT_TRUE(c.send(cim_request("FailMid", "", "TE: trailers\r\n")));
  Answer a = c.read_answer();
  EXPECT_EQ(a.status, 200);
  EXPECT_TRUE(a.chunked);
  EXPECT_TRUE(a.complete);
  EXPECT_EQ(a.body.size(), 200000u);
  EXPECT_EQ(a.trailers["cimstatuscode"], "6");
  EXPECT_EQ(a.trailers["cimstatusdescription"], "instance vanished");
  // The connection goes on: the answer ended properly.
  ASSERT_TRUE(c.send(cim_request("Echo", "after")));
  EXPECT_EQ(c.read_answer().body, "alice|after");
}

TEST_F(HttpServerTest, AFailureMidStreamBreaksTheAnswerOffForOtherClients) {
  cmpitest::LogCapture log;
  Connection c(port_);
  ASSERT_TRUE(c.send(cim_request("FailMid", "")));
  Answer a = c.read_answer();
  EXPECT_EQ(a.status, 200);
  EXPECT_TRUE(a.chunked);
  EXPECT_FALSE(a.complete);  // no last chunk
  EXPECT_TRUE(a.closed);
  EXPECT_TRUE(a.trailers.empty());
  EXPECT_LE(a.body.size(), 200000u);
}

TEST_F(HttpServerTest, AFailureBeforeAnyByteIsStillNoCompleteAnswer) {
  Answer plain = exchange(cim_request("FailEarly", ""));
  EXPECT_EQ(plain.status, 200);
  EXPECT_FALSE(plain.complete);
  EXPECT_TRUE(plain.closed);
  Answer trailers = exchange(cim_request("FailEarly", "", "TE: trailers\r\n"));
  EXPECT_EQ(trailers.status, 200);
  EXPECT_TRUE(trailers.complete);
  EXPECT_EQ(trailers.trailers["cimstatuscode"], "1");
  EXPECT_EQ(trailers.trailers["cimstatusdescription"], "host went away");
}

// Asks for "Large" with trailers on c: a whole chunked answer of 1,000,000 bytes, status 0.
void expect_large_answer(Connection &c) {
  ASSERT_TRUE(c.send(cim_request("Large", "", "TE: trailers\r\n")));
  Answer large = c.read_answer();
  EXPECT_TRUE(large.chunked);
  EXPECT_TRUE(large.complete);
  EXPECT_EQ(large.body.size(), 1000000u);
  EXPECT_EQ(large.trailers["cimstatuscode"], "0");
}

// Asks for "FailMid" with trailers on c: a complete chunked answer whose trailers say 6.
Answer expect_failed_midway(Connection &c) {
  Answer failed;
  EXPECT_TRUE(c.send(cim_request("FailMid", "", "TE: trailers\r\n")));
  failed = c.read_answer();
  EXPECT_TRUE(failed.complete);
  EXPECT_EQ(failed.trailers["cimstatuscode"], "6");
  return failed;
}

TEST_F(HttpServerTest, AnAnswerHeldWholeIsMadeOnTheRequestsThreadAndFramedAsAnyOther) {
  service_.at_once = {"Echo", "Large", "FailMid", "FailEarly"};
  Connection c(port_);
  ASSERT_TRUE(c.send(cim_request("Echo", "one")));
  Answer one = c.read_answer();
  EXPECT_EQ(one.body, "alice|one");
  EXPECT_FALSE(one.chunked);
  EXPECT_EQ(one.headers["content-length"], std::to_string(one.body.size()));
  ASSERT_TRUE(c.send(cim_request("Slow", "")));
  EXPECT_EQ(c.read_answer().body, "slow");
  // Past the threshold an answer held whole still goes out chunked, with its trailers.
  expect_large_answer(c);
  EXPECT_EQ(service_.peak_held.load(), 1000000u);  // held whole: nobody read while it was made
  Answer failed = expect_failed_midway(c);
  EXPECT_EQ(failed.body.size(), 200000u);
  EXPECT_EQ(failed.trailers["cimstatusdescription"], "instance vanished");
  ASSERT_TRUE(c.send(cim_request("Echo", "five")));
  Answer fifth = c.read_answer();
  EXPECT_EQ(fifth.body, "alice|five");
  EXPECT_FALSE(fifth.closed);
  // The held answers ran on one thread (the connection's own), the streamed one on another.
  auto threads = service_.serving_threads();
  ASSERT_EQ(threads.size(), 5u);
  EXPECT_NE(threads[1], threads[0]);
  EXPECT_EQ(threads[2], threads[0]);
  EXPECT_EQ(threads[3], threads[0]);
  EXPECT_EQ(threads[4], threads[0]);
  // Without trailers, a failure after part of the answer, or before any of it, is a broken
  // answer as on the streamed path.
  Answer broken = exchange(cim_request("FailMid", ""));
  EXPECT_EQ(broken.status, 200);
  EXPECT_TRUE(broken.chunked);
  EXPECT_FALSE(broken.complete);
  EXPECT_TRUE(broken.closed);
  Answer early = exchange(cim_request("FailEarly", ""));
  EXPECT_EQ(early.status, 200);
  EXPECT_FALSE(early.complete);
  EXPECT_TRUE(early.closed);
}

// The threads of this process now.
int thread_count() {
  int n = 0;
  if (DIR *dir = opendir("/proc/self/task")) {
    while (const dirent *entry = readdir(dir)) {
      if (entry->d_name[0] != '.') ++n;
    }
    closedir(dir);
  }
  return n;
}

// Polls until the process has at most `count` threads; false after timeout_ms.
bool threads_drop_to(int count, int timeout_ms) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  while (thread_count() > count) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

TEST_F(HttpServerTest, EveryAnswerOfAKeptAliveConnectionRunsOnTheSameProducerThread) {
  Connection c(port_);
  ASSERT_TRUE(c.connected());
  ASSERT_TRUE(c.send(cim_request("Echo", "one")));
  EXPECT_EQ(c.read_answer().body, "alice|one");
  expect_large_answer(c);
  expect_failed_midway(c);
  ASSERT_TRUE(c.send(cim_request("Garbled", "")));
  Answer garbled = c.read_answer();
  EXPECT_EQ(garbled.status, 400);
  EXPECT_EQ(garbled.headers["cimerror"], "request-not-well-formed");
  ASSERT_TRUE(c.send(cim_request("Echo", "five")));
  Answer fifth = c.read_answer();
  EXPECT_EQ(fifth.body, "alice|five");
  EXPECT_FALSE(fifth.closed);
  // Another connection open at the same time has a producer of its own.
  Connection d(port_);
  ASSERT_TRUE(d.send(cim_request("Echo", "other")));
  EXPECT_EQ(d.read_answer().body, "alice|other");

  auto threads = service_.serving_threads();
  ASSERT_EQ(threads.size(), 6u);
  for (std::size_t i = 1; i < 5; ++i) EXPECT_EQ(threads[i], threads[0]) << "answer " << i;
  EXPECT_NE(threads[5], threads[0]);
  EXPECT_NE(threads[0], static_cast<pid_t>(syscall(SYS_gettid)));
}

TEST_F(HttpServerTest, AFailureMidStreamBreaksOnlyItsOwnAnswer) {
  Connection streaming(port_);
  Connection failing(port_);
  ASSERT_TRUE(streaming.send(cim_request("Echo", "before")));
  EXPECT_EQ(streaming.read_answer().body, "alice|before");
  // A large answer in progress on one connection while another connection's answer breaks.
  ASSERT_TRUE(streaming.send(cim_request("Large", "")));
  ASSERT_TRUE(failing.send(cim_request("FailMid", "")));
  Answer broken = failing.read_answer();
  EXPECT_EQ(broken.status, 200);
  EXPECT_FALSE(broken.complete);
  EXPECT_TRUE(broken.closed);
  Answer whole = streaming.read_answer();
  EXPECT_TRUE(whole.complete);
  EXPECT_EQ(whole.body.size(), 1000000u);
  EXPECT_EQ(whole.body.find_first_not_of('x'), std::string::npos);
  // The connection whose answer ended well goes on.
  ASSERT_TRUE(streaming.send(cim_request("Echo", "after")));
  Answer after = streaming.read_answer();
  EXPECT_EQ(after.body, "alice|after");
  EXPECT_FALSE(after.closed);
}

TEST_F(HttpServerTest, AConnectionClosedWhileItsProducerIsBusyLeavesNoThreadBehind) {
  const int before = thread_count();
  service_.large_size = 50 * 1000 * 1000;
  {
    Connection c(port_);
    ASSERT_TRUE(c.send(cim_request("Echo", "warm")));
    EXPECT_EQ(c.read_answer().body, "alice|warm");
    // The client reads nothing: the socket's buffers and the pipe fill up, and the producer
    // waits in write() for a reader that goes away.
    ASSERT_TRUE(c.send(cim_request("Large", "")));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(service_.returned.load(), 1);
    EXPECT_GT(thread_count(), before);
  }
  {
    Connection c(port_);
    // Closed while serve() itself is busy (before any byte of the answer).
    ASSERT_TRUE(c.send(cim_request("Slow", "")));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  // Both producers return from serve() and their threads end with their connections.
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (service_.returned.load() < 3 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_EQ(service_.returned.load(), 3);
  EXPECT_TRUE(threads_drop_to(before, 10000)) << thread_count() << " threads, " << before
                                              << " before";
  // The 50 MB were never held: the pipe stayed within its capacity.
  EXPECT_LE(service_.peak_held.load(), 16u * 1024u);
  EXPECT_EQ(exchange(cim_request("Echo", "later")).body, "alice|later");
}

TEST_F(HttpServerTest, NoCredentialsGet401WithTheChallenge) {
  Answer a = exchange(cim_request("Echo", "x", "", ""));
  EXPECT_EQ(a.status, 401);
  EXPECT_EQ(a.headers["www-authenticate"], "Basic realm=\"cimom\"");
  EXPECT_EQ(login_.asked.load(), 0);
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, AWrongPasswordGets401AndIsLoggedWithoutThePassword) {
  cmpitest::LogCapture log;
  Answer a = exchange(cim_request("Echo", "x", "", httptest::basic("alice", "hunter2")));
  EXPECT_EQ(a.status, 401);
  EXPECT_EQ(a.headers["www-authenticate"], "Basic realm=\"cimom\"");
  EXPECT_TRUE(service_.served().empty());
  bool logged = false;
  for (const auto &line : log.lines()) {
    EXPECT_EQ(line.text.find("hunter2"), std::string::npos) << line.text;
    if (line.module == 235 && line.level == 2 &&
        line.text.find("failed login of user alice from 127.0.0.1:") == 0) {
      logged = true;
    }
  }
  EXPECT_TRUE(logged);
}

TEST_F(HttpServerTest, UnreadableCredentialsGet401) {
  EXPECT_EQ(exchange(cim_request("Echo", "x", "", "Basic !!!!")).status, 401);
  EXPECT_EQ(exchange(cim_request("Echo", "x", "", "Bearer abc")).status, 401);
  EXPECT_EQ(exchange(cim_request("Echo", "x", "", httptest::basic("al ice", "secret"))).status,
            401);
  EXPECT_EQ(login_.asked.load(), 0);
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, RepeatedFailuresFromOnePeerAreSlowedDown) {
  std::vector<long long> took;
  for (int i = 0; i < 4; ++i) {
    auto start = std::chrono::steady_clock::now();
    Answer a = exchange(cim_request("Echo", "x", "", httptest::basic("alice", "wrong")));
    EXPECT_EQ(a.status, 401);
    took.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(
                       std::chrono::steady_clock::now() - start)
                       .count());
  }
  // 100, 200, 400, 800 ms held back (base 100 ms, doubling, at most 800 ms).
  EXPECT_GE(took[0], 100);
  EXPECT_GE(took[1], 200);
  EXPECT_GE(took[2], 400);
  EXPECT_GE(took[3], 800);
  EXPECT_EQ(throttle_.failures("127.0.0.1"), 4);
  // The right password is then served, and forgives the peer.
  EXPECT_EQ(exchange(cim_request("Echo", "x")).status, 200);
  EXPECT_EQ(throttle_.failures("127.0.0.1"), 0);
}

TEST_F(HttpServerTest, AnOversizedHeaderIsRefusedWhileANormalRequestIsServed) {
  Connection big(port_);
  ASSERT_TRUE(big.send(cim_request("Echo", "x", "X-Padding: " + std::string(40000, 'a') + "\r\n")));
  Answer normal = exchange(cim_request("Echo", "normal"));
  EXPECT_EQ(normal.status, 200);
  Answer refused = big.read_answer();
  EXPECT_EQ(refused.status, 431);
  EXPECT_EQ(service_.served().size(), 1u);
}

TEST_F(HttpServerTest, AnOversizedRequestLineIs414) {
  Answer a = exchange("POST /cimom?" + std::string(20000, 'q') + " HTTP/1.1\r\nHost: x\r\n\r\n");
  EXPECT_EQ(a.status, 414);
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, AnOversizedBodyIs413BeforeItIsRead) {
  Connection big(port_);
  // The headers announce 1 MiB; only the headers are sent.
  std::string request = cim_request("Echo", "");
  request.replace(request.find("Content-Length: 0"), 17, "Content-Length: 1048576");
  ASSERT_TRUE(big.send(request));
  Answer normal = exchange(cim_request("Echo", "normal"));
  EXPECT_EQ(normal.status, 200);
  Answer refused = big.read_answer();
  EXPECT_EQ(refused.status, 413);
  EXPECT_EQ(service_.served().size(), 1u);
}

TEST_F(HttpServerTest, AChunkedBodyPastTheLimitClosesTheConnection) {
  Connection big(port_);
  std::string request = cim_request("Echo", "");
  request.replace(request.find("Content-Length: 0"), 17, "Transfer-Encoding: chunked");
  ASSERT_TRUE(big.send(request));
  std::string chunk(8192, 'y');
  for (int i = 0; i < 10; ++i) {
    if (!big.send("2000\r\n" + chunk + "\r\n")) break;
  }
  EXPECT_TRUE(big.closed_within(3000));
  EXPECT_TRUE(service_.served().empty());
}

TEST_F(HttpServerTest, ConnectionsPastThePerPeerLimitAreClosedWhileOtherPeersAreServed) {
  std::vector<std::unique_ptr<Connection>> held;
  for (int i = 0; i < 3; ++i) {
    held.push_back(std::make_unique<Connection>(port_));
    ASSERT_TRUE(held.back()->connected());
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  Connection fourth(port_);
  ASSERT_TRUE(fourth.connected());  // the kernel accepts; the server closes it at once
  fourth.send(cim_request("Echo", "fourth"));
  Answer refused = fourth.read_answer(2000);
  EXPECT_EQ(refused.status, 0);
  EXPECT_TRUE(refused.closed);
  // Another peer address on the same machine is served meanwhile.
  Connection other(port_, "127.0.0.2");
  ASSERT_TRUE(other.connected());
  ASSERT_TRUE(other.send(cim_request("Echo", "other")));
  Answer served = other.read_answer();
  EXPECT_EQ(served.status, 200);
  EXPECT_EQ(served.body, "alice|other");
  EXPECT_THAT(service_.served().at(0).peer, HasSubstr("127.0.0.2:"));
}

TEST_F(HttpServerTest, AnIdleConnectionIsClosedWhileANormalRequestIsServed) {
  Connection idle(port_);
  ASSERT_TRUE(idle.connected());
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(exchange(cim_request("Echo", "normal")).status, 200);
  EXPECT_TRUE(idle.closed_within(5000));
  auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, std::chrono::milliseconds(1500));  // idle time-out 2 s
}

TEST_F(HttpServerTest, ASlowRequestIsCutOffAtTheWholeRequestTimeOut) {
  // One header byte every 400 ms: never idle for 2 s, but the whole request passes 3 s.
  Connection slow(port_);
  ASSERT_TRUE(slow.connected());
  auto start = std::chrono::steady_clock::now();
  std::string request = cim_request("Echo", "x");
  bool closed = false;
  std::size_t sent = 0;
  while (!closed && sent < request.size() &&
         std::chrono::steady_clock::now() - start < std::chrono::seconds(8)) {
    if (!slow.send(request.substr(sent++, 1))) break;
    if (sent == 3) {
      EXPECT_EQ(exchange(cim_request("Echo", "normal")).status, 200);
    }
    closed = slow.closed_within(400);
  }
  auto took = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(closed || slow.closed_within(1000));
  EXPECT_GE(took, std::chrono::milliseconds(2900));
  EXPECT_LT(took, std::chrono::seconds(6));
  EXPECT_EQ(service_.served().size(), 1u);  // only the normal request
}

class TotalLimitTest : public HttpServerTest {
 protected:
  wbem::ServerLimits limits() const override {
    wbem::ServerLimits l = HttpServerTest::limits();
    l.max_connections = 3;
    l.max_connections_per_peer = 3;
    return l;
  }
};

TEST_F(TotalLimitTest, ConnectionsPastTheTotalAreClosedAndServedAgainOnceOneEnds) {
  std::vector<std::unique_ptr<Connection>> held;
  for (int i = 0; i < 2; ++i) {
    held.push_back(std::make_unique<Connection>(port_, "127.0.0." + std::to_string(2 + i)));
    ASSERT_TRUE(held.back()->connected());
  }
  Connection third(port_, "127.0.0.4");
  ASSERT_TRUE(third.send(cim_request("Echo", "third")));
  EXPECT_EQ(third.read_answer().status, 200);  // within the limit, kept open
  Connection fourth(port_, "127.0.0.5");
  fourth.send(cim_request("Echo", "fourth"));
  Answer refused = fourth.read_answer(2000);
  EXPECT_EQ(refused.status, 0);
  EXPECT_TRUE(refused.closed);
  held.clear();
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(exchange(cim_request("Echo", "again")).status, 200);
}

}  // namespace
