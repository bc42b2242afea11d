// serializeResponse: a response record becomes one response frame (provider host side).
#include <cmpimacs.h>
#include <cmpiutility/response.h>
#include <stdint.h>
#include <string.h>

#include <string>

#include "heap/heap.h"
#include "json/compact_pieces.h"
#include "json/compact_text.h"
#include "json/encoders.h"
#include "json/instance_props_text.h"
#include "json/member_names.h"
#include "json/key_stream.h"
#include "json/key_text.h"
#include "log/log.h"
#include "request/frame.h"
#include "response/response_codec.h"

namespace {

using cmpiutility::chars_of;
using cmpiutility::status_code;

// The error lines name the exported function, also from inside the helpers below.
constexpr const char kSerialize[] = "serializeResponse";
constexpr const char kClassProps[] = "getConstClassProps";

// Text, "CMPI_EOF", NUL and some slack.
constexpr uint32_t kFrameSlack = 12;

// What the text of one instance is given to start with; a Demo_Fan takes about 2 KiB.
constexpr size_t kInstanceTextReserve = 4096;

// What this call obtained from the object library; it goes back on every way out.
struct Obtained {
  CMPIObjectPath *path = nullptr;
  CMPIString *name_space = nullptr;
  CMPIString *class_name = nullptr;

