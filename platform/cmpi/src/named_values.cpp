// named_values.cpp - the ordered list of named stored values behind instance properties, path
// keys, method arguments and context entries.
//
// Every entry owns its datum (see value.h). No exception leaves this file: allocation failures
// come back as CMPI_RC_ERR_FAILED.
#include "named_values.h"

#include <new>

namespace cmpi {

namespace {

char ascii_lower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// A stored datum copied again: the value of a stored datum is a full CMPIValue, so copy_in may
// read it by the stored type.
CMPIrc copy_stored(const CMPIData &stored, CMPIData *out) {
  if ((stored.state & CMPI_nullValue) != 0) {
    return copy_in(nullptr, stored.type, out);
  }
  return copy_in(&stored.value, stored.type, out);
}

}  // namespace

bool same_name(const char *a, const char *b) {
  if (a == nullptr || b == nullptr) {
    return false;
  }
  for (; *a != '\0' && *b != '\0'; ++a, ++b) {
    if (ascii_lower(*a) != ascii_lower(*b)) {
      return false;
    }
  }
  return *a == '\0' && *b == '\0';
}

size_t folded_hash(const char *name) {
  // FNV-1a over the folded bytes.
  size_t hash = static_cast<size_t>(14695981039346656037ull);
  for (; *name != '\0'; ++name) {
    hash ^= static_cast<unsigned char>(ascii_lower(*name));
    hash *= static_cast<size_t>(1099511628211ull);
  }
  return hash;
}

NamedValues::~NamedValues() { clear(); }

const NamedValues::Entry *NamedValues::entry_named(const char *name, size_t folded) const {
  for (const Entry &entry : entries_) {
    if (entry.folded == folded && same_name(entry.name.c_str(), name)) {
      return &entry;
    }
  }
  return nullptr;
}

void NamedValues::clear() {
  for (Entry &entry : entries_) {
    release_data(&entry.data);
  }
  entries_.clear();
}

CMPIrc NamedValues::copy_from(const NamedValues &other) {
  try {
    // One allocation for the copy, not one per doubling.
    entries_.reserve(entries_.size() + other.entries_.size());
  } catch (...) {
    return CMPI_RC_ERR_FAILED;
  }
  for (const Entry &entry : other.entries_) {
    CMPIData copy;
    const CMPIrc rc = copy_stored(entry.data, &copy);
    if (rc != CMPI_RC_OK) {
      return rc;
    }
    try {
      entries_.push_back(Entry{entry.name, copy, entry.folded});
    } catch (...) {
      release_data(&copy);
      return CMPI_RC_ERR_FAILED;
    }
  }
  return CMPI_RC_OK;
}

CMPIrc NamedValues::set(const char *name, const CMPIValue *value, CMPIType type) {
  if (name == nullptr) {
    return CMPI_RC_ERR_INVALID_PARAMETER;
  }
  CMPIData copy;
  const CMPIrc rc = copy_in(value, type, &copy);
  if (rc != CMPI_RC_OK) {
    return rc;
  }
  const size_t folded = folded_hash(name);
  if (const Entry *found = entry_named(name, folded)) {
    Entry &entry = const_cast<Entry &>(*found);
    // The copy is taken before the old value goes, so a value read from this very entry
    // may be set back into it.
    release_data(&entry.data);
    entry.data = copy;
    return CMPI_RC_OK;
  }
  try {
    // Start with room for eight values rather than grow 1, 2, 4, 8: instances rarely hold
    // fewer, and each growth moves every entry.
    if (entries_.empty()) entries_.reserve(8);
    entries_.push_back(Entry{name, copy, folded});
  } catch (...) {
    release_data(&copy);
    return CMPI_RC_ERR_FAILED;
  }
  return CMPI_RC_OK;
}

const CMPIData *NamedValues::find(const char *name) const {
  if (name == nullptr) {
    return nullptr;
  }
  const Entry *entry = entry_named(name, folded_hash(name));
  return entry != nullptr ? &entry->data : nullptr;
}

CMPIData NamedValues::get(const char *name, CMPIStatus *rc) const {
  const CMPIData *stored = find(name);
  if (stored == nullptr) {
    set_rc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    return not_found_data();
  }
  set_rc(rc, CMPI_RC_OK);
  return copy_out(*stored);
}

CMPIData NamedValues::get_at(CMPICount index, CMPIString **name, CMPIStatus *rc) const {
  if (name != nullptr) {
    *name = nullptr;
  }
  if (index >= entries_.size()) {
    set_rc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    return not_found_data();
  }
  const Entry &entry = entries_[index];
  if (name != nullptr) {
    CMPIStatus st = make_status(CMPI_RC_OK);
    *name = CreateString(entry.name.c_str(), &st);
    if (*name == nullptr) {
      set_rc(rc, rc_of_failed_clone(st));
      return null_data(entry.data.type);
    }
  }
  set_rc(rc, CMPI_RC_OK);
  return copy_out(entry.data);
}

namespace {

// A datum handed out by a get: when found (st is CMPI_RC_OK) with also_state added.
CMPIData found_with(CMPIData data, const CMPIStatus &st, CMPIValueState also_state,
                    CMPIStatus *rc) {
  if (st.rc == CMPI_RC_OK) {
    data.state = static_cast<CMPIValueState>(data.state | also_state);
  }
  set_rc(rc, st.rc);
  return data;
}

}  // namespace

CMPIData get_in(const NamedValues *list, const char *name, CMPIStatus *rc,
                CMPIValueState also_state) {
  if (list == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return null_data(CMPI_null);
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  const CMPIData data = list->get(name, &st);
  return found_with(data, st, also_state, rc);
}

CMPIData get_at_in(const NamedValues *list, CMPICount index, CMPIString **name, CMPIStatus *rc,
                   CMPIValueState also_state) {
  if (list == nullptr) {
    if (name != nullptr) {
      *name = nullptr;
    }
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return null_data(CMPI_null);
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  const CMPIData data = list->get_at(index, name, &st);
  return found_with(data, st, also_state, rc);
}

CMPICount count_in(const NamedValues *list, CMPIStatus *rc) {
  if (list == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  set_rc(rc, CMPI_RC_OK);
  return static_cast<CMPICount>(list->size());
}

CMPIStatus set_in(NamedValues *list, const char *name, const CMPIValue *value, CMPIType type) {
  if (list == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  return make_status(list->set(name, value, type));
}

}  // namespace cmpi
