// frame.h - putting a serialised document and the frame terminator into a send buffer.
//
// A frame is the compact document text with at most one trailing newline removed, then
// "CMPI_EOF", then a NUL. The receiver splits the stream at "CMPI_EOF". Neither function reports
// failure: text longer than the buffer allows is cut without notice and still terminated, so the
// receiver gets a cut document and rejects it when it parses it.
#ifndef CMPIUTILITY_REQUEST_FRAME_H
#define CMPIUTILITY_REQUEST_FRAME_H

#include <cmpiutility/request.h>
#include <json/json.h>
#include <stdint.h>

#include <string>

namespace cmpiutility {

inline constexpr char kFrameTerminator[] = "CMPI_EOF";

}  // namespace cmpiutility

// Serialises document compactly into buf, a FRAME_BUFFER_SIZE buffer: at most 8181 characters
// of the text are kept, so the largest frame is 8190 bytes. Logs at level 4
// "formString: data received <buf> Len = <length>" besides its Enter/Exit traces.
void formString(const Json::Value &document, char *buf);

// The same for a document already serialised (callers that measured the text first).
void formString(const std::string &text, char *buf);

// Copies text into buf, a block of size bytes: at most size - 11 characters are kept. With the
// size the serialisers compute (text length + 12) the whole text is kept and the frame takes
// text length + 9 bytes. Logs at level 4
// "formDynamicDataAsString: len = <length> data received <buf>" besides its Enter/Exit traces.
void formDynamicDataAsString(const std::string &text, char *buf, uint32_t size);

#endif
