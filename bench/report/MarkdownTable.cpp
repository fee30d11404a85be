#include "report/MarkdownTable.h"

#include <fmt/format.h>

#include <algorithm>

namespace orvo::bench {

MarkdownTable::MarkdownTable(std::vector<std::string> head) { Rows.push_back(std::move(head)); }

void MarkdownTable::Row(std::vector<std::string> cells) {
  cells.resize(Rows.front().size());
  Rows.push_back(std::move(cells));
}

std::string MarkdownTable::Text() const {
  std::vector<size_t> widths(Rows.front().size(), 4);
  for (const auto& row : Rows) {
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  }
  std::string text;
  for (size_t r = 0; r < Rows.size(); ++r) {
    for (size_t c = 0; c < widths.size(); ++c)
      text += c == 0 ? fmt::format("| {:<{}} |", Rows[r][c], widths[c])
                     : fmt::format(" {:>{}} |", Rows[r][c], widths[c]);
    text += '\n';
    if (r > 0) continue;
    text += "| " + std::string(widths[0], '-') + " |";
    for (size_t c = 1; c < widths.size(); ++c) text += " " + std::string(widths[c] - 1, '-') + ": |";
    text += '\n';
  }
  return text;
}

}  // namespace orvo::bench
