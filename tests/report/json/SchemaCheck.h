// Holds a JSON value to a JSON Schema, as far as the schemas of docs/ go.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace orvo::test {

/// Where and why the value is not as the schema has it, "/images/3/name: is no string"; empty where it is. A
/// schema with keywords that are not known here is a misfit, too, so that nothing passes unlooked at.
std::string FirstMisfit(const nlohmann::json& schema, const nlohmann::json& value);

}  // namespace orvo::test
