// error.cpp - CMPIError: an extended error (the CIM_Error properties a provider may report).
//
// Texts and arrays given to setters are copied; the getters hand out new CMPIString and
// CMPIArray objects that the caller releases, or NULL (with CMPI_RC_OK) for a part that was
// never set. Setting a NULL text or array unsets that part. clone copies everything.
#include <optional>
#include <string>

#include "object_impl.h"
#include "objects.h"
#include "value.h"

namespace {

using cmpi::make_status;
using cmpi::set_rc;

struct ErrorImpl {
  CMPIError object;
  CMPIErrorType error_type = UnknownErrorType;
  std::optional<std::string> other_error_type;
  std::optional<std::string> owning_entity;
  std::optional<std::string> message_id;
  std::optional<std::string> message;
  CMPIErrorSeverity severity = ErrorSevUnknown;
  CMPIErrorProbableCause probable_cause = ErrorProbCauseUnknown;
  std::optional<std::string> probable_cause_description;
  CMPIArray *recommended_actions = nullptr;
  std::optional<std::string> error_source;
  CMPIErrorSrcFormat error_source_format = CMPIErrSrcUnknown;
  std::optional<std::string> other_error_source_format;
  CMPIrc cim_status_code = CMPI_RC_OK;
  std::optional<std::string> cim_status_code_description;
  CMPIArray *message_arguments = nullptr;

  ErrorImpl() = default;
  ErrorImpl(const ErrorImpl &) = delete;
  ErrorImpl &operator=(const ErrorImpl &) = delete;
  ~ErrorImpl() {
    if (recommended_actions != nullptr) {
      recommended_actions->ft->release(recommended_actions);
    }
    if (message_arguments != nullptr) {
      message_arguments->ft->release(message_arguments);
    }
  }
};

ErrorImpl *impl_of(const CMPIError *er) { return cmpi::impl_of<ErrorImpl>(er); }

// A clone of an optional array (NULL copies as NULL).
CMPIrc copy_array(const CMPIArray *array, CMPIArray **out) {
  *out = nullptr;
  if (array == nullptr) {
    return CMPI_RC_OK;
  }
  if (array->hdl == nullptr || array->ft == nullptr) {
    return CMPI_RC_ERR_INVALID_HANDLE;
  }
  CMPIStatus st = make_status(CMPI_RC_OK);
  *out = array->ft->clone(array, &st);
  if (*out == nullptr) {
    return cmpi::rc_of_failed_clone(st);
  }
  return CMPI_RC_OK;
}

// Replaces an owned array by a copy of array (NULL unsets it).
CMPIStatus store_array(CMPIArray **part, const CMPIArray *array) {
  CMPIArray *copy = nullptr;
  const CMPIrc code = copy_array(array, &copy);
  if (code != CMPI_RC_OK) {
    return make_status(code);
  }
  if (*part != nullptr) {
    (*part)->ft->release(*part);
  }
  *part = copy;
  return make_status(CMPI_RC_OK);
}

CMPIArray *array_out(const CMPIArray *array, CMPIStatus *rc) {
  CMPIArray *copy = nullptr;
  set_rc(rc, copy_array(array, &copy));
  return copy;
}

CMPIStatus err_release(CMPIError *er) { return cmpi::release_impl<ErrorImpl>(er); }

CMPIrc copy_parts(const ErrorImpl &from, ErrorImpl *to) {
  try {
    to->error_type = from.error_type;
    to->other_error_type = from.other_error_type;
    to->owning_entity = from.owning_entity;
    to->message_id = from.message_id;
    to->message = from.message;
    to->severity = from.severity;
    to->probable_cause = from.probable_cause;
    to->probable_cause_description = from.probable_cause_description;
    to->error_source = from.error_source;
    to->error_source_format = from.error_source_format;
    to->other_error_source_format = from.other_error_source_format;
    to->cim_status_code = from.cim_status_code;
    to->cim_status_code_description = from.cim_status_code_description;
  } catch (...) {
    return CMPI_RC_ERR_FAILED;
  }
  CMPIrc code = copy_array(from.recommended_actions, &to->recommended_actions);
  if (code == CMPI_RC_OK) {
    code = copy_array(from.message_arguments, &to->message_arguments);
  }
  return code;
}

CMPIError *err_clone(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::clone_impl<ErrorImpl>(er, cmpi::error_table(), rc, copy_parts);
}

// Getters of plain fields: the field, or fallback with CMPI_RC_ERR_INVALID_HANDLE.
template <typename T>
T field_out(const CMPIError *er, CMPIStatus *rc, T ErrorImpl::*field, T fallback) {
  const ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return fallback;
  }
  set_rc(rc, CMPI_RC_OK);
  return impl->*field;
}

CMPIArray *array_field_out(const CMPIError *er, CMPIStatus *rc, CMPIArray *ErrorImpl::*field) {
  const ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return array_out(impl->*field, rc);
}

template <typename T>
CMPIStatus field_in(CMPIError *er, T ErrorImpl::*field, T value) {
  ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  impl->*field = value;
  return make_status(CMPI_RC_OK);
}

