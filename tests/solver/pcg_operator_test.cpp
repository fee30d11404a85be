#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "solver/BlockOperator.h"
#include "solver/BlockSystems.h"
#include "solver/PcgReference.h"

namespace orvo {
namespace {

using test::BlockSystem;
using test::SystemShape;

const SystemShape kMany{"EopIop", LayoutEopIop, 1200, 3, 0, 0};

std::vector<double> RandomVector(int32_t length, uint32_t seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  std::vector<double> vector(static_cast<size_t>(length));
  for (double& value : vector) value = normal(random);
  return vector;
}

/// Images in a band of neighbours and three cameras, without forming a dense matrix: large enough for several
/// bands and panels.
BlockSystem MakeLongSystem(uint32_t seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  BlockSystem system;
  const std::vector<int32_t> sizes = test::RowSizes(kMany);
  system.vRowPosition = test::RowPositions(sizes, system.nOrder);
  const auto rows = static_cast<int32_t>(sizes.size());
  for (int32_t row = 0; row < rows; ++row) {
    test::BlockSystem* s = &system;
    s->vRows.emplace_back();
    s->vRows.back().nFirstId = static_cast<int32_t>(s->vBlocks.size());
    std::vector<int32_t> columns;
    for (int32_t col = row; col < std::min(row + 10, rows); ++col) columns.push_back(col);
    if (row + 10 < kMany.nImageNum) columns.push_back(kMany.nImageNum + row % 3);
    for (const int32_t col : columns) {
      const int32_t r = sizes[static_cast<size_t>(row)], c = sizes[static_cast<size_t>(col)];
      std::vector<double> values(static_cast<size_t>(r * c));
      for (double& value : values) value = 0.1 * normal(random);
      if (row == col) {
        for (int32_t i = 0; i < r; ++i) {
          for (int32_t j = 0; j < i; ++j) {
            values[static_cast<size_t>(i * r + j)] = values[static_cast<size_t>(j * r + i)];
          }
          values[static_cast<size_t>(i * r + i)] = 40.0;
        }
      }
      s->vRows.back().vColumns.push_back(col);
      s->vBlocks.emplace_back();
      test::FillBlock(s->vBlocks.back(), row, col, r, c, values);
    }
  }
  system.vConst = RandomVector(system.nOrder, seed + 1);
  return system;
}

std::vector<double> Multiply(const BlockSystem& system, const std::vector<double>& v, int32_t threads = 1,
                             InstructionSet set = BestInstructionSet()) {
  WorkerPool pool(threads);
  BlockOperator matrix(system.vBlocks, system.vRowPosition, system.nOrder, set);
  std::vector<double> out(v.size(), NAN);
  matrix.Multiply(v.data(), out.data(), pool);
  return out;
}

std::vector<double> ReferenceProduct(const BlockSystem& system, const std::vector<double>& v) {
  std::vector<double> out(v.size(), NAN);
  test::MultiplyNormalMatrix(&system, v.data(), out.data());
  return out;
}

void ExpectNear(const std::vector<double>& a, const std::vector<double>& b, double bound) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], bound) << i;
}

class ProductTest : public testing::TestWithParam<SystemShape> {};
INSTANTIATE_TEST_SUITE_P(Layouts, ProductTest, testing::ValuesIn(test::AllShapes()),
                         [](const auto& test) { return test.param.szName; });

TEST_P(ProductTest, OfUnitVectorsIsTheDenseMatrix) {
  const BlockSystem system = test::MakeSystem(GetParam(), 1);
  const std::vector<double> dense = system.Dense();
  const auto n = static_cast<size_t>(system.nOrder);
  WorkerPool pool(1);
  for (const InstructionSet set : UsableInstructionSets()) {
    BlockOperator matrix(system.vBlocks, system.vRowPosition, system.nOrder, set);
    std::vector<double> unit(n, 0.0), out(n);
    for (size_t j = 0; j < n; ++j) {
      unit[j] = 1.0;
      matrix.Multiply(unit.data(), out.data(), pool);
      unit[j] = 0.0;
      for (size_t i = 0; i < n; ++i) ASSERT_EQ(out[i], dense[i * n + j]) << i << " " << j;
    }
  }
}

