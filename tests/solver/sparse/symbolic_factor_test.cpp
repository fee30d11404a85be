#include "solver/sparse/SymbolicFactor.h"

#include <gtest/gtest.h>

#include <set>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

using Numbers = std::vector<int32_t>;
using Rows = std::vector<std::set<int32_t>>;

/// Rows below the diagonal in each column, by elimination of one node after the other.
Rows EliminateSlowly(const NodePattern& pattern, const Numbers& order) {
  const Numbers positions = PositionsOf(order);
  Rows rows(order.size());
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      rows[std::min(positions[i], positions[j])].insert(std::max(positions[i], positions[j]));
    }
  }
  for (const std::set<int32_t>& column : rows) {
    for (auto i = column.begin(); i != column.end(); ++i) rows[*i].insert(std::next(i), column.end());
  }
  return rows;
}

TEST(EliminationTree, OfASmallPattern) {
  // Columns 0 and 1 meet in 3, 2 and 3 in 4; 5 and 6 stand apart.
  const NodePattern pattern = PatternOfMeetings(Numbers(7, 1), std::vector<int64_t>{0, 2, 4, 6, 8, 10, 12},
                                                Numbers{0, 3, 1, 3, 1, 4, 2, 4, 3, 4, 5, 6});
  const EarlierNeighbours before = NeighboursBefore(pattern, Numbers{0, 1, 2, 3, 4, 5, 6});
  const Numbers parents = ParentsOf(before);
  EXPECT_EQ(parents, (Numbers{3, 3, 4, 4, -1, 6, -1}));
  EXPECT_EQ(Postorder(parents), (Numbers{2, 0, 1, 3, 4, 5, 6}));
  const ColumnCounts counts = CountColumns(before, parents, Numbers{1, 2, 4, 8, 16, 32, 64});
  EXPECT_EQ(counts.vNodes, (Numbers{1, 2, 1, 1, 0, 1, 0}));
  EXPECT_EQ(counts.vUnknowns, (std::vector<int64_t>{8, 24, 16, 16, 0, 64, 0}));
}

TEST(SymbolicFactor, FillOfASlowElimination) {
  for (const PatternCase& c : PatternCases()) {
    const SymbolicFactor factor = AnalyseFactor(c.Pattern, OrderNodes(c.Pattern, c.vBorder));
    ASSERT_TRUE(IsPermutation(factor.vOrder, c.Pattern.NodeNum())) << c.szName;
    const Rows expected = EliminateSlowly(c.Pattern, factor.vOrder);
    int64_t entries = 0;
    double operations = 0;
    for (int32_t k = 0; k < factor.NodeNum(); ++k) {
      const Supernode& supernode = factor.vSupernodes[factor.vOf[k]];
      int64_t height = 0;
      for (const int32_t row : expected[k]) {
        EXPECT_GE(factor.PlaceIn(supernode, row), 0) << c.szName << " " << k << " " << row;
        height += factor.vSizes[row];
      }
      for (int32_t column = factor.vSizes[k]; column > 0; --column) {
        entries += height + column;
        operations += static_cast<double>((height + column) * (height + column));
      }
    }
    EXPECT_EQ(factor.nEntryNum, entries) << c.szName;
    EXPECT_EQ(factor.dOperationNum, operations) << c.szName;
  }
}

TEST(SymbolicFactor, OrderIsEquivalentToTheGivenOne) {
  for (const PatternCase& c : PatternCases()) {
    const Numbers order = OrderNodes(c.Pattern, c.vBorder);
    const auto fill = [&](const Numbers& of) {
      int64_t blocks = 0;
      for (const auto& rows : EliminateSlowly(c.Pattern, of)) blocks += static_cast<int64_t>(rows.size());
      return blocks;
    };
    EXPECT_EQ(fill(AnalyseFactor(c.Pattern, order).vOrder), fill(order)) << c.szName;
  }
}

TEST(SymbolicFactor, SupernodesFitTogether) {
  for (const PatternCase& c : PatternCases()) {
    const SymbolicFactor factor = AnalyseFactor(c.Pattern, OrderNodes(c.Pattern, c.vBorder));
    int32_t next = 0;
    int64_t values = 0;
    for (size_t s = 0; s < factor.vSupernodes.size(); ++s) {
      const Supernode& supernode = factor.vSupernodes[s];
      EXPECT_EQ(supernode.nFirst, next) << c.szName;
      EXPECT_EQ(supernode.nFirstValue, values) << c.szName;
      next = supernode.nEnd;
      values += supernode.ValueNum();
      const auto rows = factor.Rows(supernode);
      EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end())) << c.szName;
      EXPECT_EQ(rows.empty(), supernode.nParent < 0) << c.szName;
      if (rows.empty()) continue;
      ASSERT_GT(supernode.nParent, static_cast<int32_t>(s)) << c.szName;
      const Supernode& parent = factor.vSupernodes[supernode.nParent];
      for (const int32_t row : rows) EXPECT_GE(factor.PlaceIn(parent, row), 0) << c.szName;
    }
    EXPECT_EQ(next, factor.NodeNum()) << c.szName;
    EXPECT_EQ(values, factor.nValueNum) << c.szName;
  }
}

TEST(SymbolicFactor, StoresZerosAsFarAsTheRulesLetIt) {
  const NodePattern pattern = StripPattern(10, 20);
  const Numbers order = OrderNodes(pattern);
  const auto stored = [](const SymbolicFactor& factor) {
    int64_t sum = 0;
    for (const Supernode& s : factor.vSupernodes)
      sum += s.ValueNum() - int64_t{s.nWidth} * (s.nWidth - 1) / 2;
    return sum;
  };
  const SymbolicFactor strict = AnalyseFactor(pattern, order, {});
  EXPECT_EQ(stored(strict), strict.nEntryNum);
  const SymbolicFactor relaxed = AnalyseFactor(pattern, order);
  EXPECT_EQ(relaxed.nEntryNum, strict.nEntryNum);
  EXPECT_LT(relaxed.vSupernodes.size(), strict.vSupernodes.size() * 3 / 4);
  EXPECT_LT(stored(relaxed), strict.nEntryNum * 5 / 4);
  const AmalgamationRule everything[] = {{1 << 20, 1.0}};
  EXPECT_EQ(AnalyseFactor(pattern, order, everything).vSupernodes.size(), 1u);
}

}  // namespace
}  // namespace orvo::sparse