  Obtained() = default;
  Obtained(const Obtained &) = delete;
  Obtained &operator=(const Obtained &) = delete;
  ~Obtained() {
    if (class_name != nullptr) CMRelease(class_name);
    if (name_space != nullptr) CMRelease(name_space);
    if (path != nullptr) CMRelease(path);
  }
};

// Source-line numbers of the messages of one instance-bearing branch.
struct InstanceLines {
  int path;
  int name_space;
  int class_name;
  int properties;
};

// Obtains the namespace and class name of path into got. False after the namespace or
// class-name line (a missing path has neither).
bool obtain_names(CMPIObjectPath *path, Obtained &got, int ns_line, int cn_line) {
  got.name_space = (path != nullptr) ? CMGetNameSpace(path, nullptr) : nullptr;
  if (chars_of(got.name_space) == nullptr) {
    CMPIU_ERROR_AT(kSerialize, ns_line, "'namespace is NULL'");
    return false;
  }
  got.class_name = CMGetClassName(path, nullptr);
  if (chars_of(got.class_name) == nullptr) {
    CMPIU_ERROR_AT(kSerialize, cn_line, "'classname is NULL'");
    return false;
  }
  return true;
}

// Writes "ClassName" and "NameSpace" from path. False after the namespace or class-name line.
bool write_names(CMPIObjectPath *path, Obtained &got, Json::Value &document, int ns_line,
                 int cn_line) {
  if (!obtain_names(path, got, ns_line, cn_line)) return false;
  document[cmpiutility::member::kClassName] = chars_of(got.class_name);
  document[cmpiutility::member::kNameSpace] = chars_of(got.name_space);
  return true;
}

// The object path of the record's instance into got. False after the 'Object Path issue' line;
// a record without an instance has no object path either.
bool obtain_path(ServerResp *response, Obtained &got, int line) {
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  if (response->instance != nullptr) got.path = CMGetObjectPath(response->instance, &status);
  if (got.path == nullptr || status_code(status) != 0) {
    CMPIU_ERROR_AT(kSerialize, line, "'Object Path issue'");
    return false;
  }
  return true;
}

// One instance of a result, into the document: the names of its object path and its
// properties.
bool write_instance(ServerResp *response, Obtained &got, Json::Value &document,
                    const InstanceLines &lines) {
  if (!obtain_path(response, got, lines.path)) return false;
  if (!write_names(got.path, got, document, lines.name_space, lines.class_name)) return false;
  if ((getInstanceProps(nullptr, response, document) & 1) != 0) {
    CMPIU_ERROR_AT(kSerialize, lines.properties, "'getInstanceProps failed'");
    return false;
  }
  return true;
}

// The whole document of one instance of a result, written as text straight from the instance:
// the bytes compact_text writes for the document write_instance builds (members in jsoncpp's
// order: "ClassName", "InstanceProps", "NameSpace", "RequestType"), with the same CMPI calls and
// log lines. False after the same lines as write_instance.
bool write_instance_text(ServerResp *response, Obtained &got, std::string *text,
                         const InstanceLines &lines) {
  if (!obtain_path(response, got, lines.path)) return false;
  if (!obtain_names(got.path, got, lines.name_space, lines.class_name)) return false;
  text->append("{\"ClassName\":");
  const char *class_name = chars_of(got.class_name);
  cmpiutility::compact::append_quoted(class_name, class_name + strlen(class_name), text);
  const size_t before_props = text->size();
  text->append(",\"InstanceProps\":");
  const cmpiutility::PropsOutcome props =
      cmpiutility::append_instance_props(response->instance, text);
  if (!props.written) text->resize(before_props);
  if ((props.result & 1) != 0) {
    CMPIU_ERROR_AT(kSerialize, lines.properties, "'getInstanceProps failed'");
    return false;
  }
  text->append(",\"NameSpace\":");
  const char *name_space = chars_of(got.name_space);
  cmpiutility::compact::append_quoted(name_space, name_space + strlen(name_space), text);
  text->append(",\"RequestType\":");
  cmpiutility::compact::append_unsigned(static_cast<uint32_t>(response->type), text);
  text->push_back('}');
  return true;
}

// The status pair: the code as an integer, the message text or JSON null without one.
void write_status(const CMPIStatus &status, Json::Value &document, const char *code_member,
                  const char *message_member) {
  document[code_member] = Json::Int(status_code(status));
  const char *message = chars_of(status.msg);
  document[message_member] = (message != nullptr) ? Json::Value(message) : Json::Value();
}

// The size of the block a text is framed into: the text, its terminator and slack, at most cap.
uint32_t block_size(const std::string &text, uint32_t cap) {
  if (text.size() >= cap - kFrameSlack) return cap;
  return static_cast<uint32_t>(text.size()) + kFrameSlack;
}

// Frames text into a new block handed out through *out; *length receives the frame's length.
// On a failed allocation *out is NULL.
bool framed_block(const std::string &text, uint32_t cap, char **out, uint32_t *length,
                  int line) {
  const uint32_t size = block_size(text, cap);
  char *block = static_cast<char *>(cmpiu_calloc(1, size));
  *out = block;
  if (block == nullptr) {
    CMPIU_ERROR_AT(kSerialize, line, "Callcoc failed");
    return false;
  }
  formDynamicDataAsString(text, block, size);
  *length = static_cast<uint32_t>(strlen(block));
  return true;
}

// The general buffer: sized to the text (a 32-bit size bounds it).
int general_buffer(const std::string &text, void **buffer, uint32_t *length, int line) {
  char *block = nullptr;
  const bool framed = framed_block(text, UINT32_MAX, &block, length, line);
  *buffer = block;
  return framed ? 0 : 1;
}

int general_buffer(const Json::Value &document, void **buffer, uint32_t *length, int line) {
  return general_buffer(cmpiutility::compact_text(document), buffer, length, line);
}

// One instance of a result into the general buffer, its document written by the chosen writer.
int instance_buffer(ServerResp *response, Obtained &got, Json::Value &document,
                    const InstanceLines &lines, cmpiutility::InstanceWriter writer,
                    void **buffer, uint32_t *length, int buffer_line) {
  if (writer == cmpiutility::InstanceWriter::kTree) {
    if (!write_instance(response, got, document, lines)) return 1;
    return general_buffer(document, buffer, length, buffer_line);
  }
  std::string text;
  text.reserve(kInstanceTextReserve);
  if (!write_instance_text(response, got, &text, lines)) return 1;
  return general_buffer(text, buffer, length, buffer_line);
}

// The method buffer: sized to the text, but never beyond MAX_METHOD_RESPONSE bytes; a longer
// document is cut there (kept so: existing clients size their reads by it).
int method_buffer(const Json::Value &document, char **buffer, uint32_t *length, int line) {
  return framed_block(cmpiutility::compact_text(document), MAX_METHOD_RESPONSE, buffer, length,
                      line)
             ? 0
             : 1;
}

// The value of one of the class record's arrays, for the array encoder.
CMPIData array_data(CMPIArray *array, CMPIType type) {
  CMPIData data;
  data.type = type;
  data.state = CMPI_goodValue;
  data.value.array = array;
  return data;
}

}  // namespace

