#include "json/instance_props_text.h"

#include <cmpimacs.h>
#include <cmpipropertylook.h>
#include <cmpiutility/records.h>
#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "heap/heap.h"
#include "json/compact_pieces.h"
#include "json/embedded_instance.h"
#include "json/key_stream.h"
#include "json/reference_keys.h"
#include "json/scalar_text.h"
#include "json/type_codes.h"
#include "log/log.h"

namespace cmpiutility {
namespace {

// The log lines name the encoders whose walk this one repeats.
constexpr const char kProps[] = "getInstanceProps";
constexpr const char kArray[] = "getCMPIArgsArray";
constexpr const char kReference[] = "getCMPIArgsRef";

// A C string, quoted. A C string holds no NUL before its end, so quoting cannot fail.
void append_text(const char *text, std::string *out) {
  compact::append_quoted(text, text + std::strlen(text), out);
}

// ,"Value":<v> of a scalar from its text, as getCMPIArgs decides it (same families, same order);
// nothing for the codes that carry no "Value".
void append_scalar_value(CMPIType type, const char *text, std::string *out) {
  if (text == nullptr || type == CMPI_null) {
    out->append(",\"Value\":null");
    return;
  }
  if ((type & CMPI_ENC) != 0) {
    switch (type) {
      case CMPI_string:
      case CMPI_booleanString:
      case CMPI_numericString:
      case CMPI_chars:
      case CMPI_dateTime:
      case CMPI_dateTimeString:
        out->append(",\"Value\":");
        append_text(text, out);
        break;
      default:
        break;
    }
    return;
  }
  if ((type & CMPI_SIMPLE) != 0) {
    if (type == CMPI_boolean) {
      out->append(strcasecmp(text, "true") == 0 ? ",\"Value\":1" : ",\"Value\":0");
    }
    return;
  }
  if ((type & CMPI_INTEGER) != 0) {
    out->append(",\"Value\":");
    compact::append_unsigned(static_cast<unsigned long long>(strtoll(text, nullptr, 10)), out);
    return;
  }
  if ((type & CMPI_REAL) != 0) {
    if (type == CMPI_real32 || type == CMPI_real64) {
      out->append(",\"Value\":");
      compact::append_real(static_cast<double>(strtof(text, nullptr)), out);
    }
    return;
  }
}

// The reference object of path as getCMPIArgsRef builds it ("ClassName", "NameSpace", "key"),
// with its log lines and the key text echoed on standard output. 0, or 1 after its error line
// (getCMPIArgsRef's failures all fail the whole instance, so no partial object is written).
unsigned int append_reference(CMPIObjectPath *path, std::string *out) {
  // Released at the end, as getCMPIArgsRef releases them.
  struct Names {
    CMPIString *name_space = nullptr;
    CMPIString *class_name = nullptr;
    ~Names() {
      if (class_name != nullptr) CMRelease(class_name);
      if (name_space != nullptr) CMRelease(name_space);
    }
  } names;
  names.name_space = (path != nullptr) ? CMGetNameSpace(path, nullptr) : nullptr;
  if (chars_of(names.name_space) == nullptr) {
    CMPIU_ERROR_AT(kReference, 442, "'namespace is NULL'");
    return 1;
  }
  names.class_name = CMGetClassName(path, nullptr);
  if (chars_of(names.class_name) == nullptr) {
    CMPIU_ERROR_AT(kReference, 445, "'classname is NULL'");
    return 1;
  }
  std::string keys;
  bool has_keys = false;
  if (reference_key_text(path, &keys, &has_keys) != 0) return 1;
  out->append("{\"ClassName\":");
  append_text(chars_of(names.class_name), out);
  out->append(",\"NameSpace\":");
  append_text(chars_of(names.name_space), out);
  out->append(",\"key\":");
  if (has_keys) {
    compact::append_quoted(keys.data(), keys.data() + keys.size(), out);
  } else {
    out->append("null");
  }
  out->push_back('}');
  return 0;
}

// The embedded-instance object of instance, step for step as encode_embedded builds it: the
// scratch request record is allocated and freed the same way (its allocation is where the walk
// can be made to stop), the object path, namespace and class name are read and released in the
// same order, and the properties come from append_instance_props. On anything but kDone the
// text appended so far is for the caller to drop.
Embedded append_embedded(CMPIInstance *instance, std::string *out) {
  void *scratch = cmpiu_calloc(1, sizeof(ClientReq));
  if (scratch == nullptr) {
    CMPIU_ERROR("Error: memallocation failed for creqInst ");
    return Embedded::kNoScratch;
  }
  free(scratch);  // only its allocation matters here: the walk reads the instance directly
  if (instance == nullptr) {
    CMPIU_TRACE("instance is null ");
    return Embedded::kNullInstance;
  }
  CMPIObjectPath *path = CMGetObjectPath(instance, nullptr);
  CMPIString *name_space = (path != nullptr) ? CMGetNameSpace(path, nullptr) : nullptr;
  CMPIString *class_name = (path != nullptr) ? CMGetClassName(path, nullptr) : nullptr;
  const char *class_text = chars_of(class_name);
  const char *name_space_text = chars_of(name_space);
  out->append("{\"ClassName\":");
  append_text(class_text != nullptr ? class_text : "", out);
  // The tail is written now, while the texts are held; it is put in place after the properties.
  std::string tail(",\"NameSpace\":");
  append_text(name_space_text != nullptr ? name_space_text : "", &tail);
  tail.append(",\"Principal\":\"TEMP\",\"RequestType\":1}");
  if (class_name != nullptr) CMRelease(class_name);
  if (name_space != nullptr) CMRelease(name_space);
  if (path != nullptr) CMRelease(path);

  const size_t before_props = out->size();
  out->append(",\"InstanceProps\":");
  const PropsOutcome props = append_instance_props(instance, out);
  if (!props.written) out->resize(before_props);
  if ((props.result & 1) != 0) return Embedded::kPropsFailed;
  out->append(tail);
  return Embedded::kDone;
}

// ,"Value":[...] of an array, element by element as getCMPIArgsArray walks it, with its log
// lines; "Value" only once an entry is written. 0, or 1 after the array's own error line (the
// text appended so far is then for the caller to drop).
unsigned int append_array_value(CMPIArray *array, std::string *out) {
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const CMPICount count = (array != nullptr) ? CMGetArrayCount(array, &status) : 0;
  if (array == nullptr || status.rc != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kArray, 358, "'Unable to get size of array' ");
    return 1;
  }
  if (count == 0) {
    CMPIU_TRACE("INFO: No array associated to the request'");
    return 0;
  }
  bool first = true;
  const auto open_entry = [&first, out]() {
    out->append(first ? ",\"Value\":[" : ",");
    first = false;
  };
  for (CMPICount index = 0; index < count; ++index) {
    status = CMPIStatus{CMPI_RC_OK, nullptr};
    const cmpiinterface::ElementLook look(array, index, &status);
    const CMPIData &element = look.data();
    if (status.rc != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kArray, 370, "'Unable to get size of array' ");
      return 1;
    }
    const CMPIType type = element.type;
    const CMPIValue value = element.value;
    if (type != CMPI_instance) {
      const ScalarText text(type, value);
      if (is_integer_type(type)) {
        // An integer always has its text, and only the number is written.
        open_entry();
        compact::append_unsigned(static_cast<unsigned long long>(text.read_back()), out);
        continue;
      }
      if (text.get() == nullptr) {
        CMPIU_ERROR_AT(kArray, 403, "'value2Chars failed' ");
        return 1;
      }
      if ((type & CMPI_INTEGER) != 0) {
        open_entry();
        compact::append_unsigned(static_cast<unsigned long long>(strtoll(text.get(), nullptr, 10)),
                                 out);
      } else if ((type & CMPI_ENC) != 0) {
        open_entry();
        append_text(text.get(), out);
      }
      continue;
    }
    open_entry();
    switch (append_embedded(value.inst, out)) {
      case Embedded::kDone:
        break;
      case Embedded::kNoScratch:
        return 1;
      case Embedded::kNullInstance:
      case Embedded::kPropsFailed:
        CMPIU_ERROR_AT(kArray, 396, "'getInstanceProps failed'");
        return 1;
    }
  }
  if (!first) out->push_back(']');
  return 0;
}