TEST_P(ProductTest, AgreesWithTheBlockByBlockForm) {
  const BlockSystem system = test::MakeSystem(GetParam(), 2);
  const std::vector<double> v = RandomVector(system.nOrder, 3);
  const std::vector<double> expected = ReferenceProduct(system, v);
  for (const InstructionSet set : UsableInstructionSets())
    ExpectNear(Multiply(system, v, 1, set), expected, 1e-11);
}

TEST_P(ProductTest, TwoAtOnceAreThoseOfEach) {
  const BlockSystem system = test::MakeSystem(GetParam(), 9);
  const std::vector<double> u = RandomVector(system.nOrder, 10), v = RandomVector(system.nOrder, 11);
  for (const InstructionSet set : UsableInstructionSets()) {
    WorkerPool pool(2);
    BlockOperator matrix(system.vBlocks, system.vRowPosition, system.nOrder, set);
    std::vector<double> nu(u.size(), NAN), nv(v.size(), NAN);
    const Product products[] = {{u.data(), nu.data()}, {v.data(), nv.data()}};
    std::atomic<int32_t> panels = 0;
    matrix.Multiply(products, pool, [&](int32_t) { ++panels; });
    EXPECT_EQ(panels, matrix.PanelNum());
    ExpectNear(nu, ReferenceProduct(system, u), 1e-11);
    ExpectNear(nv, ReferenceProduct(system, v), 1e-11);
  }
}

/// The blocks of a system in one array, each `gap` doubles behind the end of the one before.
std::vector<double> MoveIntoArray(BlockSystem& system, int64_t gap) {
  int64_t size = 0;
  for (const SubMatrix& block : system.vBlocks) size += int64_t{block.nRows} * block.nCols + gap;
  std::vector<double> array(static_cast<size_t>(size), NAN);
  double* place = array.data();
  for (SubMatrix& block : system.vBlocks) {
    const std::span<double> data = block.Data();
    std::copy(data.begin(), data.end(), place);
    block.pData = place;
    place += std::ssize(data) + gap;
  }
  return array;
}

TEST_P(ProductTest, DoesNotDependOnWhereTheBlocksLie) {
  const std::vector<double> v = RandomVector(test::MakeSystem(GetParam(), 31).nOrder, 32);
  for (const InstructionSet set : UsableInstructionSets()) {
    // One behind the other, with gaps that hold no numbers, and wherever the allocation of each has put it.
    BlockSystem dense = test::MakeSystem(GetParam(), 31), padded = test::MakeSystem(GetParam(), 31),
                mixed = test::MakeSystem(GetParam(), 31);
    const std::vector<double> denseArray = MoveIntoArray(dense, 0), paddedArray = MoveIntoArray(padded, 4),
                              mixedArray = MoveIntoArray(mixed, 0);
    std::swap_ranges(mixed.vBlocks[1].Data().begin(), mixed.vBlocks[1].Data().end(),
                     mixed.vBlocks[2].Data().begin());
    std::swap(mixed.vBlocks[1].pData, mixed.vBlocks[2].pData);
    const std::vector<double> expected = Multiply(test::MakeSystem(GetParam(), 31), v, 1, set);
    EXPECT_EQ(Multiply(dense, v, 1, set), expected);
    EXPECT_EQ(Multiply(padded, v, 1, set), expected);
    if (mixed.vBlocks[1].Data().size() == mixed.vBlocks[2].Data().size()) {
      EXPECT_EQ(Multiply(mixed, v, 1, set), expected);
    }
  }
}

