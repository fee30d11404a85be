// JSON as a value: read from text, built piece by piece, written in few lines.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace orvo::bench {

class Json {
 public:
  using List = std::vector<Json>;
  using Object = std::vector<std::pair<std::string, Json>>;  ///< members in the order of their writing

  Json() = default;  ///< null
  Json(bool value) : Content(value) {}
  Json(double number) : Content(number) {}
  Json(int number) : Content(static_cast<double>(number)) {}
  Json(int64_t number) : Content(static_cast<double>(number)) {}
  Json(std::string text) : Content(std::move(text)) {}
  Json(const char* text) : Content(std::string(text)) {}
  Json(List list) : Content(std::move(list)) {}
  Json(Object object) : Content(std::move(object)) {}

  /// The member of that name, of two the first; null where there is none or this is no object.
  const Json& operator[](std::string_view name) const;
  /// Empty where this is none.
  const List& AsList() const;
  const Object& AsObject() const;
  /// Null where this is none.
  const double* AsNumber() const { return std::get_if<double>(&Content); }
  const std::string* AsText() const { return std::get_if<std::string>(&Content); }
  bool IsNull() const { return std::holds_alternative<std::monostate>(Content); }
  bool IsList() const { return std::holds_alternative<List>(Content); }
  bool IsObject() const { return std::holds_alternative<Object>(Content); }

  /// Whole numbers as they are, others with six digits, null for those that are not finite. What fits into a
  /// line of 130 characters is one, and short pieces share lines. Ends with a line feed.
  std::string Text() const;

 private:
  std::string Compact() const;
  std::string Lines(size_t indent, size_t keyLength) const;

  std::variant<std::monostate, bool, double, std::string, List, Object> Content;
};

/// Reads a whole text. False with the place and what is wrong there in `error`; brackets may be 64 deep.
bool ParseJson(std::string_view text, Json& value, std::string& error);

}  // namespace orvo::bench
