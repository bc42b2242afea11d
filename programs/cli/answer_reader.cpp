// answer_reader.cpp - the read loop shared by every operation.
#include "answer_reader.h"

#include <cstdlib>
#include <utility>

#include "cli_error.h"
#include "frame_counter.h"
#include "frame_view.h"
#include "piece_decoder.h"

namespace cli {
namespace {

// The tail of unfinished stream text that the tokenizers keep between calls.
struct CarrySlot {
  char *text = nullptr;
  CarrySlot() = default;
  CarrySlot(const CarrySlot &) = delete;
  CarrySlot &operator=(const CarrySlot &) = delete;
  ~CarrySlot() { std::free(text); }
};

// The next piece into *piece; false when the answer has no more. An answer that ends with the
// close of the connection also ends when, after a frame, nothing more arrives in time.
bool next_piece(PieceSource &source, const char **piece, bool ends_at_close, bool had_frame) {
  try {
    if (source.receive(piece)) return true;
  } catch (const TimeoutError &) {
    if (ends_at_close && had_frame) return false;
    throw;
  }
  if (ends_at_close) return false;
  throw ConnectionError("the daemon closed the connection before the answer was complete");
}

// Takes the data frames of a non-enumeration answer: the instance's frame, and the status message
// a status frame carries in place of what the tokenizer reported.
void take_frames(Answer *answer, Outcome *outcome) {
  for (const Json::Value &frame : answer->frames) {
    if (frame.isObject() && frame.isMember("InstanceProps")) answer->instance_frame = frame;
    std::string message;
    if (outcome->code != CMPI_RC_OK && frame_status_message(frame, &message)) {
      outcome->message = message;
    }
  }
  answer->frames.clear();
}

}  // namespace

Answer read_answer(PieceSource &source, const wire::Operation &op, Output &out) {
  Answer answer;
  prepare_answer(op, &answer, out);
  const bool ends_at_close = op.ending == wire::Ending::kSingleFrame;
  CarrySlot carry;
  uint32_t complete = 0;
  FrameCounter frames;
  FrameSplitter splitter;
  const char *piece = nullptr;
  while (next_piece(source, &piece, ends_at_close, frames.total() > 0)) {
    // Only an answer that ends at the close needs to know where its frames end.
    const bool frame_ended = ends_at_close && frames.add(piece) > 0;
    splitter.add(piece, &answer.frames);
    Outcome outcome = decode_piece(op, piece, &carry.text, &complete, &answer, out);
    if (op.tokenizer != wire::Tokenizer::kEnum) take_frames(&answer, &outcome);
    if (ends_at_close) {
      if (frame_ended) answer.status = std::move(outcome);
      continue;
    }
    if (outcome.code != CMPI_RC_OK) throw CimError(outcome.code, outcome.message);
    if (complete != 0) {
      answer.status = std::move(outcome);
      break;
    }
  }
  if (ends_at_close && frames.total() == 0) {
    throw ConnectionError("the daemon closed the connection without an answer");
  }
  if (answer.status.code != CMPI_RC_OK) {
    throw CimError(answer.status.code, answer.status.message);
  }
  if (op.tokenizer == wire::Tokenizer::kGet && !answer.instance) {
    throw CimError(CMPI_RC_ERR_NOT_FOUND, "the daemon returned no instance");
  }
  if (op.tokenizer == wire::Tokenizer::kGetClass && !answer.cls) {
    throw CimError(CMPI_RC_ERR_NOT_FOUND, "the daemon returned no class");
  }
  return answer;
}

}  // namespace cli