TEST(DiagonalKernel, AgreesWithTheMatrixForm) {
  for (const InstructionSet set : UsableInstructionSets()) {
    for (const int32_t order : {5, 6, 11}) {
      const auto size = static_cast<size_t>(order);
      const DiagonalKernel kernel = FindDiagonalKernel(set, order);
      ASSERT_NE(kernel, nullptr);
      for (const int32_t count : {0, 1, 2, 7}) {
        const auto num = static_cast<size_t>(count);
        const std::vector<double> columns = RandomVector(count * order * order, 41);
        const std::vector<double> x = RandomVector(count * order, 42);
        std::vector<double> out = RandomVector(count * order, 43), expected = out;
        for (size_t b = 0; b < num; ++b) {
          AddMatrixTimesVector(columns.data() + b * size * size, order, order, x.data() + b * size,
                               expected.data() + b * size);
        }
        kernel(columns.data(), count, x.data(), out.data());
        ExpectNear(out, expected, 1e-13);
      }
    }
    for (const int32_t order : {0, 3, 4, 7, 12}) EXPECT_EQ(FindDiagonalKernel(set, order), nullptr);
  }
}

TEST_P(ProductTest, SkipsBlocksThatNothingWasAddedTo) {
  BlockSystem system = test::MakeSystem(GetParam(), 4);
  for (size_t id = 0; id < system.vBlocks.size(); id += 5) test::EmptyBlock(system.vBlocks[id]);
  const std::vector<double> v = RandomVector(system.nOrder, 5);
  ExpectNear(Multiply(system, v), ReferenceProduct(system, v), 1e-11);
}

TEST_P(ProductTest, TakesBlocksInAnyOrder) {
  BlockSystem system = test::MakeSystem(GetParam(), 6);
  const std::vector<double> v = RandomVector(system.nOrder, 7);
  const std::vector<double> expected = ReferenceProduct(system, v);
  std::shuffle(system.vBlocks.begin(), system.vBlocks.end(), std::mt19937(8));
  ExpectNear(Multiply(system, v), expected, 1e-11);
}

TEST(BlockOperator, ManyBandsAndPanelsAgreeWithTheBlockByBlockForm) {
  const BlockSystem system = MakeLongSystem(11);
  const std::vector<double> v = RandomVector(system.nOrder, 12);
  ExpectNear(Multiply(system, v), ReferenceProduct(system, v), 1e-11);
}

TEST(BlockOperator, GivesTheSameBytesWithAnyNumberOfThreads) {
  const BlockSystem system = MakeLongSystem(13);
  const std::vector<double> v = RandomVector(system.nOrder, 14);
  for (const InstructionSet set : UsableInstructionSets()) {
    const std::vector<double> one = Multiply(system, v, 1, set);
    for (const int32_t threads : {2, 5}) {
      const std::vector<double> many = Multiply(system, v, threads, set);
      EXPECT_EQ(std::memcmp(one.data(), many.data(), one.size() * sizeof(double)), 0) << threads;
    }
  }
}

TEST(BlockOperator, PanelsDivideTheUnknownsAndKeepDiagonalBlocksWhole) {
  const BlockSystem system = MakeLongSystem(15);
  WorkerPool pool(1);
  const BlockOperator matrix(system.vBlocks, system.vRowPosition, system.nOrder);
  ASSERT_GT(matrix.PanelNum(), 2);
  int32_t end = 0;
  size_t diagonals = 0;
  for (int32_t panel = 0; panel < matrix.PanelNum(); ++panel) {
    EXPECT_EQ(matrix.Panel(panel).nFirst, end);
    end = matrix.Panel(panel).nEnd;
    for (const DiagonalBlock& block : matrix.Diagonals(panel)) {
      EXPECT_GE(block.nPosition, matrix.Panel(panel).nFirst);
      EXPECT_LE(block.nPosition + block.nRows, end);
      ++diagonals;
    }
  }
  EXPECT_EQ(end, system.nOrder);
  EXPECT_EQ(diagonals, system.vRowPosition.size());
}

