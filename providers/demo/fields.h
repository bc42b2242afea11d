// fields.h - the compound form of stored text: a sequence of fields, each "<length>:<bytes>",
// or "~" for a null field.
#ifndef DEMO_PROVIDER_FIELDS_H
#define DEMO_PROVIDER_FIELDS_H

#include <optional>
#include <string>
#include <vector>

namespace demo {

void append_field(std::string *out, const std::string &field);
void append_null_field(std::string *out);

// Every field of compound text (nullopt for a null field); false when the text is malformed.
bool split_fields(const std::string &text, std::vector<std::optional<std::string>> *fields);

// Reads the fields of compound text one after the other.
class FieldReader {
 public:
  explicit FieldReader(const std::string &text) : text_(text) {}

  bool at_end() const { return pos_ >= text_.size(); }

  // The next field; nullopt for a null field. False when the text is malformed.
  bool next(std::optional<std::string> *field);

  // The next field, which must not be null.
  bool next_text(std::string *field);

 private:
  const std::string &text_;
  size_t pos_ = 0;
};

}  // namespace demo

#endif  // DEMO_PROVIDER_FIELDS_H
