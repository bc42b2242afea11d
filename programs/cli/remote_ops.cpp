// remote_ops.cpp - building, sending and reading one request per subcommand.
#include "remote_ops.h"

#include <cmpiutility/records.h>
#include <cmpiutility/request.h>
#include <cmpiutility/stream.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "cli_error.h"
#include "cmpi_build.h"
#include "connection.h"
#include "request_args.h"
#include "request_frame.h"
#include "status_names.h"
#include "value_json.h"
#include "value_text.h"
#include "wire.h"

namespace cli {
namespace {

// The tail of unfinished stream text that the tokenizers keep between calls.
struct CarrySlot {
  char *text = nullptr;
  CarrySlot() = default;
  CarrySlot(const CarrySlot &) = delete;
  CarrySlot &operator=(const CarrySlot &) = delete;
  ~CarrySlot() { std::free(text); }
};

// A status handed back by a tokenizer, taken over: code and message text.
struct Outcome {
  int code = 0;
  std::string message;
};

Outcome take_status(CMPIStatus st) {
  Outcome outcome;
  outcome.code = static_cast<int>(st.rc);
  CMPIString *msg = st.msg;
  outcome.message = take_text(msg);
  return outcome;
}

// Runs a tokenizer; what the JSON library raises on a malformed frame is a broken answer.
template <class Call>
auto decode(Call call) -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception &e) {
    throw ConnectionError(std::string("the answer could not be decoded: ") + e.what());
  }
}

[[noreturn]] void closed_early() {
  throw ConnectionError("the daemon closed the connection before the answer was complete");
}

// Counts frame terminators across pieces, for the operations that end when the daemon closes.
class TerminatorCounter {
 public:
  // How many terminators end in this piece.
  int add(const char *piece) {
    std::string text = tail_ + piece;
    int found = 0;
    std::size_t at = 0;
    while ((at = text.find(wire::kTerminator, at)) != std::string::npos) {
      ++found;
      at += wire::kTerminator.size();
    }
    const std::size_t keep = wire::kTerminator.size() - 1;
    tail_ = text.size() > keep ? text.substr(text.size() - keep) : text;
    total_ += found;
    return found;
  }
  int total() const { return total_; }

 private:
  std::string tail_;
  int total_ = 0;
};

void read_enumeration(Connection &conn, int type, Output &out) {
  CarrySlot carry;
  uint32_t complete = 0;
  const CMPIType element = type == ENUMINSTNAMES ? CMPI_ref : CMPI_instance;
  out.start_list(element == CMPI_ref ? "paths" : "instances");
  const char *piece = nullptr;
  for (;;) {
    if (!conn.receive(&piece)) closed_early();
    CMPIStatus made = {CMPI_RC_OK, nullptr};
    ArrayPtr array(makeNewCMPIArray(0, element, &made));
    if (!array) throw CimError(CMPI_RC_ERR_FAILED, "cannot make a result array");
    const Outcome outcome = take_status(
        decode([&] { return CMUtilEnumStringTokenize(piece, array.get(), &carry.text, &complete); }));
    const CMPICount n = CMGetArrayCount(array.get(), nullptr);
    for (CMPICount i = 0; i < n; ++i) {
      OwnedData d(CMGetArrayElementAt(array.get(), i, nullptr));
      const CMPIValue value = d.value();
      if (d.is_null()) continue;
      if (element == CMPI_ref) {
        if (value.ref != nullptr) out.add_path(value.ref);
      } else if (value.inst != nullptr) {
        out.add_instance(value.inst);
      }
    }
    if (outcome.code != CMPI_RC_OK) throw CimError(outcome.code, outcome.message);
    if (complete != 0) return;
  }
}

InstancePtr read_instance(Connection &conn) {
  CarrySlot carry;
  uint32_t complete = 0;
  InstancePtr result;
  const char *piece = nullptr;
  for (;;) {
    if (!conn.receive(&piece)) closed_early();
    CMPIInstance *got = nullptr;
    const Outcome outcome = take_status(
        decode([&] { return CMUtilGETStringTokenize(piece, &got, &carry.text, &complete); }));
    if (got != nullptr) result.reset(got);
    if (outcome.code != CMPI_RC_OK) throw CimError(outcome.code, outcome.message);
    if (complete != 0) break;
  }
  if (!result) throw CimError(CMPI_RC_ERR_NOT_FOUND, "the daemon returned no instance");
  return result;
}

