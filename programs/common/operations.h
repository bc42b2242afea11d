// operations.h - the one table of the ten request types, shared by cmpi-hostd and cmpi-cli.
//
// For each request type it says which MI kind of a provider serves it and with which call, which
// frames the host sends, how the answer ends, and which of the library's tokenizers a client
// reads it with. The host and the client take these facts from here instead of switching on the
// type in many places.
#ifndef CMPI_PROGRAMS_OPERATIONS_H
#define CMPI_PROGRAMS_OPERATIONS_H

namespace wire {

// The provider interface that serves an operation; GetClass is answered by the host itself.
enum class MIKind { kInstance, kMethod, kAssociation, kNone };

// What the host sends before the answer ends.
enum class Results {
  kInstances,    // one instance frame per result (EnumerateInstances, Associators, ExecQuery)
  kPaths,        // one object-path frame per result (EnumerateInstanceNames)
  kOneInstance,  // one frame: the instance, or the status when there is none (GetInstance)
  kMethodOut,    // one frame: the output arguments with the return value (InvokeMethod)
  kClass,        // one frame: the class, or its status (GetClass)
  kStatus,       // one frame: the status (ModifyInstance, DeleteInstance)
  kCreatedPath,  // one frame: the new path and the status (CreateInstance)
};

// How the answer ends. The set-instance and create tokenizers do not know the completion frame
// (they would decode it as data), so those operations end with their one frame and the close
// of the connection.
enum class Ending { kCompletionFrame, kSingleFrame };

// The library's tokenizer that reads the answer on the client side.
enum class Tokenizer {
  kEnum,      // CMUtilEnumStringTokenize
  kGet,       // CMUtilGETStringTokenize
  kGetClass,  // CMUtilGETClassStringTokenize
  kSet,       // CMUtilSETStringTokenize
  kCreate,    // CMUtilCreateInstStringTokenize
  kInvoke,    // CMUtilInvokeStringTokenize
};

struct Operation {
  int type;               // ENUMINST ... GETCLASS (1-10)
  const char *name;       // "EnumerateInstances"
  MIKind mi;              // the MI kind that serves it
  const char *mi_call;    // the MI function called ("enumerateInstances"; "" for GetClass)
  Results results;
  Ending ending;
  Tokenizer tokenizer;
};

// The operation of a request type, or nullptr for a number outside 1-10.
const Operation *find_operation(int type);

// Every operation, in request-type order; *count receives 10.
const Operation *all_operations(int *count);

// "EnumerateInstances" ..., or "unknown" for a number outside 1-10.
const char *operation_name(int type);

// "Instance", "Method", "Association" ("" for kNone): the middle of a factory name
// "<Provider>_Create_<Kind>MI".
const char *mi_kind_name(MIKind kind);

}  // namespace wire

#endif  // CMPI_PROGRAMS_OPERATIONS_H
