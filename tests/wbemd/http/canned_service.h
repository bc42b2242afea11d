// canned_service.h - stand-ins for the CIM half and for PAM in the HTTP half's tests.
//
// CannedService answers by the CIMMethod header:
//   Echo       "<user>|<body>" whole
//   Large      `large_size` bytes of 'x' written in 1000-byte pieces, then finish
//   FailMid    200,000 bytes, then fail(6, "instance vanished")
//   FailEarly  nothing, then fail(1, "host went away")
//   Garbled    protocol_error(400, "request-not-well-formed")
//   Slow       waits 300 ms, then "slow" whole
// The methods named in at_once are declared answered at once (CimService::answers_at_once), the
// others streamed. It records the calls it served, the thread each ran on, how many have
// returned, and the largest number of bytes the pipe held at once.
#ifndef CMPI_WBEMD_HTTP_TEST_CANNED_SERVICE_H
#define CMPI_WBEMD_HTTP_TEST_CANNED_SERVICE_H

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "answer_pipe.h"
#include "authenticator.h"
#include "exchange.h"

namespace httptest {

class CannedService : public wbem::CimService {
 public:
  void serve(const wbem::CimCall &call, wbem::AnswerSink &sink) override {
    {
      std::lock_guard<std::mutex> lock(mutex);
      calls.push_back(call);
      threads.push_back(static_cast<pid_t>(syscall(SYS_gettid)));
    }
    const std::string &m = call.cim_method;
    if (m == "Echo") {
      std::string text = call.user + "|" + call.body;
      sink.write(text.data(), text.size());
      sink.finish();
    } else if (m == "Large" || m == "FailMid") {
      std::string piece(1000, 'x');
      std::size_t total = m == "Large" ? large_size : 200000;
      for (std::size_t done = 0; done < total; done += piece.size()) {
        sink.write(piece.data(), std::min(piece.size(), total - done));
      }
      if (m == "Large") {
        sink.finish();
      } else {
        sink.fail(6, "instance vanished");
      }
    } else if (m == "FailEarly") {
      sink.fail(1, "host went away");
    } else if (m == "Garbled") {
      sink.protocol_error(400, "request-not-well-formed");
    } else if (m == "Slow") {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      sink.write("slow", 4);
      sink.finish();
    } else {
      sink.write("?", 1);
      sink.finish();
    }
    if (auto *pipe = dynamic_cast<wbem::AnswerPipe *>(&sink)) {
      std::size_t held = pipe->peak_held();
      std::size_t seen = peak_held.load();
      while (held > seen && !peak_held.compare_exchange_weak(seen, held)) {
      }
    }
    ++returned;
  }

  bool answers_at_once(const wbem::CimCall &call) const override {
    return at_once.count(call.cim_method) > 0;
  }

  std::vector<wbem::CimCall> served() {
    std::lock_guard<std::mutex> lock(mutex);
    return calls;
  }

  // The kernel's ids of the threads the calls ran on, in the order of served() (unlike
  // std::thread ids, these are not handed to the next thread as soon as one ends).
  std::vector<pid_t> serving_threads() {
    std::lock_guard<std::mutex> lock(mutex);
    return threads;
  }

  std::set<std::string> at_once;  // set before the first request
  std::size_t large_size = 1000000;
  std::atomic<std::size_t> peak_held{0};
  std::atomic<int> returned{0};  // calls that have left serve()

 private:
  std::mutex mutex;
  std::vector<wbem::CimCall> calls;
  std::vector<pid_t> threads;
};

// Admits alice with the password "secret".
class CannedLogin : public wbem::Authenticator {
 public:
  bool login(const std::string &user, const std::string &password,
             const std::string &) override {
    ++asked;
    return user == "alice" && password == "secret";
  }
  std::atomic<int> asked{0};
};

}  // namespace httptest

#endif  // CMPI_WBEMD_HTTP_TEST_CANNED_SERVICE_H
