#include "report/html/HtmlParts.h"

#include <fmt/format.h>

#include "report/html/HtmlText.h"
#include "report/html/ShortName.h"

namespace orvo::report {
namespace {

const std::string kEmpty;

std::string ClassOf(std::string_view style) {
  return style.empty() ? std::string() : fmt::format(" class=\"{}\"", HtmlText(style));
}

const char* ClassOf(const TableColumn& column) {
  return column.bNumber ? " class=\"n\"" : column.bLong ? " class=\"long\"" : "";
}

}  // namespace

std::string SectionOf(std::string_view id, std::string_view title, std::string_view body) {
  if (body.empty()) return {};
  return fmt::format("<section id=\"{}\">\n<h2>{}</h2>\n{}</section>\n", id, HtmlText(title), body);
}

std::string FigureOf(std::string_view picture, std::string_view caption, std::string_view style) {
  if (picture.empty()) return {};
  return fmt::format(
      "<figure{}>\n<div class=\"scroll\">{}</div>\n<figcaption>{}</figcaption>\n"
      "</figure>\n",
      ClassOf(style), picture, HtmlText(caption));
}

std::string SideBySide(std::string_view figures) {
  if (figures.empty()) return {};
  return fmt::format("<div class=\"figures\">\n{}</div>\n", figures);
}

std::string Paragraph(std::string_view text, std::string_view style) {
  if (text.empty()) return {};
  return fmt::format("<p{}>{}</p>\n", ClassOf(style), HtmlText(text));
}

std::string SubHeading(std::string_view text) {
  return fmt::format("<h3>{}</h3>\n", HtmlText(ShortName(text, kTipLetters)));
}

HtmlTable::HtmlTable(std::vector<TableColumn> columns, std::string_view caption)
    : vColumns(std::move(columns)) {
  szText = "<div class=\"scroll table\"><table>\n";
  if (!caption.empty()) szText += fmt::format("<caption>{}</caption>\n", HtmlText(caption));
  szText += "<thead><tr>";
  for (const TableColumn& column : vColumns) {
    szText += fmt::format("<th scope=\"col\"{}>{}</th>", ClassOf(column), HtmlText(column.szTitle));
  }
  szText += "</tr></thead>\n<tbody>\n";
}

void HtmlTable::Row(const std::vector<std::string>& cells, std::string_view style) {
  bEmpty = false;
  szText += fmt::format("<tr{}>", ClassOf(style));
  for (size_t i = 0; i < vColumns.size(); ++i) {
    const char* column = ClassOf(vColumns[i]);
    const std::string& whole = i < cells.size() ? cells[i] : kEmpty;
    const std::string shown = vColumns[i].bLong ? ShortText(whole) : ShortName(whole, kNameLetters);
    const std::string tip = vColumns[i].bLong || shown == whole
                                ? std::string()
                                : fmt::format(" title=\"{}\"", HtmlText(ShortName(whole, kTipLetters)));
    szText += i == 0 ? fmt::format("<th scope=\"row\"{}{}>{}</th>", column, tip, HtmlText(shown))
                     : fmt::format("<td{}{}>{}</td>", column, tip, HtmlText(shown));
  }
  szText += "</tr>\n";
}

std::string HtmlTable::Finish() && {
  if (bEmpty) return {};
  szText += "</tbody></table></div>\n";
  return std::move(szText);
}

}  // namespace orvo::report
