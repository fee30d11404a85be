#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "report/html/Frames.h"
#include "report/html/HtmlParts.h"
#include "report/html/NameBars.h"
#include "report/html/Numbers.h"
#include "report/html/Sections.h"
#include "report/html/Svg.h"
#include "verdict/VerdictLimits.h"

namespace orvo::report {

namespace {

constexpr size_t kImagesShown = 30;
constexpr double kImageFactor = 3;  // times the block's share: an image to look at
constexpr double kImageLeast = 5;   // percent, with it

int64_t All(const ImageFigure& image) { return image.nUsed + image.nGross; }

double ShareOf(const ImageFigure& image) {
  return All(image) > 0 ? 100.0 * static_cast<double>(image.nGross) / static_cast<double>(All(image)) : 0;
}

double BlockShare(const ResidualFigures& residuals) {
  return residuals.nMeasurements > 0
             ? 100.0 * static_cast<double>(residuals.nGross) / static_cast<double>(residuals.nMeasurements)
             : 0;
}

bool IsBeyond(double share, double block) { return share > std::max(kImageFactor * block, kImageLeast); }

std::vector<const ImageFigure*> WithGross(const RunFigures& figures) {
  std::vector<const ImageFigure*> images;
  for (const ImageFigure& image : figures.vImages)
    if (image.nGross > 0) images.push_back(&image);
  std::ranges::sort(images, [](const ImageFigure* a, const ImageFigure* b) {
    const double first = ShareOf(*a), second = ShareOf(*b);
    if (first != second) return first > second;
    return a->nGross != b->nGross ? a->nGross > b->nGross : a < b;
  });
  return images;
}

// Images in their order, a column each where there is room, else the largest share of those that fall into
// one.
std::string StripPicture(const RunFigures& figures, double block) {
  constexpr int kColumns = 380;
  const size_t images = figures.vImages.size(), columns = std::min<size_t>(images, kColumns);
  if (columns < 2) return {};
  std::vector<double> shares(columns);
  double top = VerdictLimits{}.fGross;
  for (size_t i = 0; i < images; ++i) {
    double& share = shares[i * columns / images];
    share = std::max(share, ShareOf(figures.vImages[i]));
    top = std::max(top, share);
  }
  Svg svg(
      440, 288, "Share of gross measurements by image",
      "A column for each image in the order of the project: percent of its measurements that were gross.");
  const Chart chart{{48, 28, 366, 178}, AxisOf(0, static_cast<double>(images)), AxisOf(0, top * 1.04)};
  DrawAxes(svg, chart, {"image in the order of the project", "percent gross"});
  SvgPath usual, beyond;
  const double width = chart.Area.fWidth / static_cast<double>(columns);
  for (size_t i = 0; i < columns; ++i) {
    const double y = chart.At(0, shares[i]).y;
    (IsBeyond(shares[i], block) ? beyond : usual)
        .Rect(chart.Area.fLeft + width * static_cast<double>(i) + 0.1 * width, y, 0.8 * width,
              chart.Area.Bottom() - y);
  }
  svg.Path(usual.Text(), "area s1");
  svg.Path(beyond.Text(), "area s2");
  const double y = chart.At(0, block).y;
  svg.Line(chart.Area.fLeft, y, chart.Area.Right(), y, "zero");
  DrawLegend(svg,
             {{LegendShape::Area, "area s1", "usual"},
              {LegendShape::Area, "area s2", "far above the block's share"},
              {LegendShape::Line, "zero", "whole block"}},
             48, 258, 392);
  return std::move(svg).Finish();
}

std::string Lead(const RunFigures& figures, double block, size_t images, int64_t beyond) {
  const ResidualFigures& residuals = figures.Residuals;
  const double limit = VerdictLimits{}.fGross;
  std::string text =
      fmt::format("{} of {} measurements were taken for gross at the end, {} %: {}. They lie in {} of {}.",
                  Thousands(residuals.nGross), Thousands(residuals.nMeasurements), Fixed(block, 2),
                  block > limit ? fmt::format("more than the {} % that are usual at most", limit)
                                : fmt::format("within the {} % that are usual at most", limit),
                  Thousands(static_cast<int64_t>(images)),
                  Counted(static_cast<int64_t>(figures.vImages.size()), "image"));
  std::string help;
  if (beyond > 0)
    help = fmt::format(
        "{} far above the block's share. Look there first: an image under a wrong name, one that is blurred, "
        "or one whose "
        "start orientation is far off loses its measurements. Correct it or leave it out, and run again.",
        Counted(beyond, "image") + (beyond == 1 ? " is" : " are"));
  else if (block > limit)
    help =
        "They are spread over all images, so that no single image is to blame: look at the matching of the "
        "tie points, "
        "at the camera, and at whether Gross_Point_Threshold is too narrow.";
  else
    help = "No image stands out. Gross measurements of this number do no harm: they weigh next to nothing.";
  return Paragraph(text) + Paragraph(help);
}

}  // namespace

std::string GrossSection(const RunFigures& figures) {
  if (figures.Residuals.nGross <= 0) return {};
  const std::vector<const ImageFigure*> worst = WithGross(figures);
  const double block = BlockShare(figures.Residuals);
  const int64_t beyond = std::ranges::count_if(
      worst, [&](const ImageFigure* image) { return IsBeyond(ShareOf(*image), block); });
  std::vector<NameBar> bars;
  HtmlTable table({{"Image"}, {"measurements", true}, {"gross", true}, {"share", true}});
  for (size_t i = 0; i < std::min(kImagesShown, worst.size()); ++i) {
    const ImageFigure& image = *worst[i];
    const bool stands = IsBeyond(ShareOf(image), block);
    bars.push_back({image.szName, ShareOf(image), Share(image.nGross, All(image)), stands});
    table.Row({image.szName, Thousands(All(image)), Thousands(image.nGross), Share(image.nGross, All(image))},
              stands ? "doubtful" : "");
  }
  const std::string strip = StripPicture(figures, block);
  const std::string byImage =
      FigureOf(strip,
               "Share of gross measurements by image. Neighbours that stand out together "
               "share a cause: a strip, a camera, "
               "water or forest below.");
  const std::string largest =
      FigureOf(NameBars(bars, {block, "whole block"}, "Images with the largest share of gross measurements",
                        "A bar for each image: percent of its measurements that were gross."),
               fmt::format("The {} with the largest share. With ! and another colour: more than {} times the "
                           "block's share, and more than {} %.",
                           worst.size() == 1 ? "image" : Counted(static_cast<int64_t>(bars.size()), "image"),
                           kImageFactor, kImageLeast));
  return SectionOf("gross", "Gross measurements",
                   Lead(figures, block, worst.size(), beyond) +
                       SideBySide("<div>" + byImage + SubHeading("Images with the largest share") +
                                  std::move(table).Finish() + "</div>\n" + largest));
}

}  // namespace orvo::report
