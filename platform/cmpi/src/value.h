// value.h - how the object library stores one CMPI value, shared by every object that holds
// values (instances, object paths, args, contexts, arrays, results).
//
// A stored datum (CMPIData) owns its encapsulated value: strings, arrays, instances, references,
// args, date-times and enumerations held in it are private deep copies, released with
// release_data. CMPI_chars and CMPI_charsptr values are stored as CMPI_string (arrays of them
// as CMPI_stringA), so they read back as strings.
#ifndef CMPIINTERFACE_VALUE_H
#define CMPIINTERFACE_VALUE_H

#include "cmpiinterface.h"

namespace cmpi {

inline CMPIStatus make_status(CMPIrc code) {
  CMPIStatus s;
  s.rc = code;
  s.msg = nullptr;
  return s;
}

// Writes code to *rc when rc is not NULL (every rc parameter may be NULL).
inline void set_rc(CMPIStatus *rc, CMPIrc code) {
  if (rc != nullptr) {
    rc->rc = code;
    rc->msg = nullptr;
  }
}

// The rc to answer for a clone that gave no object: its own, or CMPI_RC_ERR_FAILED when it said
// CMPI_RC_OK.
inline CMPIrc rc_of_failed_clone(const CMPIStatus &st) {
  return st.rc != CMPI_RC_OK ? st.rc : CMPI_RC_ERR_FAILED;
}

// True for every type code this platform can hold: the scalars, the encapsulated types except
// CMPI_ptr and CMPI_class, and the array forms of the scalars, strings, chars, date-times,
// instances and references.
bool is_known_type(CMPIType type);

// The type a value of the given type is stored with (chars and charsptr become string, with the
// array flag kept).
CMPIType stored_type(CMPIType type);

// True when a value of type given may be stored in an array whose element type is element:
// equal stored types, or both in the text family (5632, 5634, 5884, 5888, 7680 and charsptr).
bool same_family(CMPIType element, CMPIType given);

// A datum with no value: type kept, state CMPI_nullValue.
CMPIData null_data(CMPIType type);

// What a look-up of a missing name or index returns: type 0, state nullValue|notFound.
CMPIData not_found_data();

// Reads a setter's value argument and stores an owned deep copy in *out.
//  - only the union member selected by type is read (providers pass the address of a plain
//    variable of that C type);
//  - for CMPI_chars, value is the char* itself; for CMPI_charsptr, value points at a char*;
//  - a NULL value (or type CMPI_null) stores a null datum of that type;
//  - encapsulated values are cloned through their own function table.
// Returns CMPI_RC_OK, CMPI_RC_ERR_INVALID_DATA_TYPE for a type this platform does not hold, or
// the status of a failing clone. On failure *out is a null datum.
CMPIrc copy_in(const CMPIValue *value, CMPIType type, CMPIData *out);

// A caller-owned deep copy of a stored datum, as getters hand out.
CMPIData copy_out(const CMPIData &stored);

// The stored datum as copy_out would hand it out, but borrowed: its objects are the stored ones
// (valid while the datum is stored and unchanged), nothing is to be released.
CMPIData peek_out(const CMPIData &stored);

// Releases what a stored datum owns and leaves it a null datum of the same type.
void release_data(CMPIData *data);

}  // namespace cmpi

#endif
