#include "exchange/WholeFiles.h"

#include <gtest/gtest.h>

#include "exchange/ExchangeFault.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ReadFile;
using test::ScratchFolder;
using test::WriteFile;

void WriteText(WholeFiles& files, const std::string& name, const std::string& text) {
  files.Write(name, [&](TextWriter& file) { file.Write(text); });
}

TEST(WholeFiles, ComeTogether) {
  const ScratchFolder scratch;
  WriteFile(scratch / "other.txt", "stays");
  {
    WholeFiles files(scratch / "new/folder/", {});
    WriteText(files, "a.txt", "one");
    WriteText(files, "b.txt", "two");
    EXPECT_FALSE(test::Exists(scratch / "new/folder/a.txt"));
    files.Commit();
  }
  EXPECT_EQ(ReadFile(scratch / "new/folder/a.txt"), "one");
  EXPECT_EQ(ReadFile(scratch / "new/folder/b.txt"), "two");
  EXPECT_EQ(ReadFile(scratch / "other.txt"), "stays");
}

TEST(WholeFiles, NothingComesWithoutACommit) {
  const ScratchFolder scratch;
  WriteFile(scratch / "a.txt", "before");
  {
    WholeFiles files(scratch.Path(), {});
    WriteText(files, "a.txt", "after");
    WriteText(files, "b.txt", "after");
  }
  EXPECT_EQ(ReadFile(scratch / "a.txt"), "before");
  EXPECT_FALSE(test::Exists(scratch / "b.txt"));
}

/// Folders that were there stay, those that were made do not.
TEST(WholeFiles, NoEmptyFolderIsLeft) {
  const ScratchFolder scratch;
  std::filesystem::create_directory(scratch / "old");
  {
    WholeFiles files(scratch / "old/new/folder/", {});
    WriteText(files, "a.txt", "after");
  }
  EXPECT_TRUE(test::Exists(scratch / "old"));
  EXPECT_FALSE(test::Exists(scratch / "old/new"));
  { WholeFiles files(scratch / "old", {}); }
  EXPECT_TRUE(test::Exists(scratch / "old"));
  {
    WholeFiles files(scratch / "old/new/folder", {});
    WriteFile(scratch / "old/new/of_another.txt", "stays");
  }
  EXPECT_EQ(ReadFile(scratch / "old/new/of_another.txt"), "stays");
  EXPECT_FALSE(test::Exists(scratch / "old/new/folder"));
}

TEST(WholeFiles, AnInputIsNoPlaceForAnOutput) {
  const ScratchFolder scratch;
  WriteFile(scratch / "in.txt", "input");
  std::filesystem::create_symlink("in.txt", scratch / "link.txt");
  WholeFiles files(scratch.Path(), {scratch / "in.txt"});
  EXPECT_THROW(WriteText(files, "in.txt", "x"), ExchangeFault);
  EXPECT_THROW(WriteText(files, "link.txt", "x"), ExchangeFault);
  WriteText(files, "out.txt", "x");
  files.Commit();
  EXPECT_EQ(ReadFile(scratch / "in.txt"), "input");
}

TEST(WholeFiles, AFolderThatCannotBeIsRefusedByName) {
  const ScratchFolder scratch;
  WriteFile(scratch / "file", "no folder");
  try {
    WholeFiles files(scratch / "file/folder", {});
    FAIL();
  } catch (const ExchangeFault& fault) {
    EXPECT_EQ(fault.What.szFile, scratch / "file/folder");
  }
}

}  // namespace
}  // namespace orvo::exchange
