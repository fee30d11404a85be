#include "solver/sparse/NodePattern.h"

#include <gtest/gtest.h>

#include "solver/sparse/NodeSystems.h"

namespace orvo::sparse {
namespace {

using Numbers = std::vector<int32_t>;
using Starts = std::vector<int64_t>;

TEST(NodePattern, NodesThatMeetAreCoupled) {
  struct Case {
    const char* szWhat;
    Starts First;
    Numbers Nodes;
    Starts ExpectedFirst;
    Numbers Expected;
  };
  const Case cases[] = {
      {"no list", {}, {}, {0, 0, 0, 0, 0}, {}},
      {"no meetings", {0}, {}, {0, 0, 0, 0, 0}, {}},
      {"one of all, unsorted", {0, 4}, {2, 0, 3, 1}, {0, 3, 5, 6, 6}, {1, 2, 3, 2, 3, 3}},
      {"one of one", {0, 1}, {2}, {0, 0, 0, 0, 0}, {}},
      {"an empty one between", {0, 2, 2, 4}, {3, 2, 0, 1}, {0, 1, 1, 2, 2}, {1, 3}},
      {"the same twice", {0, 2, 4}, {0, 3, 3, 0}, {0, 1, 1, 1, 1}, {3}},
      {"a node twice in one", {0, 3}, {1, 2, 1}, {0, 0, 1, 1, 1}, {2}},
      {"no nodes among them", {0, 4}, {-1, 0, 4, 1}, {0, 1, 1, 1, 1}, {1}},
  };
  for (const Case& c : cases) {
    const NodePattern pattern = PatternOfMeetings({6, 6, 5, 11}, c.First, c.Nodes);
    EXPECT_EQ(pattern.vFirstNeighbour, c.ExpectedFirst) << c.szWhat;
    EXPECT_EQ(pattern.vNeighbours, c.Expected) << c.szWhat;
    EXPECT_EQ(CheckPattern(pattern).Fault, PatternFault::None) << c.szWhat;
  }
}

TEST(NodePattern, PositionsOfUnknowns) {
  const NodePattern pattern = PatternOfMeetings({6, 1, 64}, {}, {});
  EXPECT_EQ(pattern.UnknownNum(), 71);
  EXPECT_EQ(pattern.FirstUnknowns(), (Starts{0, 6, 7, 71}));
}

TEST(NodePattern, Faults) {
  struct Case {
    NodePattern Pattern;
    PatternFault Fault;
    int32_t nNode;
  };
  const Case cases[] = {
      {{{}, {0}, {}}, PatternFault::None, -1},
      {{{1, 64}, {0, 1, 1}, {1}}, PatternFault::None, -1},
      {{{}, {}, {}}, PatternFault::Starts, -1},
      {{{6, 6}, {0, 1}, {1}}, PatternFault::Starts, -1},
      {{{6, 6}, {1, 1, 1}, {1}}, PatternFault::Starts, -1},
      {{{6, 6}, {0, 1, 2}, {1}}, PatternFault::Starts, -1},
      {{{6, 6, 6}, {0, 2, 1, 2}, {1, 2}}, PatternFault::Starts, -1},
      {{{6, 0}, {0, 0, 0}, {}}, PatternFault::Size, 1},
      {{{65, 6}, {0, 0, 0}, {}}, PatternFault::Size, 0},
      {{{6, 6}, {0, 1, 1}, {2}}, PatternFault::Neighbour, 0},
      {{{6, 6}, {0, 1, 1}, {0}}, PatternFault::Neighbour, 0},
      {{{6, 6}, {0, 0, 1}, {0}}, PatternFault::Neighbour, 1},
      {{{6, 6, 6}, {0, 2, 2, 2}, {2, 1}}, PatternFault::Neighbour, 0},
      {{{6, 6, 6}, {0, 2, 2, 2}, {1, 1}}, PatternFault::Neighbour, 0},
  };
  for (const Case& c : cases) {
    const PatternCheck check = CheckPattern(c.Pattern);
    EXPECT_EQ(check.Fault, c.Fault) << &c - cases;
    EXPECT_EQ(check.nNode, c.nNode) << &c - cases;
  }
}

TEST(NodePattern, CasesOfTheOtherTests) {
  for (const PatternCase& c : PatternCases()) {
    EXPECT_EQ(CheckPattern(c.Pattern).Fault, PatternFault::None) << c.szName;
  }
}

TEST(NodeMatrix, BlocksAreFoundWhereTheyAre) {
  const NodePattern pattern = PatternOfMeetings({2, 3, 1}, Starts{0, 2, 4}, Numbers{0, 1, 1, 2});
  NodeMatrix matrix(pattern);
  double next = 0;
  for (int32_t i = 0; i < 3; ++i) {
    for (double& value : matrix.Diagonal(i)) value = ++next;
    for (int32_t j = i + 1; j < 3; ++j) {
      for (double& value : matrix.Find(i, j)) value = ++next;
    }
  }
  Eigen::MatrixXd expected(6, 6);
  expected << 1, 2, 5, 6, 7, 0,  //
      2, 4, 8, 9, 10, 0,         //
      5, 8, 11, 12, 13, 20,      //
      6, 9, 12, 15, 16, 21,      //
      7, 10, 13, 16, 19, 22,     //
      0, 0, 20, 21, 22, 23;
  EXPECT_EQ(Dense(matrix), expected);
  EXPECT_EQ(Dense(Blocks(pattern, expected)), expected);
  EXPECT_EQ(matrix.Behind(1, 0).data(), matrix.Find(1, 2).data());
  for (const auto& [i, j] : {std::pair{0, 2}, {1, 0}, {-1, 1}, {0, 3}, {3, 3}}) {
    EXPECT_TRUE(matrix.Find(i, j).empty()) << i << " " << j;
  }
}

}  // namespace
}  // namespace orvo::sparse
