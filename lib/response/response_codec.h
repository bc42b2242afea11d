// response_codec.h - the class parts of the response codec and the status-code accessors shared
// by the response codec and the stream layer.
#ifndef CMPIUTILITY_RESPONSE_RESPONSE_CODEC_H
#define CMPIUTILITY_RESPONSE_RESPONSE_CODEC_H

#include <cmpiutility/records.h>
#include <json/json.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

// Writes "ClassName", "NameSpace", "PropList", "MethodList" and "MethodParamList" of the class in
// response->constClass into document. The three lists are the value encodings of the class
// record's property-name, method-name and method-parameter arrays (their "Value" only); a missing
// array is written like an empty one. Returns 0, or 1 after one level-2 line:
//   "__getConstClassProps#671: invalid constClass"               no class in the record
//   "__getConstClassProps#623: invalid class or namespace"       no class record, name or namespace
//   "__getConstClassProps#636: const class prop array serialize failed"
//   "__getConstClassProps#650/664: const class method array serialize failed"
// Writes "Enter function = getConstClassProps" / "Exit  function = getConstClassProps".
int getConstClassProps(ServerResp *response, Json::Value &document);

// Builds a class object from the members "ClassName", "NameSpace", "PropList", "MethodList" and
// "MethodParamList" of document and stores it in response->constClass. Returns 0, or 1 after one
// level-2 line; on failure nothing is stored and everything built for it is released.
// Writes "Enter function = createConstClass" / "Exit  function = createConstClass".
int createConstClass(ServerResp *response, const Json::Value &document);

namespace cmpiutility {

// How serializeResponse writes the document of an instance-bearing answer (ENUMINST,
// ASSOCIATORS, EXECQUERY, and GETINST with a good status).
enum class InstanceWriter {
  kDirect,  // straight from the instance into the text (json/instance_props_text.h)
  kTree,    // as a jsoncpp document (getInstanceProps) written by compact_text
};

// serializeResponse with the instance-bearing answers written by the given writer. Both writers
// produce the same frames, return the same results and log the same lines; serializeResponse
// uses kDirect, and kTree is kept as the reference the tests hold kDirect to.
int serialize_response(ServerResp *response, char *fixedBuffer, char **methodBuffer,
                       uint32_t *length, void **buffer, InstanceWriter writer);

// How deserializeResp reads a frame.
enum class FrameReader {
  kViewFirst,  // instance-bearing frames through FrameView (json/frame_view.h), all else jsoncpp
  kTree,       // every frame as a jsoncpp document
};

// deserializeResp with the frame read by the given reader. Both give the same record, the same
// log lines and the same exceptions for every text; deserializeResp uses kViewFirst, and kTree
// is kept as the reference the tests hold kViewFirst to.
ServerResp *deserialize_response(const char *text, FrameReader reader);

// The return code of a status as the 32-bit number it travels as. Peers may send any 32-bit
// code, also ones the CMPIrc enumeration does not list, so the code is moved as raw bits and
// never loaded through the enumeration type.
inline int32_t status_code(const CMPIStatus &status) {
  int32_t code;
  memcpy(&code, reinterpret_cast<const char *>(&status) + offsetof(CMPIStatus, rc), sizeof code);
  return code;
}

inline void set_status_code(CMPIStatus *status, int32_t code) {
  memcpy(reinterpret_cast<char *>(status) + offsetof(CMPIStatus, rc), &code, sizeof code);
}

static_assert(sizeof(CMPIrc) == sizeof(int32_t), "CMPIrc travels as a 32-bit code");

}  // namespace cmpiutility

#endif  // CMPIUTILITY_RESPONSE_RESPONSE_CODEC_H
