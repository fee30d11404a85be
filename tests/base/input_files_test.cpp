// Files that are read, and what becomes of those that fail.
#include "base/InputFiles.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <thread>

#include "base/InputFile.h"
#include "support/FaultyFiles.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

using namespace std::chrono_literals;

TEST(InputFile, ReadsAnywhere) {
  ScratchFolder folder;
  WriteFile(folder / "file", "0123456789");
  InputFile file;
  ASSERT_TRUE(file.Open(folder / "file"));
  EXPECT_EQ(file.Size(), 10);
  const struct {
    int64_t offset, bytes;
    const char* read;
  } table[] = {{7, 2, "78"}, {0, 10, "0123456789"}, {8, 5, "89"}, {10, 1, ""}, {1000, 4, ""}, {3, 0, ""}};
  for (const auto& row : table) {
    char text[16] = {};
    EXPECT_EQ(file.ReadAt(row.offset, text, row.bytes), static_cast<int64_t>(std::strlen(row.read)));
    EXPECT_STREQ(text, row.read);
  }
  file.Close();
  char text[1];
  EXPECT_EQ(file.ReadAt(0, text, 1), 0);
  EXPECT_FALSE(file.Failed());
}

/// What the kinds of paths are told to be.
TEST(InputFile, OpensFilesOnly) {
  ScratchFolder folder;
  std::filesystem::create_directory(folder / "folder");
  std::filesystem::create_symlink(folder / "loop", folder / "loop");
  std::filesystem::create_symlink(folder / "nowhere", folder / "dangling");
  WriteFile(folder / "file", "12345");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  const struct {
    std::string path;
    InputUse use;
    bool opened;
    const char* fault;
  } table[] = {
      {folder / "absent", kReadAgain, false, ""},
      {folder / "dangling", kReadAgain, false, ""},
      {folder / "file/below", kReadAgain, false, ""},
      {"", kReadAgain, false, ""},
      {folder / "file", kReadAgain, true, ""},
      {folder / "file", {false, 5}, true, ""},
      {folder / "folder", kReadOnce, false, "it is a folder"},
      {folder / "loop", kReadAgain, false, "Too many levels of symbolic links"},
      {folder / std::string(300, 'n'), kReadAgain, false, "File name too long"},
      {folder / "pipe", kReadAgain, false, "it is no file on a disk, and the run reads it more than once"},
      {folder / "pipe", kReadOnce, true, ""},
      {"/dev/zero", kReadAgain, false, "it is no file on a disk, and the run reads it more than once"},
      {"/dev/zero", kReadOnce, true, ""},
  };
  for (const auto& row : table) {
    InputFile file;
    EXPECT_EQ(file.Open(row.path, row.use), row.opened) << row.path;
    EXPECT_EQ(file.IsOpen(), row.opened) << row.path;
    EXPECT_EQ(file.Failed(), *row.fault != '\0') << row.path;
    EXPECT_EQ(file.Fault().szReason, row.fault) << row.path;
  }
  WriteFile(folder / "large", "");
  std::filesystem::resize_file(folder / "large", kMaxSettingsBytes + 1);
  InputFile file;
  EXPECT_FALSE(file.Open(folder / "large", kReadAsSettings));
  EXPECT_EQ(FaultText(file.Fault()), "can't read " + (folder / "large") + ": it is larger than 64 MB");
  EXPECT_TRUE(file.Open(folder / "large", kReadOnce));
}