TEST(BlockOperator, LeavesOutWhatDoesNotFitThePattern) {
  struct Row {
    const char* szName;
    int32_t nRow, nCol, nRows, nCols;
  };
  const Row kRows[] = {{"row out of range", 5, 5, 6, 6},   {"column out of range", 0, 5, 6, 6},
                       {"negative row", -1, 2, 6, 6},      {"below the diagonal", 2, 1, 6, 6},
                       {"too many rows", 0, 1, 7, 6},      {"too many columns", 0, 1, 6, 7},
                       {"wider than the last", 0, 4, 6, 6}};
  const std::vector<int32_t> positions = {0, 6, 12, 18, 24};
  const int32_t order = 29;
  WorkerPool pool(1);
  for (const Row& row : kRows) {
    std::vector<SubMatrix> blocks(2);
    test::FillBlock(blocks[0], 0, 0, 6, 6, std::vector<double>(36, 1.0));
    test::FillBlock(blocks[1], row.nRow, row.nCol, row.nRows, row.nCols, std::vector<double>(49, 5.0));
    BlockOperator matrix(blocks, positions, order);
    const std::vector<double> v(static_cast<size_t>(order), 1.0);
    std::vector<double> out(v.size(), NAN);
    matrix.Multiply(v.data(), out.data(), pool);
    for (size_t i = 0; i < out.size(); ++i) EXPECT_EQ(out[i], i < 6 ? 6.0 : 0.0) << row.szName << " " << i;
  }
}

TEST(BlockOperator, LeavesOutEverythingWhenThePositionsMakeNoSense) {
  WorkerPool pool(1);
  for (const std::vector<int32_t>& positions :
       {std::vector<int32_t>{0, 12, 6}, std::vector<int32_t>{0, 6, 99}, std::vector<int32_t>{-6, 0, 6}}) {
    std::vector<SubMatrix> blocks(1);
    test::FillBlock(blocks[0], 0, 0, 6, 6, std::vector<double>(36, 1.0));
    BlockOperator matrix(blocks, positions, 12);
    const std::vector<double> v(12, 1.0);
    std::vector<double> out(12, NAN);
    matrix.Multiply(v.data(), out.data(), pool);
    EXPECT_EQ(out, std::vector<double>(12, 0.0));
  }
}

TEST(BlockOperator, OfNoUnknownsDoesNothing) {
  WorkerPool pool(3);
  BlockOperator matrix({}, {}, 0);
  BlockPreconditioner preconditioner(matrix, pool);
  matrix.Multiply(nullptr, nullptr, pool);
  EXPECT_EQ(matrix.PanelNum(), 0);
  EXPECT_TRUE(preconditioner.IsValid());
}

std::vector<double> Precondition(const BlockSystem& system, const std::vector<double>& r,
                                 bool* valid = nullptr) {
  WorkerPool pool(2);
  const BlockOperator matrix(system.vBlocks, system.vRowPosition, system.nOrder);
  const BlockPreconditioner preconditioner(matrix, pool);
  if (valid != nullptr) *valid = preconditioner.IsValid();
  std::vector<double> z(r.size(), NAN);
  for (int32_t panel = 0; panel < matrix.PanelNum(); ++panel) preconditioner.Apply(panel, r.data(), z.data());
  return z;
}

TEST_P(ProductTest, PreconditionerAgreesWithTheFormThatInvertsEveryTime) {
  const BlockSystem system = test::MakeSystem(GetParam(), 21);
  const std::vector<double> r = RandomVector(system.nOrder, 22);
  std::vector<double> expected(r.size());
  ASSERT_EQ(test::ApplyPreconditioner(&system, r.data(), expected.data()), 1);
  ExpectNear(Precondition(system, r), expected, 1e-13);
}

