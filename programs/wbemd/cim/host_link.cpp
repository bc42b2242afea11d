// host_link.cpp - requests out, answers in.
#include "host_link.h"

#include <cmpiutility/stream.h>

#include <cstdlib>
#include <deque>
#include <exception>
#include <mutex>
#include <sstream>

#include "cim_log.h"
#include "cim_request.h"
#include "cli_error.h"
#include "cmpi_build.h"
#include "connection.h"
#include "frame_marks.h"
#include "frame_view.h"
#include "operations.h"
#include "output.h"
#include "piece_decoder.h"
#include "status_names.h"

namespace wbem {
namespace {

std::mutex quiet_frames;

[[noreturn]] void host_failed(const std::string &what, const std::string &why) {
  CIM_ERROR("%s: the provider host failed: %s", what.c_str(), log_name(why).c_str());
  throw OperationError(CMPI_RC_ERR_FAILED, "the provider host failed: " + why);
}

[[noreturn]] void cim_failed(const cli::CimError &e) {
  const std::string message = e.what();
  throw OperationError(e.code(), message.empty() ? wire::rc_description(e.code()) : message);
}

const wire::Operation &operation_of(int type) {
  const wire::Operation *op = wire::find_operation(type);
  if (op == nullptr) throw OperationError(CMPI_RC_ERR_FAILED, "unknown request type");
  return *op;
}

struct Carry {
  char *text = nullptr;
  ~Carry() { std::free(text); }
};

}  // namespace

std::string request_frame(cli::Request &request) {
  try {
    if (!request.may_print()) return request.frame();
    // Standard output is one per process: one silenced frame at a time.
    std::lock_guard<std::mutex> one_at_a_time(quiet_frames);
    return request.frame();
  } catch (const cli::UsageError &e) {
    throw OperationError(CMPI_RC_ERR_INVALID_PARAMETER, e.what());
  } catch (const cli::CimError &e) {
    cim_failed(e);
  }
}

// Sends the request's frame on a new connection to the host and hands the connection to read
// for the answer; what read returns is returned. Every failure on the way becomes the
// operation's error (cim_failed, host_failed).
template <typename Read>
auto converse(const HostLink &link, cli::Request &request, const std::string &what, Read read) {
  const std::string frame = request_frame(request);
  try {
    cli::Connection conn(link.socket, link.timeout);
    conn.open();
    conn.send(frame);
    return read(conn);
  } catch (const cli::CimError &e) {
    cim_failed(e);
  } catch (const cli::ConnectionError &e) {
    host_failed(what, e.what());
  } catch (const cli::TimeoutError &e) {
    host_failed(what, e.what());
  }
}

cli::Answer exchange(const HostLink &link, cli::Request &request, const std::string &what) {
  return converse(link, request, what, [&](cli::Connection &conn) {
    std::ostringstream nowhere;
    cli::Output out(nowhere, nowhere, true, false);
    return cli::read_answer(conn, operation_of(request.type()), out);
  });
}

cli::Answer fetch_instance(const HostLink &link, cli::Request &request, const std::string &what) {
  const wire::Operation &op = operation_of(request.type());
  return converse(link, request, what, [&](cli::Connection &conn) {
    std::ostringstream nowhere;
    cli::Output out(nowhere, nowhere, true, false);
    cli::Answer answer;
    Carry carry;
    uint32_t complete = 0;
    FrameMarks splitter;
    std::deque<Json::Value> frames;
    std::string text;  // the answer so far, read whole again only when it is a failure
    // As cli::read_answer reads an answer that ends with the completion frame.
    while (complete == 0) {
      const char *piece = nullptr;
      if (!conn.receive(&piece)) {
        throw cli::ConnectionError(
            "the daemon closed the connection before the answer was complete");
      }
      const std::size_t earlier = frames.size();
      splitter.add(piece, &frames);
      text += piece;
      cli::Outcome outcome = cli::decode_piece(op, piece, &carry.text, &complete, &answer, out);
      if (outcome.code != CMPI_RC_OK) {
        // The tokenizer drops a GetInstance status message; the status frame, among the data
        // frames that ended in this piece, has it.
        cli::FrameSplitter whole;
        std::deque<Json::Value> parsed;
        whole.add(text.c_str(), &parsed);
        for (std::size_t i = earlier; i < parsed.size(); ++i) {
          cli::frame_status_message(parsed[i], &outcome.message);
        }
        throw cli::CimError(outcome.code, outcome.message);
      }
      if (complete != 0) answer.status = std::move(outcome);
    }
    if (!answer.instance) {
      throw cli::CimError(CMPI_RC_ERR_NOT_FOUND, "the daemon returned no instance");
    }
    for (Json::Value &f : frames) {
      if (f.isObject() && f.isMember("InstanceProps")) answer.instance_frame = std::move(f);
    }
    return answer;
  });
}

void stream(const HostLink &link, cli::Request &request, const std::string &what,
            const std::function<void(const CMPIInstance *, const Json::Value &)> &visit_instance,
            const std::function<void(const CMPIObjectPath *)> &visit_path,
            const std::function<void()> &after_piece) {
  const bool paths = operation_of(request.type()).results == wire::Results::kPaths;
  const CMPIType element = paths ? CMPI_ref : CMPI_instance;
  converse(link, request, what, [&](cli::Connection &conn) {
    Carry carry;
    // Only the marks the decoded instances lose, not a second whole parse (frame_marks.h).
    FrameMarks splitter;
    std::deque<Json::Value> frames;
    uint32_t complete = 0;
    while (complete == 0) {
      const char *piece = nullptr;
      if (!conn.receive(&piece)) {
        throw cli::ConnectionError("the host closed the connection before the answer was complete");
      }
      splitter.add(piece, &frames);
      CMPIStatus made = {CMPI_RC_OK, nullptr};
      cli::ArrayPtr array(makeNewCMPIArray(0, element, &made));
      if (!array) throw OperationError(CMPI_RC_ERR_FAILED, "out of memory");
      CMPIStatus st = {CMPI_RC_OK, nullptr};
      try {
        st = CMUtilEnumStringTokenize(piece, array.get(), &carry.text, &complete);
      } catch (const std::exception &e) {
        throw cli::ConnectionError(std::string("the answer could not be decoded: ") + e.what());
      }
      const int code = static_cast<int>(st.rc);
      const std::string message = cli::take_text(st.msg);
      const CMPICount n = CMGetArrayCount(array.get(), nullptr);
      for (CMPICount i = 0; i < n; ++i) {
        cli::OwnedData d(CMGetArrayElementAt(array.get(), i, nullptr));
        Json::Value result_frame;
        if (!frames.empty()) {
          result_frame = std::move(frames.front());
          frames.pop_front();
        }
        if (d.is_null()) continue;
        if (paths) {
          if (d.value().ref != nullptr) visit_path(d.value().ref);
        } else if (d.value().inst != nullptr) {
          visit_instance(d.value().inst, result_frame["InstanceProps"]);
        }
      }
      if (n > 0) after_piece();
      if (code != CMPI_RC_OK) throw cli::CimError(code, message);
    }
  });
}

}  // namespace wbem
