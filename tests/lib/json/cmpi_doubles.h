// Test doubles for the key-text and encoder tests.
//
// Doctor: re-routes chosen slots of one real object's function table. The object keeps its
// handle, so every slot that is not re-routed works as before, and releasing the object through
// the doctored table frees it as usual. The doctored table is a copy that lives as long as the
// Doctor: release the object before the Doctor goes out of scope. The original table of the last
// doctored object of each kind is kept in Doctor<...>::real() for re-routed slots to call.
//
// FakeString: a string object whose handle (its text) may be NULL and whose release only counts;
// it lets a test hand out a name or value without characters and see whether it was released.
#ifndef CMPITEST_JSON_CMPI_DOUBLES_H
#define CMPITEST_JSON_CMPI_DOUBLES_H

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>
#include <cmpimacs.h>

#include <cstring>
#include <string>

namespace cmpitest {

template <typename Object, typename Table>
class Doctor {
 public:
  explicit Doctor(Object *object) : table_(*object->ft) {
    real() = object->ft;
    object->ft = &table_;
  }
  Doctor(const Doctor &) = delete;
  Doctor &operator=(const Doctor &) = delete;

  Table &table() { return table_; }
  static const Table *&real() {
    static const Table *table = nullptr;
    return table;
  }

 private:
  Table table_;
};

using PathDoctor = Doctor<CMPIObjectPath, CMPIObjectPathFT>;
using InstanceDoctor = Doctor<CMPIInstance, CMPIInstanceFT>;
using ArgsDoctor = Doctor<CMPIArgs, CMPIArgsFT>;
using ArrayDoctor = Doctor<CMPIArray, CMPIArrayFT>;

// Must stay the first member's owner: the release slot finds the counter from the object.
struct FakeString {
  CMPIString object;
  int releases;

  explicit FakeString(const char *text = nullptr);
  CMPIString *get() { return &object; }
};

inline CMPIStatus fake_string_release(CMPIString *string) {
  reinterpret_cast<FakeString *>(string)->releases += 1;
  return CMPIStatus{CMPI_RC_OK, nullptr};
}

inline CMPIString *fake_string_clone(const CMPIString *string, CMPIStatus *rc) {
  return CreateString(static_cast<const char *>(string->hdl), rc);
}

inline const char *fake_string_chars(const CMPIString *string, CMPIStatus *rc) {
  if (rc != nullptr) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
  return static_cast<const char *>(string->hdl);
}

inline CMPIStringFT *fake_string_table() {
  static CMPIStringFT table = {CMPICurrentVersion, fake_string_release, fake_string_clone,
                               fake_string_chars};
  return &table;
}

inline FakeString::FakeString(const char *text) : releases(0) {
  object.hdl = const_cast<char *>(text);
  object.ft = fake_string_table();
}

// A value of type CMPI_chars is handed to a setter as the text itself.
inline const CMPIValue *chars_value(const char *text) {
  return reinterpret_cast<const CMPIValue *>(text);
}

}  // namespace cmpitest

#endif  // CMPITEST_JSON_CMPI_DOUBLES_H
