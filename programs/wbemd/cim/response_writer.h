// response_writer.h - the envelope of a CIM-XML answer, and when its bytes reach the sink.
//
// The answer is
//   <?xml version="1.0" encoding="utf-8" ?>
//   <CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="..." PROTOCOLVERSION="1.0"><SIMPLERSP>
//   <IMETHODRESPONSE NAME="op"> [<IRETURNVALUE>...</IRETURNVALUE> | <ERROR .../>]
//   </IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>
// (METHODRESPONSE for an extrinsic method, with RETURNVALUE and PARAMVALUEs inside). No DOCTYPE,
// no comments, ERROR with CODE and DESCRIPTION only, IRETURNVALUE never self-closing.
//
// Bytes are held until flush(): an operation that fails before it flushed anything gets a
// complete answer with an ERROR element (HTTP 200); one that fails after (an enumeration that
// broke mid-stream) ends with sink.fail(code, description), never with a closing that would
// make a shortened result look complete.
#ifndef CMPI_WBEMD_RESPONSE_WRITER_H
#define CMPI_WBEMD_RESPONSE_WRITER_H

#include <string>

#include "exchange.h"
#include "xml_writer.h"

namespace wbem {

class ResponseWriter {
 public:
  ResponseWriter(AnswerSink &sink, std::string message_id, std::string method, bool intrinsic);

  // Where the operation writes the inside of IMETHODRESPONSE / METHODRESPONSE.
  XmlOut &body() { return body_; }

  // Sends the envelope's start and the body written so far.
  void flush();
  // The answer is complete: the envelope's end, then sink.finish().
  void finish();
  // The operation failed: an ERROR answer when nothing was flushed (the body is dropped), else
  // sink.fail(code, description).
  void fail(int code, const std::string &description);

  bool flushed() const { return flushed_; }
  bool done() const { return done_; }

 private:
  std::string start_tags() const;
  std::string end_tags() const;

  AnswerSink &sink_;
  std::string message_id_;
  std::string method_;
  bool intrinsic_;
  XmlOut body_;
  bool flushed_ = false;
  bool done_ = false;
};

}  // namespace wbem

#endif  // CMPI_WBEMD_RESPONSE_WRITER_H