ClassPtr read_class_answer(Connection &conn) {
  CarrySlot carry;
  uint32_t complete = 0;
  ClassPtr result;
  const char *piece = nullptr;
  for (;;) {
    if (!conn.receive(&piece)) closed_early();
    CMPIConstClass *got = nullptr;
    const Outcome outcome = take_status(decode(
        [&] { return CMUtilGETClassStringTokenize(piece, &got, &carry.text, &complete); }));
    if (got != nullptr) result.reset(got);
    if (outcome.code != CMPI_RC_OK) throw CimError(outcome.code, outcome.message);
    if (complete != 0) break;
  }
  if (!result) throw CimError(CMPI_RC_ERR_NOT_FOUND, "the daemon returned no class");
  return result;
}

// Reads until the daemon closes (or, once a frame has arrived, until it stays silent); feed
// returns the status of the frames that ended in the piece.
template <class Feed>
Outcome read_until_closed(Connection &conn, Feed feed) {
  TerminatorCounter frames;
  Outcome last;
  const char *piece = nullptr;
  for (;;) {
    try {
      if (!conn.receive(&piece)) break;
    } catch (const TimeoutError &) {
      if (frames.total() > 0) break;
      throw;
    }
    const bool ended = frames.add(piece) > 0;
    Outcome outcome = feed(piece);
    if (ended) last = std::move(outcome);
  }
  if (frames.total() == 0) {
    throw ConnectionError("the daemon closed the connection without an answer");
  }
  return last;
}

Outcome read_set_status(Connection &conn) {
  CarrySlot carry;
  Outcome outcome = read_until_closed(conn, [&](const char *piece) {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    decode([&] {
      CMUtilSETStringTokenize(piece, &carry.text, &st);
      return 0;
    });
    return take_status(st);
  });
  if (outcome.code != CMPI_RC_OK) throw CimError(outcome.code, outcome.message);
  return outcome;
}

Outcome read_create_status(Connection &conn) {
  CarrySlot carry;
  Outcome outcome = read_until_closed(conn, [&](const char *piece) {
    CMPIStatus st = {CMPI_RC_OK, nullptr};
    const Outcome cloned = take_status(decode(
        [&] { return CMUtilCreateInstStringTokenize(piece, nullptr, &carry.text, &st); }));
    Outcome reported = take_status(st);
    // The returned status is that of copying the new path, or an error frame's code.
    if (cloned.code != CMPI_RC_OK) {
      reported.code = cloned.code;
      if (reported.message.empty()) reported.message = cloned.message;
    }
    return reported;
  });
  if (outcome.code != CMPI_RC_OK) throw CimError(outcome.code, outcome.message);
  return outcome;
}

struct MethodAnswer {
  ArgsPtr out;
  uint32_t return_type = 0;
};

MethodAnswer read_method_answer(Connection &conn) {
  CarrySlot carry;
  uint32_t complete = 0;
  MethodAnswer answer;
  CMPIStatus made = {CMPI_RC_OK, nullptr};
  answer.out.reset(makeNewCMPIArgs(&made));
  if (!answer.out) throw CimError(CMPI_RC_ERR_FAILED, "cannot make an argument list");
  const char *piece = nullptr;
  for (;;) {
    if (!conn.receive(&piece)) closed_early();
    const Outcome outcome = take_status(decode([&] {
      return CMUtilInvokeStringTokenize(piece, answer.out.get(), &answer.return_type, &carry.text,
                                        &complete);
    }));
    if (outcome.code != CMPI_RC_OK) throw CimError(outcome.code, outcome.message);
    if (complete != 0) break;
  }
  return answer;
}

// Connects, sends the request and returns the open connection.
std::unique_ptr<Connection> send_request(const Invocation &inv, Request &request) {
  const std::string frame = request.frame();
  auto conn = std::make_unique<Connection>(inv.socket, inv.timeout);
  conn->open();
  conn->send(frame);
  return conn;
}

PathPtr build(const ParsedPath &path, const Invocation &inv) {
  return build_path(path, inv.name_space);
}

