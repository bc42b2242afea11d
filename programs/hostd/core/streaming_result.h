// streaming_result.h - the CMPIResult that the worker hands to a provider.
//
// Each instance or object path that the provider returns into an enumerating operation is
// written as one frame (append_response_frame) and passed to the worker's frame sink at once:
// an enumeration of any size needs the memory of one result at a time.
//
// What each request type does with what is returned:
//   ENUMINST, ASSOCIATORS, EXECQUERY  returnInstance streams an instance frame
//   ENUMINSTNAMES                     returnObjectPath streams a path frame (returnInstance
//                                     streams the instance's path)
//   GETINST                           returnInstance keeps the first instance for the worker
//   CREATEINST                        returnObjectPath keeps the first path for the worker
//   INVOKEMETHOD                      returnData/returnInstance/returnObjectPath add the method's
//                                     return value to the output arguments as "__ReturnValue"
//                                     and remember its type code
// Every streamed frame goes through the request's one WireFit, so a property that the wire
// cannot carry is left out of each result and logged once for the whole answer.
// returnData with a CMPI_instance or CMPI_ref value counts as returnInstance or
// returnObjectPath. Anything else is refused with CMPI_RC_ERR_NOT_SUPPORTED. returnDone and
// returnError are accepted and change nothing.
#ifndef CMPI_HOSTD_STREAMING_RESULT_H
#define CMPI_HOSTD_STREAMING_RESULT_H

#include <cmpidt.h>
#include <cmpift.h>

#include <string>
#include <unordered_set>

#include "frame_sink.h"
#include "wire_fit.h"

namespace hostd {

class StreamingResult {
 public:
  // method_out: the output arguments of an INVOKEMETHOD request (else NULL).
  StreamingResult(int type, FrameSink *sink, CMPIArgs *method_out);
  ~StreamingResult();
  StreamingResult(const StreamingResult &) = delete;
  StreamingResult &operator=(const StreamingResult &) = delete;

  const CMPIResult *result() const { return &result_; }

  CMPIInstance *held_instance() const { return held_instance_; }
  CMPIObjectPath *held_path() const { return held_path_; }
  CMPIType return_type() const { return return_type_; }
  // A result could not be encoded or written: the answer is incomplete.
  bool failed() const { return failed_; }
  unsigned long frames() const { return frames_; }
  // The provider whose results follow and the worker's memory of lossy-value warnings
  // (WireFit::set_source).
  void set_source(const std::string &provider, std::unordered_set<std::string> *warned) {
    fit_.set_source(provider, warned);
  }
  // The request's WireFit, for the frames the worker writes after the provider returned.
  WireFit *fit() { return &fit_; }

 private:
  static StreamingResult *self(const CMPIResult *result);
  static CMPIStatus release(CMPIResult *result);
  static CMPIResult *clone(const CMPIResult *result, CMPIStatus *rc);
  static CMPIStatus return_data(const CMPIResult *result, const CMPIValue *value, CMPIType type);
  static CMPIStatus return_instance(const CMPIResult *result, const CMPIInstance *inst);
  static CMPIStatus return_object_path(const CMPIResult *result, const CMPIObjectPath *ref);
  static CMPIStatus return_done(const CMPIResult *result);
  static CMPIStatus return_error(const CMPIResult *result, const CMPIError *error);

  CMPIStatus instance(const CMPIInstance *inst);
  CMPIStatus object_path(const CMPIObjectPath *path);
  CMPIStatus return_value(const CMPIValue *value, CMPIType type);
  CMPIStatus stream(CMPIInstance *inst, CMPIObjectPath *path);

  static CMPIResultFT table_;
  CMPIResult result_;
  int type_;
  FrameSink *sink_;
  std::string frame_;
  WireFit fit_;
  CMPIArgs *method_out_;
  CMPIInstance *held_instance_ = nullptr;
  CMPIObjectPath *held_path_ = nullptr;
  CMPIType return_type_ = CMPI_null;
  bool failed_ = false;
  unsigned long frames_ = 0;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_STREAMING_RESULT_H
