// Reading of whole blocks: what comes of sound files.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "block/OvtFile.h"
#include "check/BlockCheck.h"
#include "check/CheckTable.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

/// Both forms of one block, field by field.
void ExpectEqual(const SurveyBlock& text, const SurveyBlock& binary) {
  ASSERT_EQ(text.Images.size(), binary.Images.size());
  for (size_t i = 0; i < text.Images.size(); ++i) {
    EXPECT_EQ(text.Images[i].szName, binary.Images[i].szName);
    EXPECT_EQ(text.Images[i].R, binary.Images[i].R);
    EXPECT_EQ(text.Images[i].S, binary.Images[i].S);
    EXPECT_EQ(text.Images[i].nLine, binary.Images[i].nLine);
  }
  ASSERT_EQ(text.Tie.Points.size(), binary.Tie.Points.size());
  ASSERT_EQ(text.Tie.Measurements.size(), binary.Tie.Measurements.size());
  for (size_t p = 0; p < text.Tie.Points.size(); ++p) {
    EXPECT_EQ(text.Tie.Points[p].szName, binary.Tie.Points[p].szName);
    EXPECT_EQ(text.Tie.Points[p].nFirstMeasurement, binary.Tie.Points[p].nFirstMeasurement);
    EXPECT_EQ(text.Tie.Points[p].nMeasurementNum, binary.Tie.Points[p].nMeasurementNum);
  }
  for (size_t m = 0; m < text.Tie.Measurements.size(); ++m) {
    const SurveyMeasurement &a = text.Tie.Measurements[m], &b = binary.Tie.Measurements[m];
    EXPECT_EQ(a.nImage, b.nImage);
    EXPECT_NEAR(a.x, b.x, 6e-4);
    EXPECT_NEAR(a.y, b.y, 6e-4);
  }
}

/// What a run takes for 0 has no part in what is told of the geometry.
TEST(SurveyReading, DistortionThatIsTooLarge) {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 4;
  const Block generated(options, {true, false, false, false, false, false});
  std::string text = ReadFile(generated.Paths().szText);
  const size_t begin = text.find('\n') + 1, end = text.find('\n', begin);
  std::istringstream line(text.substr(begin, end - begin));
  std::string field, camera;
  for (int i = 0; i < 8 && line >> field; ++i) camera += field + " ";
  ScratchFolder folder;
  SurveyFiles files{folder / "block.prj", "", "", "", ""};
  WriteFile(files.szProject, text.replace(begin, end - begin, camera + "1e-4 2e-11"));
  SurveyBlock block;
  Diagnosis diagnosis;
  ASSERT_TRUE(ReadSurvey(files, block, diagnosis));
  CheckBlock({block, files, AdjustmentSettings{}}, diagnosis);
  EXPECT_EQ(block.Cameras[0].dK1, 1e-4);
  ASSERT_EQ(diagnosis.Findings().size(), 1u) << Listed(diagnosis);
  EXPECT_EQ(diagnosis.Findings()[0].szCode, "R016");
}