InstancePtr make_instance(const CMPIObjectPath *path) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  InstancePtr inst(makeNewCMPIInstance(path, &st));
  if (!inst) throw CimError(CMPI_RC_ERR_FAILED, "cannot make an instance");
  return inst;
}

// Text: "Status = CMPI_RC_OK;" and the message when there is one.
void print_status(Output &out, const Outcome &outcome) {
  out.member("status", status_json(outcome.code, outcome.message));
  std::string text = "Status = " + rc_name(outcome.code) + ";\n";
  if (!outcome.message.empty()) text += "Message = " + quote(outcome.message) + ";\n";
  out.text(text);
}

void run_enumerate(const Invocation &inv, Output &out, int type) {
  const ParsedPath parsed = class_argument(inv.arguments[0], inv.command);
  Request request(inv.user, type, build(parsed, inv), nullptr, nullptr, nullptr, "");
  auto conn = send_request(inv, request);
  read_enumeration(*conn, type, out);
}

void run_get(const Invocation &inv, Output &out) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  check_sendable(parsed, {}, inv.command);
  Request request(inv.user, GETINST, build(parsed, inv), nullptr, nullptr, nullptr, "");
  auto conn = send_request(inv, request);
  InstancePtr inst = read_instance(*conn);
  out.member("instance", instance_json(inst.get()));
  out.text(instance_text(inst.get()));
}

void run_get_class(const Invocation &inv, Output &out) {
  const ParsedPath parsed = class_argument(inv.arguments[0], inv.command);
  Request request(inv.user, GETCLASS, build(parsed, inv), nullptr, nullptr, nullptr, "");
  auto conn = send_request(inv, request);
  ClassPtr cls = read_class_answer(*conn);
  const ClassInfo info = read_class(cls.get());
  out.member("class", class_json(info));
  out.text(class_text(info));
}

void run_create(const Invocation &inv, Output &out) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  const std::vector<std::string> texts(inv.arguments.begin() + 1, inv.arguments.end());
  const std::vector<ParsedValue> values = value_arguments(texts, "property", inv.command);
  check_sendable(parsed, values, inv.command);
  PathPtr path = build(parsed, inv);
  InstancePtr inst = make_instance(path.get());
  try {
    set_key_properties(inst.get(), parsed, values, inv.name_space);
    for (const ParsedValue &value : values) set_property(inst.get(), value, inv.name_space);
  } catch (const SyntaxError &e) {
    throw UsageError(std::string("bad property: ") + e.what(), inv.command);
  }
  Request request(inv.user, CREATEINST, std::move(path), std::move(inst), nullptr, nullptr, "");
  auto conn = send_request(inv, request);
  const Outcome outcome = read_create_status(*conn);
  // The tokenizer hands back the status only; the new instance has the path that was asked for.
  const ParsedPath created = with_namespace(parsed, inv.name_space);
  out.member("path", path_json(created));
  out.text("Created = " + format_path(created) + ";\n");
  print_status(out, outcome);
}

void run_modify(const Invocation &inv, Output &out) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  const std::vector<std::string> texts(inv.arguments.begin() + 1, inv.arguments.end());
  const std::vector<ParsedValue> values = value_arguments(texts, "property", inv.command);
  check_sendable(parsed, values, inv.command);
  PathPtr path = build(parsed, inv);
  InstancePtr inst = make_instance(path.get());
  try {
    for (const ParsedValue &value : values) set_property(inst.get(), value, inv.name_space);
  } catch (const SyntaxError &e) {
    throw UsageError(std::string("bad property: ") + e.what(), inv.command);
  }
  Request request(inv.user, MODIFYINST, std::move(path), std::move(inst), nullptr, nullptr, "");
  auto conn = send_request(inv, request);
  print_status(out, read_set_status(*conn));
}

void run_delete(const Invocation &inv, Output &out) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  check_sendable(parsed, {}, inv.command);
  Request request(inv.user, DELETEINST, build(parsed, inv), nullptr, nullptr, nullptr, "");
  auto conn = send_request(inv, request);
  print_status(out, read_set_status(*conn));
}

