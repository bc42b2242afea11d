// exchange.h - the one contract between the two halves of cmpi-wbemd, the CIM-XML front end.
//
// The HTTP half (http/) accepts connections, checks the request line and headers, authenticates
// the user and reads the body within its limits. It then hands one CimCall to the CIM half
// (cim/), which decodes the XML, sends the operation to cmpi-hostd through the library's client
// functions with the authenticated user as principal, and writes the CIM-XML answer into an
// AnswerSink that the HTTP half provides. Neither half knows the other's internals: the CIM half
// is tested with a sink that records what it was given, the HTTP half with a handler that writes
// canned answers.
#ifndef CMPI_WBEMD_EXCHANGE_H
#define CMPI_WBEMD_EXCHANGE_H

#include <cstddef>
#include <string>

namespace wbem {

// One authenticated CIM operation request, as the HTTP half read it. The header values are the
// raw header texts (still %-encoded where the client encoded them); the CIM half checks them
// against the body.
struct CimCall {
  std::string user;           // the authenticated user: the principal the host acts as
  std::string peer;           // the peer's address, for log lines ("127.0.0.1:40022", "local")
  std::string cim_operation;  // CIMOperation header ("MethodCall")
  std::string cim_method;     // CIMMethod header ("EnumerateInstances", or a method's name)
  std::string cim_object;     // CIMObject header ("root%2Fcimv2", or a %-encoded object path)
  std::string body;           // the request's XML, exactly as received
  bool trailers = false;      // the client announced "TE: trailers"
};

// Where the CIM half writes its answer. Calls come in this order: at most one of
// protocol_error() alone, or any number of write() followed by exactly one of finish() or
// fail(). The HTTP half decides how the bytes travel (whole, or chunked as they come) and keeps
// its memory bounded either way.
class AnswerSink {
 public:
  virtual ~AnswerSink() = default;

  // The request is not a CIM operation request we can read (bad XML, wrong headers, unknown
  // element): HTTP status 400 (or 501 for an unsupported CIMOperation) with the CIMError header
  // value given ("request-not-well-formed", "request-not-valid", "unsupported-operation", ...).
  // Nothing else may follow.
  virtual void protocol_error(int http_status, const std::string &cim_error) = 0;

  // More bytes of the answer body (HTTP status 200). The sink may send them at once.
  virtual void write(const char *data, std::size_t size) = 0;

  // The answer is complete.
  virtual void finish() = 0;

  // The operation failed after write() already sent part of a body that cannot be taken back
  // (an enumeration that broke mid-stream). A client that announced trailers gets the status
  // as "CIMStatusCode" / "CIMStatusDescription" trailers; any other client gets a broken answer
  // (the connection closed without the last chunk), never a shortened answer that looks
  // complete. An error known before anything was written is an ordinary answer instead: an
  // ERROR element written with write() and finish().
  virtual void fail(int cim_status, const std::string &description) = 0;
};

// The CIM half's entry point: serves one call and writes its answer into sink. Never throws.
// Defined in cim/; its settings (host socket, schema database, limits) are set up by main.
class CimService {
 public:
  virtual ~CimService() = default;
  virtual void serve(const CimCall &call, AnswerSink &sink) = 0;

  // True when serve() for this call holds its whole answer before it writes any of it (an
  // operation with one result, or an answer refused before it starts): then the HTTP half may
  // run serve() on the request's own thread and take the answer when serve() returns, instead
  // of reading it piece by piece beside serve() as it must for a streamed answer. The bytes on
  // the wire are the same either way. Looks at the headers only; must not block.
  virtual bool answers_at_once(const CimCall &) const { return false; }
};

}  // namespace wbem

#endif  // CMPI_WBEMD_EXCHANGE_H