TEST(SurveyReading, EveryFieldOfASmallBlock) {
  ScratchFolder folder;
  SurveyFiles files{folder / "small.prj", "", folder / "gcp.txt", folder / "pos.txt", ""};
  WriteFile(files.szProject,
            "2 1 2\n"
            "4 4000 3000 0 5000.25 1.5 -2.5 0 1e-9 -2e-16\n"
            "11 0\nimages/left.jpg\n0.1 0.2 0.3 0.4 0.5 0.6 0.7 0.8 0.9\n0.125 -0.25 1000.5\n"
            "12 0\nd:\\b\\right.tif\n0 1 0 -1 0 0 0 0 1\n200 1e2 1000\n"
            "T1 100.0 0.5 -1 0\n2\n0 500.125 0.25\n1 -500.5 0\n"
            "T2 1 2 3 0\n2\n1 7 8\n0 9 9\n");
  WriteFile(files.szGcp, "1\r\nC1 150.25 80 10 2\r\n1\r\n1 757.576 404.04\r\n");
  WriteFile(files.szPos, "left 1 2 3 4 5 6 7\n\nright 1.5 2 3 0 0 0 1\n");
  SurveyBlock block;
  Diagnosis diagnosis;
  ASSERT_TRUE(ReadSurvey(files, block, diagnosis));
  EXPECT_EQ(Listed(diagnosis), "");
  EXPECT_EQ(files.szOvt, "");
  ASSERT_EQ(block.Cameras.size(), 1u);
  const SurveyCamera& camera = block.Cameras[0];
  EXPECT_EQ(camera.nId, 4);
  EXPECT_EQ(camera.nWidth, 4000);
  EXPECT_EQ(camera.nHeight, 3000);
  EXPECT_EQ(camera.dFocal, 5000.25);
  EXPECT_EQ(camera.dX0, 1.5);
  EXPECT_EQ(camera.dY0, -2.5);
  EXPECT_EQ(camera.dK1, 1e-9);
  EXPECT_EQ(camera.dK2, -2e-16);
  EXPECT_EQ(camera.nLine, 2);
  ASSERT_EQ(block.Images.size(), 2u);
  EXPECT_EQ(block.Images[0].nId, 11);
  EXPECT_EQ(block.Images[0].nCamera, 0);
  EXPECT_EQ(block.Images[0].szPath, "images/left.jpg");
  EXPECT_EQ(block.Images[0].szName, "left");
  EXPECT_EQ(block.Images[0].R, (std::array<double, 9>{0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9}));
  EXPECT_EQ(block.Images[0].S, (std::array<double, 3>{0.125, -0.25, 1000.5}));
  EXPECT_EQ(block.Images[1].szName, "right");
  EXPECT_EQ(block.Images[1].nLine, 7);
  ASSERT_EQ(block.Tie.Points.size(), 2u);
  EXPECT_STREQ(block.Tie.Points[0].szName.data(), "T1");
  EXPECT_EQ(block.Tie.Points[0].P, (std::array<double, 3>{100.0, 0.5, -1.0}));
  EXPECT_EQ(block.Tie.Points[0].nPlace, 11);
  EXPECT_EQ(block.Tie.Points[1].nPlace, 15);
  ASSERT_EQ(block.Tie.Of(block.Tie.Points[0]).size(), 2u);
  EXPECT_EQ(block.Tie.Of(block.Tie.Points[0])[0].x, 500.125);
  EXPECT_EQ(block.Tie.Of(block.Tie.Points[1])[0].nImage, 1);
  EXPECT_EQ(block.Tie.Of(block.Tie.Points[1])[0].y, 8);
  ASSERT_EQ(block.Control.Points.size(), 1u);
  EXPECT_EQ(block.Control.Points[0].nType, 2);
  EXPECT_EQ(block.Control.Of(block.Control.Points[0])[0].y, 404.04);
  ASSERT_EQ(block.Pos.size(), 2u);
  EXPECT_EQ(block.Pos[0].szName, "left");
  EXPECT_EQ(block.Pos[0].S, (std::array<double, 3>{1, 2, 3}));
  EXPECT_EQ(block.Pos[0].dOmega, 4);
  EXPECT_EQ(block.Pos[0].dPhi, 5);
  EXPECT_EQ(block.Pos[0].dKappa, 6);
  EXPECT_EQ(block.Pos[0].nStrip, 7);
  EXPECT_EQ(block.Pos[1].nLine, 3);
}

TEST(SurveyReading, BothFormsAreTheSameBlock) {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 6;
  options.fMeasurementsPerImage = 60;
  options.nControlPoints = 5;
  Block made(options);
  SurveyBlock text, binary;
  SurveyFiles ofText{made.Paths().szText, "", made.Paths().szGcp, made.Paths().szPos, ""};
  SurveyFiles ofBinary{made.Paths().szOvc, "", made.Paths().szGcp, made.Paths().szPos, ""};
  Diagnosis diagnosis;
  ASSERT_TRUE(ReadSurvey(ofText, text, diagnosis));
  ASSERT_TRUE(ReadSurvey(ofBinary, binary, diagnosis));
  EXPECT_EQ(Listed(diagnosis), "");
  EXPECT_EQ(ofBinary.szOvt, made.Paths().szOvt);
  ExpectEqual(text, binary);
  EXPECT_EQ(text.Pos.size(), text.Images.size());
  EXPECT_EQ(text.Control.Points.size(), binary.Control.Points.size());
}

/// Several pieces long, with points of very different length.
std::string LongProject(int pointNum, const std::string& lineEnd) {
  std::string text = "40 1 " + std::to_string(pointNum) + lineEnd + "0 4000 3000 0 5000 0 0 0 0 0" + lineEnd;
  for (int i = 0; i < 40; ++i) {
    text += std::to_string(i) + " 0" + lineEnd + "a/" + std::to_string(i) + ".jpg" + lineEnd +
            "1 0 0 0 1 0 0 0 1" + lineEnd + std::to_string(i) + " 1 1000" + lineEnd;
  }
  for (int p = 0; p < pointNum; ++p) {
    const int count = 2 + p % 38;
    text +=
        std::to_string(p) + " " + std::to_string(p) + ".5 0 1 0" + lineEnd + std::to_string(count) + lineEnd;
    for (int m = 0; m < count; ++m)
      text += std::to_string((p + m) % 40) + " " + std::to_string(p % 1000) + ".25 -" + std::to_string(m) +
              lineEnd;
  }
  return text;
}

