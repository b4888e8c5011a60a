#pragma once

#include "system-tools/PropertyNode.hpp"

#include <string>

namespace systemtools {

/// What the seals of macOS say about an item: "omit", it is not sealed; "optional", it may be missing later;
/// "nested", it is code with a seal of its own; or nothing of these.
std::string ruleFor(const std::string& name);

/// The rules behind that as the table "rules2" of a seal.
PropertyList makeRuleTable();

} // namespace systemtools
