// fields.cpp - writing and splitting the compound form of stored text.
#include "fields.h"

namespace demo {

void append_field(std::string *out, const std::string &field) {
  out->append(std::to_string(field.size()));
  out->push_back(':');
  out->append(field);
}

void append_null_field(std::string *out) { out->push_back('~'); }

bool split_fields(const std::string &text, std::vector<std::optional<std::string>> *fields) {
  fields->clear();
  FieldReader reader(text);
  while (!reader.at_end()) {
    std::optional<std::string> field;
    if (!reader.next(&field)) return false;
    fields->push_back(std::move(field));
  }
  return true;
}

bool FieldReader::next(std::optional<std::string> *field) {
  if (pos_ >= text_.size()) return false;
  if (text_[pos_] == '~') {
    ++pos_;
    field->reset();
    return true;
  }
  const size_t colon = text_.find(':', pos_);
  if (colon == std::string::npos || colon == pos_) return false;
  size_t length = 0;
  for (size_t i = pos_; i < colon; ++i) {
    const char c = text_[i];
    if (c < '0' || c > '9' || length > text_.size()) return false;
    length = length * 10 + static_cast<size_t>(c - '0');
  }
  if (length > text_.size() - colon - 1) return false;
  *field = text_.substr(colon + 1, length);
  pos_ = colon + 1 + length;
  return true;
}

bool FieldReader::next_text(std::string *field) {
  std::optional<std::string> value;
  if (!next(&value) || !value) return false;
  *field = *value;
  return true;
}

}  // namespace demo