CMPIStatus array_field_in(CMPIError *er, CMPIArray *ErrorImpl::*field, const CMPIArray *array) {
  ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  return store_array(&(impl->*field), array);
}

CMPIErrorType err_get_error_type(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::error_type, UnknownErrorType);
}
CMPIString *err_get_other_error_type(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::other_error_type, rc);
}
CMPIString *err_get_owning_entity(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::owning_entity, rc);
}
CMPIString *err_get_message_id(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::message_id, rc);
}
CMPIString *err_get_message(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::message, rc);
}
CMPIErrorSeverity err_get_perceived_severity(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::severity, ErrorSevUnknown);
}
CMPIErrorProbableCause err_get_probable_cause(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::probable_cause, ErrorProbCauseUnknown);
}
CMPIString *err_get_probable_cause_description(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::probable_cause_description, rc);
}
CMPIArray *err_get_recommended_actions(const CMPIError *er, CMPIStatus *rc) {
  return array_field_out(er, rc, &ErrorImpl::recommended_actions);
}
CMPIString *err_get_error_source(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::error_source, rc);
}
CMPIErrorSrcFormat err_get_error_source_format(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::error_source_format, CMPIErrSrcUnknown);
}
CMPIString *err_get_other_error_source_format(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::other_error_source_format, rc);
}
CMPIrc err_get_cim_status_code(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::cim_status_code, CMPI_RC_OK);
}
CMPIString *err_get_cim_status_code_description(const CMPIError *er, CMPIStatus *rc) {
  return cmpi::text_part_out(er, &ErrorImpl::cim_status_code_description, rc);
}
CMPIArray *err_get_message_arguments(const CMPIError *er, CMPIStatus *rc) {
  return array_field_out(er, rc, &ErrorImpl::message_arguments);
}

CMPIStatus err_set_error_type(CMPIError *er, const CMPIErrorType et) {
  return field_in(er, &ErrorImpl::error_type, et);
}
CMPIStatus err_set_other_error_type(CMPIError *er, const char *ot) {
  return cmpi::text_part_in(er, &ErrorImpl::other_error_type, ot);
}
CMPIStatus err_set_probable_cause_description(CMPIError *er, const char *pcd) {
  return cmpi::text_part_in(er, &ErrorImpl::probable_cause_description, pcd);
}
CMPIStatus err_set_recommended_actions(CMPIError *er, const CMPIArray *ra) {
  return array_field_in(er, &ErrorImpl::recommended_actions, ra);
}
CMPIStatus err_set_error_source(CMPIError *er, const char *es) {
  return cmpi::text_part_in(er, &ErrorImpl::error_source, es);
}
CMPIStatus err_set_error_source_format(CMPIError *er, const CMPIErrorSrcFormat esf) {
  return field_in(er, &ErrorImpl::error_source_format, esf);
}
CMPIStatus err_set_other_error_source_format(CMPIError *er, const char *oesf) {
  return cmpi::text_part_in(er, &ErrorImpl::other_error_source_format, oesf);
}
CMPIStatus err_set_cim_status_code_description(CMPIError *er, const char *scd) {
  return cmpi::text_part_in(er, &ErrorImpl::cim_status_code_description, scd);
}
CMPIStatus err_set_message_arguments(CMPIError *er, CMPIArray *values) {
  return array_field_in(er, &ErrorImpl::message_arguments, values);
}

const CMPIErrorFT error_ft = {
    CMPICurrentVersion,
    err_release,
    err_clone,
    err_get_error_type,
    err_get_other_error_type,
    err_get_owning_entity,
    err_get_message_id,
    err_get_message,
    err_get_perceived_severity,
    err_get_probable_cause,
    err_get_probable_cause_description,
    err_get_recommended_actions,
    err_get_error_source,
    err_get_error_source_format,
    err_get_other_error_source_format,
    err_get_cim_status_code,
    err_get_cim_status_code_description,
    err_get_message_arguments,
    err_set_error_type,
    err_set_other_error_type,
    err_set_probable_cause_description,
    err_set_recommended_actions,
    err_set_error_source,
    err_set_error_source_format,
    err_set_other_error_source_format,
    err_set_cim_status_code_description,
    err_set_message_arguments,
};

}  // namespace

namespace cmpi {

const CMPIErrorFT *error_table() { return &error_ft; }

// owner, msgID and msg are copied (each may be NULL: that part stays unset); the error type
// starts UnknownErrorType and the error source format CMPIErrSrcUnknown.
CMPIError *new_error(const char *owner, const char *msgID, const char *msg, CMPIErrorSeverity sev,
                     CMPIErrorProbableCause pc, CMPIrc cimStatusCode, CMPIStatus *rc) {
  ErrorImpl *impl = new_impl<ErrorImpl>(error_table());
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  if (store_text(&impl->owning_entity, owner) != CMPI_RC_OK ||
      store_text(&impl->message_id, msgID) != CMPI_RC_OK ||
      store_text(&impl->message, msg) != CMPI_RC_OK) {
    delete impl;
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  impl->severity = sev;
  impl->probable_cause = pc;
  impl->cim_status_code = cimStatusCode;
  set_rc(rc, CMPI_RC_OK);
  return &impl->object;
}

}  // namespace cmpi