// <lead>"DataState":<state>,"DataType":<type>, lead being '{' or ','; the usual state 0 is
// written in one piece.
void append_state_and_type(char lead, CMPIValueState state, CMPIType type, std::string *out) {
  if (state == 0) {
    out->append(lead == '{' ? "{\"DataState\":0,\"DataType\":" : ",\"DataState\":0,\"DataType\":");
  } else {
    out->push_back(lead);
    out->append("\"DataState\":");
    compact::append_unsigned(state, out);
    out->append(",\"DataType\":");
  }
  compact::append_unsigned(type, out);
}

// One property as written: the name (an offset into the names buffer, NUL-terminated there) and
// its member text "<name>":{...} at [begin, end) of the output.
struct Member {
  size_t name;
  size_t begin;
  size_t end;
};

// Up to this many members are sorted in place; more (where insertion sort's quadratic time
// would show) with std::stable_sort.
constexpr size_t kFewMembers = 32;

// Puts the members written at [start, out->size()) (separated by single commas) into jsoncpp's
// order: bytewise by name, and of equal names only the last one written.
void sort_members(std::vector<Member> &members, const std::string &names, size_t start,
                  std::string *out) {
  const char *base = names.data();
  const auto before = [base](const Member &a, const Member &b) {
    return std::strcmp(base + a.name, base + b.name) < 0;
  };
  if (members.size() <= kFewMembers) {
    // Insertion sort: stable, and for the dozen or so members of a usual instance cheaper than
    // std::stable_sort, which takes a buffer from the heap first.
    for (size_t i = 1; i < members.size(); ++i) {
      const Member moving = members[i];
      size_t j = i;
      for (; j > 0 && before(moving, members[j - 1]); --j) members[j] = members[j - 1];
      members[j] = moving;
    }
  } else {
    std::stable_sort(members.begin(), members.end(), before);
  }
  const std::string written(*out, start);
  out->resize(start);
  bool first = true;
  for (size_t i = 0; i < members.size(); ++i) {
    if (i + 1 < members.size() &&
        std::strcmp(base + members[i].name, base + members[i + 1].name) == 0) {
      continue;  // a later value of the same name replaces this one
    }
    if (!first) out->push_back(',');
    first = false;
    out->append(written, members[i].begin - start, members[i].end - members[i].begin);
  }
}

}  // namespace

