#include "report/tables/PrecisionTables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "report/SampleFigures.h"

namespace orvo::test {
namespace {

using report::AppendBlunderRow;
using report::AppendPrecisionRow;
using report::BlunderRow;
using report::PrecisionRow;

TEST(PrecisionTables, AQuantityALine) {
  const struct {
    PrecisionRow Row;
    const char* szLine;
  } cases[] = {
      {{"image", "IMG_1", "X", 5123456.789123, 0.0123456, "object units", ""},
       "image,IMG_1,X,5123456.78912,0.01235,object units,\n"},
      {{"camera", "0", "k1", -1.5e-9, 2.5e-11, "px^-2",
        "correlated with k2 (-0.971); correlated with f (0.96)"},
       "camera,0,k1,-1.5e-09,2.5e-11,px^-2,\"correlated with k2 (-0.971); correlated with f (0.96)\"\n"},
      {{"tie", "T1", "Z", 0, std::nan(""), "object units", "2 rays; not determined"},
       "tie,T1,Z,0,,object units,\"2 rays; not determined\"\n"},
      {{"check", "=1+2", "Y", HUGE_VAL, 0, "", "3 rays"}, "check,'=1+2,Y,,0,,3 rays\n"},
      {{"control", "a,\"b\"\n", "Y", 1, 2, "", ""}, "control,\"a,\"\"b\"\"\\x0a\",Y,1,2,,\n"},
      {{"image", "", "Y", 1, 2, "", ""}, "image,,Y,1,2,,\n"},
  };
  for (const auto& each : cases) {
    std::string out = "before\n";
    AppendPrecisionRow(out, each.Row);
    EXPECT_EQ(out, std::string("before\n") + each.szLine);
  }
}

TEST(PrecisionTables, ABlunderALine) {
  const double none = report::kNoNumber;
  std::string out;
  AppendBlunderRow(out, {"measurement",
                         "IMG_1",
                         "P;1",
                         "a/block.prj",
                         17,
                         {100.25, -20, none},
                         {31.00005, -0.25, none},
                         "px",
                         44.1239});
  AppendBlunderRow(out,
                   {"measurement", "-7", "P", "b.ovt", 0, {1, 2, none}, {none, none, none}, "px", HUGE_VAL});
  AppendBlunderRow(out,
                   {"control", "", "G1", "g,1.txt", 3, {5, 6, 7}, {none, none, -5}, "object units", 200});
  EXPECT_EQ(out,
            "measurement,IMG_1,\"P;1\",a/block.prj,17,100.2500,-20.0000,,31.0001,-0.2500,,px,44.124\n"
            "measurement,'-7,P,b.ovt,,1.0000,2.0000,,,,,px,\n"
            "control,,G1,\"g,1.txt\",3,5.0000,6.0000,7.0000,,,-5.0000,object units,200.000\n");
}

TEST(PrecisionTables, NastyNamesStayInTheirFields) {
  const std::string name = NastyName();
  std::string rows;
  AppendPrecisionRow(rows, {"tie", name, "X", 1, 2, "object units", name});
  AppendBlunderRow(rows, {"measurement", name, name, name, 1, {1, 2, 3}, {4, 5, 6}, "px", 7});
  EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 2);
  EXPECT_EQ(rows.find('\r'), std::string::npos);
  // Commas outside of quotes: as many as fields less one.
  int64_t commas = 0;
  bool quoted = false;
  for (const char c : rows) {
    if (c == '"') quoted = !quoted;
    commas += c == ',' && !quoted ? 1 : 0;
  }
  EXPECT_FALSE(quoted);
  EXPECT_EQ(commas, 6 + 12);
}

TEST(PrecisionTables, HeadingsHaveAsManyFields) {
  const std::string precision = report::kPrecisionHeading, blunders = report::kBlundersHeading;
  EXPECT_EQ(std::count(precision.begin(), precision.end(), ','), 6);
  EXPECT_EQ(std::count(blunders.begin(), blunders.end(), ','), 12);
}

}  // namespace
}  // namespace orvo::test
