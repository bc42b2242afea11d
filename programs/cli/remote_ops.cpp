// remote_ops.cpp - one request per subcommand: its arguments checked, the request sent, the
// answer printed.
#include "remote_ops.h"

#include <cmpiutility/records.h>

#include <utility>

#include "answer_reader.h"
#include "cli_error.h"
#include "cmpi_build.h"
#include "connection.h"
#include "operations.h"
#include "request_args.h"
#include "request_frame.h"
#include "status_names.h"
#include "value_json.h"
#include "value_text.h"
#include "wire.h"

namespace cli {
namespace {

// The row of the table of operations for a request type.
const wire::Operation &operation(int type) {
  const wire::Operation *op = wire::find_operation(type);
  if (op == nullptr) throw CimError(CMPI_RC_ERR_FAILED, "unknown request type");
  return *op;
}

// Writes the request, sends it to the daemon and reads the answer its operation gets.
Answer exchange(const Invocation &inv, Request &request, Output &out) {
  const std::string frame = request.frame();
  Connection conn(inv.socket, inv.timeout);
  conn.open();
  conn.send(frame);
  return read_answer(conn, operation(request.type()), out);
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
  std::string text = "Status = " + wire::rc_name(outcome.code) + ";\n";
  if (!outcome.message.empty()) text += "Message = " + quote(outcome.message) + ";\n";
  out.text(text);
}

void run_enumerate(const Invocation &inv, Output &out, int type) {
  const ParsedPath parsed = class_argument(inv.arguments[0], inv.command);
  Request request(inv.user, type, build(parsed, inv), nullptr, nullptr, nullptr, "");
  exchange(inv, request, out);
}

void run_get(const Invocation &inv, Output &out) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  check_sendable(parsed, {}, inv.command);
  Request request(inv.user, GETINST, build(parsed, inv), nullptr, nullptr, nullptr, "");
  const Answer answer = exchange(inv, request, out);
  const Json::Value &props = answer.instance_frame["InstanceProps"];
  out.member("instance", instance_json(answer.instance.get(), props));
  out.text(instance_text(answer.instance.get(), 0, true, props));
}

void run_get_class(const Invocation &inv, Output &out) {
  const ParsedPath parsed = class_argument(inv.arguments[0], inv.command);
  Request request(inv.user, GETCLASS, build(parsed, inv), nullptr, nullptr, nullptr, "");
  const Answer answer = exchange(inv, request, out);
  const ClassInfo info = read_class(answer.cls.get());
  out.member("class", class_json(info));
  out.text(class_text(info));
}

// The instance that create and modify send: the path of the first argument, the properties of
// the others (for create also the key properties of the path).
struct InstanceRequest {
  ParsedPath parsed;
  PathPtr path;
  InstancePtr inst;
};

InstanceRequest instance_request(const Invocation &inv, bool with_keys) {
  InstanceRequest r;
  r.parsed = instance_argument(inv.arguments[0], inv.command);
  const std::vector<std::string> texts(inv.arguments.begin() + 1, inv.arguments.end());
  const std::vector<ParsedValue> values = value_arguments(texts, "property", inv.command);
  check_sendable(r.parsed, values, inv.command);
  r.path = build(r.parsed, inv);
  r.inst = make_instance(r.path.get());
  try {
    if (with_keys) set_key_properties(r.inst.get(), r.parsed, values, inv.name_space);
    for (const ParsedValue &value : values) set_property(r.inst.get(), value, inv.name_space);
  } catch (const SyntaxError &e) {
    throw UsageError(std::string("bad property: ") + e.what(), inv.command);
  }
  return r;
}

void run_create(const Invocation &inv, Output &out) {
  InstanceRequest r = instance_request(inv, true);
  Request request(inv.user, CREATEINST, std::move(r.path), std::move(r.inst), nullptr, nullptr,
                  "");
  const Outcome outcome = exchange(inv, request, out).status;
  // The tokenizer hands back the status only; the new instance has the path that was asked for.
  const ParsedPath created = with_namespace(r.parsed, inv.name_space);
  out.member("path", path_json(created));
  out.text("Created = " + format_path(created) + ";\n");
  print_status(out, outcome);
}

void run_modify(const Invocation &inv, Output &out) {
  InstanceRequest r = instance_request(inv, false);
  Request request(inv.user, MODIFYINST, std::move(r.path), std::move(r.inst), nullptr, nullptr,
                  "");
  print_status(out, exchange(inv, request, out).status);
}

void run_delete(const Invocation &inv, Output &out) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  check_sendable(parsed, {}, inv.command);
  Request request(inv.user, DELETEINST, build(parsed, inv), nullptr, nullptr, nullptr, "");
  print_status(out, exchange(inv, request, out).status);
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
  const Answer answer = exchange(inv, request, out);

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

// associators and references; names: associator-names and reference-names, whose answers are
// the paths of the full results (result_names.h).
void run_associators(const Invocation &inv, Output &out, bool refs_only, bool names) {
  const ParsedPath parsed = instance_argument(inv.arguments[0], inv.command);
  check_sendable(parsed, {}, inv.command);
  name_option(inv.assoc_class, "--assoc-class", inv.command);
  name_option(inv.result_class, "--result-class", inv.command);
  name_option(inv.role, "--role", inv.command);
  name_option(inv.result_role, "--result-role", inv.command);
  PathPtr path = build(parsed, inv);
  const std::string name_space = parsed.name_space.empty() ? inv.name_space : parsed.name_space;
  Request request(inv.user, ASSOCIATORS, std::move(path), nullptr, nullptr,
                  make_assoc(inv, refs_only), "");
  if (names) out.names_only(name_space);
  exchange(inv, request, out);
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
  exchange(inv, request, out);
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
  if (c == "associators") return run_associators(inv, out, false, false);
  if (c == "associator-names") return run_associators(inv, out, false, true);
  if (c == "references") return run_associators(inv, out, true, false);
  if (c == "reference-names") return run_associators(inv, out, true, true);
  if (c == "query") return run_query(inv, out);
  if (c == "get-class") return run_get_class(inv, out);
  throw UsageError("unknown command '" + c + "'");
}

}  // namespace cli
