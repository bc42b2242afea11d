// error.cpp - CMPIError: an extended error (the CIM_Error properties a provider may report).
//
// Texts and arrays given to setters are copied; the getters hand out new CMPIString and
// CMPIArray objects that the caller releases, or NULL (with CMPI_RC_OK) for a part that was
// never set. Setting a NULL text or array unsets that part. clone copies everything.
#include <new>
#include <optional>
#include <string>

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

ErrorImpl *impl_of(const CMPIError *er) {
  if (er == nullptr || er->hdl == nullptr) {
    return nullptr;
  }
  return static_cast<ErrorImpl *>(er->hdl);
}

ErrorImpl *new_impl() {
  ErrorImpl *impl = new (std::nothrow) ErrorImpl();
  if (impl == nullptr) {
    return nullptr;
  }
  impl->object.hdl = impl;
  impl->object.ft = const_cast<CMPIErrorFT *>(cmpi::error_table());
  return impl;
}

// NULL text unsets the part.
CMPIrc store_text(std::optional<std::string> *part, const char *text) {
  try {
    if (text == nullptr) {
      part->reset();
    } else {
      *part = std::string(text);
    }
  } catch (...) {
    return CMPI_RC_ERR_FAILED;
  }
  return CMPI_RC_OK;
}

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
    return st.rc != CMPI_RC_OK ? st.rc : CMPI_RC_ERR_FAILED;
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

CMPIString *text_out(const std::optional<std::string> &part, CMPIStatus *rc) {
  if (!part.has_value()) {
    set_rc(rc, CMPI_RC_OK);
    return nullptr;
  }
  return CreateString(part->c_str(), rc);
}

CMPIArray *array_out(const CMPIArray *array, CMPIStatus *rc) {
  CMPIArray *copy = nullptr;
  set_rc(rc, copy_array(array, &copy));
  return copy;
}

CMPIStatus err_release(CMPIError *er) {
  ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  delete impl;
  return make_status(CMPI_RC_OK);
}

CMPIError *err_clone(const CMPIError *er, CMPIStatus *rc) {
  const ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  ErrorImpl *copy = new_impl();
  if (copy == nullptr) {
    set_rc(rc, CMPI_RC_ERR_FAILED);
    return nullptr;
  }
  CMPIrc code = CMPI_RC_OK;
  try {
    copy->error_type = impl->error_type;
    copy->other_error_type = impl->other_error_type;
    copy->owning_entity = impl->owning_entity;
    copy->message_id = impl->message_id;
    copy->message = impl->message;
    copy->severity = impl->severity;
    copy->probable_cause = impl->probable_cause;
    copy->probable_cause_description = impl->probable_cause_description;
    copy->error_source = impl->error_source;
    copy->error_source_format = impl->error_source_format;
    copy->other_error_source_format = impl->other_error_source_format;
    copy->cim_status_code = impl->cim_status_code;
    copy->cim_status_code_description = impl->cim_status_code_description;
  } catch (...) {
    code = CMPI_RC_ERR_FAILED;
  }
  if (code == CMPI_RC_OK) {
    code = copy_array(impl->recommended_actions, &copy->recommended_actions);
  }
  if (code == CMPI_RC_OK) {
    code = copy_array(impl->message_arguments, &copy->message_arguments);
  }
  if (code != CMPI_RC_OK) {
    delete copy;
    set_rc(rc, code);
    return nullptr;
  }
  set_rc(rc, CMPI_RC_OK);
  return &copy->object;
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

CMPIString *text_field_out(const CMPIError *er, CMPIStatus *rc,
                           std::optional<std::string> ErrorImpl::*field) {
  const ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    set_rc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return nullptr;
  }
  return text_out(impl->*field, rc);
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

CMPIStatus text_field_in(CMPIError *er, std::optional<std::string> ErrorImpl::*field,
                         const char *text) {
  ErrorImpl *impl = impl_of(er);
  if (impl == nullptr) {
    return make_status(CMPI_RC_ERR_INVALID_HANDLE);
  }
  return make_status(store_text(&(impl->*field), text));
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
  return text_field_out(er, rc, &ErrorImpl::other_error_type);
}
CMPIString *err_get_owning_entity(const CMPIError *er, CMPIStatus *rc) {
  return text_field_out(er, rc, &ErrorImpl::owning_entity);
}
CMPIString *err_get_message_id(const CMPIError *er, CMPIStatus *rc) {
  return text_field_out(er, rc, &ErrorImpl::message_id);
}
CMPIString *err_get_message(const CMPIError *er, CMPIStatus *rc) {
  return text_field_out(er, rc, &ErrorImpl::message);
}
CMPIErrorSeverity err_get_perceived_severity(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::severity, ErrorSevUnknown);
}
CMPIErrorProbableCause err_get_probable_cause(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::probable_cause, ErrorProbCauseUnknown);
}
CMPIString *err_get_probable_cause_description(const CMPIError *er, CMPIStatus *rc) {
  return text_field_out(er, rc, &ErrorImpl::probable_cause_description);
}
CMPIArray *err_get_recommended_actions(const CMPIError *er, CMPIStatus *rc) {
  return array_field_out(er, rc, &ErrorImpl::recommended_actions);
}
CMPIString *err_get_error_source(const CMPIError *er, CMPIStatus *rc) {
  return text_field_out(er, rc, &ErrorImpl::error_source);
}
CMPIErrorSrcFormat err_get_error_source_format(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::error_source_format, CMPIErrSrcUnknown);
}
CMPIString *err_get_other_error_source_format(const CMPIError *er, CMPIStatus *rc) {
  return text_field_out(er, rc, &ErrorImpl::other_error_source_format);
}
CMPIrc err_get_cim_status_code(const CMPIError *er, CMPIStatus *rc) {
  return field_out(er, rc, &ErrorImpl::cim_status_code, CMPI_RC_OK);
}
CMPIString *err_get_cim_status_code_description(const CMPIError *er, CMPIStatus *rc) {
  return text_field_out(er, rc, &ErrorImpl::cim_status_code_description);
}
CMPIArray *err_get_message_arguments(const CMPIError *er, CMPIStatus *rc) {
  return array_field_out(er, rc, &ErrorImpl::message_arguments);
}

CMPIStatus err_set_error_type(CMPIError *er, const CMPIErrorType et) {
  return field_in(er, &ErrorImpl::error_type, et);
}
CMPIStatus err_set_other_error_type(CMPIError *er, const char *ot) {
  return text_field_in(er, &ErrorImpl::other_error_type, ot);
}
CMPIStatus err_set_probable_cause_description(CMPIError *er, const char *pcd) {
  return text_field_in(er, &ErrorImpl::probable_cause_description, pcd);
}
CMPIStatus err_set_recommended_actions(CMPIError *er, const CMPIArray *ra) {
  return array_field_in(er, &ErrorImpl::recommended_actions, ra);
}
CMPIStatus err_set_error_source(CMPIError *er, const char *es) {
  return text_field_in(er, &ErrorImpl::error_source, es);
}
CMPIStatus err_set_error_source_format(CMPIError *er, const CMPIErrorSrcFormat esf) {
  return field_in(er, &ErrorImpl::error_source_format, esf);
}
CMPIStatus err_set_other_error_source_format(CMPIError *er, const char *oesf) {
  return text_field_in(er, &ErrorImpl::other_error_source_format, oesf);
}
CMPIStatus err_set_cim_status_code_description(CMPIError *er, const char *scd) {
  return text_field_in(er, &ErrorImpl::cim_status_code_description, scd);
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
  ErrorImpl *impl = new_impl();
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
