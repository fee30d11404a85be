// A table that reads as text and as Markdown.
#pragma once

#include <string>
#include <vector>

namespace orvo::bench {

class MarkdownTable {
 public:
  explicit MarkdownTable(std::vector<std::string> head);
  /// A cell for each column.
  void Row(std::vector<std::string> cells);
  /// The first column to the left, the others to the right, each as wide as its widest cell.
  std::string Text() const;

 private:
  std::vector<std::vector<std::string>> Rows;  ///< the head first
};

}  // namespace orvo::bench
