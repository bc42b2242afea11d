// response_frames.h - the host's one writer of response frames.
//
// A response frame is a response record (getResponseStruct) encoded by the library's
// serializeResponse into the buffer its type uses, then passed through the frame guard so that
// no "CMPI_EOF" can stand inside it. Everything the host sends to a client that is not a control
// frame is written here.
#ifndef CMPI_HOSTD_RESPONSE_FRAMES_H
#define CMPI_HOSTD_RESPONSE_FRAMES_H

#include <cmpidt.h>
#include <cmpift.h>
#include <cmpiinterface.h>

#include <cstddef>
#include <string>

namespace hostd {

class WireFit;

// What goes into one response record; pointers are borrowed for the call.
struct ResponseParts {
  CMPIInstance *instance = nullptr;
  CMPIObjectPath *path = nullptr;
  CMPIValue value{};         // INVOKEMETHOD: value.args holds the output arguments
  CMPIType value_type = 0;   // INVOKEMETHOD: the type code of the return value
  CMPIStatus *status = nullptr;
  CMPIConstClass *cls = nullptr;
  // The request's fitting (wire_fit.h), so that a streamed answer logs each left-out property
  // once; nullptr: a fitting of this one frame.
  WireFit *fit = nullptr;
  // The instance, path and arguments were fitted already (by the request's WireFit, on the
  // thread that took them from the provider): they are encoded as they are.
  bool fitted = false;
};

// The longest document that fits the fixed frame buffer of ModifyInstance, DeleteInstance and
// CreateInstance: the library cuts longer ones there, which would leave invalid JSON.
inline constexpr std::size_t kFixedFrameDocument = 8181;

// Appends the frame (document and terminator) for a response of this type to *out. false when
// the library could not build or encode the record (it logged why; *out is unchanged).
// The instance, the path and (InvokeMethod) the output arguments are first fitted to what the
// wire can carry (WireFit): keys of other types become string keys, what cannot be carried is
// left out and logged; when nothing needs fitting they are encoded as they are, uncopied.
// For the three fixed-buffer types a status message that would push the frame past its buffer
// is shortened (cut on a character boundary, marked with "...") so that the frame stays valid
// JSON and the code arrives; the message is logged at level 3 (escaped, and cut after
// 1024 bytes like all text from providers).
bool append_response_frame(int type, const ResponseParts &parts, std::string *out);

}  // namespace hostd

#endif  // CMPI_HOSTD_RESPONSE_FRAMES_H