TEST(InputFile, TellsWhichCallFailed) {
  ScratchFolder folder;
  WriteFile(folder / "file", "0123456789");
  const struct {
    FileCall call;
    int error;
    bool opened;
    int64_t read;
    const char* fault;
  } table[] = {
      {FileCall::Open, EACCES, false, 0, "can't open FILE: Permission denied"},
      {FileCall::Open, EMFILE, false, 0, "can't open FILE: Too many open files"},
      {FileCall::Open, EINTR, true, 10, ""},
      {FileCall::Open, ENOENT, false, 0, ""},
      {FileCall::Status, EIO, false, 0, "can't look at FILE: Input/output error"},
      {FileCall::ReadAt, EIO, true, 0, "can't read FILE: Input/output error"},
      {FileCall::ReadAt, EINTR, true, 10, ""},
      {FileCall::ReadAt, kEndsEarly, true, 0, "can't read FILE: it ends at byte 0 of 10"},
      {FileCall::ReadAt, kReadsLittle, true, 10, ""},
      {FileCall::Close, EIO, true, 10, "can't close FILE: Input/output error"},
      {FileCall::Close, EINTR, true, 10, ""},
  };
  for (const auto& row : table) {
    const FaultyFiles faulty(row.call, 0, row.error);
    InputFiles run(faulty.Calls());
    std::string fault = row.fault;
    if (const size_t at = fault.find("FILE"); at != std::string::npos) fault.replace(at, 4, folder / "file");
    {
      InputFile file(&run);
      EXPECT_EQ(file.Open(folder / "file"), row.opened) << row.fault;
      char text[16] = {};
      EXPECT_EQ(file.ReadAt(0, text, 16), row.read) << row.fault;
    }
    EXPECT_TRUE(faulty.Fired());
    EXPECT_EQ(run.Any(), !fault.empty()) << row.fault;
    if (run.Any()) {
      EXPECT_EQ(FaultText(run.First()), fault);
    }
  }
}

TEST(InputFile, SeesAFileThatShrinks) {
  ScratchFolder folder;
  WriteFile(folder / "file", "0123456789");
  InputFile file;
  ASSERT_TRUE(file.Open(folder / "file"));
  std::filesystem::resize_file(folder / "file", 4);
  char text[10];
  EXPECT_EQ(file.ReadAt(0, text, 10), 4);
  EXPECT_EQ(file.Fault().szReason, "it ends at byte 4 of 10");
}

TEST(InputFile, ReadsPipesOnce) {
  ScratchFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  const std::string sent(200000, 'x');
  std::thread writer([&] {
    std::this_thread::sleep_for(20ms);
    WriteFile(folder / "pipe", sent);
  });
  std::string text;
  InputFiles run;
  EXPECT_TRUE(ReadWholeFile(folder / "pipe", kReadOnce, &run, text));
  writer.join();
  EXPECT_EQ(text.size(), sent.size());
  EXPECT_EQ(text, sent);
  EXPECT_FALSE(run.Any());

  EXPECT_FALSE(ReadWholeFile("/dev/zero", kReadAsSettings, &run, text));
  EXPECT_EQ(run.First().szReason, "it is larger than 64 MB");

  InputFile zeros;
  ASSERT_TRUE(zeros.Open("/dev/zero", kReadOnce));
  char bytes[8];
  EXPECT_EQ(zeros.ReadAt(0, bytes, 8), 8);
  EXPECT_EQ(zeros.ReadAt(0, bytes, 8), 0);
  EXPECT_EQ(zeros.Fault().szReason, "it is no file on a disk, and can't be read twice");
}

TEST(InputFile, WaitsForAPipeWithPatienceOnly) {
  ScratchFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  FileCalls calls = NativeFileCalls();
  calls.Wait = [wait = calls.Wait](int handle, int) { return wait(handle, 1); };
  InputFiles run(calls);
  std::string text;
  EXPECT_FALSE(ReadWholeFile(folder / "pipe", kReadOnce, &run, text));
  EXPECT_EQ(run.First().szReason, "nothing came from it for 30 s");
}

TEST(InputFile, ReadsWholeFilesOfAnySize) {
  ScratchFolder folder;
  for (const size_t size : {size_t{0}, size_t{1}, size_t{65535}, size_t{65536}, size_t{300000}}) {
    const std::string content(size, 'a');
    WriteFile(folder / "file", content);
    std::string text = "old";
    EXPECT_TRUE(ReadWholeFile(folder / "file", kReadOnce, nullptr, text));
    EXPECT_EQ(text.size(), size);
    EXPECT_EQ(text, content);
  }
  std::string text = "old";
  EXPECT_FALSE(ReadWholeFile(folder / "absent", kReadOnce, nullptr, text));
  EXPECT_EQ(text, "");
}

