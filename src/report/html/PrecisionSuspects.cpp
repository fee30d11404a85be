#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/PrecisionParts.h"

namespace orvo::report {
namespace {

constexpr size_t kShown = 20;

std::string KindText(const std::string& kind) { return kind == "gps" ? "GPS" : kind == "imu" ? "IMU" : kind; }

std::string Lead(int64_t all, size_t listed) {
  std::string text = fmt::format("The others contradict {}", Counted(all, "observation"));
  if (listed > 0 && all > static_cast<int64_t>(listed))
    text +=
        fmt::format("; the first {} of {} are listed, the largest test values first", listed, Thousands(all));
  return Paragraph(text +
                   ". Of sound observations one in 1,000 is "
                   "contradicted as well: what matters are large "
                   "test values, and several at one image or point.");
}

std::string Help(bool kept) {
  std::string text = "w is the test value, above 3.29 of one in 1,000 that is sound.";
  if (kept)
    text +=
        " Marked rows took part in the adjustment, and bend it: mend the "
        "observation or take it out, and run "
        "again.";
  return Paragraph(text, "hint");
}

}  // namespace

std::string SuspectPart(const PrecisionFigures& precision, const char* unit) {
  const size_t listed = std::min(kShown, precision.vSuspects.size());
  const int64_t all = std::max(precision.nSuspects, static_cast<int64_t>(precision.vSuspects.size()));
  if (all <= 0) return {};
  HtmlTable table({{"Observation"},
                   {"image"},
                   {"point"},
                   {"component"},
                   {"gross error", true},
                   {"w", true},
                   {"in the adjustment"}});
  bool kept = false;
  for (size_t i = 0; i < listed; ++i) {
    const SuspectFigure& suspect = precision.vSuspects[i];
    kept = kept || !suspect.bLeftOut;
    table.Row({KindText(suspect.szKind), suspect.szImage, suspect.szPoint, suspect.szComponent,
               fmt::format("{} {}", Significant(suspect.fSize, 3), UnitText(suspect.szUnit, unit)),
               (IsBeyondTest(suspect.fTest) ? "! " : "") + Fixed(suspect.fTest, 2),
               suspect.bLeftOut ? "left out" : "took part"},
              suspect.bLeftOut ? "" : "doubtful");
  }
  const std::string help = table.IsEmpty() ? std::string() : Help(kept);
  return SubHeading("Observations that the others contradict") + Lead(all, listed) +
         std::move(table).Finish() + help;
}

}  // namespace orvo::report
