// The parts that sections are made of.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvo::report {

/// <section id="..."> with its heading and `body`, which is HTML; empty where `body` is.
std::string SectionOf(std::string_view id, std::string_view title, std::string_view body);

/// A picture (or table) with what is seen in it and how to read it. `picture` is HTML, `caption` a text.
/// `style`: "", "wide", which takes two columns where there are as many, or "plate", which takes the whole
/// width on paper.
std::string FigureOf(std::string_view picture, std::string_view caption, std::string_view style = {});

/// Figures side by side as far as there is room; empty where `figures` is.
std::string SideBySide(std::string_view figures);

/// <p>; the text may hold any bytes.
std::string Paragraph(std::string_view text, std::string_view style = {});

/// <h3>
std::string SubHeading(std::string_view text);

/// What a column holds.
struct TableColumn {
  std::string szTitle;
  bool bNumber = false;  ///< right-aligned
  bool bLong = false;    ///< sentences, which want some width
};

/// A table that scrolls within itself where the page is narrower. All texts may hold any bytes; of those that
/// are longer than names are the end is shown, and more of it as a tip. The first
/// cell of a row names the row.
class HtmlTable {
 public:
  explicit HtmlTable(std::vector<TableColumn> columns, std::string_view caption = {});

  /// As many cells as there are columns; what is missing is left empty. `style`: classes of the row, such as
  /// "doubtful" or "total".
  void Row(const std::vector<std::string>& cells, std::string_view style = {});
  bool IsEmpty() const { return bEmpty; }

  /// The element, whole; empty without rows.
  std::string Finish() &&;

 private:
  std::vector<TableColumn> vColumns;
  std::string szText;
  bool bEmpty = true;
};

}  // namespace orvo::report
