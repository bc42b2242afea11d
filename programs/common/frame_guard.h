// frame_guard.h - keeping data from ending a frame early.
//
// A receiver cuts the stream at the first "CMPI_EOF". A JSON document may carry that text inside
// a string (a property value, a name, a status message), which would cut the frame there and let
// the rest of the value pose as further frames. Inside a JSON document the text can only stand
// within a string, so the guard writes the underscore of each occurrence as the JSON escape
// "\u005f": every JSON reader decodes it back to the same characters, and the terminator then
// appears exactly once, at the end.
#ifndef CMPI_PROGRAMS_FRAME_GUARD_H
#define CMPI_PROGRAMS_FRAME_GUARD_H

#include <cstddef>
#include <string>

namespace wire {

// frame: one JSON document followed by one "CMPI_EOF" (anything after the last terminator is
// left alone). Rewrites every earlier occurrence of the terminator in place and returns how
// many it rewrote (0: the frame is unchanged, the common case, found with one search).
std::size_t guard_frame(std::string *frame);

// The same for a document without its terminator.
std::size_t guard_document(std::string *document);

}  // namespace wire

#endif  // CMPI_PROGRAMS_FRAME_GUARD_H
