// qualifiers.cpp - see qualifiers.h.
#include "qualifiers.h"

#include "token.h"

namespace mof {

namespace {

// The one qualifier of that name, or nullptr; two of them are an error.
const Qualifier *Find(const std::vector<Qualifier> &qualifiers, std::string_view name) {
  const Qualifier *found = nullptr;
  for (const Qualifier &qualifier : qualifiers) {
    if (!EqualNoCase(qualifier.name, name)) continue;
    if (found != nullptr) throw MofError(qualifier.where, "qualifier " + qualifier.name + " is given twice");
    found = &qualifier;
  }
  return found;
}

}  // namespace

std::optional<bool> BooleanQualifier(const std::vector<Qualifier> &qualifiers,
                                     std::string_view name) {
  const Qualifier *qualifier = Find(qualifiers, name);
  if (qualifier == nullptr) return std::nullopt;
  if (!qualifier->value) return true;
  const Value &value = *qualifier->value;
  if (value.isArray || value.scalar.kind != Scalar::Kind::Boolean)
    throw MofError(value.where, "qualifier " + qualifier->name + " takes true or false, not " +
                                    DescribeValue(value));
  return value.scalar.boolean;
}

std::optional<std::string> EmbeddedQualifier(const std::vector<Qualifier> &qualifiers) {
  const Qualifier *instance = Find(qualifiers, "EmbeddedInstance");
  const Qualifier *object = Find(qualifiers, "EmbeddedObject");
  if (instance != nullptr && object != nullptr)
    throw MofError(object->where, "EmbeddedInstance and EmbeddedObject exclude each other");
  if (object != nullptr) {
    if (object->value &&
        (object->value->isArray || object->value->scalar.kind != Scalar::Kind::Boolean))
      throw MofError(object->value->where, "qualifier " + object->name +
                                               " takes true or false, not " +
                                               DescribeValue(*object->value));
    if (object->value && !object->value->scalar.boolean) return std::nullopt;
    return std::string();
  }
  if (instance == nullptr) return std::nullopt;
  if (!instance->value || instance->value->isArray ||
      instance->value->scalar.kind != Scalar::Kind::String ||
      instance->value->scalar.text.empty())
    throw MofError(instance->where, "qualifier " + instance->name +
                                        " takes the embedded class's name as a string");
  return instance->value->scalar.text;
}

}  // namespace mof