void run_invoke(const Invocation &inv, Output &out) {
  const ParsedPath parsed = any_path_argument(inv.arguments[0], inv.command);
  const std::string &method = inv.arguments[1];
  if (!is_identifier(method)) {
    throw UsageError("bad method name '" + method + "' (a letter or '_', then letters, digits or '_')",
                     inv.command);
  }
  const std::vector<std::string> texts(inv.arguments.begin() + 2, inv.arguments.end());
  const std::vector<ParsedValue> values = value_arguments(texts, "argument", inv.command);
  check_sendable(parsed, values, inv.command);
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  ArgsPtr args(makeNewCMPIArgs(&st));
  if (!args) throw CimError(CMPI_RC_ERR_FAILED, "cannot make an argument list");
  try {
    for (const ParsedValue &value : values) add_argument(args.get(), value, inv.name_space);
  } catch (const SyntaxError &e) {
    throw UsageError(std::string("bad argument: ") + e.what(), inv.command);
  }
  Request request(inv.user, INVOKEMETHOD, build(parsed, inv), nullptr, std::move(args), nullptr,
                  method);
  auto conn = send_request(inv, request);
  MethodAnswer answer = read_method_answer(*conn);

  CMPIStatus found = {CMPI_RC_OK, nullptr};
  OwnedData returned(CMGetArg(answer.out.get(), wire::kReturnValueArgument, &found));
  const bool present = found.rc == CMPI_RC_OK;
  const CMPIType type = present ? returned.type() : static_cast<CMPIType>(answer.return_type);
  const bool is_null = !present || returned.is_null();
  out.member("method", method);
  out.member("returnValue", data_json(type, returned.value(), is_null));
  out.member("output", args_json(answer.out.get(), wire::kReturnValueArgument));
  out.text("ReturnValue = " + data_text(type, returned.value(), is_null) + ";\n" +
           args_text(answer.out.get(), wire::kReturnValueArgument));
}

void run_associators(const Invocation &inv, Output &out, bool refs_only) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  check_sendable(parsed, {}, inv.command);
  name_option(inv.assoc_class, "--assoc-class", inv.command);
  name_option(inv.result_class, "--result-class", inv.command);
  name_option(inv.role, "--role", inv.command);
  name_option(inv.result_role, "--result-role", inv.command);
  PathPtr path = build(parsed, inv);
  Request request(inv.user, ASSOCIATORS, std::move(path), nullptr, nullptr,
                  make_assoc(inv, refs_only), "");
  auto conn = send_request(inv, request);
  read_enumeration(*conn, ASSOCIATORS, out);
}

void run_query(const Invocation &inv, Output &out) {
  const std::string &query = inv.arguments.back();
  if (query.empty()) throw UsageError("the query is empty", inv.command);
  ParsedPath parsed;
  if (inv.arguments.size() == 2) {
    parsed = class_argument(inv.arguments[0], inv.command);
  } else {
    parsed.class_name = class_of_query(query);
    if (parsed.class_name.empty()) {
      throw UsageError("no class after FROM in the query; give it: query CLASS QUERY",
                       inv.command);
    }
  }
  Request request(inv.user, EXECQUERY, build(parsed, inv), nullptr, nullptr, nullptr, query);
  auto conn = send_request(inv, request);
  read_enumeration(*conn, EXECQUERY, out);
}

}  // namespace

bool is_remote_command(const std::string &command) {
  return command != "local-get" && command != "local-enum";
}

void run_remote(const Invocation &inv, Output &out) {
  if (inv.user.empty()) {
    throw UsageError("cannot tell your user name; give one with --user", inv.command);
  }
  const std::string &c = inv.command;
  if (c == "enum") return run_enumerate(inv, out, ENUMINST);
  if (c == "enum-names") return run_enumerate(inv, out, ENUMINSTNAMES);
  if (c == "get") return run_get(inv, out);
  if (c == "create") return run_create(inv, out);
  if (c == "modify") return run_modify(inv, out);
  if (c == "delete") return run_delete(inv, out);
  if (c == "invoke") return run_invoke(inv, out);
  if (c == "associators") return run_associators(inv, out, false);
  if (c == "references") return run_associators(inv, out, true);
  if (c == "query") return run_query(inv, out);
  if (c == "get-class") return run_get_class(inv, out);
  throw UsageError("unknown command '" + c + "'");
}

}  // namespace cli
