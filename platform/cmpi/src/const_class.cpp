// const_class.cpp - CMPIConstClass: a class as a response parser fills it.
//
// The object is one malloc'd block. Its handle starts NULL; whoever fills it points it at a
// calloc'd CMPIClassRecord holding strdup'd texts and arrays of names. release frees all of it
// (a class whose handle is still NULL is simply freed); clone copies all of it. The getters hand
// out new CMPIString objects that the caller releases; a text or array that was never filled
// reads as NULL (with CMPI_RC_OK) or as a count of 0.
#include <cstdlib>
#include <cstring>

#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

CMPIClassRecord *record_of(const CMPIConstClass *cc) {
  if (cc == nullptr || cc->hdl == nullptr) {
    return nullptr;
  }
  return static_cast<CMPIClassRecord *>(cc->hdl);
}

CMPIConstClass *new_block() {
  CMPIConstClass *cc = static_cast<CMPIConstClass *>(std::malloc(sizeof(CMPIConstClass)));
  if (cc == nullptr) {
    return nullptr;
  }
  cc->hdl = nullptr;
  cc->ft = const_cast<CMPIConstClassFT *>(cmpi::const_class_table());
  return cc;
}

void release_array(CMPIArray *array) {
  if (array != nullptr && array->ft != nullptr) {
    array->ft->release(array);
  }
}

void free_record(CMPIClassRecord *record) {
  std::free(record->className);
  std::free(record->nameSpace);
  release_array(record->propertyNames);
  release_array(record->methodNames);
  release_array(record->methodParameters);
  std::free(record);
}

// A copy of an optional text: true when it worked (a NULL text copies as NULL).
bool copy_text(const char *text, char **out) {
  *out = nullptr;
  if (text == nullptr) {
    return true;
  }
  *out = strdup(text);
  return *out != nullptr;
}

// A clone of an optional array: CMPI_RC_OK when it worked (a NULL array copies as NULL).
CMPIrc copy_array(const CMPIArray *array, CMPIArray **out) {
  *out = nullptr;
  if (array == nullptr) {
    return CMPI_RC_OK;
  }
  if (array->ft == nullptr) {
    return CMPI_RC_ERR_INVALID_HANDLE;
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  *out = array->ft->clone(array, &st);
  if (*out == nullptr) {
    return cmpi::rc_of_failed_clone(st);
  }
  return CMPI_RC_OK;
}

CMPIStatus cc_release(CMPIConstClass *cc) {
  if (cc == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  CMPIClassRecord *record = record_of(cc);
  if (record != nullptr) {
    free_record(record);
  }
  std::free(cc);
  return make_status(CMPI_RC_OK);
}

CMPIConstClass *cc_clone(const CMPIConstClass *cc, CMPIStatus *rc) {
  const CMPIClassRecord *record = record_of(cc);
  if (record == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  CMPIConstClass *copy = new_block();
  CMPIClassRecord *copied =
      static_cast<CMPIClassRecord *>(std::calloc(1, sizeof(CMPIClassRecord)));
  if (copy == nullptr || copied == nullptr) {
    std::free(copy);
    std::free(copied);
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  CMPIrc code = CMPI_RC_OK;
  if (!copy_text(record->className, &copied->className) ||
      !copy_text(record->nameSpace, &copied->nameSpace)) {
    code = CMPI_RC_ERR_FAILED;
  }
  if (code == CMPI_RC_OK) {
    code = copy_array(record->propertyNames, &copied->propertyNames);
  }
  if (code == CMPI_RC_OK) {
    code = copy_array(record->methodNames, &copied->methodNames);
  }
  if (code == CMPI_RC_OK) {
    code = copy_array(record->methodParameters, &copied->methodParameters);
  }
  if (code != CMPI_RC_OK) {
    free_record(copied);
    std::free(copy);
    set_rc(rc, code);
    return nullptr;
  }
  copy->hdl = copied;
  set_rc(rc, CMPI_RC_OK);
  return copy;
}

CMPIString *text_as_string(const char *text, CMPIStatus *rc) {
  if (text == nullptr) {
    set_rc(rc, CMPI_RC_OK);
    return nullptr;
  }
  return CreateString(text, rc);
}

CMPIString *cc_get_class_name(const CMPIConstClass *cc, CMPIStatus *rc) {
  const CMPIClassRecord *record = record_of(cc);
  if (record == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return text_as_string(record->className, rc);
}

CMPIString *cc_get_name_space(const CMPIConstClass *cc, CMPIStatus *rc) {
  const CMPIClassRecord *record = record_of(cc);
  if (record == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return text_as_string(record->nameSpace, rc);
}

CMPICount names_count(const CMPIArray *names, CMPIStatus *rc) {
  if (names == nullptr) {
    set_rc(rc, CMPI_RC_OK);
    return 0;
  }
  if (names->ft == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  return names->ft->getSize(names, rc);
}

// Text codes whose elements are kept as CMPIString values.
bool holds_string(CMPIType type) {
  return type == CMPI_string || type == CMPI_booleanString || type == CMPI_numericString ||
         type == CMPI_dateTimeString;
}

// The name at index of an array of CMPI_string elements, as a new string the caller releases.
// A null element reads as NULL with CMPI_RC_OK.
CMPIString *name_at(const CMPIArray *names, CMPICount index, CMPIStatus *rc) {
  if (names == nullptr) {
    set_rc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    return nullptr;
  }
  if (names->ft == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  CMPIData element = names->ft->getElementAt(names, index, &st);
  if (st.rc != CMPI_RC_OK) {
    set_rc(rc, st.rc);
    return nullptr;
  }
  if ((element.state & CMPI_nullValue) != 0) {
    set_rc(rc, CMPI_RC_OK);
    return nullptr;
  }
  if (!holds_string(element.type)) {
    cmpiReleaseCMPIValue(element.type, &element.value);
    set_rc(rc, CMPI_RC_ERR_TYPE_MISMATCH);
    return nullptr;
  }
  // The element came out as a caller-owned copy: it is handed on as it is.
  set_rc(rc, CMPI_RC_OK);
  return element.value.string;
}

CMPICount cc_get_property_count(const CMPIConstClass *cc, CMPIStatus *rc) {
  const CMPIClassRecord *record = record_of(cc);
  if (record == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  return names_count(record->propertyNames, rc);
}

CMPIString *cc_get_property_name_at(const CMPIConstClass *cc, CMPICount index, CMPIStatus *rc) {
  const CMPIClassRecord *record = record_of(cc);
  if (record == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return name_at(record->propertyNames, index, rc);
}

CMPICount cc_get_method_count(const CMPIConstClass *cc, CMPIStatus *rc) {
  const CMPIClassRecord *record = record_of(cc);
  if (record == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return 0;
  }
  return names_count(record->methodNames, rc);
}

CMPIString *cc_get_method_name_at(const CMPIConstClass *cc, CMPICount index, CMPIStatus *rc) {
  const CMPIClassRecord *record = record_of(cc);
  if (record == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return name_at(record->methodNames, index, rc);
}

const CMPIConstClassFT const_class_ft = {
    CMPICurrentVersion,      cc_release,           cc_clone,
    cc_get_class_name,       cc_get_name_space,    cc_get_property_count,
    cc_get_property_name_at, cc_get_method_count,  cc_get_method_name_at,
};

}  // namespace

namespace cmpi {

const CMPIConstClassFT *const_class_table() { return &const_class_ft; }

}  // namespace cmpi

extern "C" CMPIConstClass *makeNewCMPIClass(CMPIStatus *rc) {
  CMPIConstClass *cc = new_block();
  if (cc == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return cc;
}
