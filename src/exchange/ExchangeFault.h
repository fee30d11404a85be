// What ends an import or an export.
#pragma once

#include <stdexcept>
#include <string>

#include "check/Finding.h"

namespace orvo::exchange {

/// Thrown by readers and writers, caught where a command begins. what() is the text of the finding.
class ExchangeFault : public std::runtime_error {
 public:
  explicit ExchangeFault(Finding finding) : std::runtime_error(TextOf(finding)), What(std::move(finding)) {}
  Finding What;
};

/// With the file, a line (0: none), what is wrong, and what helps.
[[noreturn]] inline void Refuse(const std::string& file, int64_t line, std::string what, std::string remedy) {
  throw ExchangeFault({Severity::Error, file, line, -1, std::move(what), std::move(remedy)});
}
[[noreturn]] inline void RefuseAtByte(const std::string& file, int64_t byte, std::string what,
                                      std::string remedy) {
  throw ExchangeFault({Severity::Error, file, 0, byte, std::move(what), std::move(remedy)});
}

}  // namespace orvo::exchange
