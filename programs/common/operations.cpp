// operations.cpp - the table of request types.
#include "operations.h"

#include <cmpiutility/records.h>

namespace wire {
namespace {

constexpr Operation kOperations[] = {
    {ENUMINST, "EnumerateInstances", MIKind::kInstance, "enumerateInstances", Results::kInstances,
     Ending::kCompletionFrame, Tokenizer::kEnum},
    {ENUMINSTNAMES, "EnumerateInstanceNames", MIKind::kInstance, "enumerateInstanceNames",
     Results::kPaths, Ending::kCompletionFrame, Tokenizer::kEnum},
    {GETINST, "GetInstance", MIKind::kInstance, "getInstance", Results::kOneInstance,
     Ending::kCompletionFrame, Tokenizer::kGet},
    {MODIFYINST, "ModifyInstance", MIKind::kInstance, "modifyInstance", Results::kStatus,
     Ending::kSingleFrame, Tokenizer::kSet},
    {INVOKEMETHOD, "InvokeMethod", MIKind::kMethod, "invokeMethod", Results::kMethodOut,
     Ending::kCompletionFrame, Tokenizer::kInvoke},
    {ASSOCIATORS, "Associators", MIKind::kAssociation, "associators", Results::kInstances,
     Ending::kCompletionFrame, Tokenizer::kEnum},
    {EXECQUERY, "ExecQuery", MIKind::kInstance, "execQuery", Results::kInstances,
     Ending::kCompletionFrame, Tokenizer::kEnum},
    {DELETEINST, "DeleteInstance", MIKind::kInstance, "deleteInstance", Results::kStatus,
     Ending::kSingleFrame, Tokenizer::kSet},
    {CREATEINST, "CreateInstance", MIKind::kInstance, "createInstance", Results::kCreatedPath,
     Ending::kSingleFrame, Tokenizer::kCreate},
    {GETCLASS, "GetClass", MIKind::kNone, "", Results::kClass, Ending::kCompletionFrame,
     Tokenizer::kGetClass},
};
constexpr int kCount = static_cast<int>(sizeof kOperations / sizeof kOperations[0]);
static_assert(kCount == 10, "one row per request type");

}  // namespace

const Operation *find_operation(int type) {
  if (type < 1 || type > kCount) return nullptr;
  const Operation *op = &kOperations[type - 1];
  return op->type == type ? op : nullptr;
}

const Operation *all_operations(int *count) {
  *count = kCount;
  return kOperations;
}

const char *operation_name(int type) {
  const Operation *op = find_operation(type);
  return op != nullptr ? op->name : "unknown";
}

const char *mi_kind_name(MIKind kind) {
  switch (kind) {
    case MIKind::kInstance:
      return "Instance";
    case MIKind::kMethod:
      return "Method";
    case MIKind::kAssociation:
      return "Association";
    case MIKind::kNone:
      break;
  }
  return "";
}

}  // namespace wire
