#include "report/ResultFields.h"

#include <cmath>
#include <limits>

namespace orvo::bench {

bool FieldReader::Fail(const char* name, const std::string& why) const {
  szError = (szPlace.empty() ? "" : szPlace + ".") + name + ": " + why;
  return false;
}

bool FieldReader::Read(const char* name, double& value) const {
  const double* number = Object[name].AsNumber();
  if (number == nullptr) return Fail(name, "a number is missing");
  if (*number < 0) return Fail(name, "a number below zero");
  value = *number;
  return true;
}

bool FieldReader::Read(const char* name, int64_t& value) const {
  double number = 0;
  if (!Read(name, number)) return false;
  if (number != std::floor(number) || number > 9e15) return Fail(name, "no whole number");
  value = static_cast<int64_t>(number);
  return true;
}

bool FieldReader::Read(const char* name, int& value) const {
  int64_t number = 0;
  if (!Read(name, number)) return false;
  if (number > std::numeric_limits<int>::max()) return Fail(name, "too large a number");
  value = static_cast<int>(number);
  return true;
}

bool FieldReader::Read(const char* name, std::string& value) const {
  const std::string* text = Object[name].AsText();
  if (text == nullptr) return Fail(name, "a text is missing");
  value = *text;
  return true;
}

bool FieldReader::ReadOrNull(const char* name, double& value, double none) const {
  value = none;
  return Object[name].IsNull() || Read(name, value);
}

}  // namespace orvo::bench