TEST(InputFiles, SeesChangesBetweenTwoOpenings) {
  ScratchFolder folder;
  const std::string path = folder / "file";
  const auto open = [&](InputFiles& run) { return InputFile(&run).Open(path); };
  const struct {
    const char* what;
    std::function<void()> change;
    const char* fault;
  } table[] = {
      {"nothing", [] {}, ""},
      {"longer", [&] { WriteFile(path, "12345"); }, "it changed while the run was reading it"},
      {"later", [&] { std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + 1ns); },
       "it changed while the run was reading it"},
      {"another file",
       [&] {
         WriteFile(folder / "other", "1234");
         std::filesystem::last_write_time(folder / "other", std::filesystem::last_write_time(path));
         std::filesystem::rename(folder / "other", path);
       },
       "it changed while the run was reading it"},
      {"gone", [&] { std::filesystem::remove(path); }, "No such file or directory"},
  };
  for (const auto& row : table) {
    WriteFile(path, "1234");
    InputFiles run;
    EXPECT_TRUE(open(run)) << row.what;
    row.change();
    open(run);
    EXPECT_EQ(run.First().szReason, row.fault) << row.what;
    InputFiles next;
    open(next);
    EXPECT_FALSE(next.Any()) << row.what;
  }
}

TEST(InputFiles, SeesAChangeDuringReading) {
  ScratchFolder folder;
  WriteFile(folder / "file", "1234");
  InputFiles run;
  InputFile file(&run);
  ASSERT_TRUE(file.Open(folder / "file"));
  WriteFile(folder / "file", "12345");
  file.Close();
  EXPECT_EQ(run.First().szReason, "it changed while the run was reading it");
}

TEST(InputFiles, KeepsTheFirstFault) {
  InputFiles run;
  EXPECT_FALSE(run.Any());
  EXPECT_EQ(run.First().szPath, "");
  run.Report({"a\n", "read", "first"});
  run.Report({"b", "read", "second"});
  EXPECT_TRUE(run.Any());
  EXPECT_EQ(FaultText(run.First()), "can't read a\\x0a: first");
}

TEST(InputFiles, MissesWhatWasExpected) {
  ScratchFolder folder;
  InputFiles run;
  run.Expect(folder / "named");
  InputFile file(&run);
  EXPECT_FALSE(file.Open(folder / "default"));
  EXPECT_FALSE(run.Any());
  EXPECT_FALSE(file.Open(folder / "named"));
  EXPECT_EQ(FaultText(run.First()), "can't open " + (folder / "named") + ": No such file or directory");
}

TEST(InputFiles, ObstaclesBeforeARun) {
  ScratchFolder folder;
  WriteFile(folder / "file", "12345");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  const struct {
    std::string path;
    InputUse use;
    const char* obstacle;
  } table[] = {
      {folder / "file", kReadAgain, ""},
      {folder / "file", {true, 4}, "it is larger than 0 MB"},
      {folder / "absent", kReadAgain, "No such file or directory"},
      {folder.Path(), kReadOnce, "it is a folder"},
      {folder / "pipe", kReadOnce, ""},
      {folder / "pipe", kReadAgain, "it is no file on a disk, and the run reads it more than once"},
  };
  for (const auto& row : table) EXPECT_EQ(FindReadingObstacle(row.path, row.use), row.obstacle) << row.path;

  FileCalls calls = NativeFileCalls();
  EXPECT_TRUE(IsMissing(folder / "absent"));
  EXPECT_FALSE(IsMissing(folder / "file"));
  calls.PathStatus = [](const char*, struct stat&) { return errno = EIO, -1; };
  EXPECT_FALSE(IsMissing(folder / "absent", calls));
  EXPECT_EQ(FindReadingObstacle(folder / "file", kReadAgain, calls), "Input/output error");
  calls = FaultyFiles(FileCall::Open, 0, ENFILE).Calls();
  EXPECT_EQ(FindReadingObstacle(folder / "file", kReadAgain, calls), "Too many open files in system");
}

}  // namespace
}  // namespace orvo::test
