/*
 * stream.h - the client side of a response stream: splitting received text into frames and
 * handing each operation's results to the caller.
 *
 * The answer to one request is a run of frames, each a response document followed by
 * "CMPI_EOF", ended by one of two control frames:
 *   "CMPIOPERATION_COMPLETE"   the operation is complete (anything behind the token is ignored);
 *   "CMPIERROR" + 1 byte + N   the operation failed with CMPI return code N, written in decimal,
 *                              0x hexadecimal or leading-zero octal (the byte between is a
 *                              separator of any value; "CMPIERROR" with nothing behind reads 0).
 * The caller reads the socket in whatever pieces it yields and hands each piece, with the same
 * carry-over slot, to the tokenizer for the operation, until the tokenizer reports completion
 * (complete set to 1), a non-zero return code, or the caller's own end condition.
 *
 * Carry-over slot (char **carry): owned by the caller, one per operation. Start an operation with
 * *carry == NULL. Between calls it holds NULL or a heap block that a tokenizer left there: the
 * unfinished tail as a NUL-terminated string (the block may have spare capacity behind it). Hand
 * the block back unchanged, or free() it when abandoning the operation. After an error frame or
 * the completion frame *carry is NULL.
 *
 * Kept for compatibility: a frame that does not decode (or whose object cannot be taken over) is
 * not consumed: the call logs it once and stops there, carrying that frame and everything behind it forward; the next
 * call looks at it again. An operation stuck on such a frame is ended by the caller's time-out.
 *
 * What a tokenizer hands out belongs to the caller: instance, class and message clones, copied
 * arguments, array elements. Everything else a frame produced is released before the call returns.
 * Frames behind a control frame in the same piece are dropped.
 * Kept for compatibility: a response document with a negative or non-numeric number in a member
 * the decoder reads as a number raises the JSON library's conversion exception (Json::LogicError)
 * out of the call, across this C interface; the slot is then NULL and the unconsumed text is
 * dropped.
 *
 * Every function writes "Enter function = <name>" and "Exit  function = <name>" at level 4, and
 * the tokenizers log each step under their own name.
 */
#ifndef CMPIUTILITY_STREAM_H
#define CMPIUTILITY_STREAM_H

#include <cmpiutility/records.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Set-instance operations (ModifyInstance, DeleteInstance). For each frame, writes the frame's
 * return code into *status and a clone of its message (or NULL) into status->msg; with several
 * frames in one call the last one stands. "CMPIOPERATION_COMPLETE" is not a control frame here
 * (it is decoded like any frame and reads as a record of type 0, status 0). An error frame writes
 * its code into status->rc. status may be NULL (nothing is written then).
 */
void CMUtilSETStringTokenize(const char *piece, char **carry, CMPIStatus *status);

/*
 * GetInstance. Each instance frame stores a clone of its instance in *result (a later one in the
 * same call replaces it). A frame with a non-zero status code ends the call: the returned status
 * carries that code and a clone of the frame's message (the GetInstance document keeps its
 * message for code 4 only). Returns the last status: code 0, the clone's status, the frame's
 * code, or the error frame's code.
 */
CMPIStatus CMUtilGETStringTokenize(const char *piece, CMPIInstance **result, char **carry,
                                   uint32_t *complete);

/*
 * GetClass. As CMUtilGETStringTokenize, with a clone of the frame's class in *result (released
 * by the caller through the class's own release).
 */
CMPIStatus CMUtilGETClassStringTokenize(const char *piece, CMPIConstClass **result, char **carry,
                                        uint32_t *complete);

/*
 * CreateInstance. The returned status is that of cloning the frame's new object path (the path
 * itself is not handed out); when status is given, each frame writes its return code and a clone
 * of its message (or NULL) into it. "CMPIOPERATION_COMPLETE" is not a control frame here. An
 * error frame's code goes into the returned status. unused is not read.
 */
CMPIStatus CMUtilCreateInstStringTokenize(const char *piece, void *unused, char **carry,
                                          CMPIStatus *status);

/*
 * InvokeMethod. Each frame's output arguments are copied into out (when both exist; the returned
 * status is that of the copy, which goes on even when it fails), and its 16-bit return type code
 * is stored, widened, into *retType (when retType is given).
 */
CMPIStatus CMUtilInvokeStringTokenize(const char *piece, CMPIArgs *out, uint32_t *retType,
                                      char **carry, uint32_t *complete);

/*
 * Enumerations (EnumerateInstances, EnumerateInstanceNames, Associators, References, ExecQuery).
 * Appends each frame's result to array at the next free index (the array's size at the start of
 * the call): object paths of ENUMINSTNAMES frames as CMPI_ref, instances of every other frame as
 * CMPI_instance. A failed append leaves the index where it was. Returns code 0 with the last
 * status's message when the piece is used up, the last append's status (or that of reading the
 * size) on the completion frame, and the error frame's code on an error frame. array must be a
 * valid array (a NULL one reads as size 0 and every append fails with
 * CMPI_RC_ERR_INVALID_HANDLE).
 */
CMPIStatus CMUtilEnumStringTokenize(const char *piece, CMPIArray *array, char **carry,
                                    uint32_t *complete);

/*
 * Splits a short reply "<word>/<text>" in place: text moves to the start of the buffer (at most
 * 8191 characters and a NUL). Returns 0 when word is exactly "success", otherwise 1. A NULL or
 * empty text, or one without '/', returns 1 and is left as it was.
 */
int parseResponse(char *text);

#ifdef __cplusplus
}
#endif

#endif /* CMPIUTILITY_STREAM_H */
