/*
 * request.h - the request codec: a filled request record becomes one request frame (client side).
 *
 * The request document is one compact JSON object: "RequestType", "ClassName", "NameSpace",
 * "Principal", then by type the key text ("key"), the instance properties ("InstanceProps"),
 * the method arguments ("ArgsIn") with "MethodName", the association parameters or "Query".
 * docs/protocol.md describes it for people writing another peer.
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

#ifdef __cplusplus
}
#endif

#endif /* CMPIUTILITY_REQUEST_H */
