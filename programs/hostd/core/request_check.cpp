// request_check.cpp - the request rules on top of the strict reader: member types at the top
// level, lengths of names and texts wherever they stand, duplicates, NULs, and the facts.
#include "request_check.h"

#include <cstdint>
#include <utility>

#include "json_reader.h"
#include "member_names.h"

namespace hostd {

namespace {

// What the top level of a request demands of a member's value.
enum class Rule {
  kRequestType,   // an integer 1 to 10
  kRequiredName,  // a non-empty string
  kString,        // a string
  kNullableName,  // a string or null
  kFlag,          // true, false or null
  kObject,        // an object
  kAny,           // anything: a member of the value objects, which the top level does not have
};

// Which limit a member's string value is held to, at any depth.
enum class Limit { kNone, kName, kText };

// Which fact a top-level member's value is.
enum class Fact { kNone, kPrincipal, kClassName, kNameSpace };

struct Member {
  std::string_view name;
  Rule rule;
  Limit limit;
  Fact fact;
};

// The members the parser reads: those of a request's top level, then those of the value
// objects below it. Their bit in the set of top-level members seen is their index here.
constexpr Member kMembers[] = {
    {"RequestType", Rule::kRequestType, Limit::kNone, Fact::kNone},
    {"ClassName", Rule::kRequiredName, Limit::kName, Fact::kClassName},
    {"NameSpace", Rule::kRequiredName, Limit::kName, Fact::kNameSpace},
    {"Principal", Rule::kString, Limit::kName, Fact::kPrincipal},
    {"MethodName", Rule::kString, Limit::kName, Fact::kNone},
    {"Query", Rule::kString, Limit::kText, Fact::kNone},
    {"key", Rule::kString, Limit::kText, Fact::kNone},
    {"AssocClass", Rule::kNullableName, Limit::kName, Fact::kNone},
    {"ResultClass", Rule::kNullableName, Limit::kName, Fact::kNone},
    {"Role", Rule::kNullableName, Limit::kName, Fact::kNone},
    {"ResultRole", Rule::kNullableName, Limit::kName, Fact::kNone},
    {"RefsOnly", Rule::kFlag, Limit::kNone, Fact::kNone},
    {"InstanceProps", Rule::kObject, Limit::kNone, Fact::kNone},
    {"ArgsIn", Rule::kObject, Limit::kNone, Fact::kNone},
    {"DataType", Rule::kAny, Limit::kNone, Fact::kNone},
    {"DataState", Rule::kAny, Limit::kNone, Fact::kNone},
    {"Value", Rule::kAny, Limit::kNone, Fact::kNone},
    {"CMPIInstance", Rule::kAny, Limit::kNone, Fact::kNone},
};

static_assert(sizeof(kMembers) / sizeof(kMembers[0]) <= 32, "one bit per member in a 32-bit set");

constexpr std::size_t longest_member_name() {
  std::size_t longest = 0;
  for (const Member &member : kMembers) {
    if (member.name.size() > longest) longest = member.name.size();
  }
  return longest;
}
constexpr std::size_t kLongestMemberName = longest_member_name();

constexpr std::size_t kRequestTypeIndex = 0;
constexpr std::size_t kClassNameIndex = 1;
constexpr std::size_t kNameSpaceIndex = 2;
constexpr std::size_t kMethodNameIndex = 4;
constexpr std::size_t kQueryIndex = 5;

// The request types whose parse cannot do without a further member.
constexpr int kInvokeMethod = 5;
constexpr int kExecQuery = 7;

// Longest duplicated name that a reason quotes.
constexpr std::size_t kQuotableName = 64;

const Member *find_member(std::string_view name) {
  for (const Member &member : kMembers) {
    if (member.name == name) return &member;
  }
  return nullptr;
}

std::size_t index_of(const Member &member) {
  return static_cast<std::size_t>(&member - kMembers);
}

// A name that may stand in a log line as it is: short, printable ASCII, no quote or backslash.
bool quotable(std::string_view name) {
  if (name.size() > kQuotableName) return false;
  for (char c : name) {
    if (c < 0x20 || c > 0x7E || c == '"' || c == '\\') return false;
  }
  return true;
}

std::string quoted(std::string_view name) {
  std::string text = "member \"";
  text.append(name.data(), name.size());
  text += '"';
  return text;
}

std::string at_byte(const char *what, std::size_t offset) {
  return std::string(what) + " at byte " + std::to_string(offset);
}

class Checker {
 public:
  Checker(std::string_view document, const RequestCheckLimits &limits)
      : reader_(document, limits.max_depth), names_(reader_), limits_(limits) {}

