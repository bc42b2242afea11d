// frame_splitter.h - the one frame-splitting algorithm behind the six stream tokenizers.
//
// Each call joins the received piece to the unfinished tail left in the caller's carry-over slot,
// cuts out every frame that ends in "CMPI_EOF", acts on it and leaves the new unfinished tail in
// the slot. Control frames: "CMPIERROR" plus one separator byte plus a number (decimal, 0x hex or
// leading-zero octal) ends the call with that code; "CMPIOPERATION_COMPLETE" ends it with the
// completion flag set (only for the members that know it). Every other frame is decoded with
// deserializeResp and handed to the member's delivery step, then its record is released.
//
// Cost: the work grows linearly with the bytes received.
//  - Within a call the buffer is walked with an offset: each byte is searched for the terminator
//    once; a frame is handed on NUL-terminated in place when it lies in the carried block, or
//    copied out once when it lies in the caller's read-only piece; the consumed frames are dropped
//    once, at the end of the call.
//  - Across calls the tail stays in the carry-over block, which keeps spare capacity: the next
//    piece is appended in place (the block grows geometrically with realloc), and the terminator
//    search resumes 7 bytes before the end of the old tail, since the old tail held no complete
//    terminator. The block records its tail length and that resume point in a small trailer at
//    the end of its spare capacity, so the tail is never measured or searched again from its
//    start. A block without a valid trailer (for instance an empty one the caller made) is
//    measured with strlen and searched from its start.
//
// Nothing here keeps state between calls except the caller's carry-over slot.
#ifndef CMPIUTILITY_STREAM_FRAME_SPLITTER_H
#define CMPIUTILITY_STREAM_FRAME_SPLITTER_H

#include <cmpiutility/records.h>
#include <stddef.h>
#include <stdint.h>

namespace cmpiutility {

// Work done by the splitter, in bytes; for tests that check the cost stays linear.
struct WorkMeter {
  size_t copied = 0;    // bytes copied or moved (into the block, frame texts, tails, growth)
  size_t searched = 0;  // bytes scanned (terminator search, length of piece and tail)
};

// What a member's delivery step asks the splitter to do with a decoded frame.
enum class Delivery {
  kNext,       // the frame is consumed; go on with the next one
  kEndCall,    // the frame is consumed; end the call without carrying anything over
  kKeepFrame,  // the frame is not consumed (its object could not be taken over)
};

// How the members differ besides their delivery step.
struct SplitterWording {
  const char *operation;  // the member's own name, used in every log line
  bool knows_completion;  // whether "CMPIOPERATION_COMPLETE" is a control frame
  int carry_level;        // level of the "buffer to be appended next cycle" line
  bool logs_error_code;   // whether an error frame also logs "<operation>: rc.rc <code>"
};

// How a call ended.
enum class SplitEnd {
  kNoMoreFrames,     // every complete frame was consumed; the tail (if any) is in the slot
  kFrameKept,        // a frame could not be consumed; it and everything behind it are in the slot
  kErrorFrame,       // an error frame; error_code holds its code, the slot is NULL
  kCompletionFrame,  // the completion frame; the completion flag is set, the slot is NULL
  kEndedByMember,    // the delivery step ended the call; the slot is NULL
  kOutOfMemory,      // the piece could not be joined to the tail; all of it is lost, slot NULL
};

struct SplitOutcome {
  SplitEnd end;
  int32_t error_code;  // kErrorFrame only
};

// The member's delivery step: called with each decoded record, which the splitter releases
// afterwards (with releaseClientResponseData, after releasing a class or output arguments that
// the step left in it).
class DeliveryStep {
 public:
  template <typename F>
  explicit DeliveryStep(F &step)
      : object_(&step), call_([](void *object, ServerResp *record) {
          return (*static_cast<F *>(object))(record);
        }) {}
  Delivery operator()(ServerResp *record) const { return call_(object_, record); }

 private:
  void *object_;
  Delivery (*call_)(void *, ServerResp *);
};

// Runs one call of the algorithm. piece is the received text (NULL reads as ""); carry is the
// caller's carry-over slot (NULL or a block a previous call left); complete receives 1 on the
// completion frame (may be NULL); meter, when given, adds up the work done.
SplitOutcome split_frames(const char *piece, char **carry, const SplitterWording &wording,
                          uint32_t *complete, DeliveryStep deliver, WorkMeter *meter = nullptr);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_STREAM_FRAME_SPLITTER_H
