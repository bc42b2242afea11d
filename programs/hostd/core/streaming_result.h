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
// With the worker's FrameEncoderThread, the instances of an answer past its first
// kEncodedHere are fitted and copied here and encoded on that thread while the provider makes
// the next ones (frame_encoder_thread.h); their frames are passed on from here, at the next
// returnInstance or when the stream is finished. Encoded here instead, after everything handed
// over before it: an instance that is not the object library's own; one that came more than
// kSlowResultMs after the result before it (a slow provider's results reach the client at
// once, not with its next result); and every instance once the sink was held up (a client that
// reads slower than the answer is made gains nothing from the thread, and needs the processor
// time it would take). finish_stream() waits for the thread (the worker calls
// it when the provider has returned, and the destructor does); failed() counts what the thread
// did only after it. A frame that fails on the thread fails a later returnInstance of the
// provider instead of the one that returned it.
// returnData with a CMPI_instance or CMPI_ref value counts as returnInstance or
// returnObjectPath. Anything else is refused with CMPI_RC_ERR_NOT_SUPPORTED. returnDone and
// returnError are accepted and change nothing.
#ifndef CMPI_HOSTD_STREAMING_RESULT_H
#define CMPI_HOSTD_STREAMING_RESULT_H

#include <cmpidt.h>
#include <cmpift.h>

#include <string>
#include <unordered_set>

#include "frame_encoder_thread.h"
#include "frame_sink.h"
#include "wire_fit.h"

namespace hostd {

class StreamingResult {
 public:
  // The first results of an answer that are encoded on the provider's thread even with an
  // encoder thread: a small answer costs no hand-over.
  static constexpr unsigned long kEncodedHere = 8;
  // A result that comes later than this after the one before is encoded at once.
  static constexpr long long kSlowResultMs = 2;

  // method_out: the output arguments of an INVOKEMETHOD request (else NULL). encoder: the
  // worker's encoder thread, or NULL to encode every result on the provider's thread.
  StreamingResult(int type, FrameSink *sink, CMPIArgs *method_out,
                  FrameEncoderThread *encoder = nullptr);
  ~StreamingResult();
  StreamingResult(const StreamingResult &) = delete;
  StreamingResult &operator=(const StreamingResult &) = delete;

  const CMPIResult *result() const { return &result_; }

  CMPIInstance *held_instance() const { return held_instance_; }
  CMPIObjectPath *held_path() const { return held_path_; }
  CMPIType return_type() const { return return_type_; }
  // A result could not be encoded or written: the answer is incomplete.
  bool failed() const { return failed_; }
  // Results streamed so far, counting those handed to the encoder thread.
  unsigned long frames() const { return frames_ + handed_; }
  // Waits until the encoder thread has passed on everything handed to it.
  void finish_stream();
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
  CMPIInstance *copy_for_encoder(CMPIInstance *inst);
  bool quick_result();

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
  unsigned long frames_ = 0;   // passed on (by this thread, or by the encoder thread finished)
  unsigned long handed_ = 0;   // handed to the encoder thread, not yet counted in frames_
  long long last_result_ms_ = 0;
  FrameEncoderThread *encoder_;
};

}  // namespace hostd

#endif  // CMPI_HOSTD_STREAMING_RESULT_H
