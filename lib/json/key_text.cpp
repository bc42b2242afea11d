// The key text: writing the keys of an object path (getCMKey) and adding them back (addCMKey).
#include "json/key_text.h"

#include <cmpimacs.h>

#include <cstring>
#include <string>

#include "json/key_stream.h"
#include "log/log.h"

namespace {

using cmpiutility::chars_of;
using cmpiutility::KeyStream;

// The path whose keys a document carries: the request's COP when there is a request, else the
// response's objectPath.
CMPIObjectPath *path_of(ClientReq *request, ServerResp *response) {
  if (request != nullptr) return request->COP;
  if (response != nullptr) return response->objectPath;
  return nullptr;
}

std::string owned_text(std::string text) { return text; }
std::string owned_text(const cmpiutility::FrameText &text) { return text.str(); }

// The member "key" as text; absent, null or a member that has no text form reads as "".
template <typename Node>
std::string key_text_of(const Node &document) {
  if (!document.isObject()) return std::string();
  const auto &key = document["key"];
  if (key.isNull() || !key.isConvertibleTo(Json::stringValue)) return std::string();
  return owned_text(key.asString());
}

// One key entry ("name=value") split at its first "=". An entry without "=" gives a key whose
// name and value are both the whole entry.
void split_entry(const std::string &text, size_t begin, size_t end, std::string *name,
                 std::string *value) {
  const size_t eq = text.find('=', begin);
  if (eq == std::string::npos || eq >= end) {
    name->assign(text, begin, end - begin);
    *value = *name;
    return;
  }
  name->assign(text, begin, eq - begin);
  value->assign(text, eq + 1, end - eq - 1);
}

// CMAddKey with its status code. A missing path cannot take a key: that is reported as the
// object library reports a path without a handle.
CMPIrc add_key(CMPIObjectPath *path, const char *name, const CMPIValue *value, CMPIType type) {
  if (path == nullptr) return CMPI_RC_ERR_INVALID_HANDLE;
  const CMPIStatus status = CMAddKey(path, name, value, type);
  return status.rc;
}

// A CMPI_chars key: for CMPI_chars the value pointer handed to the setter is the text itself.
CMPIrc add_chars_key(CMPIObjectPath *path, const std::string &name, const std::string &value) {
  return add_key(path, name.c_str(), reinterpret_cast<const CMPIValue *>(value.c_str()),
                 CMPI_chars);
}

// Plain form: "name=value," entries; text after the last "," is ignored.
int add_plain_keys(CMPIObjectPath *objectPath, const std::string &text) {
  std::string name;
  std::string value;
  size_t pos = 0;
  for (size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', pos)) {
    split_entry(text, pos, comma, &name, &value);
    if (add_chars_key(objectPath, name, value) != CMPI_RC_OK) {
      CMPIU_ERROR_AT("addCMKey", 1106, "'%s' key can not be added", name.c_str());
      return 1;
    }
    pos = comma + 1;
  }
  return 0;
}

// One group "role=namespace:Class.key=value,key=value," taken from inner. Returns 0 when the
// group was added or skipped, 1 after a level-2 line.
int add_group(CMPIObjectPath *objectPath, const std::string &inner) {
  // A group without "=", ":" or "." is skipped without a word.
  const size_t eq = inner.find('=');
  if (eq == std::string::npos) return 0;
  const std::string role = inner.substr(0, eq);
  CMPIU_TRACE("role:%s ", role.c_str());

  const size_t colon = inner.find(':', eq + 1);
  if (colon == std::string::npos) return 0;
  const std::string name_space = inner.substr(eq + 1, colon - eq - 1);
  CMPIU_TRACE("ns:%s ", name_space.c_str());

  const size_t dot = inner.find('.', colon + 1);
  if (dot == std::string::npos) return 0;
  const std::string class_name = inner.substr(colon + 1, dot - colon - 1);
  CMPIU_TRACE("cn:%s ", class_name.c_str());

  CMPIStatus status = {CMPI_RC_OK, nullptr};
  CMPIObjectPath *newPath = makeNewObjectPath(name_space.c_str(), class_name.c_str(), &status);
  const CMPIrc made = status.rc;
  if (made != CMPI_RC_OK || newPath == nullptr) {
    if (!CMPIU_STATUS_RULE(made, "addCMKey", 1067, "'makeNewObjectPath failed'")) {
      if (newPath != nullptr) CMRelease(newPath);
      return 1;
    }
  }

  size_t pos = dot + 1;
  CMPIU_TRACE("key props:%s ", inner.c_str() + pos);
  std::string name;
  std::string value;
  for (size_t comma = inner.find(',', pos); comma != std::string::npos;
       comma = inner.find(',', pos)) {
    split_entry(inner, pos, comma, &name, &value);
    CMPIU_TRACE("CMAddKey:%s,%s ", name.c_str(), value.c_str());
    // A factory that gave no path with a success status leaves nothing to add the keys to:
    // they are passed over, and so is the reference below, instead of using a missing path.
    if (newPath != nullptr && add_chars_key(newPath, name, value) != CMPI_RC_OK) {
      CMPIU_ERROR_AT("addCMKey", 1078, "'%s' key can not be added", name.c_str());
      CMRelease(newPath);
      return 1;
    }
    pos = comma + 1;
  }

  if (newPath == nullptr) return 0;
  CMPIValue reference;
  std::memset(&reference, 0, sizeof(reference));
  reference.ref = newPath;
  const CMPIrc added = add_key(objectPath, role.c_str(), &reference, CMPI_ref);
  // The object library copies the reference into objectPath, so our own path goes now; it is
  // released on failure as well, nothing may be left behind.
  CMRelease(newPath);
  if (added != CMPI_RC_OK) {
    CMPIU_ERROR_AT("addCMKey", 1085, "CMAddKey failed ");
    return 1;
  }
  return 0;
}

// Group form: one reference key per "(...)" group; string keys outside the groups are not added
// (peers rely on this: a path with string and reference keys comes back with its reference keys
// only).
int add_group_keys(CMPIObjectPath *objectPath, const std::string &text) {
  size_t pos = 0;  // start of the text that remains
  size_t open = text.find('(');
  size_t close = text.find(')');
  while (open != std::string::npos && close != std::string::npos) {
    // The inner text starts behind the "(" and is as long as the position of the ")" minus one,
    // counted from the start of the remaining text, not from the "(". This equals the group's
    // content when the "(" is the first character (every group after the first one, or a text
    // that starts with a group); otherwise it runs on past the ")". Peers write and read keys
    // this way, so the length is kept. A ")" at the very start gives an inner text that runs
    // to the end.
    const size_t length = close - pos - 1;  // wraps to npos when the ")" comes first
    const std::string inner = text.substr(open + 1, length);
    CMPIU_TRACE("******************");
    CMPIU_TRACE("props:%s ", inner.c_str());
    if (add_group(objectPath, inner) != 0) return 1;

    pos = close + 1;
    CMPIU_TRACE("get next Role: %s", text.c_str() + pos);
    // The remaining text only shrinks from its front: a "(" or ")" found before still counts
    // while it lies in the remaining text, so each is searched for again only once passed.
    if (open != std::string::npos && open < pos) open = text.find('(', pos);
    close = text.find(')', pos);
  }
  return 0;
}

}  // namespace

