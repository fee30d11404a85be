// The line reader against a slow one.
#include "base/TextReader.h"

#include <gtest/gtest.h>

#include <random>

#include "fuzz/LineReference.h"
#include "support/FaultyFiles.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

void ExpectLikeReference(const std::string& path, const std::string& text) {
  WriteFile(path, text);
  TextReader file;
  ASSERT_TRUE(file.Open(path));
  EXPECT_EQ(static_cast<int64_t>(text.size()), file.Size());
  const std::vector<std::string> pieces = SplitIntoPieces(text);
  for (int pass = 0; pass < 2; ++pass) {
    std::string_view line;
    for (size_t i = 0; i < pieces.size(); ++i) {
      std::string expected = pieces[i];
      const bool hasEnd = expected.back() == '\n';
      if (hasEnd) expected.pop_back();
      ASSERT_FALSE(file.AtEnd()) << "piece " << i;
      ASSERT_TRUE(file.Next(line)) << "piece " << i;
      ASSERT_EQ(expected, line) << "piece " << i;
      ASSERT_EQ(hasEnd || i + 1 == pieces.size(), file.LineEnded()) << "piece " << i;
    }
    EXPECT_TRUE(file.AtEnd());
    EXPECT_FALSE(file.Next(line));
    EXPECT_TRUE(line.empty());
    EXPECT_TRUE(file.Next().empty());
    file.Rewind();
  }
  EXPECT_EQ(static_cast<int64_t>(pieces.size()), file.Skip(static_cast<int64_t>(pieces.size()) + 5));
}

TEST(TextReader, SmallFiles) {
  ScratchFolder folder;
  using namespace std::string_literals;
  for (const std::string& text : {""s,
                                  "\xEF\xBB\xBF"s,
                                  "\xEF\xBB\xBFx\r\n"s,
                                  "\xEF\xBB"s,
                                  "\n"s,
                                  "\r\n"s,
                                  "\r"s,
                                  "a"s,
                                  "a\n"s,
                                  "a\r\n"s,
                                  "a\nb"s,
                                  "a\r\nb\r\n"s,
                                  "\n\n\n"s,
                                  "a\rb\n"s,
                                  "a\r\r\n"s,
                                  "a\0b\nc\0"s,
                                  "\0"s,
                                  " \t\n"s,
                                  "a\n\r"s,
                                  "\n\r\n"s}) {
    ExpectLikeReference(folder / "text", text);
  }
}

TEST(TextReader, LinesAroundTheLimit) {
  ScratchFolder folder;
  for (size_t length : {508u, 509u, 510u, 511u, 512u, 513u, 1021u, 1022u, 1023u, 1024u}) {
    for (const char* end :
         {"", "\n", "\r\n", "\r", "\r\r\n", "\n\n", "\r\n\r\n", "\nnext", "\r\nnext\r\n", "\rnext"}) {
      ExpectLikeReference(folder / "text", std::string(length, 'x') + end);
      ExpectLikeReference(folder / "text", "first\n" + std::string(length, 'x') + end);
    }
  }
}

TEST(TextReader, LongLinesAndFilesBeyondTheBuffer) {
  ScratchFolder folder;
  ExpectLikeReference(folder / "text", std::string(100000, 'x'));
  ExpectLikeReference(folder / "text", std::string(100000, 'x') + "\r\n" + std::string(100000, '\r') + "\n");
  ExpectLikeReference(folder / "text", std::string(300000, '\n'));
  for (size_t buffer : {size_t{1} << 16, size_t{1} << 20}) {
    for (size_t before = buffer - 520; before < buffer + 520; before += 17) {
      ExpectLikeReference(folder / "text", std::string(before, 'x') + "\r\nlast");
    }
    for (size_t before = buffer - 3; before < buffer + 3; ++before) {
      ExpectLikeReference(folder / "text", std::string(before, 'x') + "\r\nlast");
      ExpectLikeReference(folder / "text", std::string(before, '\n') + "\r\nlast");
    }
  }
}

