/*
 * response.h - the response codec: one response record becomes one response frame on the
 * provider host, and one received response document becomes a new response record on the client.
 *
 * The response document is one compact JSON object. "RequestType" comes first for every record;
 * the other members depend on the type:
 *   ENUMINST, ASSOCIATORS, EXECQUERY  "ClassName", "NameSpace", "InstanceProps"
 *   ENUMINSTNAMES                     "ClassName", "NameSpace", "key"
 *   GETINST                           as ENUMINST, or "GetInstStatus" and "GetInstStatusMsg"
 *                                     when the status code is not 0
 *   MODIFYINST, DELETEINST            "SetInstStatus", "SetInstStatusMsg"
 *   INVOKEMETHOD                      "RetVal" (the record's retType) and "ArgsIn"
 *   CREATEINST                        "ClassName", "NameSpace", "key" (only with an object path),
 *                                     "SetInstStatus", "SetInstStatusMsg"
 *   GETCLASS                          "ClassName", "NameSpace", "PropList", "MethodList",
 *                                     "MethodParamList", or "GetClassStatus" and
 *                                     "GetClassStatusMsg" when the status code is not 0
 * A missing status message travels as JSON null.
 *
 * Both functions write "Enter function = <name>" and "Exit  function = <name>" at level 4.
 */
#ifndef CMPIUTILITY_RESPONSE_H
#define CMPIUTILITY_RESPONSE_H

#include <cmpiutility/request.h>
#include <stdint.h>

/* The largest buffer a method result is framed into (5,242,880 bytes). A longer method document
 * is cut to fit, so the frame then carries a truncated document that the client cannot parse;
 * the cap holds for method results only. */
#define MAX_METHOD_RESPONSE 0x500000

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Provider host side. Writes the response frame of response (the document text, "CMPI_EOF" and a
 * NUL); nothing in the record is changed or released.
 *   fixedBuffer   a FRAME_BUFFER_SIZE buffer: the frames of MODIFYINST, DELETEINST and
 *                 CREATEINST go here (cut at 8181 characters of text when longer).
 *   methodBuffer  receives a new buffer holding the INVOKEMETHOD frame, sized to the text plus
 *                 12 bytes but never more than MAX_METHOD_RESPONSE bytes.
 *   length        receives the string length of the new buffer's contents, terminator included
 *                 (every type except MODIFYINST, DELETEINST and CREATEINST).
 *   buffer        receives a new buffer holding the frame of ENUMINST, ENUMINSTNAMES, GETINST,
 *                 ASSOCIATORS, EXECQUERY and GETCLASS, sized to the text plus 12 bytes.
 * The caller frees the new buffers with free(). Every out-pointer that the record's type uses
 * must be valid; the others are not touched.
 * Returns 0 when the frame was written, and also for a type outside 1..10 (then nothing is
 * written and no out-pointer is touched). Returns 1 after one level-2 line when the record is
 * NULL or its objects cannot be encoded; no buffer is handed out then (after a failed allocation
 * the buffer out-pointer is NULL).
 */
int serializeResponse(ServerResp *response, char *fixedBuffer, char **methodBuffer,
                      uint32_t *length, void **buffer);

/*
 * Client side. Parses one response document (a frame without its "CMPI_EOF"; text is borrowed)
 * into a new response record that the caller releases with releaseClientResponseData (plus, for
 * GETCLASS, its constClass through the class's own release, and for INVOKEMETHOD the output
 * arguments in retVal.args through theirs).
 * Returns NULL for a NULL text or when the record cannot be allocated. Every other failure still
 * returns a record holding what was decoded before it: a text that does not parse gives a record
 * of type 0; the caller tells success by the type, the status code and the objects present.
 * Status messages come back only where peers send them in a usable form: GETINST keeps its
 * message for code 4 only, GETCLASS with code 4 gets the code's own digits as its message, and
 * MODIFYINST, DELETEINST and CREATEINST keep theirs.
 * Kept for compatibility: a negative or non-numeric "RequestType", status code or "RetVal"
 * raises the JSON library's conversion exception (Json::LogicError), which is not caught here
 * and so crosses this C interface; C++ callers that need to survive such a document catch it.
 */
ServerResp *deserializeResp(const char *text);

#ifdef __cplusplus
}
#endif

#endif /* CMPIUTILITY_RESPONSE_H */