int getConstClassProps(ServerResp *response, Json::Value &document) {
  CMPIU_TRACE_FUNCTION();
  CMPIConstClass *cls = (response != nullptr) ? response->constClass : nullptr;
  if (cls == nullptr) {
    CMPIU_ERROR("__%s#%d: invalid constClass", kClassProps, 671);
    return 1;
  }
  CMPIU_TRACE("__%s#%d: const class serialization", kClassProps, 613);
  const CMPIClassRecord *record = static_cast<const CMPIClassRecord *>(cls->hdl);
  if (record == nullptr || record->className == nullptr || record->nameSpace == nullptr) {
    CMPIU_ERROR("__%s#%d: invalid class or namespace", kClassProps, 623);
    return 1;
  }
  document[cmpiutility::member::kClassName] = record->className;
  document[cmpiutility::member::kNameSpace] = record->nameSpace;

  struct List {
    const char *member;
    CMPIArray *array;
    CMPIType type;
    int line;
  };
  const List lists[] = {
      {"PropList", record->propertyNames, CMPI_stringA, 636},
      {"MethodList", record->methodNames, CMPI_stringA, 650},
      {"MethodParamList", record->methodParameters, CMPI_instanceA, 664},
  };
  // One scratch value serves all three lists: it is copied into its member and then cleared,
  // which leaves an empty object behind once it has held a list (so an empty list after a
  // non-empty one is written as {} and one before any as null; readers treat both as empty).
  Json::Value scratch;
  for (const List &list : lists) {
    // A class record without an array is written like one with an empty array.
    if (list.array != nullptr &&
        (getCMPIArgsArray(array_data(list.array, list.type), scratch) & 1) != 0) {
      if (list.line == 636) {
        CMPIU_ERROR("__%s#%d: const class prop array serialize failed", kClassProps, list.line);
      } else {
        CMPIU_ERROR("__%s#%d: const class method array serialize failed", kClassProps,
                    list.line);
      }
      return 1;
    }
    document[list.member] = scratch;
    scratch.clear();
  }
  return 0;
}

extern "C" int serializeResponse(ServerResp *response, char *fixedBuffer, char **methodBuffer,
                                 uint32_t *length, void **buffer) {
  return cmpiutility::serialize_response(response, fixedBuffer, methodBuffer, length, buffer,
                                         cmpiutility::InstanceWriter::kDirect);
}

int cmpiutility::serialize_response(ServerResp *response, char *fixedBuffer, char **methodBuffer,
                                    uint32_t *length, void **buffer, InstanceWriter writer) {
  const cmpiutility::ScopedTrace trace(kSerialize);
  if (response == nullptr) {
    CMPIU_ERROR_AT(kSerialize, 2621, "'invalid response'");
    return 1;
  }
  Json::Value document(Json::objectValue);
  document[cmpiutility::member::kRequestType] = Json::UInt(static_cast<uint32_t>(response->type));
  Obtained got;

  switch (response->type) {
    case ENUMINST:
    case ASSOCIATORS:
    case EXECQUERY:
      // The status of a result-set member is not carried.
      return instance_buffer(response, got, document, {2632, 2636, 2639, 2644}, writer, buffer,
                             length, 2652);
    case ENUMINSTNAMES:
      if (!write_names(response->objectPath, got, document, 2740, 2743)) return 1;
      if (getCMKey(nullptr, response, document) != 0) {
        CMPIU_ERROR_AT(kSerialize, 2748, "'getCMKey failed'");
        return 1;
      }
      return general_buffer(document, buffer, length, 2755);
    case GETINST:
      if (status_code(response->status) != 0) {
        write_status(response->status, document, "GetInstStatus", "GetInstStatusMsg");
        return general_buffer(document, buffer, length, 2670);
      }
      return instance_buffer(response, got, document, {2679, 2683, 2686, 2691}, writer, buffer,
                             length, 2698);
    case MODIFYINST:
    case DELETEINST:
      write_status(response->status, document, "SetInstStatus", "SetInstStatusMsg");
      formString(document, fixedBuffer);
      return 0;
    case INVOKEMETHOD:
      document["RetVal"] = Json::UInt(response->retType);
      if ((getArgs(nullptr, response, document) & 1) != 0) {
        CMPIU_ERROR_AT(kSerialize, 2773, "'getArgs failed'");
        return 1;
      }
      return method_buffer(document, methodBuffer, length, 2785);
    case CREATEINST:
      // The new path travels only when the provider made one; the status always does.
      if (response->objectPath != nullptr) {
        if (!write_names(response->objectPath, got, document, 2796, 2799)) return 1;
        if (getCMKey(nullptr, response, document) != 0) {
          CMPIU_ERROR_AT(kSerialize, 2804, "'getCMKey failed'");
          return 1;
        }
      }
      write_status(response->status, document, "SetInstStatus", "SetInstStatusMsg");
      formString(document, fixedBuffer);
      return 0;
    case GETCLASS:
      if (status_code(response->status) != 0) {
        write_status(response->status, document, "GetClassStatus", "GetClassStatusMsg");
        return general_buffer(document, buffer, length, 2716);
      }
      if (getConstClassProps(response, document) != 0) {
        CMPIU_ERROR_AT(kSerialize, 2724, "'getConstClassProps failed'");
        return 1;
      }
      return general_buffer(document, buffer, length, 2731);
    default:
      // Another type writes nothing and still reports success.
      return 0;
  }
}
