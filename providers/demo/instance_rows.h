// instance_rows.h - a stored instance put together from its property rows (name, value), as the
// state file hands them out: properties in class order, a property without a row null, rows
// that name no stored property of the class ignored. Names match exactly (as stored).
#ifndef DEMO_PROVIDER_INSTANCE_ROWS_H
#define DEMO_PROVIDER_INSTANCE_ROWS_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "classes.h"
#include "instance_model.h"

namespace demo {

class InstanceRows {
 public:
  explicit InstanceRows(const ClassDef &cls);

  // Starts the next instance, with the key text key (size bytes).
  void start(const char *key, size_t size);
  // Whether key (size bytes) is the key text of the instance being put together.
  bool same_key(const char *key, size_t size) const;
  // One property row: value is nullptr for a null value.
  void add(const char *name, size_t name_size, const char *value, size_t value_size);
  // The instance put together since start(); valid until the next start(). The object (and its
  // strings' storage) is reused from one instance to the next.
  const StoredInstance &finish();
  // The instance put together since start(), handed over: the last use of the object.
  StoredInstance take();

 private:
  // Makes every property without a row null.
  void complete();

  StoredInstance instance_;
  // The stored properties by name (byte order): name, length, index into instance_.properties.
  struct Slot {
    const char *name;
    size_t size;
    size_t index;
  };
  std::vector<Slot> byName_;
  // Where the row after the last one is looked for first: rows come in name order.
  size_t hint_ = 0;
  std::vector<bool> given_;
};

}  // namespace demo

#endif  // DEMO_PROVIDER_INSTANCE_ROWS_H
