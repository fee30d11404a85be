#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "report/html/HtmlParts.h"
#include "report/html/NameBars.h"
#include "report/html/Numbers.h"
#include "report/html/ResidualField.h"
#include "report/html/ResidualPictures.h"
#include "report/html/Sections.h"
#include "verdict/VerdictLimits.h"

namespace orvo::report {

namespace {

constexpr size_t kFieldsDrawn = 6, kImagesShown = 20;

constexpr const char* kWhyTheyDiffer =
    "The listed figures come from the adjustment itself, whose points are intersected with the first ray of "
    "a point "
    "weighing most and with the distortion of y taken with the x of the principal point; the strict ones "
    "come from "
    "points found anew by plain least squares, all rays alike, from the orientations and cameras as written.";

constexpr const char* kWhatTheRowsAre =
    "All: of all measurements of tie points. Kept: without those that the run took for gross; all that "
    "follows "
    "is of these. Measurements of control and check points are not among them, but are counted among the "
    "measurements of the block.";
constexpr const char* kWhatListedIs = "Listed: as in OrvoAdjustReport.txt. ";

const std::string kHowToRead = fmt::format(
    "Arrows: the mean residual in each of {} x {} cells of the image, y upwards; cells with fewer than {} "
    "measurements are "
    "left out. Strong ones are longer than three times what noise would leave. Curves: a mean along the "
    "radius that "
    "leaves 0 and comes back is distortion that the camera does not describe; an RMSE that grows outwards "
    "along the "
    "radius points there, too.",
    kGridColumns, kGridRows, kCellMeasurements);

double Length(const Pair& value) { return std::hypot(value.x, value.y); }

void AddRow(HtmlTable& table, const char* name, const ResidualFigure& figure, const char* style = "") {
  if (figure.nMeasurements == 0) return;
  table.Row({name, CountText(figure.nMeasurements), Fixed(figure.Rmse.x, 4), Fixed(figure.Rmse.y, 4),
             Signed(figure.Mean.x, 4), Signed(figure.Mean.y, 4)},
            style);
}

// Without an adjustment the report lists what the run began with.
bool HasListed(const RunFigures& figures) {
  const ResidualFigure& listed = figures.Residuals.Listed;
  return figures.bAdjusted && listed.nMeasurements > 0 && std::isfinite(Length(listed.Rmse));
}

std::string FigureTable(const RunFigures& figures) {
  HtmlTable table(
      {{"Pixels"}, {"number", true}, {"RMSE x", true}, {"RMSE y", true}, {"mean x", true}, {"mean y", true}});
  if (HasListed(figures)) AddRow(table, "listed", figures.Residuals.Listed);
  AddRow(table, "strict, all", figures.Residuals.StrictAll);
  AddRow(table, "strict, kept", figures.Residuals.StrictKept, "changed");
  return std::move(table).Finish();
}

// Measurements within `reach` of 0, those of a bin being spread evenly over it.
double CountWithin(const Histogram& histogram, double reach) {
  double within = 0;
  for (size_t i = 0; i < histogram.vCounts.size(); ++i) {
    const double left = histogram.fFirst + static_cast<double>(i) * histogram.fStep;
    const double common = std::min(left + histogram.fStep, reach) - std::max(left, -reach);
    within += static_cast<double>(histogram.vCounts[i]) * std::clamp(common / histogram.fStep, 0.0, 1.0);
  }
  return within;
}

std::string HistogramFigure(const Histogram& histogram, double rmse, int64_t number, const char* axis) {
  const std::string picture = HistogramPicture(histogram, rmse, number, axis);
  if (picture.empty()) return {};
  const double share = 100 * CountWithin(histogram, rmse) / static_cast<double>(number);
  const int64_t outside = histogram.nBelow + histogram.nAbove;
  std::string caption = fmt::format(
      "Residuals in {0} and the normal curve of the same RMSE, {1} px. "
      "{2} % lie "
      "within one RMSE; of a normal distribution it would be 68 %.",
      axis, Fixed(rmse, 3), Fixed(share, 0));
  if (share > 74)
    caption += " So most are better than the RMSE says, and few much worse: look at the worst images.";
  if (const double cut = CutShare(histogram, rmse, number); cut > 0) {
    caption += fmt::format(
        " The highest bar is cut off: {} % are there. Of a point with two rays, residuals along the line "
        "between its images are next to nothing.",
        Fixed(cut, 0));
  }
  if (outside > 0)
    caption += fmt::format(" {} beyond the picture.",
                           Counted(outside, "measurement") + (outside == 1 ? " is" : " are"));
  return FigureOf(picture, caption);
}

struct RankedCamera {
  const CameraFigure* pCamera = nullptr;
  FieldJudgement Field;
};

// Those with the largest pattern first; those that nothing can be said of at the end.
std::vector<RankedCamera> RankCameras(const std::vector<CameraFigure>& cameras) {
  std::vector<RankedCamera> ranked;
  ranked.reserve(cameras.size());
  for (const CameraFigure& camera : cameras) ranked.push_back({&camera, JudgeField(camera)});
  std::ranges::stable_sort(ranked, [](const RankedCamera& a, const RankedCamera& b) {
    const bool knownA = KindOf(a.Field) != FieldKind::Unknown, knownB = KindOf(b.Field) != FieldKind::Unknown;
    if (knownA != knownB) return knownA;
    if (a.Field.fPattern != b.Field.fPattern) return a.Field.fPattern > b.Field.fPattern;
    return a.Field.fLength > b.Field.fLength;
  });
  return ranked;
}

std::string CameraFigures(const RankedCamera& ranked, double scale) {
  const CameraFigure& camera = *ranked.pCamera;
  const std::string field = FieldPicture(camera, scale), rings = RingPicture(camera);
  if (field.empty() && rings.empty()) return {};
  const std::string of =
      fmt::format("{} x {} px, {}, RMSE {} / {} px", camera.nWidth, camera.nHeight,
                  Counted(camera.nImages, "image"), Fixed(camera.Rmse.x, 3), Fixed(camera.Rmse.y, 3));
  const double times = FieldMagnification(camera, scale);
  const std::string fields = FigureOf(
      field, times > 0 ? fmt::format("Mean residuals over the image. Arrows are {} times as long as in it.",
                                     Thousands(times, 0))
                       : std::string("Mean residuals over the image."));
  const std::string radial = FigureOf(rings, "Residuals by distance from the principal point.");
  return SubHeading(camera.szName) + Paragraph(of, "hint") + Paragraph(TellField(camera, ranked.Field)) +
         SideBySide(fields + radial);
}

std::string TellRest(const std::vector<RankedCamera>& ranked, size_t drawn) {
  std::array<int64_t, 4> kinds{};
  for (const RankedCamera& camera : ranked) ++kinds[static_cast<size_t>(KindOf(camera.Field))];
  const auto of = [&](FieldKind kind) { return Thousands(kinds[static_cast<size_t>(kind)]); };
  const std::string cameras = Counted(static_cast<int64_t>(ranked.size()), "camera");
  if (kinds[static_cast<size_t>(FieldKind::Unknown)] == static_cast<int64_t>(ranked.size()))
    return fmt::format("None of {} has measurements enough to be judged by itself.", cameras);
  return fmt::format(
      "Of {}, residuals are systematic in {}, show a slight pattern in {} and look like noise in {}; in {} "
      "there are too "
      "few measurements to tell. The {} with the largest pattern are drawn.",
      cameras, of(FieldKind::Systematic), of(FieldKind::Slight), of(FieldKind::Noise), of(FieldKind::Unknown),
      drawn);
}

std::string Fields(const RunFigures& figures) {
  std::vector<RankedCamera> shown;
  const std::vector<RankedCamera> ranked = RankCameras(figures.vCameras);
  std::optional<CameraFigure> pooled;
  if (ranked.size() > kFieldsDrawn) pooled = PoolCameras(figures.vCameras);
  if (pooled) shown.push_back({&*pooled, JudgeField(*pooled)});
  const bool few = ranked.size() <= kFieldsDrawn;
  size_t drawn = 0;
  for (const RankedCamera& camera : ranked) {
    if (drawn == kFieldsDrawn || (!few && KindOf(camera.Field) == FieldKind::Unknown)) break;
    shown.push_back(camera);
    ++drawn;
  }
  double scale = 0;
  for (const RankedCamera& camera : shown) {
    const double own = FieldScale(*camera.pCamera);
    if (own > 0 && (scale == 0 || own < scale)) scale = own;
  }
  std::string html;
  for (const RankedCamera& camera : shown) html += CameraFigures(camera, scale);
  if (!few) html = Paragraph(TellRest(ranked, drawn)) + html;
  if (html.empty()) return {};
  return SubHeading("Patterns within the image") + Paragraph(kHowToRead, "hint") + html;
}

std::vector<const ImageFigure*> WorstImages(const RunFigures& figures) {
  std::vector<const ImageFigure*> images;
  for (const ImageFigure& image : figures.vImages)
    if (image.nUsed > 0 && std::isfinite(Length(image.Rmse))) images.push_back(&image);
  const size_t shown = std::min(kImagesShown, images.size());
  std::ranges::partial_sort(images, images.begin() + static_cast<std::ptrdiff_t>(shown),
                            [](const ImageFigure* a, const ImageFigure* b) {
                              const double first = Length(a->Rmse), second = Length(b->Rmse);
                              return first != second ? first > second : a < b;
                            });
  images.resize(shown);
  return images;
}

std::string Images(const RunFigures& figures) {
  const std::vector<const ImageFigure*> worst = WorstImages(figures);
  if (worst.empty()) return {};
  const double usual = Length(figures.Residuals.StrictKept.Rmse);
  const double limit = VerdictLimits{}.fGroupRatio * usual;
  std::vector<NameBar> bars;
  HtmlTable table({{"Image"}, {"used", true}, {"gross", true}, {"mean x / y", true}, {"RMSE x / y", true}});
  for (const ImageFigure* image : worst) {
    const bool beyond = usual > 0 && Length(image->Rmse) > limit;
    bars.push_back({image->szName, Length(image->Rmse),
                    Fixed(image->Rmse.x, 2) + " / " + Fixed(image->Rmse.y, 2), beyond});
    table.Row({image->szName, Thousands(image->nUsed), Share(image->nGross, image->nUsed + image->nGross),
               Signed(image->Mean.x, 2) + " / " + Signed(image->Mean.y, 2),
               Fixed(image->Rmse.x, 2) + " / " + Fixed(image->Rmse.y, 2)},
              beyond ? "doubtful" : "");
  }
  const std::string picture = NameBars(bars, {usual, "whole block"}, "Images with the largest residuals",
                                       "A bar for each image: the length of its RMSE in x and y, in pixels.");
  return SubHeading("Images with the largest residuals") +
         SideBySide(
             FigureOf(picture,
                      fmt::format("Length of the RMSE in x and y (strict, without gross measurements), and "
                                  "both behind the bar, in pixels. With ! and another colour: more than {} "
                                  "times the block's. A mean far from 0 says that the image as a whole does "
                                  "not fit its neighbours.",
                                  VerdictLimits{}.fGroupRatio)) +
             "<div>" + std::move(table).Finish() + "</div>\n");
}

}  // namespace

std::string ResidualSection(const RunFigures& figures) {
  const ResidualFigures& residuals = figures.Residuals;
  if (residuals.StrictAll.nMeasurements <= 0 && residuals.StrictKept.nMeasurements <= 0) return {};
  std::string html = FigureTable(figures);
  if (HasListed(figures)) html += Paragraph(kWhyTheyDiffer);
  html += Paragraph((HasListed(figures) ? kWhatListedIs : std::string()) + kWhatTheRowsAre, "hint");
  const ResidualFigure& kept = residuals.StrictKept;
  html += SideBySide(HistogramFigure(residuals.X, kept.Rmse.x, kept.nMeasurements, "x") +
                     HistogramFigure(residuals.Y, kept.Rmse.y, kept.nMeasurements, "y"));
  html += Fields(figures);
  html += Images(figures);
  return SectionOf("residual", "Residuals in the images", html);
}

}  // namespace orvo::report
