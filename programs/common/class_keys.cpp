// class_keys.cpp - key property names read from the schema database.
#include "class_keys.h"

#include <algorithm>

#include "schema_rows.h"

namespace wire {

const std::vector<std::string> &ClassKeys::of(const std::string &class_name) {
  const std::string key = lower_name(class_name);
  auto found = known_.find(key);
  if (found == known_.end()) found = known_.emplace(key, read(class_name)).first;
  return found->second;
}

std::vector<std::string> ClassKeys::read(const std::string &class_name) const {
  SchemaDatabase db;
  std::string why;
  if (!db.open(database_, &why)) return {};
  SchemaQuery query;
  if (!query.prepare(db.get(),
                     "SELECT PropertyName FROM Tbl_ClassProperty WHERE ClassName = ?1 COLLATE "
                     "NOCASE AND IsKey != 0 ORDER BY Position")) {
    return {};
  }
  std::vector<std::string> keys;
  for (const std::string &cls : superclass_chain(db.get(), class_name)) {
    query.bind(cls);
    while (query.step()) {
      const std::string name = query.text(0);
      const bool known = std::any_of(keys.begin(), keys.end(), [&](const std::string &k) {
        return lower_name(k) == lower_name(name);
      });
      if (!known) keys.push_back(name);
    }
  }
  return keys;
}

}  // namespace wire