int getCMKey(ClientReq *request, ServerResp *response, Json::Value &document) {
  CMPIU_TRACE_FUNCTION();
  CMPIObjectPath *path = path_of(request, response);

  // The status of the key calls is not looked at. A missing path counts as a path without keys,
  // as a path without a handle does with the object library.
  CMPIStatus status = {CMPI_RC_OK, nullptr};
  const CMPICount count = (path != nullptr) ? CMGetKeyCount(path, &status) : 0;
  if (count == 0) {
    CMPIU_TRACE("INFO: No key associated with client request");
    return 0;
  }

  KeyStream text;
  for (CMPICount index = 0; index < count; ++index) {
    CMPIString *name = nullptr;
    const CMPIData key = CMGetKeyAt(path, index, &name, &status);
    const CMPIType type = key.type;
    CMPIValue value = key.value;
    bool carried = name != nullptr;
    if (carried && type == CMPI_ref) {
      // A reference key whose path is missing has no text: the stream fails at that point.
      CMPIObjectPath *reference = value.ref;
      CMPIString *referenceText =
          (reference != nullptr) ? CMObjectPathToString(reference, nullptr) : nullptr;
      text << "(" << chars_of(name) << "=" << chars_of(referenceText) << ",)";
      if (referenceText != nullptr) CMRelease(referenceText);
    } else if (carried && type == CMPI_string) {
      text << chars_of(name) << "=" << chars_of(value.string) << ",";
    } else {
      // Only string and reference keys can be carried; this is part of the format.
      carried = false;
    }
    if (name != nullptr) CMRelease(name);
    if ((key.state & CMPI_nullValue) == 0) cmpiReleaseCMPIValue(type, &value);
    if (!carried) {
      CMPIU_ERROR_AT(__func__, 262, "'unable to get the key'");
      return 1;
    }
  }

  document["key"] = text.text();
  CMPIU_TRACE("KeyString %s ", text.text().c_str());
  return 0;
}

namespace {

// What addCMKey does, for either document type.
template <typename Node>
int add_keys_of(CMPIObjectPath *objectPath, const Node &document) {
  ::cmpiutility::ScopedTrace cmpiu_scoped_trace_("addCMKey");
  const std::string text = key_text_of(document);
  CMPIU_TRACE("addCMKey %s ", text.c_str());
  if (text.empty()) return 0;
  // Both "(" and ")" anywhere, in any order, select the group form.
  if (text.find('(') != std::string::npos && text.find(')') != std::string::npos) {
    return add_group_keys(objectPath, text);
  }
  return add_plain_keys(objectPath, text);
}

}  // namespace

int addCMKey(CMPIObjectPath *objectPath, const Json::Value &document) {
  return add_keys_of(objectPath, document);
}

int addCMKey(CMPIObjectPath *objectPath, const cmpiutility::FrameNode &document) {
  return add_keys_of(objectPath, document);
}