TEST(SurveyReading, PiecesAndLinesGiveTheSame) {
  ScratchFolder folder;
  constexpr int kPoints = 12000;
  for (const std::string lineEnd : {"\n", "\r\n"}) {
    const std::string text = LongProject(kPoints, lineEnd);
    ASSERT_GT(text.size(), size_t{3} << 20);
    // Without its end, the last line makes the reading go line by line.
    SurveyBlock inPieces, byLines;
    for (SurveyBlock* block : {&inPieces, &byLines}) {
      WriteFile(folder / "b.prj",
                block == &inPieces ? text + lineEnd : text.substr(0, text.size() - lineEnd.size()));
      SurveyFiles files{folder / "b.prj", "", "", "", ""};
      Diagnosis diagnosis;
      ASSERT_TRUE(ReadSurvey(files, *block, diagnosis));
      EXPECT_EQ(diagnosis.CountOf("S015"), block == &byLines ? 1 : 0);
      EXPECT_EQ(std::ssize(diagnosis.Findings()), block == &byLines ? 1 : 0) << Listed(diagnosis);
    }
    ASSERT_EQ(inPieces.Tie.Points.size(), static_cast<size_t>(kPoints));
    ASSERT_EQ(byLines.Tie.Points.size(), static_cast<size_t>(kPoints));
    ASSERT_EQ(inPieces.Tie.Measurements.size(), byLines.Tie.Measurements.size());
    for (size_t p = 0; p < inPieces.Tie.Points.size(); ++p) {
      const SurveyPoint &a = inPieces.Tie.Points[p], &b = byLines.Tie.Points[p];
      ASSERT_EQ(a.szName, b.szName);
      ASSERT_EQ(a.P, b.P);
      ASSERT_EQ(a.nPlace, b.nPlace);
      ASSERT_EQ(a.nFirstMeasurement, b.nFirstMeasurement);
      ASSERT_EQ(a.nMeasurementNum, b.nMeasurementNum);
    }
    for (size_t m = 0; m < inPieces.Tie.Measurements.size(); ++m) {
      ASSERT_EQ(inPieces.Tie.Measurements[m].nImage, byLines.Tie.Measurements[m].nImage);
      ASSERT_EQ(inPieces.Tie.Measurements[m].x, byLines.Tie.Measurements[m].x);
      ASSERT_EQ(inPieces.Tie.Measurements[m].y, byLines.Tie.Measurements[m].y);
    }
  }
}

TEST(SurveyReading, AFaultInAnyPieceIsFoundAtItsLine) {
  ScratchFolder folder;
  const std::string good = LongProject(12000, "\n");
  for (const double part : {0.1, 0.4, 0.6, 0.99}) {
    std::string text = good;
    const size_t at = text.find(".25", static_cast<size_t>(static_cast<double>(text.size()) * part));
    text[at] = ',';
    const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n');
    WriteFile(folder / "b.prj", text);
    SurveyFiles files{folder / "b.prj", "", "", "", ""};
    SurveyBlock block;
    Diagnosis diagnosis;
    ASSERT_TRUE(ReadSurvey(files, block, diagnosis));
    ASSERT_EQ(diagnosis.Findings().size(), 1u) << Listed(diagnosis);
    EXPECT_EQ(diagnosis.Findings()[0].szCode, "S006");
    EXPECT_EQ(diagnosis.Findings()[0].nLine, line);
    EXPECT_EQ(block.Tie.Points.size(), 12000u);
  }
}

TEST(SurveyReading, SenecaOfTheExamples) {
  SurveyFiles files{Example("seneca/seneca_start.prj"), "", Example("seneca/seneca_gcp.txt"),
                    Example("seneca/seneca_pos.txt"), ""};
  SurveyBlock block;
  Diagnosis diagnosis;
  ASSERT_TRUE(ReadSurvey(files, block, diagnosis));
  EXPECT_EQ(Listed(diagnosis), "");
  EXPECT_FALSE(block.Images.empty());
  EXPECT_FALSE(block.Tie.Points.empty());
  EXPECT_EQ(block.Pos.size(), block.Images.size());
}

}  // namespace
}  // namespace orvo::test
