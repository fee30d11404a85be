// The slow, obvious way to split a text into lines.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvo::test {

/// A byte order mark at the start goes, CR LF becomes LF, then the text is cut as a line reader with a buffer
/// of 512 bytes would: behind a line feed or behind 511 characters, whatever comes first.
inline std::vector<std::string> SplitIntoPieces(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  std::string translated;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    translated += text[i];
  }
  std::vector<std::string> pieces;
  std::string piece;
  for (char c : translated) {
    piece += c;
    if (c == '\n' || piece.size() == 511) {
      pieces.push_back(piece);
      piece.clear();
    }
  }
  if (!piece.empty()) pieces.push_back(piece);
  return pieces;
}

}  // namespace orvo::test
