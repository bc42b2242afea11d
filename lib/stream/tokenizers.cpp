// The six stream tokenizers: one frame splitter (frame_splitter.h), six delivery steps.
#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/stream.h>

#include "log/log.h"
#include "response/response_codec.h"
#include "stream/frame_splitter.h"

namespace {

using cmpiutility::Delivery;
using cmpiutility::DeliveryStep;
using cmpiutility::kLogLevelError;
using cmpiutility::kLogLevelTrace;
using cmpiutility::set_status_code;
using cmpiutility::split_frames;
using cmpiutility::SplitEnd;
using cmpiutility::SplitOutcome;
using cmpiutility::SplitterWording;
using cmpiutility::status_code;

constexpr CMPIStatus kOk = {CMPI_RC_OK, nullptr};

// A clone of a status's message, or NULL without one.
CMPIString *clone_message(const CMPIStatus &status) {
  CMPIString *message = status.msg;
  return (message != nullptr) ? CMClone(message, nullptr) : nullptr;
}

// Writes a frame's code and a clone of its message into the caller's status. A clone that an
// earlier frame of the same call wrote there never reached the caller, so it is released.
class StatusWriter {
 public:
  explicit StatusWriter(CMPIStatus *status) : status_(status) {}
  void write(const CMPIStatus &from) {
    if (status_ == nullptr) return;
    set_status_code(status_, status_code(from));
    if (written_ != nullptr) CMRelease(written_);
    written_ = clone_message(from);
    status_->msg = written_;
  }

 private:
  CMPIStatus *status_;
  CMPIString *written_ = nullptr;
};

// Hands a clone over to the caller's result. A clone that an earlier frame of the same call
// stored there is replaced, and released since the caller never saw it.
template <typename Object>
class ResultWriter {
 public:
  explicit ResultWriter(Object **result) : result_(result) {}
  void store(Object *clone) {
    if (result_ == nullptr) {
      CMRelease(clone);
      return;
    }
    if (stored_ != nullptr) CMRelease(stored_);
    *result_ = clone;
    stored_ = clone;
  }

 private:
  Object **result_;
  Object *stored_ = nullptr;
};

// The shared delivery of the two get members: a non-zero code ends the call with a clone of the
// message; otherwise the object is cloned into the caller's result, or kept in the stream when
// there is nothing to clone.
template <typename Object, typename Clone>
Delivery deliver_get(const char *operation, ServerResp *record, CMPIStatus &status,
                     ResultWriter<Object> &result, Clone clone) {
  set_status_code(&status, status_code(record->status));
  if (status_code(status) != 0) {
    status.msg = clone_message(record->status);
    return Delivery::kEndCall;
  }
  Object *copy = clone(record);
  if (copy == nullptr) {
    CMPIU_ERROR("%s: clone failed, skip this frame", operation);
    return Delivery::kKeepFrame;
  }
  result.store(copy);
  return Delivery::kNext;
}

}  // namespace

extern "C" void CMUtilSETStringTokenize(const char *piece, char **carry, CMPIStatus *status) {
  CMPIU_TRACE_FUNCTION();
  constexpr SplitterWording wording = {"CMUtilSETStringTokenize", false, kLogLevelTrace, true};
  StatusWriter writer(status);
  auto step = [&](ServerResp *record) {
    writer.write(record->status);
    return Delivery::kNext;
  };
  const SplitOutcome outcome = split_frames(piece, carry, wording, nullptr, DeliveryStep(step));
  if (outcome.end == SplitEnd::kErrorFrame && status != nullptr) {
    set_status_code(status, outcome.error_code);
  }
}

extern "C" CMPIStatus CMUtilGETStringTokenize(const char *piece, CMPIInstance **result,
                                              char **carry, uint32_t *complete) {
  CMPIU_TRACE_FUNCTION();
  constexpr SplitterWording wording = {"CMUtilGETStringTokenize", true, kLogLevelTrace, false};
  CMPIStatus status = kOk;
  ResultWriter<CMPIInstance> writer(result);
  auto step = [&](ServerResp *record) {
    // The clone reports into the returned status. The record's own instance, made by the
    // object library, is handed over instead of cloned (the record lets go of it): the caller
    // gets the same instance and the same status either way.
    return deliver_get(wording.operation, record, status, writer, [&](ServerResp *r) {
      if (r->instance != nullptr && cmpiIsOwnInstance(r->instance)) {
        CMPIInstance *own = r->instance;
        r->instance = nullptr;
        status.rc = CMPI_RC_OK;
        status.msg = nullptr;
        return own;
      }
      return (r->instance != nullptr) ? CMClone(r->instance, &status) : nullptr;
    });
  };
  const SplitOutcome outcome = split_frames(piece, carry, wording, complete, DeliveryStep(step));
  if (outcome.end == SplitEnd::kErrorFrame) set_status_code(&status, outcome.error_code);
  return status;
}

extern "C" CMPIStatus CMUtilGETClassStringTokenize(const char *piece, CMPIConstClass **result,
                                                   char **carry, uint32_t *complete) {
  CMPIU_TRACE_FUNCTION();
  constexpr SplitterWording wording = {"CMUtilGETClassStringTokenize", true, kLogLevelTrace,
                                       false};
  CMPIStatus status = kOk;
  ResultWriter<CMPIConstClass> writer(result);
  auto step = [&](ServerResp *record) {
    return deliver_get(wording.operation, record, status, writer, [](ServerResp *r) {
      return (r->constClass != nullptr) ? r->constClass->ft->clone(r->constClass, nullptr)
                                        : nullptr;
    });
  };
  const SplitOutcome outcome = split_frames(piece, carry, wording, complete, DeliveryStep(step));
  if (outcome.end == SplitEnd::kErrorFrame) set_status_code(&status, outcome.error_code);
  return status;
}

