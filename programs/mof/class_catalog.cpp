// class_catalog.cpp - see class_catalog.h.
#include "class_catalog.h"

namespace mof {

std::optional<KnownClass> EmptyCatalog::find(const std::string &) const { return std::nullopt; }

}  // namespace mof
