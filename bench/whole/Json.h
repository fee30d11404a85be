// Writes JSON: one call for each piece, commas and indentation by itself.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvo::bench {

class JsonWriter {
 public:
  JsonWriter& Begin(char bracket);  ///< '{' or '['
  JsonWriter& End();                ///< of the innermost bracket
  JsonWriter& Key(std::string_view name);
  JsonWriter& Value(std::string_view text);
  JsonWriter& Value(const char* text) { return Value(std::string_view(text)); }
  JsonWriter& Value(double number);  ///< six digits; null where it is no finite number
  JsonWriter& Value(int64_t number);
  JsonWriter& Value(int number) { return Value(int64_t{number}); }
  JsonWriter& Null();
  template <typename T>
  JsonWriter& Pair(std::string_view name, const T& value) {
    return Key(name).Value(value);
  }

  const std::string& Text() const { return szText; }

 private:
  void Separate();
  JsonWriter& Raw(std::string_view text);

  std::string szText, szOpen;
  bool bFirst = true, bAfterKey = false;
};

}  // namespace orvo::bench
