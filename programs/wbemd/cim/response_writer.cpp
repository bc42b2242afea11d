// response_writer.cpp - envelope and sink.
#include "response_writer.h"

#include <utility>

namespace wbem {

ResponseWriter::ResponseWriter(AnswerSink &sink, std::string message_id, std::string method,
                               bool intrinsic)
    : sink_(sink),
      message_id_(std::move(message_id)),
      method_(std::move(method)),
      intrinsic_(intrinsic) {}

std::string ResponseWriter::start_tags() const {
  XmlOut out;
  out.raw("<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n");
  out.open("CIM", {{"CIMVERSION", "2.0"}, {"DTDVERSION", "2.0"}});
  out.open("MESSAGE", {{"ID", message_id_}, {"PROTOCOLVERSION", "1.0"}});
  out.open("SIMPLERSP");
  out.open(intrinsic_ ? "IMETHODRESPONSE" : "METHODRESPONSE", {{"NAME", method_}});
  return out.str();
}

std::string ResponseWriter::end_tags() const {
  XmlOut out;
  out.close(intrinsic_ ? "IMETHODRESPONSE" : "METHODRESPONSE");
  out.close("SIMPLERSP");
  out.close("MESSAGE");
  out.close("CIM");
  out.raw("\n");
  return out.str();
}

void ResponseWriter::flush() {
  if (done_) return;
  if (!flushed_) {
    const std::string start = start_tags();
    sink_.write(start.data(), start.size());
    flushed_ = true;
  }
  if (body_.size() > 0) {
    sink_.write(body_.str().data(), body_.size());
    body_.clear();
  }
}

void ResponseWriter::finish() {
  if (done_) return;
  flush();
  const std::string end = end_tags();
  sink_.write(end.data(), end.size());
  sink_.finish();
  done_ = true;
}

void ResponseWriter::fail(int code, const std::string &description) {
  if (done_) return;
  if (flushed_) {
    sink_.fail(code, description);
    done_ = true;
    return;
  }
  body_.clear();
  std::string error = "<ERROR CODE=\"" + std::to_string(code) + "\" DESCRIPTION=\"";
  escape_attribute(description, &error);
  error += "\"/>";
  body_.raw(error);
  finish();
}

}  // namespace wbem
