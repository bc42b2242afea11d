// cim_operations.cpp - the intrinsic operations and extrinsic method calls.
#include "cim_operations.h"

#include <cmpiutility/records.h>
#include <strings.h>

#include <memory>
#include <utility>

#include "cim_log.h"
#include "class_keys.h"
#include "class_xml.h"
#include "cli_error.h"
#include "cmpi_build.h"
#include "command_line.h"
#include "frame_view.h"
#include "request_args.h"
#include "request_frame.h"
#include "result_names.h"
#include "schema_classes.h"
#include "schema_rows.h"
#include "wire.h"

namespace wbem {
namespace {

using cli::ParsedPath;
using cli::ParsedValue;
using cli::Request;

[[noreturn]] void invalid(const std::string &why) {
  throw OperationError(CMPI_RC_ERR_INVALID_PARAMETER, why);
}

// Everything one operation needs at hand.
struct Op {
  const CimRequest &req;
  const OperationContext &ctx;
  ResponseWriter &answer;
  XmlOut &body;
  std::string what;  // "GetInstance of Demo_Fan for alice", for log lines

  const std::string &ns() const { return req.name_space; }
};

cli::PathPtr path_of(const ParsedPath &p, const std::string &ns) {
  const std::string why = cli::unsendable_path_reason(p);
  if (!why.empty()) invalid("the provider host cannot carry this path: " + why);
  try {
    return cli::build_path(p, ns);
  } catch (const cli::CimError &e) {
    throw OperationError(CMPI_RC_ERR_FAILED, e.what());
  } catch (const cli::SyntaxError &e) {
    invalid(e.what());
  }
}

ParsedPath instance_name_param(const CimRequest &r, const char *name) {
  const XmlElement *e = param(r, name).child("INSTANCENAME");
  if (e == nullptr) {
    throw OperationError(CMPI_RC_ERR_NOT_SUPPORTED,
                         std::string(name) + ": only instance names are served, not class names");
  }
  return read_instance_name(*e, r.name_space);
}

cli::InstancePtr instance_of(const cli::PathPtr &path, const std::vector<ParsedValue> &values,
                             const std::string &ns) {
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  cli::InstancePtr inst(makeNewCMPIInstance(path.get(), &st));
  if (!inst) throw OperationError(CMPI_RC_ERR_FAILED, "cannot make an instance");
  try {
    for (const ParsedValue &v : values) cli::set_property(inst.get(), v, ns);
  } catch (const cli::SyntaxError &e) {
    invalid(e.what());
  } catch (const cli::CimError &e) {
    throw OperationError(e.code(), e.what());
  }
  return inst;
}

void check_values(const ParsedPath &path, const std::vector<ParsedValue> &values) {
  try {
    cli::check_sendable(path, values, "");
  } catch (const cli::UsageError &e) {
    invalid(std::string("the provider host cannot carry this request: ") + e.what());
  }
}

std::string what_of(const CimRequest &r, const std::string &cls, const std::string &user) {
  return r.name + " of " + log_name(cls) + " for " + log_name(user);
}

// ---- instances -------------------------------------------------------------------------------

void get_instance(Op &op) {
  const ParsedPath p = instance_name_param(op.req, "InstanceName");
  const PropertyFilter filter = param_property_list(op.req);
  op.what = what_of(op.req, p.class_name, op.ctx.user);
  Request request(op.ctx.user, GETINST, path_of(p, op.ns()), nullptr, nullptr, nullptr, "");
  const cli::Answer a = fetch_instance(op.ctx.link, request, op.what);
  op.body.open("IRETURNVALUE");
  write_instance(op.body, a.instance.get(), a.instance_frame["InstanceProps"], filter,
                 op.ctx.where);
  op.body.close("IRETURNVALUE");
  op.answer.finish();
}

// The names of instances that arrive without their keys marked: the key properties the
// schema database declares for their class (result_names.h).
class Namer {
 public:
  Namer(const std::string &database, std::string ns) : keys_(database), ns_(std::move(ns)) {}
  cli::PathPtr name(const CMPIInstance *inst) {
    cli::PathPtr path(wire::result_name(inst, ns_, keys_.of(wire::class_of(inst))));
    if (!path) throw OperationError(CMPI_RC_ERR_FAILED, "the name of a result cannot be made");
    return path;
  }

