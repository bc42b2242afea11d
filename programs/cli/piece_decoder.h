// piece_decoder.h - one piece of an answer through the operation's tokenizer.
#ifndef CMPI_CLI_PIECE_DECODER_H
#define CMPI_CLI_PIECE_DECODER_H

#include <cstdint>

#include "answer_reader.h"
#include "operations.h"
#include "output.h"

namespace cli {

// Gets answer and out ready for the first piece of op's answer: starts the enumeration's result
// list, makes the argument list of a method's output. Throws CimError when out of memory.
void prepare_answer(const wire::Operation &op, Answer *answer, Output &out);

// Hands piece to op's tokenizer (wire::Operation::tokenizer) with the carry-over slot *carry:
//   kEnum      the results go to out at once (paths for Results::kPaths, instances otherwise)
//   kGet, kGetClass  a decoded instance or class replaces answer->instance / answer->cls
//   kInvoke    the output arguments are added to answer->out, the type code to return_type
//   kSet, kCreate  nothing but the status
// Sets *complete when the tokenizer reports the completion frame. Returns the status the
// piece ended with: the tokenizer's, or for kSet and kCreate that of the frames in the piece
// (for kCreate a failed copy of the new path, or an error frame, overrides the frame's code).
// Throws ConnectionError when the JSON library rejects a frame.
Outcome decode_piece(const wire::Operation &op, const char *piece, char **carry,
                     uint32_t *complete, Answer *answer, Output &out);

}  // namespace cli

#endif  // CMPI_CLI_PIECE_DECODER_H