extern "C" CMPIStatus CMUtilCreateInstStringTokenize(const char *piece, void *unused,
                                                     char **carry, CMPIStatus *status) {
  CMPIU_TRACE_FUNCTION();
  (void)unused;
  constexpr SplitterWording wording = {"CMUtilCreateInstStringTokenize", false, kLogLevelTrace,
                                       false};
  CMPIStatus returned = kOk;
  StatusWriter writer(status);
  auto step = [&](ServerResp *record) {
    if (record->objectPath != nullptr) {
      // Only the status of cloning the new path is kept, as the returned status; the clone is
      // not handed on and goes straight back.
      CMPIObjectPath *clone = CMClone(record->objectPath, &returned);
      if (clone != nullptr) CMRelease(clone);
    }
    writer.write(record->status);
    return Delivery::kNext;
  };
  const SplitOutcome outcome = split_frames(piece, carry, wording, nullptr, DeliveryStep(step));
  if (outcome.end == SplitEnd::kErrorFrame) set_status_code(&returned, outcome.error_code);
  return returned;
}

extern "C" CMPIStatus CMUtilInvokeStringTokenize(const char *piece, CMPIArgs *out,
                                                 uint32_t *retType, char **carry,
                                                 uint32_t *complete) {
  CMPIU_TRACE_FUNCTION();
  constexpr SplitterWording wording = {"CMUtilInvokeStringTokenize", true, kLogLevelTrace,
                                       false};
  CMPIStatus status = kOk;
  auto step = [&](ServerResp *record) {
    CMPIArgs *args = record->retVal.args;
    if (out != nullptr && args != nullptr) {
      CMPIU_TRACE("%s Resp Arg count %d ", wording.operation,
                  static_cast<int>(CMGetArgCount(args, nullptr)));
      status = copyCMPIArgs(args, out);
      if (status_code(status) != 0) {
        CMPIU_ERROR("%s: CMPIArgs copy failed", wording.operation);
      }
    }
    if (retType != nullptr) *retType = record->retType;
    if (args != nullptr && args->ft != nullptr && args->ft->release != nullptr) {
      args->ft->release(args);
    }
    record->retVal.args = nullptr;
    return Delivery::kNext;
  };
  const SplitOutcome outcome = split_frames(piece, carry, wording, complete, DeliveryStep(step));
  if (outcome.end == SplitEnd::kErrorFrame) set_status_code(&status, outcome.error_code);
  return status;
}

extern "C" CMPIStatus CMUtilEnumStringTokenize(const char *piece, CMPIArray *array, char **carry,
                                               uint32_t *complete) {
  CMPIU_TRACE_FUNCTION();
  constexpr SplitterWording wording = {"CMUtilEnumStringTokenize", true, kLogLevelError, false};
  const char *operation = wording.operation;
  CMPIStatus status = kOk;
  CMPICount next = 0;
  if (array != nullptr) {
    next = CMGetArrayCount(array, &status);
  } else {
    set_status_code(&status, CMPI_RC_ERR_INVALID_HANDLE);
  }
  CMPIU_TRACE("%s: array count for %u", operation, static_cast<unsigned>(next));

  auto step = [&](ServerResp *record) {
    CMPIValue value;
    CMPIType type;
    bool present;
    if (record->type == ENUMINSTNAMES) {
      CMPIObjectPath *path = record->objectPath;
      // The key count is logged before the path is looked at; a missing path counts 0 keys.
      const int keys = (path != nullptr) ? static_cast<int>(CMGetKeyCount(path, nullptr)) : 0;
      CMPIU_TRACE("'%s': CMGetKeyCount = '%d'", operation, keys);
      value.ref = path;
      type = CMPI_ref;
      present = path != nullptr;
    } else {
      value.inst = record->instance;
      type = CMPI_instance;
      present = record->instance != nullptr;
    }
    if (!present) {
      CMPIU_ERROR("%s: clone failed, skip this frame", operation);
      return Delivery::kKeepFrame;
    }
    CMPIU_TRACE(" Response Type %d", record->type);
    // The array takes the record's own object where the object library can hand it over
    // (then the record lets go of it); otherwise a copy, and the record's own goes with the
    // record. Either way the array ends up with the same object.
    if (array != nullptr) {
      status = cmpiArrayTakeElementAt(array, next, &value, type);
      if (status.rc == CMPI_RC_ERR_NOT_SUPPORTED) {
        status = CMSetArrayElementAt(array, next, &value, type);
      } else if (status.rc == CMPI_RC_OK) {
        if (type == CMPI_ref) {
          record->objectPath = nullptr;
        } else {
          record->instance = nullptr;
        }
      }
    } else {
      status = kOk;
      set_status_code(&status, CMPI_RC_ERR_INVALID_HANDLE);
    }
    if (status_code(status) == 0) ++next;
    const CMPICount size = (array != nullptr) ? CMGetArrayCount(array, nullptr) : 0;
    CMPIU_TRACE("%s: total count %d and rc %d : %u", operation, static_cast<int>(next),
                status_code(status), static_cast<unsigned>(size));
    return Delivery::kNext;
  };
  const SplitOutcome outcome = split_frames(piece, carry, wording, complete, DeliveryStep(step));
  switch (outcome.end) {
    case SplitEnd::kErrorFrame:
      set_status_code(&status, outcome.error_code);
      break;
    case SplitEnd::kCompletionFrame:
      // The status of the last append of this call, or of reading the size.
      break;
    default:
      // Code 0, with the message of the last status.
      set_status_code(&status, 0);
      break;
  }
  return status;
}
