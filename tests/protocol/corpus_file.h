// corpus_file.h - the case files of docs/protocol/ (their format is in docs/protocol/README.md).
//
// A case file is lines of text. "# " lines describe the case; ">>> " lines hold the bytes of one
// request and "<<< " lines the bytes the host answered to it, each written verbatim after the
// four-character prefix; ">>>hex " and "<<<hex " hold the bytes as lower-case hexadecimal
// instead, for bytes that are not printable ASCII or UTF-8 text on one line. Every request is
// followed by its answer (a request without one is read, for the recording to fill in). Blank
// lines are ignored.
#ifndef CMPI_PROTOCOL_CORPUS_FILE_H
#define CMPI_PROTOCOL_CORPUS_FILE_H

#include <string>
#include <vector>

namespace corpus {

struct Exchange {
  std::string request;
  std::string response;
  bool has_response = false;
};

struct CaseFile {
  std::vector<std::string> comments;  // without the "# "
  std::vector<Exchange> exchanges;
};

// Parses text; on a malformed line returns false with the reason in error.
bool parse(const std::string &text, CaseFile *out, std::string *error);

// The text of a case file: comments, then each request and its answer.
std::string format(const CaseFile &file);

// One ">>> "/"<<< " line for bytes, or its hexadecimal form when the bytes do not fit on one
// line as text (a line break, a control character other than tab, malformed UTF-8).
std::string line_for(const std::string &prefix, const std::string &bytes);

// Replaces every occurrence of from in text by to.
std::string replace_all(std::string text, const std::string &from, const std::string &to);

}  // namespace corpus

#endif  // CMPI_PROTOCOL_CORPUS_FILE_H
