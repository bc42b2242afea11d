// type_codes.h - questions about CMPI type codes that the encoders and decoders share.
#ifndef CMPIUTILITY_JSON_TYPE_CODES_H
#define CMPIUTILITY_JSON_TYPE_CODES_H

#include <cmpidt.h>

namespace cmpiutility {

// True for the eight integer codes (uint8 to sint64); false for every other code, the
// numeric-string code included, although it shares their bits.
bool is_integer_type(CMPIType type);

}  // namespace cmpiutility

#endif  // CMPIUTILITY_JSON_TYPE_CODES_H
