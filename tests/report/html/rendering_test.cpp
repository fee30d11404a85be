// The page as a browser lays it out: nothing wider than the window, no text over another.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "report/SampleFigures.h"
#include "report/html/PageChecks.h"
#include "report/html/PageLayout.h"

namespace orvo::report {
namespace {

using test::HasBrowser;
using test::Measured;

struct Case {
  const char* pName;
  RunFigures (*pMake)();
  int nWidth, nLeastTexts;
};

class Rendering : public testing::TestWithParam<Case> {};

TEST_P(Rendering, FitsTheWindow) {
  if (!HasBrowser()) GTEST_SKIP() << "there is no chromium";
  const std::string said = Measured(test::PageOf(GetParam().pMake()), GetParam().nWidth);
  ASSERT_TRUE(said.starts_with(std::to_string(GetParam().nWidth) + " px, ")) << said;
  EXPECT_GE(std::atoi(said.c_str() + said.find(", ") + 2), GetParam().nLeastTexts) << said;
  EXPECT_EQ(said.substr(said.find('\n') + 1), "");
}

RunFigures Sample() { return test::MakeSampleFigures(40); }
RunFigures Thousand() { return test::MakeSampleFigures(1000); }
RunFigures Nasty() { return test::WithTexts(test::MakeSampleFigures(40), test::NastyName()); }

INSTANTIATE_TEST_SUITE_P(
    Pages, Rendering,
    testing::Values(Case{"Sample400", Sample, 400, 100}, Case{"Sample1600", Sample, 1600, 100},
                    Case{"Thousand1600", Thousand, 1600, 100}, Case{"Nasty400", Nasty, 400, 100},
                    Case{"Nasty1600", Nasty, 1600, 100}, Case{"Failed400", test::MakeFailedFigures, 400, 1},
                    Case{"Failed1600", test::MakeFailedFigures, 1600, 1}),
    [](const auto& given) { return std::string(given.param.pName); });

/// The measure itself finds what it looks for.
TEST(Rendering, MeasureSeesOverlapsAndOverflow) {
  if (!HasBrowser()) GTEST_SKIP() << "there is no chromium";
  std::string page = test::PageOf(test::MakeFailedFigures());
  page.insert(page.find("</main>"),
              "<div style=\"width:900px\">wide</div><svg viewBox=\"0 0 100 50\" style=\"--w:100px\">"
              "<text x=\"5\" y=\"20\">first</text><text x=\"10\" y=\"22\">second</text></svg>");
  const std::string said = Measured(page, 400);
  for (const char* fault :
       {"the page is wider than the window", "beyond the window: wide", "over second: first"}) {
    EXPECT_NE(said.find(fault), std::string::npos) << fault << "\n" << said;
  }
}

}  // namespace
}  // namespace orvo::report
