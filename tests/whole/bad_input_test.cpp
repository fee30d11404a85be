// Broken files end in the stated message or in a record left out, never in a crash.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "support/Block.h"

namespace orvo::test {
namespace {

SyntheticOptions Tiny() {
  SyntheticOptions options;
  options.nStrips = 1;
  options.nImagesPerStrip = 4;
  options.nControlPoints = 2;
  options.nCheckPoints = 1;
  options.fMeasurementsPerImage = 20;
  return options;
}

std::string ReplaceFirst(std::string text, const std::string& from, const std::string& to) {
  const size_t at = text.find(from);
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string ReplaceLine(const std::string& text, int number, const std::string& line) {
  size_t begin = 0;
  for (int i = 0; i < number; ++i) begin = text.find('\n', begin) + 1;
  const size_t end = text.find('\n', begin);
  return text.substr(0, begin) + line + text.substr(end);
}

class BadInput : public ::testing::Test {
 protected:
  BadInput() : block(Tiny()) { block.Set("Max_LM_Iteration_Num", "2"); }

  /// Runs over the broken block; whatever happens, the log ends with the time that it took.
  RunOutcome Run(bool binary) {
    std::filesystem::remove_all(block / "out");
    BlockRun run;
    run.bBinary = binary;
    const RunOutcome outcome = block.Run(run);
    EXPECT_NE(block.Log().find(">>Elapsed time:<clock>\n"), std::string::npos);
    return outcome;
  }
  bool Logged(const std::string& message) { return block.Log().find(message) != std::string::npos; }

  Block block;
};

TEST_F(BadInput, Projects) {
  const std::string good = ReadFile(block.Paths().szText);
  const std::string nothingLeft = "Error!No unknown parameter is defined!\n";
  struct {
    const char* what;
    std::string text;
    bool done;
    std::string message;
  } const table[] = {
      {"empty", "", false, nothingLeft},
      {"header of words", ReplaceLine(good, 0, "many images here"), false, nothingLeft},
      {"negative counts", ReplaceLine(good, 0, "-4 -1 -30"), false, nothingLeft},
      {"huge counts", ReplaceLine(good, 0, "2147483647 2147483647 9223372036854775807"), false, nothingLeft},
      {"more points than there are", ReplaceLine(good, 0, "4 1 100000"), true, ""},
      {"more images than there are", ReplaceLine(good, 0, "4000 1 30"), false, nothingLeft},
      {"camera without focal length", ReplaceLine(good, 1, "0 100 100 0 0 0 0 0 0 0"), false, nothingLeft},
      {"camera of not-a-numbers", ReplaceLine(good, 1, "0 100 100 0 nan nan nan 0 nan nan"), false,
       nothingLeft},
      {"infinite focal length", ReplaceLine(good, 1, "0 100 100 0 inf 0 0 0 0 0"), false, nothingLeft},
      {"negative image ID", ReplaceLine(good, 2, "-7 0"), false, "Image ID invalid!\n"},
      {"camera ordinal out of range", ReplaceLine(good, 2, "7 9"), true, ""},
      {"camera ordinal missing", ReplaceLine(good, 2, "7"), true, ""},
      {"matrix of words", ReplaceLine(good, 4, "a b c d e f g h i"), true, ""},
      {"matrix of zeros", ReplaceLine(good, 4, "0 0 0 0 0 0 0 0 0"), true, ""},
      {"position of not-a-numbers", ReplaceLine(good, 5, "nan nan nan"), true, ""},
      {"position of zeros", ReplaceLine(good, 5, "0 0 0"), true, ""},
      {"position far away", ReplaceLine(good, 5, "1e300 1e300 1e300"), true, ""},
      {"carriage returns", std::string(), true, ""},
      {"a line of 100,000 characters", ReplaceLine(good, 3, "images/" + std::string(100000, 'x') + ".jpg"),
       false, nothingLeft},
      {"a point name of 100,000 characters", ReplaceFirst(good, "T0000003", std::string(100000, 'T')), true,
       ""},
  };
  for (auto row : table) {
    if (std::string(row.what) == "carriage returns") {
      for (char c : good) row.text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    WriteFile(block.Paths().szText, row.text);
    const RunOutcome outcome = Run(false);
    EXPECT_EQ(outcome.bDone, row.done) << row.what << "\n" << block.Log();
    EXPECT_TRUE(Logged(row.message)) << row.what << "\n" << block.Log();
  }
}

TEST_F(BadInput, CarriageReturnsChangeNothing) {
  ASSERT_TRUE(Run(false).bDone);
  const std::string expected = ReadFile(block.Output("OrvoResult_gcp.rst"));
  for (const std::string& path : {block.Paths().szText, block.Paths().szGcp, block.Paths().szXml}) {
    std::string text;
    for (char c : ReadFile(path)) text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    WriteFile(path, text);
  }
  ASSERT_TRUE(Run(false).bDone);
  EXPECT_EQ(ReadFile(block.Output("OrvoResult_gcp.rst")), expected);
}

TEST_F(BadInput, NoFinalNewlineChangesNothing) {
  ASSERT_TRUE(Run(false).bDone);
  const std::string expected = ReadFile(block.Output("OrvoResult_gcp.rst"));
  for (const std::string& path : {block.Paths().szText, block.Paths().szGcp}) {
    std::string text = ReadFile(path);
    text.pop_back();
    WriteFile(path, text);
  }
  ASSERT_TRUE(Run(false).bDone);
  EXPECT_EQ(ReadFile(block.Output("OrvoResult_gcp.rst")), expected);
}

TEST_F(BadInput, MeasurementsOfTextProjects) {
  const std::string good = ReadFile(block.Paths().szText);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  const int firstPoint = 1 + 1 + 4 * 4;
  ASSERT_FALSE(project.pPoints.empty());
  struct {
    const char* line;
    bool done;
    const char* message;
  } const table[] = {
      {"99 1 1", false, "Image ID is invalid:0 0 99!\n"},
      {"-1 1 1", false, "Image ID is invalid:0 0 -1!\n"},
      {"4 1 1", false, "Image ID is invalid:0 0 4!\n"},
      {"0 nan 1", true, ""},
      {"0 inf -inf", true, ""},
      {"0 1e300 1", true, ""},
      {"0 words", true, ""},
      {"0", true, ""},
      {"", true, ""},
      {"0x1 2 3", true, ""},
  };
  for (const auto& row : table) {
    WriteFile(block.Paths().szText, ReplaceLine(good, firstPoint + 2, row.line));
    EXPECT_EQ(Run(false).bDone, row.done) << row.line << "\n" << block.Log();
    EXPECT_TRUE(Logged(row.message)) << row.line << "\n" << block.Log();
  }
}

TEST_F(BadInput, ControlFiles) {
  const std::string good = ReadFile(block.Paths().szGcp);
  const std::string path = block.Paths().szGcp;
  struct {
    const char* what;
    std::string text;
  } const table[] = {
      {"empty", ""},
      {"words", "no number here\n"},
      {"negative count", ReplaceLine(good, 0, "-3")},
      {"huge count", ReplaceLine(good, 0, "2147483647")},
      {"image ordinal out of range", ReplaceLine(good, 3, "77 1 1")},
      {"negative image ordinal", ReplaceLine(good, 3, "-77 1 1")},
      {"coordinates of not-a-numbers", ReplaceLine(good, 1, "G1 nan nan nan 1")},
      {"infinite coordinates", ReplaceLine(good, 1, "G1 inf inf inf 1")},
      {"type of a tie point", ReplaceLine(good, 1, "G1 1 2 3 0")},
      {"negative type", ReplaceLine(good, 1, "G1 1 2 3 -5")},
      {"measurement count huge", ReplaceLine(good, 2, "2000000000")},
      {"measurement count negative", ReplaceLine(good, 2, "-2")},
      {"name of 100,000 characters", ReplaceLine(good, 1, std::string(100000, 'G') + " 1 2 3 1")},
      {"binary", std::string("\0\1\2\xff\xfe\n\0", 7)},
  };
  for (const auto& row : table) {
    WriteFile(path, row.text);
    EXPECT_TRUE(Run(false).bDone) << row.what << "\n" << block.Log();
    EXPECT_NE(ReadFile(block.Output("OrvoAdjustReport.txt")).find("Check point residuals:\n"),
              std::string::npos)
        << row.what;
  }
  std::filesystem::remove(path);
  EXPECT_TRUE(Run(false).bDone);
  EXPECT_TRUE(Logged("Open Gcp file failed!\n"));
  std::filesystem::create_directory(path);
  EXPECT_FALSE(Run(false).bDone);
  EXPECT_TRUE(Logged("Error!Reading failed: can't read " + path + ": it is a folder!\n"));
}

TEST_F(BadInput, TiePointFiles) {
  const std::string good = ReadFile(block.Paths().szOvt);
  const auto patch = [&](size_t offset, const std::string& bytes) {
    return std::string(good).replace(offset, bytes.size(), bytes);
  };
  const std::string minusOne(4, '\xff'), huge("\xff\xff\xff\x7f", 4), zero(4, '\0');
  const auto points = static_cast<size_t>(block.Truth().Counts.nTiePoints);
  const size_t measures = 8 + 68 * points;
  struct {
    const char* what;
    std::string bytes;
  } const table[] = {
      {"empty", ""},
      {"half a header", good.substr(0, 5)},
      {"points negative", patch(0, minusOne)},
      {"points huge", patch(0, huge)},
      {"measurements negative", patch(4, minusOne)},
      {"measurements huge", patch(4, huge)},
      {"nothing counted", patch(0, zero + zero)},
      {"measurement count negative", patch(8 + 60, minusOne)},
      {"measurement count huge", patch(8 + 60, huge)},
      {"first index negative", patch(8 + 64, minusOne)},
      {"first index huge", patch(8 + 64, huge)},
      {"second point starts like the first", patch(8 + 68 + 64, zero)},
      {"name without end", patch(8, std::string(32, 'n'))},
      {"type of a control point", patch(8 + 56, std::string("\1\0\0\0", 4))},
      {"coordinate not a number", patch(measures + 4, std::string("\0\0\xc0\x7f", 4))},
      {"coordinate infinite", patch(measures + 4, std::string("\0\0\x80\x7f", 4))},
      {"coordinates of a control point not numbers",
       std::string(patch(8 + 56, std::string("\1\0\0\0", 4))).replace(8 + 32, 8, std::string(8, '\xff'))},
  };
  for (const auto& row : table) {
    WriteFile(block.Paths().szOvt, row.bytes);
    Run(true);
  }
  for (const std::string& ordinal : {minusOne, huge, std::string("\4\0\0\0", 4)}) {
    WriteFile(block.Paths().szOvt, patch(measures, ordinal));
    EXPECT_FALSE(Run(true).bDone);
    EXPECT_TRUE(Logged("Image ID is invalid:0 ")) << block.Log();
  }
  std::filesystem::remove(block.Paths().szOvt);
  EXPECT_FALSE(Run(true).bDone);
  EXPECT_TRUE(Logged("Can not open ovt file!\n"));
}

TEST_F(BadInput, FilesCutAnywhere) {
  struct {
    std::string path;
    bool binary;
  } const files[] = {{block.Paths().szText, false},
                     {block.Paths().szGcp, false},
                     {block.Paths().szOvc, true},
                     {block.Paths().szOvt, true},
                     {block.Paths().szXml, false}};
  for (const auto& file : files) {
    const std::string good = ReadFile(file.path);
    // Prime steps meet every kind of field without running for each byte.
    for (size_t length = 0; length < good.size(); length += good.size() / 40 + 7) {
      WriteFile(file.path, good.substr(0, length));
      Run(file.binary);
    }
    WriteFile(file.path, good);
    EXPECT_TRUE(Run(file.binary).bDone) << file.path;
  }
}

TEST_F(BadInput, SettingsThatMakeNoSense) {
  struct {
    const char* element;
    const char* value;
  } const table[] = {
      {"Image_Coor_Scale", "0"},        {"Image_Coor_Scale", "-1"},      {"Image_Coor_Scale", "nan"},
      {"Image_Coor_Scale", "1e300"},    {"Object_Coor_Scale", "0"},      {"Object_Coor_Scale", "inf"},
      {"Damping_Coefficient", "nan"},   {"Damping_Coefficient", "-1"},   {"Damping_Coefficient", "1e308"},
      {"Gross_Point_Threshold", "0"},   {"Gross_Point_Threshold", "-1"}, {"Gross_Point_Threshold", "nan"},
      {"LM_Converge_Threshold", "nan"}, {"GCP_Accuracy", "0"},           {"GCP_Accuracy", "nan"},
      {"Max_LM_Iteration_Num", "-5"},   {"Free_LM_Iteration_Num", "-5"}, {"Point_Resample_Number", "-5"},
  };
  for (const auto& row : table) {
    const std::string good = ReadFile(block.Paths().szXml);
    block.Set(row.element, row.value);
    Run(false);
    WriteFile(block.Paths().szXml, good);
  }
  EXPECT_TRUE(Run(false).bDone);
}

TEST_F(BadInput, FailedRunLeavesEarlierOutputs) {
  ASSERT_TRUE(Run(false).bDone);
  const std::string result = ReadFile(block.Output("OrvoResult.ovc"));
  const std::string report = ReadFile(block.Output("OrvoAdjustReport.txt"));
  WriteFile(block.Paths().szText, "");
  EXPECT_FALSE(block.Run().bDone);
  EXPECT_EQ(ReadFile(block.Output("OrvoResult.ovc")), result);
  EXPECT_EQ(ReadFile(block.Output("OrvoAdjustReport.txt")), report);
  EXPECT_GT(result.size(), 0u);
}

}  // namespace
}  // namespace orvo::test
