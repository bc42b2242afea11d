// value_sweep.h - helpers the CMPI object tests share: statuses, caller-owned strings and data,
// a few ready-made objects, and the value sweep, which stores a value of every type code
// through a container's setter (args, context entries, path keys, instance properties) and
// reads each back through its getter.
//
// The CMPI records are packed, so their members may be unaligned, and the assertion macros bind
// their arguments by reference. A unary + makes a prvalue copy of such a member first, which is
// why the tests write EXPECT_EQ(CMPI_RC_OK, +st.rc) (one +, on purpose); val(x) is the same copy
// written as a call.
#ifndef CMPI_TESTS_VALUE_SWEEP_H
#define CMPI_TESTS_VALUE_SWEEP_H

#include <functional>
#include <string>

#include "cmpiinterface.h"

namespace cmpitest {

// A copy of v, for the assertion macros (see above).
template <typename T>
T val(T v) {
  return v;
}

// A status no call answers with, to tell that a call wrote its rc.
CMPIStatus unset_status();

// The text of a string, "<null>" for none.
std::string text_of(const CMPIString *s);

// The text of a caller-owned string, which is released.
std::string take(CMPIString *s);

// Releases what a handed-out datum owns.
void release_data(CMPIData *d);

// The path text of op, and the text form of dt.
std::string path_text(const CMPIObjectPath *op);
std::string datetime_text(const CMPIDateTime *dt);

// A new path of namespace ns and class cn.
CMPIObjectPath *new_path(const char *ns, const char *cn);

// The path "root/ref:Ref_Class.Id=r1".
CMPIObjectPath *new_ref_path();

// An instance of root/emb:Emb_Class whose string property Marker is marker, and that text back.
CMPIInstance *new_embedded(const char *marker);
std::string embedded_marker(const CMPIInstance *inst);

// A date-time from its text form.
CMPIDateTime *new_datetime(const char *text);

// A container's setter and getter, by name.
using Setter = std::function<CMPIStatus(const char *, const CMPIValue *, CMPIType)>;
using Getter = std::function<CMPIData(const char *, CMPIStatus *)>;

// The text of the string datum get reads under name: "<missing>" when there is none, "<wrong
// type>" when it is not a string.
std::string string_value(const Getter &get, const char *name);

// Every type code this platform holds (38 names), set through set and read back through get.
// state is the state every good value reads back with (CMPI_keyValue for keys).
void sweep_every_type(const Setter &set, const Getter &get, CMPIValueState state);

// Null values of several kinds (12 names): a NULL value pointer, type CMPI_null, a NULL object
// behind a valid pointer. Each reads back as a null datum of the stored type.
void sweep_null_values(const Setter &set, const Getter &get);

}  // namespace cmpitest

#endif
