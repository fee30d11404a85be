// Arrays that lie in files without a name.
#include "base/ScratchMemory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <thread>

#include "base/ScratchVector.h"
#include "support/TestFiles.h"

namespace orvo {
namespace {

constexpr size_t kLarge = 3 * kLeastScratchBytes / sizeof(int64_t) + 7;

ScratchVector<int64_t> Counting(size_t size) {
  ScratchVector<int64_t> numbers(size);
  std::iota(numbers.begin(), numbers.end(), int64_t{0});
  return numbers;
}

bool Counts(const ScratchVector<int64_t>& numbers) {
  for (size_t i = 0; i < numbers.size(); ++i) {
    if (numbers[i] != static_cast<int64_t>(i)) return false;
  }
  return true;
}

TEST(ScratchMemory, TakesLargeArraysWhileItLives) {
  const test::ScratchFolder folder;
  const ScratchVector<int64_t> before = Counting(kLarge);
  EXPECT_EQ(ScratchMemory::BytesInUse(), 0);
  ScratchVector<int64_t> kept;
  {
    const ScratchMemory scratch(folder.Path(), int64_t{1} << 30);
    const ScratchVector<int64_t> small = Counting(100);
    EXPECT_EQ(ScratchMemory::BytesInUse(), 0);
    kept = Counting(kLarge);
    EXPECT_EQ(ScratchMemory::BytesInUse(), static_cast<int64_t>(kLarge * sizeof(int64_t)));
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
  }
  EXPECT_TRUE(Counts(kept));
  EXPECT_TRUE(Counts(before));
  kept = {};
  EXPECT_GT(ScratchMemory::BytesInUse(), 0);  // an assigned list leaves the vector its room
  kept.shrink_to_fit();
  EXPECT_EQ(ScratchMemory::BytesInUse(), 0);
}

TEST(ScratchMemory, GrowsCopiesAndMoves) {
  const test::ScratchFolder folder;
  const ScratchMemory scratch(folder.Path(), int64_t{1} << 30);
  ScratchVector<int64_t> grown;
  for (size_t i = 0; i < kLarge; ++i) grown.push_back(static_cast<int64_t>(i));
  ScratchVector<int64_t> copy = grown;
  const ScratchVector<int64_t> moved = std::move(grown);
  copy[0] = 5;
  EXPECT_TRUE(Counts(moved));
  EXPECT_EQ(copy[0], 5);
  EXPECT_EQ(copy[kLarge - 1], static_cast<int64_t>(kLarge - 1));
}

int64_t ResidentFilePages() {
  std::ifstream file("/proc/self/statm");
  int64_t size = 0, resident = 0, shared = 0;
  file >> size >> resident >> shared;
  return shared;
}

TEST(ScratchMemory, KeepsFewPagesAndLosesNoNumber) {
  const test::ScratchFolder folder;
  const int64_t before = ResidentFilePages();
  const ScratchMemory scratch(folder.Path(), 0);
  const ScratchVector<int64_t> numbers = Counting(16 * kLarge);
  const int64_t pages = static_cast<int64_t>(numbers.size() * sizeof(int64_t)) / ::sysconf(_SC_PAGESIZE);
  const auto isLittleLeft = [&] { return ResidentFilePages() - before < pages / 4; };
  // A loaded machine may take longer than the milliseconds that are meant.
  for (int i = 0; i < 1000 && !isLittleLeft(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(isLittleLeft()) << ResidentFilePages() - before << " of " << pages << " pages";
  EXPECT_TRUE(Counts(numbers));
}

TEST(ScratchMemory, SaysWhereThereIsNoRoom) {
  const ScratchMemory scratch("no/such/folder", 0);
  try {
    Counting(kLarge);
    FAIL() << "room in a folder that does not exist";
  } catch (const ScratchFault& fault) {
    EXPECT_NE(std::string(fault.what()).find("in no/such/folder: No such file or directory"),
              std::string::npos)
        << fault.what();
  }
}

TEST(ScratchMemory, ArraysAreApartOnThreads) {
  const test::ScratchFolder folder;
  const ScratchMemory scratch(folder.Path(), 0);
  std::vector<std::thread> threads;
  std::vector<uint8_t> good(4);
  for (size_t k = 0; k < good.size(); ++k)
    threads.emplace_back([&good, k] { good[k] = Counts(Counting(kLarge + k)) ? 1 : 0; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, std::vector<uint8_t>(4, 1));
  EXPECT_EQ(ScratchMemory::BytesInUse(), 0);
}

}  // namespace
}  // namespace orvo
