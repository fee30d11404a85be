#include "report/html/Svg.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "report/html/HtmlParts.h"
#include "report/html/PageChecks.h"

namespace orvo::report {
namespace {

TEST(Svg, SaysWhatItShows) {
  const std::string text = Svg(100, 50.25, "a <b>", "c & d").Finish();
  EXPECT_EQ(text,
            "<svg role=\"img\" viewBox=\"0 0 100 51\" width=\"100\" height=\"51\" style=\"--w:100px\">"
            "<title>a &lt;b&gt;</title><desc>c &amp; d</desc>\n</svg>\n");
}

TEST(Svg, DrawsWithClassesAndTips) {
  Svg svg(10, 10, "t", "d");
  svg.Line(0, 1.04, 2.5, -0.01, "grid");
  svg.Rect(1, 2, 3, 4, "area s1", "tip \"x\"");
  svg.Circle(1, 2, 3, "dot s2");
  svg.Polygon(std::array<Pair, 3>{Pair{0, 0}, Pair{1, 0}, Pair{1, 1}}, "");
  svg.Text(1, 2, "<t>", "axis", "end", -90);
  svg.Open("feet");
  svg.Close();
  const std::string text = std::move(svg).Finish();
  for (const char* part :
       {"<line class=\"grid\" x1=\"0\" y1=\"1\" x2=\"2.5\" y2=\"0\"/>",
        "<rect class=\"area s1\" x=\"1\" y=\"2\" width=\"3\" height=\"4\">"
        "<title>tip &quot;x&quot;</title></rect>",
        "<circle class=\"dot s2\" cx=\"1\" cy=\"2\" r=\"3\"/>", "<polygon points=\"0,0 1,0 1,1\"/>",
        "<text class=\"axis\" x=\"1\" y=\"2\" text-anchor=\"end\" transform=\"rotate(-90 1 2)\">"
        "&lt;t&gt;</text>",
        "<g class=\"feet\">\n</g>"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
  }
}

TEST(Svg, LeavesOutWhatIsNotFinite) {
  for (const double wrong : {static_cast<double>(NAN), static_cast<double>(INFINITY)}) {
    Svg svg(10, 10, "t", "d");
    SvgPath path;
    const std::array<Pair, 2> points = {Pair{0, 0}, Pair{wrong, 1}};
    svg.Line(0, 0, wrong, 1, "x");
    svg.Rect(0, wrong, 1, 1, "x");
    svg.Circle(0, 0, wrong, "x");
    svg.Polygon(points, "x");
    svg.Polyline(points, "x");
    svg.Arrow(0, 0, wrong, 0, "x");
    svg.Text(wrong, 0, "t", "x");
    path.Line(0, 0, wrong, 0);
    path.Rect(0, 0, wrong, 0);
    path.Dot(wrong, 0);
    path.Polygon(points);
    svg.Path(path.Text(), "x");
    EXPECT_EQ(std::move(svg).Finish(), Svg(10, 10, "t", "d").Finish());
  }
}

TEST(Svg, ArrowsHaveAHeadWhereThereIsRoom) {
  const auto strokes = [](double length) {
    Svg svg(10, 10, "t", "d");
    svg.Arrow(1, 1, length, 0, "x");
    return test::CountOf(std::move(svg).Finish(), "M");
  };
  EXPECT_EQ(strokes(20), 3u);
  EXPECT_EQ(strokes(2), 1u);
  EXPECT_EQ(strokes(0), 1u);
}

TEST(HtmlParts, TablesNameTheirRowsAndAlignNumbers) {
  HtmlTable table({{"Name"}, {"X", true}, {"What", false, true}}, "all & more");
  EXPECT_TRUE(table.IsEmpty());
  table.Row({"<p>", "1.5"}, "total");
  EXPECT_FALSE(table.IsEmpty());
  const std::string text = std::move(table).Finish();
  EXPECT_NE(text.find("<caption>all &amp; more</caption>"), std::string::npos);
  EXPECT_NE(text.find("<th scope=\"col\" class=\"n\">X</th><th scope=\"col\" class=\"long\">What</th>"),
            std::string::npos);
  EXPECT_NE(text.find("<tr class=\"total\"><th scope=\"row\">&lt;p&gt;</th><td class=\"n\">1.5</td>"
                      "<td class=\"long\"></td></tr>"),
            std::string::npos)
      << text;
  EXPECT_EQ(test::TagFault(text), "");
  EXPECT_EQ(HtmlTable({{"Name"}}).Finish(), "");
}

TEST(HtmlParts, NothingComesOfNothing) {
  EXPECT_EQ(SectionOf("a", "A", ""), "");
  EXPECT_EQ(FigureOf("", "caption"), "");
  EXPECT_EQ(SideBySide(""), "");
  EXPECT_EQ(Paragraph(""), "");
}

TEST(PageChecks, SeeWhatIsWrongWithTags) {
  struct {
    std::string szPage;
    bool bFault;
  } const cases[] = {{"<p>a</p>", false},
                     {"<p>a<br>b</p>", false},
                     {"<p>a</b></p>", true},
                     {"<p>a", true},
                     {"a</p>", true},
                     {"<p class=\"a>b\">c</p>", false},
                     {"<p class=\"a>b</p>", true},
                     {"<p>a < b</p>", true},
                     {"<line x=\"1\"/>", false},
                     {"<a><b></a></b>", true},
                     {"<!-- a --><p></p>", true}};
  for (const auto& c : cases) EXPECT_EQ(!test::TagFault(c.szPage).empty(), c.bFault) << c.szPage;
}

}  // namespace
}  // namespace orvo::report
