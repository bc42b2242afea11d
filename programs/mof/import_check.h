// import_check.h - checks what an import declares and turns it into the rows to store.
//
// Classes: the superclass must be declared before (in the import) or be in the catalog; a class
// is declared once per import; property, method and parameter names are unique in their class or
// method (without regard to case); types are built-in types or "Class REF"; a key is no array;
// defaults fit their property (default_value.h). References outside association classes are
// accepted. A class is an association when it says so or its superclass is one.
//
// Instances: those of CMPIUtility_ProviderRegistration are provider registrations, with the
// properties ProviderName (string, a C identifier: it names the library lib<name>.so and the MI
// factories), ClassNames (array of strings, not empty, each a class declared in the import or in
// the catalog, and registered once per import), UnloadNever (boolean, default false) and
// NameSpace (string, default: the namespace in effect at the instance). Every other instance is
// skipped with a warning.
#ifndef CMPI_MOF_IMPORT_CHECK_H
#define CMPI_MOF_IMPORT_CHECK_H

#include "class_catalog.h"
#include "class_model.h"
#include "schema_rows.h"

namespace mof {

inline constexpr const char *kRegistrationClass = "CMPIUtility_ProviderRegistration";

// Checks every declaration of doc and returns the rows to store, in declaration order. Every
// mistake found is an error in diagnostics (checking goes on to find more); the rows are fit to
// store only when diagnostics has no error. Class names in the rows (superclasses, registered
// classes) are spelled as their declaration spells them. Throws what catalog.find throws.
SchemaRows CheckImport(const MofDocument &doc, const ClassCatalog &catalog,
                       Diagnostics &diagnostics);

}  // namespace mof

#endif  // CMPI_MOF_IMPORT_CHECK_H
