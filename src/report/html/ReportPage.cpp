#include "report/html/ReportPage.h"

#include <fmt/format.h>

#include <array>
#include <string>

#include "report/html/HtmlText.h"
#include "report/html/PageHead.h"
#include "report/html/Sections.h"
#include "report/html/Style.h"

namespace orvo::report {
namespace {

struct Entry {
  const char* pId;
  const char* pShort;  ///< in the contents
  std::string (*pSection)(const RunFigures&);
};

constexpr std::array kEntries = {
    Entry{"verdict", "Verdict", VerdictSection},         Entry{"plan", "Plan view", PlanSection},
    Entry{"coverage", "Coverage", CoverageSection},      Entry{"iteration", "Iterations", IterationSection},
    Entry{"residual", "Residuals", ResidualSection},     Entry{"gross", "Gross measurements", GrossSection},
    Entry{"ground", "Control and check", GroundSection}, Entry{"pos", "GPS", PosSection},
    Entry{"camera", "Cameras", CameraSection},           Entry{"precision", "Precision", PrecisionSection},
    Entry{"point", "Tie points", PointSection},          Entry{"run", "The run", RunSection}};

void WriteHead(const RunFigures& figures, TextWriter& file) {
  file.Write(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n");
  file.Write(kPageMark);
  file.Write(fmt::format("<title>{}: {}</title>\n", HtmlText(BlockName(figures)), GradeWord(figures)));
  file.Write("<link rel=\"icon\" href=\"data:,\">\n<style>");
  file.Write(StyleSheet());
  file.Write("</style>\n</head>\n<body>\n<header>\n");
  file.Write(PageHead(figures));
}

}  // namespace

void WriteReportPage(const RunFigures& figures, TextWriter& file) {
  WriteHead(figures, file);
  std::array<std::string, kEntries.size()> sections;
  std::string contents;
  for (size_t i = 0; i < kEntries.size(); ++i) {
    sections[i] = kEntries[i].pSection(figures);
    if (sections[i].empty()) continue;
    contents += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", kEntries[i].pId, kEntries[i].pShort);
  }
  if (!contents.empty()) {
    file.Write("<nav aria-label=\"Contents\"><ul>\n" + contents + "</ul></nav>\n");
  }
  file.Write("</header>\n<main>\n");
  for (const std::string& section : sections) file.Write(section);
  file.Write("</main>\n");
  file.Write(fmt::format("<footer>Written by orvo {}.</footer>\n</body>\n</html>\n",
                         HtmlText(figures.Program.szVersion)));
}

}  // namespace orvo::report
