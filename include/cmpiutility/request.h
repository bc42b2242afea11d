/*
 * request.h - the request codec: a filled request record becomes one request frame (client side).
 *
 * The request document is one compact JSON object: "RequestType", "ClassName", "NameSpace",
 * "Principal", then by type the key text ("key"), the instance properties ("InstanceProps"),
 * the method arguments ("ArgsIn") with "MethodName", the association parameters or "Query".
 * docs/protocol.md describes it for people writing another peer.
 *
 * Both functions write "Enter function = <name>" and "Exit  function = <name>" at level 4, and
 * the key, property and argument readers and writers they call write their own level-4 trace
 * lines. Besides those:
 *   doSerialization    "Request type is: CREATEINST" for that type;
 *   doDeserialization  "INFO: serialized data = <text>" (the whole document; "(null)" for NULL),
 *                      "INFO: privilege comes as <user>" ("(null)" for no user), for an empty
 *                      principal "INFO: __doDeserialization#2104: 'user is empty'", and for
 *                      ASSOCIATORS "NameSpace for association left class <document namespace>
 *                      <schema namespace> <class>".
 * Every failure writes one level-2 line, as said for each function.
 */
#ifndef CMPIUTILITY_REQUEST_H
#define CMPIUTILITY_REQUEST_H

#include <cmpiutility/records.h>

/* The size of every fixed frame buffer. */
#define FRAME_BUFFER_SIZE 8192

/* The largest method-call document accepted: its length + 2 may not exceed this. */
#define MAX_DYNAMIC_REQUEST 0x803FF

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Writes the request frame of req: the document text followed by "CMPI_EOF" and a NUL.
 *   fixedBuf  a FRAME_BUFFER_SIZE buffer; frames of every type except MODIFYINST, INVOKEMETHOD
 *             and CREATEINST go here (cut at 8181 characters of text when longer).
 *   dynBuf    the address of a heap block of at least FRAME_BUFFER_SIZE bytes; the frames of
 *             MODIFYINST, INVOKEMETHOD and CREATEINST go here. A frame that does not fit makes
 *             the block grow with realloc to exactly the size needed (the caller owns and frees
 *             the block as before); if growing fails the block is freed and *dynBuf becomes NULL.
 * Returns 0 when the frame was written, 1 after one level-2 line otherwise.
 */
int doSerialization(ClientReq *req, char *fixedBuf, char **dynBuf);

/*
 * Provider host side. Parses one request document (the NUL-terminated text of a frame, without
 * its "CMPI_EOF" terminator) into a new request record made of live CMPI objects:
 *   COP          the target path with the document's keys; for ASSOCIATORS in the namespace that
 *                the schema database gives for the class (the document's namespace must still
 *                be non-empty)
 *   user         a copy of "Principal"; NULL for an empty principal (logged as INFO, no error)
 *   CI           MODIFYINST, CREATEINST: the instance from "InstanceProps"
 *   ArgsIn       INVOKEMETHOD: the arguments from "ArgsIn"
 *   QueryString  INVOKEMETHOD: "MethodName"; EXECQUERY: "Query" (an empty text gives NULL)
 *   assocref     ASSOCIATORS: "AssocClass", "ResultClass", "Role", "ResultRole" (an empty text
 *                stays empty, a missing or null one is NULL) and "RefsOnly"
 * Every text comes back as a string, whatever CMPI text code it was sent as; boolean arguments,
 * char16 values and the elements of reference arrays are not carried.
 * The caller owns the record and releases it with releaseRequestData. Returns NULL after one
 * level-2 line on any failure; a record built in part is released first. The failures include
 * text that is not JSON ("'Json parsing failed'", also for a NULL text) and a document that
 * jsoncpp cannot convert as needed: a document that is not a JSON object, a member of the wrong
 * JSON type ("RequestType": "x", "DataType": [], a string "Value" where a number belongs), or
 * nesting deeper than the reader allows. Those are logged as
 *   ERROR: __doDeserialization#2200: 'Json conversion failed: <reason>'
 * and never escape as exceptions.
 */
ClientReq *doDeserialization(const char *text);

#ifdef __cplusplus
}
#endif

#endif /* CMPIUTILITY_REQUEST_H */
