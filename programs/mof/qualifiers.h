// qualifiers.h - the qualifiers that change what is stored: Key, Association, Abstract, In,
// Out, EmbeddedInstance and EmbeddedObject. Every other qualifier is read and ignored.
#ifndef CMPI_MOF_QUALIFIERS_H
#define CMPI_MOF_QUALIFIERS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "class_model.h"

namespace mof {

// The value of the boolean qualifier name (any case) in the list: none when absent, true for a
// bare "Name", else its argument. Throws MofError when the argument is not true or false, or
// when the qualifier is there twice.
std::optional<bool> BooleanQualifier(const std::vector<Qualifier> &qualifiers,
                                     std::string_view name);

// The embedded class: EmbeddedInstance("X") gives "X", EmbeddedObject gives "" (any class);
// none when neither is there. Throws MofError for EmbeddedInstance without a string argument, or
// for both qualifiers (or one twice).
std::optional<std::string> EmbeddedQualifier(const std::vector<Qualifier> &qualifiers);

}  // namespace mof

#endif  // CMPI_MOF_QUALIFIERS_H