TEST(TextReader, RandomTexts) {
  ScratchFolder folder;
  std::mt19937 random(3);
  const std::string letters = "\n\r\n\r ab0";
  for (int i = 0; i < 300 && !HasFatalFailure(); ++i) {
    // Mostly letters, so that lines reach the limit, with ends strewn among them.
    std::uniform_int_distribution<size_t> length(0, 3000), letter(0, letters.size() - 1);
    std::uniform_int_distribution<int> rarity(0, 1 + i % 400);
    std::string text(length(random), 'x');
    for (char& c : text) {
      if (rarity(random) == 0) c = letters[letter(random)];
    }
    ExpectLikeReference(folder / "text", text);
  }
}

TEST(TextReader, WhatCannotBeOpened) {
  ScratchFolder folder;
  TextReader file;
  EXPECT_FALSE(file.Open(folder / "absent"));
  EXPECT_FALSE(file.Open(folder.Path()));
  EXPECT_FALSE(file.Open(""));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_TRUE(file.AtEnd());
  EXPECT_TRUE(file.Next().empty());
  EXPECT_EQ(0, file.Skip(3));
}

TEST(TextReader, OpensAnotherFileFromItsStart) {
  ScratchFolder folder;
  WriteFile(folder / "a", "1\n2\n");
  WriteFile(folder / "b", "3\n");
  TextReader file;
  ASSERT_TRUE(file.Open(folder / "a"));
  file.Next();
  ASSERT_TRUE(file.Open(folder / "b"));
  EXPECT_EQ("3", file.Next());
  EXPECT_EQ(2, file.Size());
}

TEST(TextReader, GoesBackToAnyPlace) {
  test::ScratchFolder folder;
  std::string text;
  for (int i = 0; i < 3000; ++i) {
    text += std::string(static_cast<size_t>(i % 37 == 5 ? 500 + i % 900 : i % 50),
                        static_cast<char>('a' + i % 26));
    text += i % 4 == 0 ? "\r\n" : "\n";
  }
  test::WriteFile(folder / "file", text + "unended");
  TextReader reader;
  ASSERT_TRUE(reader.Open(folder / "file"));
  EXPECT_EQ(reader.Path(), folder / "file");
  std::vector<int64_t> places;
  std::vector<std::string> lines;
  std::string_view line;
  while (true) {
    places.push_back(reader.Tell());
    if (!reader.Next(line)) break;
    lines.emplace_back(line);
  }
  EXPECT_EQ(places.front(), 0);
  EXPECT_EQ(places.back(), reader.Size());
  for (size_t i = lines.size(); i-- > 0;) {
    reader.Seek(places[i]);
    ASSERT_EQ(reader.Tell(), places[i]);
    ASSERT_TRUE(reader.Next(line));
    ASSERT_EQ(line, lines[i]) << i;
  }
  reader.Rewind();
  EXPECT_EQ(reader.Next(), lines[0]);
}

TEST(TextReader, PassesOverAByteOrderMark) {
  ScratchFolder folder;
  const std::string mark = "\xEF\xBB\xBF";
  const struct {
    std::string text;
    std::vector<std::string> lines;
  } table[] = {
      {mark, {}},
      {mark + "\n", {""}},
      {mark + "1 2\r\nb", {"1 2", "b"}},
      {mark + mark + "a", {mark + "a"}},
      {"a" + mark, {"a" + mark}},
      {"\n" + mark + "\n", {"", mark}},
      {mark.substr(0, 2), {mark.substr(0, 2)}},
      {mark.substr(0, 2) + "a\n", {mark.substr(0, 2) + "a"}},
      {mark + std::string(511, 'x') + "\nb", {std::string(511, 'x'), "", "b"}},
      {mark + std::string(70000, '\n') + "b", {std::vector<std::string>(70000, "")}},
  };
  for (const auto& row : table) {
    WriteFile(folder / "file", row.text);
    TextReader file;
    ASSERT_TRUE(file.Open(folder / "file"));
    for (int pass = 0; pass < 2; ++pass) {
      const int64_t start = file.Tell();
      for (size_t i = 0; i < row.lines.size(); ++i) {
        std::string_view line;
        ASSERT_TRUE(file.Next(line));
        ASSERT_EQ(line, row.lines[i]);
        if (i > 0) continue;
        // Back to the first line, and to the one behind it.
        const int64_t second = file.Tell();
        file.Seek(start);
        ASSERT_EQ(file.Next(), row.lines[0]);
        ASSERT_EQ(file.Tell(), second);
        file.Seek(second);
      }
      if (row.lines.size() < 70000) {
        EXPECT_TRUE(file.AtEnd());
      }
      file.Rewind();
    }
    EXPECT_FALSE(file.Failed());
  }
}

