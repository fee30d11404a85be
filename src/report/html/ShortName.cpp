#include "report/html/ShortName.h"

#include <cstddef>
#include <vector>

#include "report/html/HtmlText.h"

namespace orvo::report {

namespace {

struct Letter {
  size_t nEnd = 0;  // byte behind it
  int nWidth = 1;
};

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; }

int WidthOf(std::string_view letter) {
  const std::string shown = HtmlText(letter);
  if (shown.starts_with('&')) return 1;
  return static_cast<unsigned char>(shown[0]) >= 0x80 ? 2 : static_cast<int>(shown.size());
}

std::vector<Letter> LettersOf(std::string_view name) {
  std::vector<Letter> letters;
  for (size_t first = 0; first < name.size();) {
    size_t last = first + 1;
    if (static_cast<unsigned char>(name[first]) >= 0xc0)
      while (last < name.size() && last < first + 4 && IsContinuation(name[last])) ++last;
    letters.push_back({last, WidthOf(name.substr(first, last - first))});
    first = last;
  }
  return letters;
}

}  // namespace

std::string ShortName(std::string_view name, int most) {
  // A letter has four bytes at most: what lies before these is cut whatever it is.
  const size_t enough = 4 * static_cast<size_t>(most) + 8;
  if (name.size() > enough) {
    size_t first = name.size() - enough;
    for (int i = 0; i < 3 && IsContinuation(name[first]); ++i) ++first;
    name.remove_prefix(first);
  }
  const std::vector<Letter> letters = LettersOf(name);
  int width = 0;
  for (const Letter& letter : letters) width += letter.nWidth;
  if (width <= most) return std::string(name);
  size_t first = 0;
  for (const Letter& letter : letters) {
    if (width + 1 <= most) break;
    width -= letter.nWidth;
    first = letter.nEnd;
  }
  return "\xe2\x80\xa6" + std::string(name.substr(first));
}

std::string ShortText(std::string_view text) {
  constexpr size_t kMost = 1200, kBegin = 600, kEnd = 300;
  if (text.size() <= kMost) return std::string(text);
  size_t begin = kBegin;
  for (int i = 0; i < 3 && IsContinuation(text[begin]); ++i) ++begin;
  return std::string(text.substr(0, begin)) + " " + ShortName(text, kEnd);
}

}  // namespace orvo::report
