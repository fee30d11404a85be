#include "exchange/ImageAliases.h"

#include <set>

namespace orvo::exchange {
namespace {

/// A line holds 511 characters, the name in a run 127.
constexpr size_t kMostPath = 400;

std::string AliasOf(const std::string& name) {
  std::string alias;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    alias += byte <= 0x20 || byte == 0x7f ? '_' : c;
  }
  if (alias.empty()) alias = "image";
  if (alias.size() > kMostPath) alias = alias.substr(alias.size() - kMostPath);
  if (alias.find_first_of("/\\") == std::string::npos) alias.insert(0, "./");
  return alias;
}

/// Before the extension, so that the names differ without it, too.
std::string Numbered(const std::string& alias, int number) {
  const size_t separator = alias.find_last_of("/\\");
  const size_t dot = alias.find_last_of('.');
  const size_t place = dot != std::string::npos && dot > separator + 1 ? dot : alias.size();
  return alias.substr(0, place) + "_" + std::to_string(number) + alias.substr(place);
}

/// What a run calls the image: neither folder nor extension.
std::string NameWithin(const std::string& alias) {
  const size_t begin = alias.find_last_of("/\\") + 1;
  const size_t dot = alias.find_last_of('.');
  return alias.substr(begin, dot != std::string::npos && dot > begin ? dot - begin : std::string::npos);
}

}  // namespace

ImageAliases AliasesOf(const std::vector<std::string>& names) {
  ImageAliases aliases;
  std::set<std::string> taken;
  for (const std::string& name : names) {
    const std::string first = AliasOf(name);
    std::string alias = first;
    for (int number = 2; !taken.insert(NameWithin(alias)).second; ++number) alias = Numbered(first, number);
    if (alias != name && alias != "./" + name) ++aliases.nChanged;
    aliases.Paths.push_back(std::move(alias));
  }
  return aliases;
}

}  // namespace orvo::exchange
