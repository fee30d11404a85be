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
  std::string out;
  AppendBlunderRow(out, {"IMG_1", "P;1", 100.25, -20, 31.00005, -0.25, 44.1239});
  AppendBlunderRow(out, {"-7", "P", 1, 2, std::nan(""), 4, HUGE_VAL});
  EXPECT_EQ(out,
            "IMG_1,\"P;1\",100.2500,-20.0000,31.0001,-0.2500,44.124\n"
            "'-7,P,1.0000,2.0000,,4.0000,\n");
}

TEST(PrecisionTables, NastyNamesStayInTheirFields) {
  const std::string name = NastyName();
  std::string rows;
  AppendPrecisionRow(rows, {"tie", name, "X", 1, 2, "object units", name});
  AppendBlunderRow(rows, {name, name, 1, 2, 3, 4, 5});
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
  EXPECT_EQ(commas, 6 + 6);
}

TEST(PrecisionTables, HeadingsHaveAsManyFields) {
  const std::string precision = report::kPrecisionHeading, blunders = report::kBlundersHeading;
  EXPECT_EQ(std::count(precision.begin(), precision.end(), ','), 6);
  EXPECT_EQ(std::count(blunders.begin(), blunders.end(), ','), 6);
}

}  // namespace
}  // namespace orvo::test
