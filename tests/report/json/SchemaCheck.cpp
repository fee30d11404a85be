#include "report/json/SchemaCheck.h"

#include <functional>
#include <map>
#include <regex>

namespace orvo::test {
namespace {

using Json = nlohmann::json;

bool IsOfType(const Json& value, const std::string& type) {
  static const std::map<std::string, std::function<bool(const Json&)>> kTypes = {
      {"object", [](const Json& v) { return v.is_object(); }},
      {"array", [](const Json& v) { return v.is_array(); }},
      {"string", [](const Json& v) { return v.is_string(); }},
      {"boolean", [](const Json& v) { return v.is_boolean(); }},
      {"null", [](const Json& v) { return v.is_null(); }},
      {"number", [](const Json& v) { return v.is_number(); }},
      {"integer", [](const Json& v) { return v.is_number_integer(); }}};
  const auto found = kTypes.find(type);
  return found != kTypes.end() && found->second(value);
}

class Checker {
 public:
  explicit Checker(const Json& root) : Root(root) {}

  std::string Misfit(const Json& schema, const Json& value, const std::string& at) const {
    if (schema.is_boolean()) return schema.get<bool>() ? std::string() : at + ": is one too many";
    for (const auto& [keyword, says] : schema.items()) {
      const auto rule = Rules().find(keyword);
      if (rule == Rules().end()) return at + ": the schema has the unknown keyword " + keyword;
      if (rule->second == nullptr) continue;
      std::string misfit = (this->*rule->second)(schema, says, value, at);
      if (!misfit.empty()) return misfit;
    }
    return {};
  }

 private:
  using Rule = std::string (Checker::*)(const Json& schema, const Json& says, const Json& value,
                                        const std::string& at) const;
  static const std::map<std::string, Rule>& Rules() {
    static const std::map<std::string, Rule> kRules = {{"$schema", nullptr},
                                                       {"$id", nullptr},
                                                       {"$defs", nullptr},
                                                       {"title", nullptr},
                                                       {"description", nullptr},
                                                       {"type", &Checker::Type},
                                                       {"const", &Checker::Const},
                                                       {"enum", &Checker::Enum},
                                                       {"pattern", &Checker::Pattern},
                                                       {"minimum", &Checker::Minimum},
                                                       {"minItems", &Checker::MinItems},
                                                       {"maxItems", &Checker::MaxItems},
                                                       {"prefixItems", &Checker::PrefixItems},
                                                       {"items", &Checker::Items},
                                                       {"required", &Checker::Required},
                                                       {"properties", &Checker::Properties},
                                                       {"additionalProperties", &Checker::Additional},
                                                       {"anyOf", &Checker::AnyOf},
                                                       {"$ref", &Checker::Ref}};
    return kRules;
  }
  static std::string When(bool wrong, const std::string& at, const std::string& what) {
    return wrong ? at + ": " + what : std::string();
  }

  std::string Type(const Json&, const Json& says, const Json& value, const std::string& at) const {
    bool fits = false;
    for (const Json& type : says.is_array() ? says : Json::array({says}))
      fits = fits || IsOfType(value, type.get<std::string>());
    return When(!fits, at, "is not of the type " + says.dump());
  }
  std::string Const(const Json&, const Json& says, const Json& value, const std::string& at) const {
    return When(value != says, at, "is not " + says.dump());
  }
  std::string Enum(const Json&, const Json& says, const Json& value, const std::string& at) const {
    return When(std::find(says.begin(), says.end(), value) == says.end(), at, "is none of " + says.dump());
  }
  std::string Pattern(const Json&, const Json& says, const Json& value, const std::string& at) const {
    return When(value.is_string() &&
                    !std::regex_search(value.get<std::string>(), std::regex(says.get<std::string>())),
                at, "is not like " + says.dump());
  }
  std::string Minimum(const Json&, const Json& says, const Json& value, const std::string& at) const {
    return When(value.is_number() && value < says, at, "is below " + says.dump());
  }
  std::string MinItems(const Json&, const Json& says, const Json& value, const std::string& at) const {
    return When(value.is_array() && value.size() < says.get<size_t>(), at, "is too short");
  }
  std::string MaxItems(const Json&, const Json& says, const Json& value, const std::string& at) const {
    return When(value.is_array() && value.size() > says.get<size_t>(), at, "is too long");
  }
  std::string PrefixItems(const Json&, const Json& says, const Json& value, const std::string& at) const {
    for (size_t k = 0; value.is_array() && k < std::min(says.size(), value.size()); ++k) {
      std::string misfit = Misfit(says[k], value[k], at + "/" + std::to_string(k));
      if (!misfit.empty()) return misfit;
    }
    return {};
  }
  std::string Items(const Json& schema, const Json& says, const Json& value, const std::string& at) const {
    const size_t first = schema.contains("prefixItems") ? schema["prefixItems"].size() : 0;
    for (size_t k = first; value.is_array() && k < value.size(); ++k) {
      std::string misfit = Misfit(says, value[k], at + "/" + std::to_string(k));
      if (!misfit.empty()) return misfit;
    }
    return {};
  }
  std::string Required(const Json&, const Json& says, const Json& value, const std::string& at) const {
    for (const Json& key : says) {
      if (value.is_object() && !value.contains(key.get<std::string>())) return at + ": has no " + key.dump();
    }
    return {};
  }
  std::string Properties(const Json&, const Json& says, const Json& value, const std::string& at) const {
    if (!value.is_object()) return {};
    for (const auto& [key, schema] : says.items()) {
      if (!value.contains(key)) continue;
      std::string misfit = Misfit(schema, value[key], at + "/" + key);
      if (!misfit.empty()) return misfit;
    }
    return {};
  }
  std::string Additional(const Json& schema, const Json& says, const Json& value,
                         const std::string& at) const {
    if (says != false) return at + ": the schema takes further keys";
    if (!value.is_object()) return {};
    for (const auto& [key, ignored] : value.items()) {
      if (!schema["properties"].contains(key)) return at + ": has the unknown key " + key;
    }
    return {};
  }
  std::string AnyOf(const Json&, const Json& says, const Json& value, const std::string& at) const {
    std::string misfit = at + ": fits nothing";
    for (const Json& schema : says) {
      const std::string one = Misfit(schema, value, at);
      if (one.empty()) return {};
      misfit += "; " + one;
    }
    return misfit;
  }
  std::string Ref(const Json&, const Json& says, const Json& value, const std::string& at) const {
    const auto target = says.get<std::string>();
    if (target.find("#/$defs/") != 0) return at + ": the schema leads out of itself";
    const Json::json_pointer pointer(target.substr(1));
    if (!Root.contains(pointer)) return at + ": the schema has no " + target;
    return Misfit(Root[pointer], value, at);
  }

  const Json& Root;
};

}  // namespace

std::string FirstMisfit(const nlohmann::json& schema, const nlohmann::json& value) {
  return Checker(schema).Misfit(schema, value, "");
}

}  // namespace orvo::test
