// named_values.h - an ordered list of named stored values: the properties of an instance, the
// keys of an object path, the arguments of an args object and the entries of a context.
//
// Names are matched case-insensitively (CIM names are) and keep the spelling of their first set.
// Setting an existing name replaces its value in place, so the order is the order of first set.
#ifndef CMPIINTERFACE_NAMED_VALUES_H
#define CMPIINTERFACE_NAMED_VALUES_H

#include <string>
#include <vector>

#include "value.h"

namespace cmpi {

class NamedValues {
 public:
  NamedValues() = default;
  ~NamedValues();
  NamedValues(const NamedValues &) = delete;
  NamedValues &operator=(const NamedValues &) = delete;

  // Deep copy of every entry into an empty list. CMPI_RC_OK or the rc of a failing clone (the
  // target then holds the entries copied so far).
  CMPIrc copy_from(const NamedValues &other);

  // Stores a copy of the value (copy_in rules) under name. A NULL name gives
  // CMPI_RC_ERR_INVALID_PARAMETER.
  CMPIrc set(const char *name, const CMPIValue *value, CMPIType type);

  // The stored datum of name, or nullptr.
  const CMPIData *find(const char *name) const;

  size_t size() const { return entries_.size(); }
  const std::string &name_at(size_t index) const { return entries_[index].name; }
  const CMPIData &at(size_t index) const { return entries_[index].data; }

  // Getter forms: a caller-owned copy (copy_out), or not_found_data() with
  // CMPI_RC_ERR_NO_SUCH_PROPERTY for a missing name or an index past the end. get_at also hands
  // out the name as a new CMPIString when name is not NULL (set to NULL when not found).
  CMPIData get(const char *name, CMPIStatus *rc) const;
  CMPIData get_at(CMPICount index, CMPIString **name, CMPIStatus *rc) const;

  void clear();

 private:
  // folded: a hash of the name with ASCII letters in lower case, so that a look-up compares
  // one number with each entry and spells out only the names that may match.
  struct Entry {
    std::string name;
    CMPIData data;
    size_t folded;
  };
  const Entry *entry_named(const char *name, size_t folded) const;
  std::vector<Entry> entries_;
};

// The hash Entry::folded holds for name (the same for names that differ only in case).
size_t folded_hash(const char *name);

// Case-insensitive comparison of two ASCII names.
bool same_name(const char *a, const char *b);

// The slots every holder of a list shares: get, getAt, count and add (getArg, getEntryAt,
// getPropertyCount, getKey, addArg, ...). list is the holder's list, or nullptr when the holder
// or its handle is NULL, which is answered with CMPI_RC_ERR_INVALID_HANDLE: a null datum of
// type CMPI_null (and a NULL name), a count of 0, nothing stored. A datum found reads with the
// state bits also_state added (CMPI_keyValue for keys).
CMPIData get_in(const NamedValues *list, const char *name, CMPIStatus *rc,
                CMPIValueState also_state = CMPI_goodValue);
CMPIData get_at_in(const NamedValues *list, CMPICount index, CMPIString **name, CMPIStatus *rc,
                   CMPIValueState also_state = CMPI_goodValue);
CMPICount count_in(const NamedValues *list, CMPIStatus *rc);
CMPIStatus set_in(NamedValues *list, const char *name, const CMPIValue *value, CMPIType type);

}  // namespace cmpi

#endif
