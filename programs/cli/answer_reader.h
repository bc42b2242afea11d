// answer_reader.h - reading the daemon's answer to one request.
//
// One loop serves every operation; the operation's row of the table (wire::Operation) says
// which of the library's tokenizers decodes the pieces and how the answer ends:
//   Ending::kCompletionFrame  pieces are read until the tokenizer reports the completion frame.
//                             The daemon closing before that is a ConnectionError ("the daemon
//                             closed the connection before the answer was complete").
//   Ending::kSingleFrame      pieces are read until the daemon closes or, once a frame has
//                             ended, until no piece arrives in time. The status decoded from the
//                             last piece in which a frame ended stands. An answer without any
//                             frame is a ConnectionError ("the daemon closed the connection
//                             without an answer").
// Every piece goes to the tokenizer with the same carry-over slot. A non-zero status is a
// CimError with the status's code and message (enumeration results decoded before it have been
// handed on by then); a frame the JSON library rejects is a ConnectionError ("the answer could
// not be decoded: ..."); the source's TimeoutError and ConnectionError pass through.
#ifndef CMPI_CLI_ANSWER_READER_H
#define CMPI_CLI_ANSWER_READER_H

#include <json/json.h>

#include <cstdint>
#include <deque>
#include <string>

#include "cmpi_build.h"
#include "operations.h"
#include "output.h"
#include "piece_source.h"

namespace cli {

// A status reported by a tokenizer: code and message text ("" for none).
struct Outcome {
  int code = 0;
  std::string message;
};

// What an answer delivered, by the operation's tokenizer:
//   kEnum      nothing here: each result went to the Output as it arrived, into the list
//              "paths" (Results::kPaths) or "instances", which is started before the first read
//   kGet       instance, never null (an answer without one is CimError CMPI_RC_ERR_NOT_FOUND)
//   kGetClass  cls, the same
//   kInvoke    out (the output arguments, the return value among them) and return_type
//   kSet, kCreate  status, the answer's status (always OK: any other is thrown)
// Beside the tokenizer, every data frame is read as JSON (frame_view.h): an enumeration hands
// each result on with its frame, a GetInstance keeps the instance's frame in instance_frame, and
// a status message that a frame carries is the message of the outcome, also where the tokenizer
// drops it (GetInstance and GetClass status frames).
struct Answer {
  Outcome status;
  InstancePtr instance;
  Json::Value instance_frame;          // the frame of instance (null when none)
  std::deque<Json::Value> frames;      // data frames read but not yet taken
  ClassPtr cls;
  ArgsPtr out;
  uint32_t return_type = 0;
};

Answer read_answer(PieceSource &source, const wire::Operation &op, Output &out);

}  // namespace cli

#endif  // CMPI_CLI_ANSWER_READER_H
