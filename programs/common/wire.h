// wire.h - the fixed texts of the frame protocol that the programs (host, client) share.
//
// A frame is text followed by the terminator "CMPI_EOF". Besides the JSON data frames there are
// two control frames:
//   "CMPIOPERATION_COMPLETE" "CMPI_EOF"        the operation is complete
//   "CMPIERROR:" <decimal code> "CMPI_EOF"     the operation failed with that CMPI return code
// The library has its own copies of these texts; these are the programs' only ones.
#ifndef CMPI_PROGRAMS_WIRE_H
#define CMPI_PROGRAMS_WIRE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace wire {

inline constexpr std::string_view kTerminator = "CMPI_EOF";
inline constexpr std::string_view kCompleteToken = "CMPIOPERATION_COMPLETE";
inline constexpr std::string_view kErrorToken = "CMPIERROR";

// The output argument that carries a method's return value: the protocol has no other place
// for it, so the host adds it to the output arguments and the client takes it out again.
inline constexpr char kReturnValueArgument[] = "__ReturnValue";

// "CMPIOPERATION_COMPLETECMPI_EOF"
std::string complete_frame();
// "CMPIERROR:<rc>CMPI_EOF"
std::string error_frame(int rc);

enum class FrameKind { kData, kComplete, kError };
// What a frame's text (without its terminator) is: control frames are recognised by their
// leading token, as the client's tokenizers recognise them.
FrameKind classify_frame(std::string_view text);

// The frames in a run of whole guarded frames: each ends with the one terminator it holds.
unsigned long count_frames(std::string_view frames);

}  // namespace wire

#endif  // CMPI_PROGRAMS_WIRE_H