PropsOutcome append_instance_props(CMPIInstance *instance, std::string *out) {
  if (instance == nullptr) {
    CMPIU_ERROR_AT(kProps, 516, "'Instance is NULL'");
    return {1, false};
  }
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const CMPICount count = CMGetPropertyCount(instance, &status);
  if (status.rc != CMPI_RC_OK) {
    CMPIU_ERROR_AT(kProps, 521, "'CMGetPropertyCount issue'");
    return {1, false};
  }
  if (count == 0) {
    CMPIU_TRACE("INFO: 'No property is associated with the instance'");
    return {0, false};
  }
  CMPIU_TRACE("numproperties = %d", static_cast<int>(count));

  const size_t entry = out->size();
  out->push_back('{');
  const size_t start = out->size();
  std::vector<Member> members;
  members.reserve(count);
  std::string names;
  names.reserve(static_cast<size_t>(count) * 16);
  bool in_order = true;

  // As in getInstanceProps: the outcome of a walk stopped by a scratch record that cannot be
  // allocated is 1, cleared for good by any reference, array or embedded-instance property met
  // before.
  unsigned int stopped_result = 1;
  for (CMPICount index = 0; index < count; ++index) {
    status = CMPIStatus{CMPI_RC_OK, nullptr};
    const cmpiinterface::PropertyLook property(instance, index, &status);
    const CMPIData &data = property.data();
    if (status.rc != CMPI_RC_OK) {
      CMPIU_ERROR_AT(kProps, 535, "'No property available at %d'", static_cast<int>(index));
      out->resize(entry);
      return {1, false};
    }
    const char *property_name = property.name();
    if (property_name == nullptr) continue;

    if (!members.empty()) out->push_back(',');
    Member member;
    member.name = names.size();
    member.begin = out->size();
    const size_t name_length = std::strlen(property_name);
    if (in_order && !members.empty() &&
        std::strcmp(names.data() + members.back().name, property_name) >= 0) {
      in_order = false;
    }
    names.append(property_name, name_length + 1);
    compact::append_quoted(property_name, property_name + name_length, out);
    out->push_back(':');

    const CMPIType type = data.type;
    const CMPIValue value = data.value;
    if (type == CMPI_instance) {
      out->append("{\"CMPIInstance\":");
      switch (append_embedded(value.inst, out)) {
        case Embedded::kDone:
          break;
        case Embedded::kNoScratch:
          out->resize(entry);
          return {stopped_result, false};  // the walk stops; "InstanceProps" is not written
        case Embedded::kNullInstance:
        case Embedded::kPropsFailed:
          CMPIU_ERROR_AT(kProps, 568, "'getInstanceProps failed'");
          out->resize(entry);
          return {1, false};
      }
      append_state_and_type(',', data.state, data.type, out);
      stopped_result = 0;
    } else {
      append_state_and_type('{', data.state, type, out);
      if (type == CMPI_ref) {
        out->append(",\"Value\":");
        if (append_reference(value.ref, out) != 0) {
          CMPIU_ERROR_AT(kProps, 540, "'getCMPIArgsRef failed'");
          out->resize(entry);
          return {1, false};
        }
        stopped_result = 0;
      } else if ((type & CMPI_ARRAY) != 0) {
        if (value.array == nullptr) {
          out->append(",\"Value\":null");
        } else if (append_array_value(value.array, out) != 0) {
          CMPIU_ERROR_AT(kProps, 547, "'getCMPIArgsArray failed'");
          out->resize(entry);
          return {1, false};
        }
        stopped_result = 0;
      } else {
        const ScalarText text(type, value);
        CMPIU_TRACE("'%s' valuestr = %s", kProps, text.get() != nullptr ? text.get() : "(null)");
        if (is_integer_type(type)) {
          out->append(",\"Value\":");
          compact::append_unsigned(static_cast<unsigned long long>(text.read_back()), out);
        } else {
          append_scalar_value(type, text.get(), out);
        }
      }
    }
    out->push_back('}');
    member.end = out->size();
    members.push_back(member);
  }
  if (!in_order) sort_members(members, names, start, out);
  out->push_back('}');
  return {0, true};
}

}  // namespace cmpiutility
