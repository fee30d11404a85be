#include <gtest/gtest.h>

#include <string>

#include "PageText.h"
#include "report/SampleFigures.h"
#include "report/html/HtmlText.h"
#include "report/html/Sections.h"

namespace orvo::report {
namespace {

using test::CountOf;
using test::Has;

// 100 images with 100 measurements each, the first `images` of them with `gross` gross ones.
RunFigures With(int images, int gross) {
  RunFigures figures;
  for (int i = 0; i < 100; ++i) {
    ImageFigure image;
    image.szName = "image " + std::to_string(i);
    image.nGross = i < images ? gross : 0;
    image.nUsed = 100 - image.nGross;
    figures.vImages.push_back(image);
  }
  figures.Residuals.nMeasurements = 10000;
  figures.Residuals.nGross = int64_t{images} * gross;
  return figures;
}

TEST(GrossSection, WithoutGrossMeasurementsIsNone) {
  EXPECT_EQ(GrossSection({}), "");
  EXPECT_EQ(GrossSection(With(0, 0)), "");
}

TEST(GrossSection, TellsWhatHelps) {
  const struct {
    int images, gross;
    const char* count;
    const char* help;
  } cases[] = {
      {50, 2, "100 of 10,000 measurements were taken for gross at the end, 1.00 %: within the 2 %",
       "No image stands out"},
      {100, 4, "400 of 10,000 measurements were taken for gross at the end, 4.00 %: more than the 2 %",
       "They are spread over all images"},
      {2, 50, "They lie in 2 of 100 images.", "2 images are far above the block"},
      {1, 6, "They lie in 1 of 100 images.", "1 image is far above the block"},
      {1, 5, "0.05 %", "No image stands out"},  // 5 % is not above 5 %
  };
  for (const auto& c : cases) {
    const std::string html = GrossSection(With(c.images, c.gross));
    EXPECT_TRUE(Has(html, c.count));
    EXPECT_TRUE(Has(html, c.help));
  }
}

TEST(GrossSection, WorstThirtyStandInATable) {
  RunFigures figures = With(60, 1);
  figures.vImages[59].szName = test::NastyName();
  figures.vImages[59].nGross = 75;
  figures.vImages[59].nUsed = 25;
  const std::string html = GrossSection(figures);
  EXPECT_TRUE(
      Has(html, "<tr class=\"doubtful\"><th scope=\"row\">" + HtmlText(test::NastyName()) +
                    "</th><td class=\"n\">100</td><td class=\"n\">75</td><td class=\"n\">75.0 %</td>"));
  EXPECT_EQ(CountOf(html.substr(html.find("<tbody>")), "<tr"), 30);
  EXPECT_EQ(CountOf(html, "</script>"), 0);
  EXPECT_TRUE(Has(html, "! 75.0 %"));
}

TEST(GrossSection, StaysSmallForManyImages) {
  RunFigures figures = test::MakeSampleFigures(20000);
  EXPECT_LT(GrossSection(figures).size(), 80000u);
  // The worst image is not lost among the columns.
  EXPECT_EQ(CountOf(GrossSection(figures), "class=\"area s2\" d=\"M"), 1);
}

}  // namespace
}  // namespace orvo::report
