// instance_rows.cpp - putting stored instances together from their property rows.
#include "instance_rows.h"

#include <algorithm>
#include <cstring>

namespace demo {

namespace {

// Byte order of (chars, size) texts, as std::string compares.
int compare(const char *a, size_t a_size, const char *b, size_t b_size) {
  const int c = std::memcmp(a, b, std::min(a_size, b_size));
  if (c != 0) return c;
  return a_size < b_size ? -1 : a_size > b_size ? 1 : 0;
}

}  // namespace

InstanceRows::InstanceRows(const ClassDef &cls) {
  instance_.properties.reserve(cls.count);
  byName_.reserve(cls.count);
  for (const PropertyDef &def : cls) {
    if (def.is_computed()) continue;
    StoredProperty property;
    property.name = def.name;
    property.type = def.type;
    byName_.push_back(Slot{def.name, std::strlen(def.name), instance_.properties.size()});
    instance_.properties.push_back(std::move(property));
  }
  std::sort(byName_.begin(), byName_.end(), [](const Slot &a, const Slot &b) {
    return compare(a.name, a.size, b.name, b.size) < 0;
  });
  given_.assign(instance_.properties.size(), false);
}

void InstanceRows::start(const char *key, size_t size) {
  instance_.key.assign(key, size);
  std::fill(given_.begin(), given_.end(), false);
  hint_ = 0;
}

bool InstanceRows::same_key(const char *key, size_t size) const {
  return instance_.key.size() == size && std::memcmp(instance_.key.data(), key, size) == 0;
}

void InstanceRows::add(const char *name, size_t name_size, const char *value, size_t value_size) {
  auto it = byName_.begin() + static_cast<std::ptrdiff_t>(hint_);
  if (hint_ >= byName_.size() || compare(it->name, it->size, name, name_size) != 0) {
    it = std::lower_bound(byName_.begin(), byName_.end(), name_size,
                          [name](const Slot &slot, size_t size) {
                            return compare(slot.name, slot.size, name, size) < 0;
                          });
    if (it == byName_.end() || compare(it->name, it->size, name, name_size) != 0) return;
  }
  hint_ = static_cast<size_t>(it - byName_.begin()) + 1;
  std::optional<std::string> &text = instance_.properties[it->index].text;
  if (value == nullptr) {
    text.reset();
  } else if (text) {
    text->assign(value, value_size);  // keeps the storage of the previous instance's value
  } else {
    text.emplace(value, value_size);
  }
  given_[it->index] = true;
}

void InstanceRows::complete() {
  for (size_t i = 0; i < given_.size(); ++i) {
    if (!given_[i]) instance_.properties[i].text.reset();
  }
}

const StoredInstance &InstanceRows::finish() {
  complete();
  return instance_;
}

StoredInstance InstanceRows::take() {
  complete();
  return std::move(instance_);
}

}  // namespace demo