  RequestCheck run();

 private:
  bool on_name();
  bool on_value(JsonToken token);
  bool check_top(const Member &member, JsonToken token);
  bool check_length(const Member &member, const JsonString &value);
  bool keep_fact(Fact fact, const JsonString &value);
  bool check_required();
  bool refuse(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }
  std::string reader_reason() const;
  std::string too_long_name() const {
    return "a member name is longer than " + std::to_string(limits_.max_name) + " bytes";
  }
  RequestCheck refused() const {
    RequestCheck check;
    check.reason = reason_;
    return check;
  }

  JsonReader reader_;
  MemberNames names_;
  const RequestCheckLimits &limits_;
  const Member *pending_ = nullptr;  // the known member whose value comes next
  bool pending_top_ = false;         // ... and it stands at the top level
  std::uint32_t seen_ = 0;           // top-level members met, by their index in kMembers
  RequestFacts facts_;
  std::string reason_;
  std::string name_;  // scratch for unescaped member names
};

std::string Checker::reader_reason() const {
  const std::size_t offset = reader_.error_offset();
  switch (reader_.error()) {
    case JsonError::kEmpty:
      return "the document is empty";
    case JsonError::kNul:
      return "a string contains a NUL character";
    case JsonError::kBadUtf8:
      return at_byte("not valid UTF-8", offset);
    case JsonError::kLoneSurrogate:
      return at_byte("an unpaired surrogate escape", offset);
    case JsonError::kTooDeep:
      return "nesting deeper than " + std::to_string(limits_.max_depth) + " levels";
    case JsonError::kTrailing:
      return at_byte("text after the document", offset);
    case JsonError::kSyntax:
    case JsonError::kNone:
      break;
  }
  return at_byte("not valid JSON", offset);
}

RequestCheck Checker::run() {
  JsonToken token = reader_.next();
  if (token == JsonToken::kError) {
    refuse(reader_reason());
    return refused();
  }
  if (token != JsonToken::kObjectBegin) {
    refuse("the document is not a JSON object");
    return refused();
  }
  names_.open_object(reader_.depth());
  for (;;) {
    token = reader_.next();
    switch (token) {
      case JsonToken::kError:
        refuse(reader_reason());
        return refused();
      case JsonToken::kEnd: {
        if (!check_required()) return refused();
        RequestCheck check;
        check.accepted = true;
        check.facts = std::move(facts_);
        return check;
      }
      case JsonToken::kName:
        if (!on_name()) return refused();
        break;
      case JsonToken::kObjectEnd:
      case JsonToken::kArrayEnd:
        break;
      default:
        if (!on_value(token)) return refused();
        break;
    }
  }
}

bool Checker::on_name() {
  const JsonString &token = reader_.string();
  if (token.has_nul) return refuse("a string contains a NUL character");
  // The names of the members a request is made of are this daemon's own and pass whatever the
  // limit; any other name is held to it. Nothing longer than the longest of them is unescaped.
  const bool long_name = token.length > limits_.max_name;
  if (long_name && token.length > kLongestMemberName) return refuse(too_long_name());
  std::string_view name = reader_.raw_of(token);
  if (token.escaped) {
    reader_.decode(token, &name_);
    name = name_;
  }
  pending_ = find_member(name);
  if (long_name && pending_ == nullptr) return refuse(too_long_name());
  const int depth = reader_.depth();
  if (!names_.add(depth, token, name)) {
    return refuse(quotable(name) ? "duplicate " + quoted(name) : "duplicate member name");
  }
  pending_top_ = depth == 1;
  if (pending_ != nullptr && pending_top_) seen_ |= 1u << index_of(*pending_);
  return true;
}

bool Checker::on_value(JsonToken token) {
  const Member *member = pending_;
  pending_ = nullptr;
  if (token == JsonToken::kObjectBegin) names_.open_object(reader_.depth());
  if (token == JsonToken::kString && reader_.string().has_nul) {
    return refuse("a string contains a NUL character");
  }
  if (member == nullptr) return true;
  if (pending_top_) return check_top(*member, token);
  // Below the top level only the lengths count: the parser reads these members there as well
  // (embedded instances, references) and passes them on into paths and logs.
  if (token == JsonToken::kString) return check_length(*member, reader_.string());
  return true;
}

bool Checker::check_length(const Member &member, const JsonString &value) {
  std::size_t limit = 0;
  switch (member.limit) {
    case Limit::kNone:
      return true;
    case Limit::kName:
      limit = limits_.max_name;
      break;
    case Limit::kText:
      limit = limits_.max_text;
      break;
  }
  if (value.length <= limit) return true;
  return refuse(quoted(member.name) + " is longer than " + std::to_string(limit) + " bytes");
}

bool Checker::check_top(const Member &member, JsonToken token) {
  // The reasons are made only when needed: this runs for every request.
  const auto what = [&member] { return quoted(member.name); };
  switch (member.rule) {
    case Rule::kRequestType: {
      const auto refusal = [&] { return refuse(what() + " is not an integer from 1 to 10"); };
      if (token != JsonToken::kNumber || !reader_.number().integer) return refusal();
      const std::string_view digits = reader_.text_of(reader_.number());
      // No sign; "10" is the longest that can be in range (JSON has no leading zeros).
      if (digits[0] == '-' || digits.size() > 2) return refusal();
      int type = 0;
      for (char c : digits) type = type * 10 + (c - '0');
      if (type < 1 || type > 10) return refusal();
      facts_.type = type;
      return true;
    }
    case Rule::kRequiredName:
    case Rule::kString:
      if (token != JsonToken::kString) return refuse(what() + " is not a string");
      if (!check_length(member, reader_.string())) return false;
      if (member.rule == Rule::kRequiredName && reader_.string().length == 0) {
        return refuse(what() + " is empty");
      }
      return keep_fact(member.fact, reader_.string());
    case Rule::kNullableName:
      if (token == JsonToken::kNull) return true;
      if (token != JsonToken::kString) return refuse(what() + " is not a string or null");
      return check_length(member, reader_.string());
    case Rule::kFlag:
      if (token == JsonToken::kTrue || token == JsonToken::kFalse || token == JsonToken::kNull) {
        return true;
      }
      return refuse(what() + " is not true, false or null");
    case Rule::kObject:
      if (token != JsonToken::kObjectBegin) return refuse(what() + " is not an object");
      return true;
    case Rule::kAny:
      return true;
  }
  return true;
}

bool Checker::keep_fact(Fact fact, const JsonString &value) {
  switch (fact) {
    case Fact::kNone:
      break;
    case Fact::kPrincipal:
      reader_.decode(value, &facts_.principal);
      break;
    case Fact::kClassName:
      reader_.decode(value, &facts_.class_name);
      break;
    case Fact::kNameSpace:
      reader_.decode(value, &facts_.name_space);
      break;
  }
  return true;
}

bool Checker::check_required() {
  auto missing = [this](std::size_t index) {
    return refuse(quoted(kMembers[index].name) + " is missing");
  };
  const auto seen = [this](std::size_t index) { return (seen_ & (1u << index)) != 0; };
  if (!seen(kRequestTypeIndex)) return missing(kRequestTypeIndex);
  if (!seen(kClassNameIndex)) return missing(kClassNameIndex);
  if (!seen(kNameSpaceIndex)) return missing(kNameSpaceIndex);
  if (facts_.type == kInvokeMethod && !seen(kMethodNameIndex)) return missing(kMethodNameIndex);
  if (facts_.type == kExecQuery && !seen(kQueryIndex)) return missing(kQueryIndex);
  return true;
}

}  // namespace

RequestCheck check_request(std::string_view document, const RequestCheckLimits &limits) {
  try {
    Checker checker(document, limits);
    return checker.run();
  } catch (...) {
    // Only memory can run out here (the tables of member names and the kept facts).
    RequestCheck check;
    check.reason = "not enough memory to check the request";
    return check;
  }
}

}  // namespace hostd
