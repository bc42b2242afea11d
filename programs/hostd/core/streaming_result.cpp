// streaming_result.cpp - a CMPIResult that writes each result as a frame at once.
#include "streaming_result.h"

#include <cmpiinterface.h>
#include <cmpimacs.h>
#include <cmpiutility/records.h>

#include <cerrno>
#include <cstring>

#include "clock.h"
#include "response_frames.h"
#include "wire.h"
#include "log.h"

namespace hostd {
namespace {

CMPIStatus status(CMPIrc rc) {
  CMPIStatus st = {rc, nullptr};
  return st;
}

}  // namespace

CMPIResultFT StreamingResult::table_ = {
    1,
    &StreamingResult::release,
    &StreamingResult::clone,
    &StreamingResult::return_data,
    &StreamingResult::return_instance,
    &StreamingResult::return_object_path,
    &StreamingResult::return_done,
    &StreamingResult::return_error,
};

StreamingResult::StreamingResult(int type, FrameSink *sink, CMPIArgs *method_out,
                                 FrameEncoderThread *encoder)
    : type_(type), sink_(sink), fit_(type), method_out_(method_out), encoder_(encoder) {
  result_.hdl = this;
  result_.ft = &table_;
}

StreamingResult::~StreamingResult() {
  finish_stream();
  if (held_instance_ != nullptr) CMRelease(held_instance_);
  if (held_path_ != nullptr) CMRelease(held_path_);
}

StreamingResult *StreamingResult::self(const CMPIResult *result) {
  return result == nullptr ? nullptr : static_cast<StreamingResult *>(result->hdl);
}

// The result belongs to the worker, which passes it by address; a provider's release does
// nothing, and a copy cannot be made.
CMPIStatus StreamingResult::release(CMPIResult *) { return status(CMPI_RC_OK); }

CMPIResult *StreamingResult::clone(const CMPIResult *, CMPIStatus *rc) {
  if (rc != nullptr) *rc = status(CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}

CMPIStatus StreamingResult::return_data(const CMPIResult *result, const CMPIValue *value,
                                        CMPIType type) {
  StreamingResult *me = self(result);
  if (me == nullptr) return status(CMPI_RC_ERR_INVALID_HANDLE);
  if (me->type_ == INVOKEMETHOD) return me->return_value(value, type);
  if (value == nullptr) return status(CMPI_RC_ERR_INVALID_PARAMETER);
  if (type == CMPI_instance) return me->instance(value->inst);
  if (type == CMPI_ref) return me->object_path(value->ref);
  HOSTD_TRACE("provider returned data of type %u to request type %d; refused",
              static_cast<unsigned>(type), me->type_);
  return status(CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIStatus StreamingResult::return_instance(const CMPIResult *result, const CMPIInstance *inst) {
  StreamingResult *me = self(result);
  if (me == nullptr) return status(CMPI_RC_ERR_INVALID_HANDLE);
  if (me->type_ == INVOKEMETHOD) {
    CMPIValue value;
    value.inst = const_cast<CMPIInstance *>(inst);
    return me->return_value(&value, CMPI_instance);
  }
  return me->instance(inst);
}

CMPIStatus StreamingResult::return_object_path(const CMPIResult *result,
                                               const CMPIObjectPath *ref) {
  StreamingResult *me = self(result);
  if (me == nullptr) return status(CMPI_RC_ERR_INVALID_HANDLE);
  if (me->type_ == INVOKEMETHOD) {
    CMPIValue value;
    value.ref = const_cast<CMPIObjectPath *>(ref);
    return me->return_value(&value, CMPI_ref);
  }
  return me->object_path(ref);
}

CMPIStatus StreamingResult::return_done(const CMPIResult *) { return status(CMPI_RC_OK); }

CMPIStatus StreamingResult::return_error(const CMPIResult *, const CMPIError *) {
  return status(CMPI_RC_OK);
}

CMPIStatus StreamingResult::instance(const CMPIInstance *inst) {
  if (inst == nullptr) return status(CMPI_RC_ERR_INVALID_PARAMETER);
  switch (type_) {
    case ENUMINST:
    case ASSOCIATORS:
    case EXECQUERY:
      return stream(const_cast<CMPIInstance *>(inst), nullptr);
    case ENUMINSTNAMES: {
      CMPIStatus rc = status(CMPI_RC_OK);
      CMPIObjectPath *path = CMGetObjectPath(inst, &rc);
      if (path == nullptr) return status(CMPI_RC_ERR_INVALID_PARAMETER);
      CMPIStatus st = stream(nullptr, path);
      CMRelease(path);
      return st;
    }
    case GETINST:
      if (held_instance_ != nullptr) {
        HOSTD_NOTICE("provider returned more than one instance to GetInstance; the first stands");
        return status(CMPI_RC_OK);
      }
      held_instance_ = CMClone(inst, nullptr);
      return status(held_instance_ != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_FAILED);
    default:
      HOSTD_TRACE("provider returned an instance to request type %d; refused", type_);
      return status(CMPI_RC_ERR_NOT_SUPPORTED);
  }
}

CMPIStatus StreamingResult::object_path(const CMPIObjectPath *path) {
  if (path == nullptr) return status(CMPI_RC_ERR_INVALID_PARAMETER);
  switch (type_) {
    case ENUMINSTNAMES:
      return stream(nullptr, const_cast<CMPIObjectPath *>(path));
    case CREATEINST:
      if (held_path_ != nullptr) return status(CMPI_RC_OK);
      held_path_ = CMClone(path, nullptr);
      return status(held_path_ != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_FAILED);
    default:
      HOSTD_TRACE("provider returned an object path to request type %d; refused", type_);
      return status(CMPI_RC_ERR_NOT_SUPPORTED);
  }
}

CMPIStatus StreamingResult::return_value(const CMPIValue *value, CMPIType type) {
  if (method_out_ == nullptr) return status(CMPI_RC_ERR_FAILED);
  // Passed on as given: for CMPI_chars the value pointer is the text itself on this platform.
  CMPIStatus st = CMAddArg(method_out_, wire::kReturnValueArgument, value, type);
  if (st.rc == CMPI_RC_OK) return_type_ = type == CMPI_chars ? CMPI_string : type;
  return st;
}

void StreamingResult::finish_stream() {
  if (encoder_ == nullptr || !encoder_->open()) return;
  const FrameEncoderThread::Outcome done = encoder_->finish();
  frames_ += done.frames;
  handed_ = 0;
  if (done.failed) failed_ = true;
}

// true when this result came within kSlowResultMs of the one before.
bool StreamingResult::quick_result() {
  const long long now = now_ms();
  const bool quick = now - last_result_ms_ <= kSlowResultMs;
  last_result_ms_ = now;
  return quick;
}

// A copy of inst that the encoder thread may own: the fitted copy if fitting made one, else a
// clone. nullptr when the instance is not the object library's own (its clone might share
// state with it), when no thread can run, or when no copy could be made.
CMPIInstance *StreamingResult::copy_for_encoder(CMPIInstance *inst) {
  if (!cmpiIsOwnInstance(inst) || !encoder_->start()) return nullptr;
  FittedInstance fitted = fit_.instance(inst);
  if (fitted != nullptr) return fitted.release();
  return CMClone(inst, nullptr);
}

CMPIStatus StreamingResult::stream(CMPIInstance *inst, CMPIObjectPath *path) {
  if (failed_) return status(CMPI_RC_ERR_FAILED);
  if (inst != nullptr && encoder_ != nullptr && quick_result() &&
      frames_ + handed_ >= kEncodedHere && !sink_->held_up()) {
    CMPIInstance *copy = copy_for_encoder(inst);
    if (copy != nullptr) {
      if (!encoder_->open()) encoder_->begin(type_, sink_, frames_);
      if (!encoder_->push(copy)) {
        finish_stream();
        return status(CMPI_RC_ERR_FAILED);
      }
      ++handed_;
      return status(CMPI_RC_OK);
    }
  }
  // Encoded here: whatever was handed over goes out first.
  finish_stream();
  if (failed_) return status(CMPI_RC_ERR_FAILED);
  ResponseParts parts;
  parts.instance = inst;
  parts.path = path;
  parts.fit = &fit_;
  frame_.clear();
  if (!append_response_frame(type_, parts, &frame_)) {
    HOSTD_ERROR("result %lu of request type %d cannot be encoded; the answer ends with an error",
                frames_ + 1, type_);
    failed_ = true;
    return status(CMPI_RC_ERR_FAILED);
  }
  if (!sink_->send(frame_)) {
    HOSTD_ERROR("result %lu of request type %d cannot be passed on: %s", frames_ + 1, type_,
                std::strerror(errno));
    failed_ = true;
    return status(CMPI_RC_ERR_FAILED);
  }
  ++frames_;
  return status(CMPI_RC_OK);
}

}  // namespace hostd
