#include "exchange/ShellWord.h"

#include <algorithm>
#include <string_view>

#include "base/PrintableName.h"

namespace orvo::exchange {

std::string ShellWord(const std::string& path) {
  constexpr std::string_view kPlain = "._/+,:@%=-";
  std::string shown = PrintableName(path);
  const bool plain = !shown.empty() && std::ranges::all_of(shown, [&](unsigned char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c >= 0x80 ||
           kPlain.find(static_cast<char>(c)) != std::string_view::npos;
  });
  if (plain) return shown;
  std::string word = "'";
  for (const char c : shown) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

}  // namespace orvo::exchange
