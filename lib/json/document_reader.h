// document_reader.h - the one way frame documents are read: jsoncpp's reader with its default
// settings (what peers' documents have always been read with).
#ifndef CMPIUTILITY_JSON_DOCUMENT_READER_H
#define CMPIUTILITY_JSON_DOCUMENT_READER_H

#include <json/json.h>

#include <memory>

namespace cmpiutility {

// A new reader for one document (readers keep state while parsing, so each call gets its own;
// the caller owns it). Its settings are made once and only read afterwards, which spares every
// frame the building of a settings object.
std::unique_ptr<Json::CharReader> new_document_reader();

}  // namespace cmpiutility

#endif