 private:
  wire::ClassKeys keys_;
  std::string ns_;
};

void enumerate_instances(Op &op, bool names) {
  const std::string cls = param_class(op.req, "ClassName", true);
  op.what = what_of(op.req, cls, op.ctx.user);
  PropertyFilter filter = param_property_list(op.req);
  if (!names && !param_bool(op.req, "DeepInheritance", true)) {
    // Only the properties the requested class has; those of subclasses are left out.
    ClassModel model;
    std::string why;
    if (load_class(op.ctx.database, op.ns(), cls, &model, &why) == ClassLookup::kFound) {
      PropertyFilter own;
      own.all = false;
      for (const PropertyModel &p : model.properties) {
        if (filter.keeps(p.name)) own.names.insert(wire::lower_name(p.name));
      }
      filter = own;
    }
  }
  ParsedPath target;
  target.name_space = op.ns();
  target.class_name = cls;
  Request request(op.ctx.user, names ? ENUMINSTNAMES : ENUMINST, path_of(target, op.ns()), nullptr,
                  nullptr, nullptr, "");
  Namer namer(op.ctx.database, op.ns());
  op.body.open("IRETURNVALUE");
  stream(
      op.ctx.link, request, op.what,
      [&](const CMPIInstance *inst, const Json::Value &props) {
        op.body.open("VALUE.NAMEDINSTANCE");
        write_instance_name(op.body, namer.name(inst).get(), op.ctx.where);
        write_instance(op.body, inst, props, filter, op.ctx.where);
        op.body.close("VALUE.NAMEDINSTANCE");
      },
      [&](const CMPIObjectPath *path) { write_instance_name(op.body, path, op.ctx.where); },
      [&] { op.answer.flush(); });
  op.body.close("IRETURNVALUE");
  op.answer.finish();
}

ParsedPath new_instance_path(const std::string &database, const std::string &ns,
                             const std::string &cls, const std::vector<ParsedValue> &values) {
  ParsedPath path;
  path.name_space = ns;
  path.class_name = cls;
  wire::ClassKeys keys(database);
  for (const std::string &key : keys.of(cls)) {
    for (const ParsedValue &v : values) {
      if (strcasecmp(v.name.c_str(), key.c_str()) != 0 || v.is_null || v.is_array() ||
          v.items.empty()) {
        continue;
      }
      cli::KeyBinding b;
      b.name = v.name;
      const cli::ScalarValue &s = v.items[0];
      std::string text;
      switch (v.element_type()) {
        case CMPI_ref:
          b.kind = cli::KeyBinding::Kind::kReference;
          b.reference = s.reference;
          break;
        case CMPI_boolean:
          b.kind = cli::KeyBinding::Kind::kBoolean;
          b.text = s.boolean_value ? "true" : "false";
          break;
        case CMPI_uint8: case CMPI_uint16: case CMPI_uint32: case CMPI_uint64: case CMPI_char16:
          b.kind = cli::KeyBinding::Kind::kInteger;
          b.text = std::to_string(s.unsigned_value);
          break;
        case CMPI_sint8: case CMPI_sint16: case CMPI_sint32: case CMPI_sint64:
          b.kind = cli::KeyBinding::Kind::kInteger;
          b.text = std::to_string(s.signed_value);
          break;
        case CMPI_real32: case CMPI_real64:
          b.kind = cli::KeyBinding::Kind::kReal;
          {
            CMPIValue real;
            real.real64 = s.real_value;
            scalar_text(CMPI_real64, real, &text);
          }
          b.text = text;
          break;
        default:
          b.text = s.text;
      }
      path.keys.push_back(b);
    }
  }
  return path;
}

void create_instance(Op &op) {
  const XmlElement *inst = param(op.req, "NewInstance").child("INSTANCE");
  if (inst == nullptr) invalid("NewInstance holds no INSTANCE");
  const std::string *cls = inst->attribute("CLASSNAME");
  if (cls == nullptr || cls->empty()) invalid("the new INSTANCE has no CLASSNAME");
  op.what = what_of(op.req, *cls, op.ctx.user);
  const std::vector<ParsedValue> values = read_instance_values(*inst, op.ns());
  const ParsedPath path = new_instance_path(op.ctx.database, op.ns(), *cls, values);
  check_values(path, values);
  cli::PathPtr request_path = path_of(path, op.ns());
  cli::InstancePtr instance = instance_of(request_path, values, op.ns());
  Request request(op.ctx.user, CREATEINST, std::move(request_path), std::move(instance), nullptr,
                  nullptr, "");
  exchange(op.ctx.link, request, op.what);
  // The host's answer carries the status only; the new instance has the name it was made with.
  op.body.open("IRETURNVALUE");
  write_instance_name(op.body, path_of(path, op.ns()).get(), op.ctx.where);
  op.body.close("IRETURNVALUE");
  op.answer.finish();
}

void modify(Op &op, const ParsedPath &path, const std::vector<ParsedValue> &values) {
  check_values(path, values);
  cli::PathPtr request_path = path_of(path, op.ns());
  cli::InstancePtr instance = instance_of(request_path, values, op.ns());
  Request request(op.ctx.user, MODIFYINST, std::move(request_path), std::move(instance), nullptr,
                  nullptr, "");
  exchange(op.ctx.link, request, op.what);
  op.answer.finish();
}

void modify_instance(Op &op) {
  const XmlElement *named = param(op.req, "ModifiedInstance").child("VALUE.NAMEDINSTANCE");
  if (named == nullptr) invalid("ModifiedInstance holds no VALUE.NAMEDINSTANCE");
  const XmlElement *name = named->child("INSTANCENAME");
  const XmlElement *inst = named->child("INSTANCE");
  if (name == nullptr || inst == nullptr) invalid("VALUE.NAMEDINSTANCE needs INSTANCENAME and INSTANCE");
  const ParsedPath path = read_instance_name(*name, op.ns());
  op.what = what_of(op.req, path.class_name, op.ctx.user);
  const PropertyFilter filter = param_property_list(op.req);
  std::vector<ParsedValue> values;
  for (ParsedValue &v : read_instance_values(*inst, op.ns())) {
    if (filter.keeps(v.name)) values.push_back(std::move(v));
  }
  modify(op, path, values);
}

void delete_instance(Op &op) {
  const ParsedPath p = instance_name_param(op.req, "InstanceName");
  op.what = what_of(op.req, p.class_name, op.ctx.user);
  Request request(op.ctx.user, DELETEINST, path_of(p, op.ns()), nullptr, nullptr, nullptr, "");
  exchange(op.ctx.link, request, op.what);
  op.answer.finish();
}

void get_property(Op &op) {
  const ParsedPath p = instance_name_param(op.req, "InstanceName");
  const std::string name = param_text(op.req, "PropertyName", true);
  op.what = what_of(op.req, p.class_name, op.ctx.user);
  Request request(op.ctx.user, GETINST, path_of(p, op.ns()), nullptr, nullptr, nullptr, "");
  const cli::Answer a = fetch_instance(op.ctx.link, request, op.what);
  const CMPIInstance *inst = a.instance.get();
  const CMPICount n = CMGetPropertyCount(inst, nullptr);
  for (CMPICount i = 0; i < n; ++i) {
    CMPIString *prop_name = nullptr;
    CMPIData data = CMGetPropertyAt(inst, i, &prop_name, nullptr);
    cli::OwnedData owned(data);
    const std::string prop = cli::take_text(prop_name);
    if (strcasecmp(prop.c_str(), name.c_str()) != 0) continue;
    const Json::Value &wire = a.instance_frame["InstanceProps"][prop];
    if (!wire.isNull() && cli::wire_value(wire).is_null) data.state |= CMPI_nullValue;
    op.body.open("IRETURNVALUE");
    write_value(op.body, data, op.ctx.where);
    op.body.close("IRETURNVALUE");
    op.answer.finish();
    return;
  }
  throw OperationError(CMPI_RC_ERR_NO_SUCH_PROPERTY, "the instance has no property " + name);
}

// The class of a path from the schema database; OperationError INVALID_CLASS when it has none.
ClassModel class_model(const Op &op, const std::string &cls) {
  ClassModel model;
  std::string why;
  switch (load_class(op.ctx.database, op.ns(), cls, &model, &why)) {
    case ClassLookup::kFound:
      return model;
    case ClassLookup::kNoClass:
      throw OperationError(CMPI_RC_ERR_INVALID_CLASS, "no class " + cls + " in " + op.ns());
    case ClassLookup::kUnreadable:
      break;
  }
  CIM_ERROR("%s: the schema database cannot be read: %s", op.what.c_str(), log_name(why).c_str());
  throw OperationError(CMPI_RC_ERR_FAILED, "the schema database cannot be read");
}

// The one element of a parameter that holds its value (VALUE, VALUE.ARRAY, VALUE.REFERENCE,
// VALUE.REFARRAY); nullptr for none (a null value).
const XmlElement *value_element(const XmlElement &holder) {
  for (const auto &c : holder.children) {
    if (c->name == "VALUE" || c->name == "VALUE.ARRAY" || c->name == "VALUE.REFERENCE" ||
        c->name == "VALUE.REFARRAY") {
      return c.get();
    }
  }
  return nullptr;
}

void set_property(Op &op) {
  const ParsedPath p = instance_name_param(op.req, "InstanceName");
  const std::string name = param_text(op.req, "PropertyName", true);
  op.what = what_of(op.req, p.class_name, op.ctx.user);
  const ClassModel model = class_model(op, p.class_name);
  const PropertyModel *prop = model.property(name);
  if (prop == nullptr) {
    throw OperationError(CMPI_RC_ERR_NO_SUCH_PROPERTY, "class " + model.name + " has no property " + name);
  }
  const XmlElement *value = has_param(op.req, "NewValue") ? value_element(param(op.req, "NewValue"))
                                                          : nullptr;
  const CMPIType type = prop->type == CMPI_chars ? CMPI_string : prop->type;
  modify(op, p, {read_typed_value(prop->name, type, value, op.ns())});
}

// ---- associations and queries --------------------------------------------------------------

void associations(Op &op, bool references, bool names) {
  const ParsedPath p = instance_name_param(op.req, "ObjectName");
  op.what = what_of(op.req, p.class_name, op.ctx.user);
  cli::Invocation inv;
  if (!references) inv.assoc_class = param_class(op.req, "AssocClass", false);
  inv.result_class = param_class(op.req, "ResultClass", false);
  inv.role = param_text(op.req, "Role", false);
  if (!references) inv.result_role = param_text(op.req, "ResultRole", false);
  const PropertyFilter filter = param_property_list(op.req);
  Request request(op.ctx.user, ASSOCIATORS, path_of(p, op.ns()), nullptr, nullptr,
                  cli::make_assoc(inv, references), "");
  Namer namer(op.ctx.database, op.ns());
  op.body.open("IRETURNVALUE");
  stream(
      op.ctx.link, request, op.what,
      [&](const CMPIInstance *inst, const Json::Value &props) {
        const cli::PathPtr path = namer.name(inst);
        if (names) {
          op.body.open("OBJECTPATH");
          write_instance_path(op.body, path.get(), op.ctx.where);
          op.body.close("OBJECTPATH");
          return;
        }
        op.body.open("VALUE.OBJECTWITHPATH");
        write_instance_path(op.body, path.get(), op.ctx.where);
        write_instance(op.body, inst, props, filter, op.ctx.where);
        op.body.close("VALUE.OBJECTWITHPATH");
      },
      [](const CMPIObjectPath *) {}, [&] { op.answer.flush(); });
  op.body.close("IRETURNVALUE");
  op.answer.finish();
}

void exec_query(Op &op) {
  const std::string language = param_text(op.req, "QueryLanguage", true);
  const std::string query = param_text(op.req, "Query", true);
  if (strcasecmp(language.c_str(), "WQL") != 0) {
    throw OperationError(CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED,
                         "query language " + language + " is not supported (WQL only)");
  }
  ParsedPath target;
  target.name_space = op.ns();
  target.class_name = cli::class_of_query(query);
  if (target.class_name.empty()) {
    throw OperationError(CMPI_RC_ERR_INVALID_QUERY, "the query names no class after FROM");
  }
  op.what = what_of(op.req, target.class_name, op.ctx.user);
  Request request(op.ctx.user, EXECQUERY, path_of(target, op.ns()), nullptr, nullptr, nullptr,
                  query);
  Namer namer(op.ctx.database, op.ns());
  op.body.open("IRETURNVALUE");
  stream(
      op.ctx.link, request, op.what,
      [&](const CMPIInstance *inst, const Json::Value &props) {
        op.body.open("VALUE.OBJECTWITHPATH");
        write_instance_path(op.body, namer.name(inst).get(), op.ctx.where);
        write_instance(op.body, inst, props, PropertyFilter(), op.ctx.where);
        op.body.close("VALUE.OBJECTWITHPATH");
      },
      [](const CMPIObjectPath *) {}, [&] { op.answer.flush(); });
  op.body.close("IRETURNVALUE");
  op.answer.finish();
}

// ---- classes ---------------------------------------------------------------------------------

void get_class(Op &op) {
  const std::string cls = param_class(op.req, "ClassName", true);
  op.what = what_of(op.req, cls, op.ctx.user);
  ClassOptions options;
  options.local_only = param_bool(op.req, "LocalOnly", true);
  options.include_qualifiers = param_bool(op.req, "IncludeQualifiers", true);
  options.include_class_origin = param_bool(op.req, "IncludeClassOrigin", false);
  options.filter = param_property_list(op.req);
  const ClassModel model = class_model(op, cls);
  op.body.open("IRETURNVALUE");
  write_class(op.body, model, options);
  op.body.close("IRETURNVALUE");
  op.answer.finish();
}

void enumerate_classes(Op &op, bool names) {
  const std::string cls = param_class(op.req, "ClassName", false);
  op.what = what_of(op.req, cls.empty() ? op.ns() : cls, op.ctx.user);
  const bool deep = param_bool(op.req, "DeepInheritance", false);
  ClassOptions options;
  options.local_only = param_bool(op.req, "LocalOnly", true);
  options.include_qualifiers = param_bool(op.req, "IncludeQualifiers", true);
  options.include_class_origin = param_bool(op.req, "IncludeClassOrigin", false);
  if (!cls.empty()) class_model(op, cls);  // an unknown class is CIM_ERR_INVALID_CLASS
  std::vector<std::string> found;
  std::string why;
  if (!list_classes(op.ctx.database, op.ns(), cls, deep, &found, &why)) {
    CIM_ERROR("%s: the schema database cannot be read: %s", op.what.c_str(), log_name(why).c_str());
    throw OperationError(CMPI_RC_ERR_FAILED, "the schema database cannot be read");
  }
  op.body.open("IRETURNVALUE");
  for (const std::string &name : found) {
    if (names) {
      op.body.empty("CLASSNAME", {{"NAME", name}});
      continue;
    }
    write_class(op.body, class_model(op, name), options);
  }
  op.body.close("IRETURNVALUE");
  op.answer.finish();
}

// ---- extrinsic methods -----------------------------------------------------------------------

void invoke_method(Op &op) {
  op.what = what_of(op.req, op.req.target.class_name, op.ctx.user);
  ClassModel model;
  std::string why;
  const bool known =
      load_class(op.ctx.database, op.ns(), op.req.target.class_name, &model, &why) ==
      ClassLookup::kFound;
  const MethodModel *method = known ? model.method(op.req.name) : nullptr;
  std::vector<ParsedValue> values;
  for (const XmlElement *pv : op.req.method_params) {
    const std::string &name = *pv->attribute("NAME");
    CMPIType type = 0;
    if (const std::string *given = pv->attribute("PARAMTYPE")) {
      type = cmpi_type(*given);
      if (type == 0) invalid("parameter " + name + " has the unknown PARAMTYPE " + *given);
    } else if (method != nullptr) {
      for (const ParameterModel &p : method->parameters) {
        if (strcasecmp(p.name.c_str(), name.c_str()) == 0) type = p.type;
      }
    }
    const XmlElement *value = value_element(*pv);
    if (type == 0) {
      type = value != nullptr && value->name == "VALUE.REFERENCE" ? CMPI_ref : CMPI_string;
      if (value != nullptr && value->name == "VALUE.ARRAY") type = CMPI_string | CMPI_ARRAY;
      if (value != nullptr && value->name == "VALUE.REFARRAY") type = CMPI_ref | CMPI_ARRAY;
    }
    if (type == CMPI_chars) type = CMPI_string;
    if (pv->attribute("EmbeddedObject") != nullptr) type = CMPI_instance;
    values.push_back(read_typed_value(name, type, value, op.ns()));
  }
  check_values(op.req.target, values);
  CMPIStatus st = {CMPI_RC_OK, nullptr};
  cli::ArgsPtr args(makeNewCMPIArgs(&st));
  if (!args) throw OperationError(CMPI_RC_ERR_FAILED, "cannot make an argument list");
  try {
    for (const ParsedValue &v : values) cli::add_argument(args.get(), v, op.ns());
  } catch (const cli::SyntaxError &e) {
    invalid(e.what());
  } catch (const cli::CimError &e) {
    throw OperationError(e.code(), e.what());
  }
  Request request(op.ctx.user, INVOKEMETHOD, path_of(op.req.target, op.ns()), nullptr,
                  std::move(args), nullptr, op.req.name);
  const cli::Answer a = exchange(op.ctx.link, request, op.what);
  CMPIStatus found = {CMPI_RC_OK, nullptr};
  const CMPIData returned = CMGetArg(a.out.get(), wire::kReturnValueArgument, &found);
  cli::OwnedData owned(returned);
  if (found.rc == CMPI_RC_OK) {
    const std::string type = cim_type_name(static_cast<CMPIType>(returned.type & ~CMPI_ARRAY));
    op.body.open("RETURNVALUE", {{"PARAMTYPE", type}});
    write_value(op.body, returned, op.ctx.where);
    op.body.close("RETURNVALUE");
  }
  cli::for_each_argument(a.out.get(), wire::kReturnValueArgument,
                         [&](const std::string &name, const cli::OwnedData &d) {
                           CMPIData data;
                           data.type = d.type();
                           data.state = d.state();
                           data.value = d.value();
                           const CMPIType element = static_cast<CMPIType>(d.type() & ~CMPI_ARRAY);
                           const std::string type = cim_type_name(element);
                           if (element == CMPI_instance) {
                             op.body.open("PARAMVALUE", {{"NAME", name}, {"PARAMTYPE", "string"},
                                                          {"EmbeddedObject", "instance"}});
                           } else {
                             op.body.open("PARAMVALUE", {{"NAME", name}, {"PARAMTYPE", type}});
                           }
                           write_value(op.body, data, op.ctx.where);
                           op.body.close("PARAMVALUE");
                         });
  op.answer.finish();
}

}  // namespace

void serve_operation(const CimRequest &request, const OperationContext &context,
                     ResponseWriter &answer) {
  Op op{request, context, answer, answer.body(), request.name};
  if (!request.intrinsic) return invoke_method(op);
  const std::string n = wire::lower_name(request.name);
  if (n == "getinstance") return get_instance(op);
  if (n == "enumerateinstances") return enumerate_instances(op, false);
  if (n == "enumerateinstancenames") return enumerate_instances(op, true);
  if (n == "createinstance") return create_instance(op);
  if (n == "modifyinstance") return modify_instance(op);
  if (n == "deleteinstance") return delete_instance(op);
  if (n == "associators") return associations(op, false, false);
  if (n == "associatornames") return associations(op, false, true);
  if (n == "references") return associations(op, true, false);
  if (n == "referencenames") return associations(op, true, true);
  if (n == "execquery") return exec_query(op);
  if (n == "getclass") return get_class(op);
  if (n == "enumerateclasses") return enumerate_classes(op, false);
  if (n == "enumerateclassnames") return enumerate_classes(op, true);
  if (n == "getproperty") return get_property(op);
  if (n == "setproperty") return set_property(op);
  // DeleteClass, CreateClass, ModifyClass, the qualifier and pull operations, and any other.
  throw OperationError(CMPI_RC_ERR_NOT_SUPPORTED, request.name + " is not supported");
}

}  // namespace wbem
