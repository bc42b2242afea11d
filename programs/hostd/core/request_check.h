// request_check.h - the strict check of a request document at the daemon's boundary, made in
// the front process before the library's lenient request parser ever sees the text.
//
// Takes: the document text of one request frame, without its "CMPI_EOF" terminator, and the
// limits below. Nothing is kept after the call.
// Returns: accepted, or refused with a short plain-English reason for the daemon's one log line.
// A reason never quotes the peer's bytes: it names members only by the fixed names this check
// knows, or by a duplicated name that is short and printable ASCII, and points at trouble by
// byte offset (counted from 0). An accepted request also yields the facts the daemon routes it
// by, so that it need not parse the text again.
//
// What is refused:
//   - text that is not one JSON value (RFC 8259) with only whitespace around it, or whose value
//     is not an object; raw bytes that are not well-formed UTF-8; \u escapes of unpaired
//     surrogates; objects and arrays nested deeper than max_depth (the document's object is 1);
//   - a NUL character anywhere in a string, member names included, raw or as \u0000;
//   - two members of one object, at any depth, with the same name once unescaped;
//   - a member name longer than max_name bytes (unescaped UTF-8), anywhere, unless it is one of
//     the names the request document is built of (those listed here, and "DataType",
//     "DataState", "Value" and "CMPIInstance" of the value objects);
//   - wherever they stand, string values of the members that carry names ("ClassName",
//     "NameSpace", "Principal", "MethodName", "AssocClass", "ResultClass", "Role",
//     "ResultRole") longer than max_name bytes, and of those that carry texts ("key", "Query")
//     longer than max_text bytes;
//   - top-level members of the wrong JSON type:
//       "RequestType"                                    an integer 1 to 10, written without
//                                                        sign, fraction or exponent
//       "ClassName", "NameSpace"                         non-empty strings
//       "Principal", "MethodName", "Query", "key"        strings
//       "AssocClass", "ResultClass", "Role", "ResultRole"  strings or null
//       "RefsOnly"                                       true, false or null
//       "InstanceProps", "ArgsIn"                        objects
//   - a request without "RequestType", "ClassName" or "NameSpace"; an INVOKEMETHOD without
//     "MethodName"; an EXECQUERY without "Query". (Those are what the parser cannot do without.)
// What passes: any other member, at the top or below (the parser ignores what it does not
// know), and everything the library's request writer produces. An empty or missing
// "Principal" passes too; whom to serve is the principal policy's question, not this one's.
//
// Cost: one pass over the text, expected linear time; no allocation per byte; memory follows
// the nesting and the members of the objects open at one time. Only the member names that need
// unescaping and the three facts kept are ever copied.
#ifndef CMPI_HOSTD_REQUEST_CHECK_H
#define CMPI_HOSTD_REQUEST_CHECK_H

#include <cstddef>
#include <string>
#include <string_view>

namespace hostd {

struct RequestCheckLimits {
  std::size_t max_name = 256;        // bytes of a name: member names, class, namespace, user, ...
  std::size_t max_text = 64 * 1024;  // bytes of a key text or a query
  int max_depth = 64;                // nesting of objects and arrays; below 1 refuses everything
};

// What the daemon routes an accepted request by, taken from the document's top level.
struct RequestFacts {
  int type = 0;             // "RequestType", 1 to 10
  std::string principal;    // "Principal" unescaped; empty when it is missing or empty
  std::string class_name;   // "ClassName" unescaped
  std::string name_space;   // "NameSpace" unescaped (an association's path takes its namespace
                            // from the schema database instead; this is the document's)
};

struct RequestCheck {
  bool accepted = false;
  std::string reason;  // why it was refused; empty when accepted
  RequestFacts facts;  // filled when accepted; left at its defaults when refused
};

// Never throws (running out of memory is a refusal like any other); linear in the size.
RequestCheck check_request(std::string_view document, const RequestCheckLimits &limits = {});

}  // namespace hostd

#endif  // CMPI_HOSTD_REQUEST_CHECK_H
