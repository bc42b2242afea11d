#include "json/document_reader.h"

namespace cmpiutility {

std::unique_ptr<Json::CharReader> new_document_reader() {
  // Constant once made: newCharReader only reads the settings, so threads may share them.
  static const Json::CharReaderBuilder settings;
  return std::unique_ptr<Json::CharReader>(settings.newCharReader());
}

}  // namespace cmpiutility
