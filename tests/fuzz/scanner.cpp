// The scanner of numbers against the C library.
#include <bit>
#include <cmath>

#include "base/Scan.h"
#include "fuzz/Target.h"

namespace {

bool Same(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

/// Every number of the text in turn, until both find none.
void CompareReals(const std::string& text) {
  orvo::FieldScanner fields(text);
  const char* at = text.c_str();
  while (true) {
    char* end = nullptr;
    const double expected = std::strtod(at, &end);
    double value = 0;
    const bool parsed = fields.Real(value);
    if (parsed != (end != at)) orvo::test::Require("one finds a real number, the other does not");
    if (!parsed) return;
    if (!Same(expected, value)) orvo::test::Require("real numbers differ");
    at = end;
  }
}

void CompareIntegers(const std::string& text) {
  orvo::FieldScanner fields(text);
  const char* at = text.c_str();
  while (true) {
    char* end = nullptr;
    const int64_t expected = std::strtoll(at, &end, 10);
    int64_t value = 0;
    const bool parsed = fields.Int(value);
    if (parsed != (end != at)) orvo::test::Require("one finds an integer, the other does not");
    if (!parsed) return;
    if (expected != value) orvo::test::Require("integers differ");
    at = end;
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view all(reinterpret_cast<const char*>(data), size);
  // The library stops at a NUL; the scanner must at least not stumble over one.
  orvo::ParseReal(all);
  orvo::ParseInt(all);
  const std::string text(all.substr(0, all.find('\0')));
  CompareReals(text);
  CompareIntegers(text);
  orvo::FieldScanner words(all);
  std::string_view word;
  while (words.Word(word)) {
    if (word.empty()) orvo::test::Require("empty word");
  }
  return 0;
}