TEST(TextReader, RefusesALineOfMoreThan16MB) {
  ScratchFolder folder;
  const auto limit = static_cast<size_t>(TextReader::kMaxLineBytes);
  const struct {
    size_t before, length;
    const char* fault;
  } table[] = {
      {0, limit - 600, ""},
      {0, limit, ""},
      {3, limit + 1, "a line of more than 16 MB begins at byte 4"},
      {0, limit + 1000, "a line of more than 16 MB begins at byte 0"},
  };
  for (const auto& row : table) {
    const std::string head = row.before > 0 ? std::string(row.before, 'a') + "\n" : "";
    WriteFile(folder / "file", head + std::string(row.length, 'x') + "\nend\n");
    TextReader file;
    ASSERT_TRUE(file.Open(folder / "file"));
    std::string_view line, last;
    while (file.Next(line)) last = line;
    EXPECT_EQ(file.Fault().szReason, row.fault);
    EXPECT_TRUE(file.AtEnd());
    EXPECT_FALSE(file.Next(line));
    EXPECT_EQ(file.Failed(), *row.fault != '\0');
  }
  // Many lines that are each below the limit.
  WriteFile(folder / "file", [&] {
    std::string text;
    for (int i = 0; i < 3; ++i) text += std::string(limit / 2, 'x') + "\n";
    return text;
  }());
  TextReader file;
  ASSERT_TRUE(file.Open(folder / "file"));
  EXPECT_GT(file.Skip(1000000), 3);
  EXPECT_FALSE(file.Failed());
}

TEST(TextReader, EndsAtADeviceWithoutLines) {
  TextReader file;
  EXPECT_FALSE(file.Open("/dev/zero"));
  TextReader once;
  ASSERT_TRUE(once.Open("/dev/zero", kReadOnce));
  EXPECT_LT(once.Skip(int64_t{1} << 40), 1000000);
  EXPECT_EQ(once.Fault().szReason, "a line of more than 16 MB begins at byte 0");
}

TEST(TextReader, AFailureIsNoEnd) {
  ScratchFolder folder;
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "line " + std::to_string(i) + "\n";
  WriteFile(folder / "file", text);
  for (int k = 0; k < 8; ++k) {
    for (const int error : {EIO, EINTR, kEndsEarly, kReadsLittle}) {
      const FaultyFiles faulty(FileCall::ReadAt, k, error);
      InputFiles run(faulty.Calls());
      TextReader file(&run);
      ASSERT_TRUE(file.Open(folder / "file"));
      const int64_t lines = file.Skip(1000000);
      const std::string what = "call " + std::to_string(k) + ", error " + std::to_string(error);
      EXPECT_EQ(run.Any(), file.Failed()) << what;
      if (!file.Failed()) {
        EXPECT_EQ(lines, 20000) << what;
      }
      if (error == EIO) {
        EXPECT_EQ(file.Failed(), faulty.Fired()) << what;
      }
      if (error == EINTR || error == kReadsLittle) {
        EXPECT_FALSE(file.Failed()) << what;
      }
      if (error == kEndsEarly && k == 0) {
        EXPECT_TRUE(file.Failed());
      }
    }
  }
}

}  // namespace
}  // namespace orvo::test
