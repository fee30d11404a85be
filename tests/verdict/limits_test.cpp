// The table of limits and the documentation say the same.
#include "verdict/VerdictLimits.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(VerdictLimits, StandInTheDocumentation) {
  const std::string doc = ReadFile(SourceFolder() + "/docs/verdict.md");
  const VerdictLimits limits;
  std::string table;
  for (const VerdictLimit& limit : VerdictLimitTable()) {
    char value[32];
    std::snprintf(value, sizeof value, "%g", limits.*limit.pValue);
    table += std::string("| ") + limit.szName + " | " + value + " | " + limit.szUnit + " | " +
             limit.szMeaning + " |\n";
  }
  EXPECT_NE(doc.find(table), std::string::npos) << table;
}

TEST(VerdictLimits, AreAllInTheTable) {
  EXPECT_EQ(VerdictLimitTable().size() * sizeof(double), sizeof(VerdictLimits));
}

}  // namespace
}  // namespace orvo::test