TEST_P(ProductTest, OfASingularBlockThePartlyOverwrittenCopyStands) {
  BlockSystem system = test::MakeSystem(GetParam(), 23);
  SubMatrix& block = *system.Find(1, 1);
  std::fill_n(block.pData, block.nRows * block.nCols, 1.0);
  const std::vector<double> r = RandomVector(system.nOrder, 24);
  bool valid = false;
  const std::vector<double> z = Precondition(system, r, &valid);
  EXPECT_TRUE(valid);
  std::vector<double> expected(r.size());
  test::ApplyPreconditioner(&system, r.data(), expected.data());
  ExpectNear(z, expected, 1e-13);
  // The first pivot of a block of ones leaves
  //    1  1  1 ...
  //   -1  0  0 ...
  //   -1  0  0 ...
  const auto first = static_cast<size_t>(system.vRowPosition[1]);
  double sum = 0;
  for (int32_t i = 0; i < block.nRows; ++i) sum += r[first + static_cast<size_t>(i)];
  EXPECT_NEAR(z[first], sum, 1e-12);
  for (int32_t i = 1; i < block.nRows; ++i) EXPECT_EQ(z[first + static_cast<size_t>(i)], -r[first]);
}

TEST_P(ProductTest, MissingDiagonalBlockGivesItsUnknownsNothing) {
  BlockSystem system = test::MakeSystem(GetParam(), 25);
  const int32_t size = system.Find(2, 2)->nRows;
  test::EmptyBlock(*system.Find(2, 2));
  const std::vector<double> z = Precondition(system, RandomVector(system.nOrder, 26));
  for (int32_t i = 0; i < size; ++i) EXPECT_EQ(z[static_cast<size_t>(system.vRowPosition[2] + i)], 0.0);
  EXPECT_NE(z[0], 0.0);
  EXPECT_NE(z.back(), 0.0);
}

TEST_P(ProductTest, BlockThatIsNotSquareEndsThePreconditioner) {
  BlockSystem system = test::MakeSystem(GetParam(), 27);
  SubMatrix& block = *system.Find(3, 3);
  test::FillBlock(block, 3, 3, block.nRows, block.nCols - 1,
                  std::vector<double>(static_cast<size_t>(block.nRows * (block.nCols - 1)), 1.0));
  const std::vector<double> r = RandomVector(system.nOrder, 28);
  bool valid = true;
  const std::vector<double> z = Precondition(system, r, &valid);
  EXPECT_FALSE(valid);
  std::vector<double> expected(r.size());
  EXPECT_EQ(test::ApplyPreconditioner(&system, r.data(), expected.data()), 0);
  ExpectNear(z, expected, 1e-13);
  EXPECT_NE(z[0], 0.0);
  EXPECT_EQ(z.back(), 0.0);
}

TEST(WorkerPool, HandsOutEveryNumberOnce) {
  for (const int32_t threads : {-1, 0, 1, 2, 5}) {
    WorkerPool pool(threads);
    EXPECT_EQ(pool.ThreadNum(), std::max(threads, 1));
    for (const int32_t count : {0, 1, 2, 3, 100}) {
      std::vector<std::atomic<int>> calls(static_cast<size_t>(count));
      pool.Run(count, [&](int32_t i) { ++calls[static_cast<size_t>(i)]; });
      for (const auto& call : calls) EXPECT_EQ(call.load(), 1);
    }
  }
}

TEST(WorkerPool, RunsFollowEachOtherWithoutMixing) {
  WorkerPool pool(4);
  std::vector<int64_t> sums(7, 0);
  for (int64_t run = 0; run < 3000; ++run) {
    pool.Run(7, [&](int32_t i) { sums[static_cast<size_t>(i)] += run; });
  }
  for (const int64_t sum : sums) EXPECT_EQ(sum, int64_t{3000} * 2999 / 2);
}

}  // namespace
}  // namespace orvo
