// request_check_fuzz: the daemon's strict request check on arbitrary text. It must never crash,
// must give a reason for every refusal, and whatever it accepts must read the same to the
// library's lenient parser (jsoncpp): the same request type, principal, class name and
// namespace, so that the daemon routes a request exactly as the worker will serve it.
#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "request_check.h"

namespace {

// A text member of the parsed document as the parser reads it.
std::string text_member(const Json::Value &document, const char *name) {
  const Json::Value &member = document[name];
  return member.isNull() ? std::string() : member.asString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *text = reinterpret_cast<const char *>(data);
  const hostd::RequestCheck check = hostd::check_request(std::string_view(text, size));
  if (!check.accepted) {
    if (check.reason.empty()) std::abort();
    return 0;
  }
  if (!check.reason.empty()) std::abort();
  // The parser reads the text only up to its first NUL: an accepted document has none.
  if (std::memchr(text, 0, size) != nullptr) std::abort();

  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value document;
  std::string errors;
  // Numbers beyond the range of a double are JSON that jsoncpp refuses by itself; whatever it
  // does read must agree with the facts.
  if (!reader->parse(text, text + size, &document, &errors)) return 0;
  if (!document.isObject()) std::abort();
  if (document["RequestType"].asLargestUInt() != static_cast<Json::LargestUInt>(check.facts.type)) {
    std::abort();
  }
  if (text_member(document, "Principal") != check.facts.principal) std::abort();
  if (text_member(document, "ClassName") != check.facts.class_name) std::abort();
  if (text_member(document, "NameSpace") != check.facts.name_space) std::abort();
  return 0;
}
