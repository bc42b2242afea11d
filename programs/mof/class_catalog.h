// class_catalog.h - the classes an import may build on without declaring them: those already
// in the schema database.
#ifndef CMPI_MOF_CLASS_CATALOG_H
#define CMPI_MOF_CLASS_CATALOG_H

#include <optional>
#include <string>

namespace mof {

struct KnownClass {
  std::string name;  // as stored
  bool isAssociation = false;
};

class ClassCatalog {
 public:
  virtual ~ClassCatalog() = default;
  // The class of that name, compared without regard to case; none when there is no such class.
  // Throws std::runtime_error when the catalog cannot be read.
  virtual std::optional<KnownClass> find(const std::string &name) const = 0;
};

// No classes at all: what an import printed as SQL builds on.
class EmptyCatalog : public ClassCatalog {
 public:
  std::optional<KnownClass> find(const std::string &name) const override;
};

}  // namespace mof

#endif  // CMPI_MOF_CLASS_CATALOG_H
