#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "base/LargeArray.h"
#include "base/Platform.h"
#include "base/TextWriter.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

TEST(Platform, PathsAreCutAtTheLastSeparatorOfEitherKind) {
  struct {
    const char* path;
    const char* folder;
  } const table[] = {
      {"/a/b/c.prj", "/a/b"},
      {"C:\\a\\b.prj", "C:\\a"},
      {"/a\\b/c", "/a\\b"},
      {"/a/b\\c", "/a/b"},
      {"c.prj", "c.prj"},
      {"", ""},
      {"/c", ""},
      {"a/", "a"},
  };
  for (const auto& row : table) EXPECT_EQ(CutAtLastSeparator(row.path), row.folder) << row.path;
}

TEST(Platform, LastDotMayStandInAFolderName) {
  struct {
    const char* path;
    const char* extension;
  } const table[] = {
      {"a.ovc", ".ovc"}, {"a.b.ovt", ".ovt"}, {"a", ""},
      {"d.x/a", ".x/a"}, {"a.", "."},         {".hidden", ".hidden"},
  };
  for (const auto& row : table) EXPECT_EQ(TextFromLastDot(row.path), row.extension) << row.path;
}

TEST(Platform, NativeFiguresArePlausible) {
  const Platform platform = NativePlatform();
  EXPECT_GE(platform.ProcessorCount(), 1);
  EXPECT_GT(platform.FreePhysicalBytes(), int64_t{1} << 20);
  const double before = platform.TickMilliseconds();
  EXPECT_GE(platform.TickMilliseconds(), before);
  const LocalTime now = platform.Now();
  EXPECT_GE(now.nYear, 2024);
  EXPECT_TRUE(now.nMonth >= 1 && now.nMonth <= 12 && now.nDay >= 1 && now.nDay <= 31);
}

TEST(Platform, Folders) {
  ScratchFolder folder;
  const Platform platform = NativePlatform();
  EXPECT_TRUE(platform.FolderIsWritable(folder.Path()));
  EXPECT_FALSE(platform.FolderIsWritable(folder / "new"));
  EXPECT_TRUE(platform.MakeFolder(folder / "new"));
  EXPECT_TRUE(platform.FolderIsWritable(folder / "new"));
  EXPECT_FALSE(platform.MakeFolder(folder / "new"));
  EXPECT_FALSE(platform.MakeFolder(folder / "one/level/only"));
  WriteFile(folder / "file", "x");
  EXPECT_FALSE(platform.FolderIsWritable(folder / "file"));
}

TEST(LargeArray, HoldsWhatVectorsHold) {
  for (const size_t size : {size_t{0}, size_t{1}, size_t{3000000}}) {
    std::vector<int32_t> vector{7, 8};
    ReserveLarge(vector, size);
    EXPECT_GE(vector.capacity(), size);
    EXPECT_EQ(vector, (std::vector<int32_t>{7, 8}));
    AssignZerosLarge(vector, size);
    EXPECT_EQ(vector, std::vector<int32_t>(size, 0));
    vector.assign(size, 5);
    PreferLargePages(vector.data(), size * sizeof(int32_t));
    EXPECT_EQ(vector, std::vector<int32_t>(size, 5));
  }
}

TEST(TextWriter, WritesAndTellsFailure) {
  ScratchFolder folder;
  TextWriter writer;
  EXPECT_FALSE(writer.Open(folder / "no/such/file"));
  EXPECT_FALSE(writer.IsOpen());
  ASSERT_TRUE(writer.Open(folder / "file"));
  writer.Write("ab");
  writer.Printf("%d\t%5.2lf\n", 7, 1.5);
  const int number = 0x01020304;
  writer.Write(&number, sizeof number);
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(ReadFile(folder / "file"), "ab7\t 1.50\n\x04\x03\x02\x01");
}

TEST(TextWriter, PiecesOfAnySizeStandInTheirOrder) {
  ScratchFolder folder;
  TextWriter writer;
  ASSERT_TRUE(writer.Open(folder / "file"));
  std::string expected;
  for (int i = 0; i < 60; ++i) {
    const std::string piece(static_cast<size_t>(i % 7 == 6 ? 300000 : i * 2000), static_cast<char>('A' + i));
    writer.Write(piece);
    writer.Printf("<%d>", i);
    expected += piece + "<" + std::to_string(i) + ">";
  }
  const std::string wide(2000, ' ');
  writer.Printf("%s|", wide.c_str());
  expected += wide + "|";
  writer.Overwrite(3, "xyz");
  writer.Write("end");
  expected.replace(3, 3, "xyz");
  EXPECT_TRUE(writer.Close());
  EXPECT_TRUE(ReadFile(folder / "file") == expected + "end");
  ASSERT_TRUE(writer.Open(folder / "file"));
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(ReadFile(folder / "file"), "");
}

TEST(TextWriter, FullDiskIsTold) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full on this machine";
  TextWriter writer;
  ASSERT_TRUE(writer.Open("/dev/full"));
  writer.Write("text");
  EXPECT_FALSE(writer.Close());
  ASSERT_TRUE(writer.Open("/dev/full"));
  writer.Write(std::string(1000000, 'x'));
  EXPECT_FALSE(writer.Close());
}

}  // namespace
}  // namespace orvo::test
