// Blocks with one thing wrong: each gives that one finding, at its place, with what helps.
#include <gtest/gtest.h>

#include <span>

#include "check/CheckTable.h"

namespace orvo::test {
namespace {

const std::string kHead =
    "2 1 3\n"
    "0 3600 2700 0 2500 0 0 0 1e-9 1e-16\n"
    "447 0\nimages/A_447.jpg\n1 0 0 0 1 0 0 0 1\n10 20 300\n"
    "448 0\nimages/A_448.jpg\n1 0 0 0 1 0 0 0 1\n60 20 300\n";
const std::string kPoints =
    "T1 1 2 3 0\n2\n0 10.5 20\n1 -500 20\n"
    "T2 1 2 3 0\n2\n0 11 21\n1 -501 20\n"
    "T3 1 2 3 0\n2\n0 12 22\n1 -502 20\n";
const std::string kProject = kHead + kPoints;
const std::string kGcp = "2\nG1 1 2 3 1\n2\n0 1 2\n1 3 4\nG2 4 5 6 2\n1\n0 7 8\n";
const std::string kPos = "A_447 10 20 300 1 2 3 1\nA_448 60 20 300 1 2 3 1\n";

/// The text with line `number`, from 1, replaced; with nothing, taken out.
std::string With(const std::string& text, int number, const std::string& line) {
  size_t begin = 0;
  for (int i = 1; i < number; ++i) begin = text.find('\n', begin) + 1;
  const size_t end = text.find('\n', begin) + 1;
  return text.substr(0, begin) + line + (line.empty() ? "" : "\n") + text.substr(end);
}
std::string Before(const std::string& text, int number, const std::string& line) {
  size_t begin = 0;
  for (int i = 1; i < number; ++i) begin = text.find('\n', begin) + 1;
  return text.substr(0, begin) + line + "\n" + text.substr(begin);
}

struct Row {
  std::string content;
  std::string findings;  ///< as Listed has them
  const char* remedy;    ///< in that of the first finding
};

enum class Part { Project, Gcp, Pos };

void ExpectRows(std::span<const Row> rows, Part part, bool withPos = true) {
  ScratchFolder folder;
  for (const Row& row : rows) {
    SurveyFiles files{folder / "b.prj", "", folder / "gcp.txt", withPos ? folder / "pos.txt" : "", ""};
    WriteFile(files.szProject, part == Part::Project ? row.content : kProject);
    WriteFile(files.szGcp, part == Part::Gcp ? row.content : kGcp);
    WriteFile(folder / "pos.txt", part == Part::Pos ? row.content : kPos);
    SurveyBlock block;
    Diagnosis diagnosis;
    ReadSurvey(files, block, diagnosis);
    EXPECT_EQ(Listed(diagnosis), row.findings) << row.content;
    if (diagnosis.Findings().empty()) continue;
    EXPECT_NE(diagnosis.Findings()[0].szRemedy.find(row.remedy), std::string::npos)
        << diagnosis.Findings()[0].szRemedy;
    const std::string& at = part == Part::Project ? files.szProject
                            : part == Part::Gcp   ? files.szGcp
                                                  : files.szPos;
    EXPECT_EQ(diagnosis.Findings()[0].szFile, at) << row.findings;
  }
}

TEST(SurveyFaults, SoundFiles) {
  const Row rows[] = {{kProject, "", ""},
                      {kProject + "\n \r\n", "", ""},
                      {With(kProject, 2, "0 3600 2700 0 2500 0 0 0"), "", ""},
                      {With(kProject, 12, "2 "), "", ""},
                      {With(kProject, 13, "\t0  10.5 20 more"), "", ""}};
  ExpectRows(rows, Part::Project);
}

TEST(SurveyFaults, Numbers) {
  const Row rows[] = {
      {With(kProject, 2, "0 3600 2700 0 2497,0 0 0 0 0 0"),
       "S006 2:15 the focal length is '2497,0', with a comma in it", "decimal point"},
      {With(kProject, 6, "10,5 20,25 300"), "S006 6:1 X is '10,5', with a comma in it", "decimal point"},
      {With(kProject, 13, "0 10,5 20"), "S006 13:3 x is '10,5', with a comma in it", "decimal point"},
      {With(kProject, 13, "0 10.5, 20"), "S006 13:3 x is '10.5,', with a comma in it", "by blanks"},
      {With(kProject, 13, "0 12abc 20"), "S008 13:3 x is '12abc', where 12 is read and the rest passed over",
       "plain number"},
      {With(kProject, 2, "0 3600.5 2700 0 2500 0 0 0 0 0"),
       "S008 2:3 the image width is '3600.5', where 3600 is read and the rest passed over", "whole number"},
      {With(kProject, 5, "1 0 0 0 x 0 0 0 1"), "S007 5:9 b2 is 'x', which is no number", "plain number"},
      {With(kProject, 11, "T 1 1 2 3 0 0"),
       "R024 0:0 1 point: T: of a type other than 0 among the tie points", "GCP file"},
      {With(kProject, 11, "T 1a 1 2 3 0"), "S008 11:3 X is '1a', where 1 is read and the rest passed over",
       "plain number"},
      {With(kProject, 13, "0 nan 20"), "S017 13:1 the measurement '0 nan 20' is not finite", "Leave it out"},
      {With(kProject, 11, "T1 inf 2 3 0"), "S017 11:1 the coordinates of point 'T1' are not finite",
       "Write 0"},
      {With(kProject, 11, "T1 1 2 3 -1"), "S014 11:1 the type of point 'T1' is -1", "type 0"},
      {With(kProject, 3, "-447 0"), "S016 3:1 the image ID -447 is negative, which ends a run", "from 0"},
      {With(kProject, 13, "0 10.5"), "S009 13:7 the line has 2 of 3 fields: y is missing", "Complete"},
      {With(kProject, 11, "T1 1 2 3"),
       "S009 11:9 the line has 4 of 5 fields: the type of the point is missing", "Complete"},
      {With(kProject, 2, "0 3600 2700 0 2500 0 0"),
       "S009 2:23 the line has 7 of 8 fields: the reserved field 8 is missing", "Complete"},
      {With(kProject, 5, "1 0 0 0 1 0 0 0"), "S009 5:16 the line has 8 of 9 fields: c3 is missing",
       "Complete"},
      {With(kProject, 6, "10 20"), "S009 6:6 the line has 2 of 3 fields: Z is missing", "Complete"}};
  ExpectRows(rows, Part::Project);
}

TEST(SurveyFaults, CommasInAllLinesAreOneFinding) {
  std::string pos;
  for (int i = 0; i < 70; ++i) pos += "A_" + std::to_string(447 + i) + ";10;20;300;1;2;3;1\n";
  const Row project[] = {
      {With(With(kProject, 13, "0 10,5 20"), 14, "1 -500,5 20"),
       "S006 13:3 x is '10,5', with a comma in it\nS006 14:3 x is '-500,5', with a comma in it", "point"},
      {With(With(With(With(With(With(kProject, 13, "0 10,5 20"), 14, "1 -500,5 20"), 17, "0 11,5 21"), 18,
                      "1 -501,5 21"),
                 21, "0 12,5 22"),
            22, "1 -502,5 22"),
       "S006 13:3 x is '10,5', with a comma in it; likewise in 5 lines behind it", "decimal point"}};
  ExpectRows(project, Part::Project);
  const Row positions[] = {
      {pos, "S009 1:24 the line has 1 of 8 fields: X is missing; likewise in 69 lines behind it",
       "by blanks"},
      {"A_447 10\n" + pos.substr(pos.find('\n') + 1, 5 * 24),
       "S009 1:9 the line has 2 of 8 fields: Y is missing\n"
       "S009 2:24 the line has 1 of 8 fields: X is missing\n"
       "S009 3:24 the line has 1 of 8 fields: X is missing\n"
       "S009 4:24 the line has 1 of 8 fields: X is missing\n"
       "S009 5:24 the line has 1 of 8 fields: X is missing\n"
       "S009 6:24 the line has 1 of 8 fields: X is missing",
       "Complete"}};
  ExpectRows(positions, Part::Pos);
}

TEST(SurveyFaults, TextOfTheFile) {
  const std::string bom = "\xEF\xBB\xBF";
  std::string zero = kProject;
  zero[kHead.size() + 1] = '\0';
  const Row rows[] = {
      {bom + kProject, "S002 1:1 the file begins with a byte order mark, which is passed over", "without"},
      {std::string("\xFF\xFE") + kProject, "S003 1:1 the file is UTF-16 text", "plain text"},
      {zero, "S003 11:2 the line holds a zero byte", "anew"},
      {With(kProject, 4, "images/" + std::string(600, 'a') + "/A_447.jpg"),
       "S004 4:511 the line is longer than 510 characters", "shorten"},
      {With(kProject, 4, "images/" + std::string(128, 'a') + ".jpg"),
       "S005 4:8 the name of image '" + std::string(40, 'a') +
           "...' is longer than 127 bytes\n"
           "R008 1:1 no image of the project is called 'A_447'\n"
           "R010 0:0 1 image: " +
           std::string(127, 'a') + ": without a line, and not observed",
       "shorten"},
      {With(kProject, 11, std::string(32, 'T') + " 1 2 3 0"),
       "S005 11:1 the name of point '" + std::string(32, 'T') + "' is longer than 31 bytes", "shorten"},
      {Before(kProject, 11, ""), "S010 11:1 the line is empty", "Remove"},
      {Before(kProject, 5, "# matrix"), "S010 5:1 comments are not known here", "Remove"},
      {Before(kProject, 14, "  "), "S010 14:1 the line is empty", "Remove"},
      {kProject.substr(0, kProject.size() - 1), "S015 22:0 the last line has no line end", "cut off"}};
  ExpectRows(rows, Part::Project);
}

TEST(SurveyFaults, CountsAndEnds) {
  const Row rows[] = {
      {"", "S011 0:0 the file is empty", "copy it anew"},
      {"2 1\n" + kProject.substr(6), "S014 1:4 '2 1' are not the counts of a project", "first line"},
      {With(kProject, 1, "2, 1, 3"), "S014 1:1 '2, 1, 3' are not the counts of a project", "by blanks"},
      {"\n" + kProject, "S014 1:1 the first line is empty, and holds no counts", "Remove"},
      {With(kProject, 1, "0 1 3"), "S014 1:1 the project has 0 images, 1 cameras and 3 points", "an image"},
      {With(kProject, 1, "2 1 4"), "S011 22:0 the file ends before point 4 of 4", "counts"},
      {With(kProject, 1, "2 1 999999999"), "S011 22:0 the file ends before point 4 of 999999999", "counts"},
      {With(kProject, 1, "2 1 2"), "S012 19:1 'T3 1 2 3 0' stands behind the last of 2 points", "doubled"},
      {kProject.substr(0, kProject.size() - 5), "S011 22:0 the file ends in the middle of a line",
       "copy it anew"},
      {kProject.substr(0, kProject.size() - 10),
       "S011 21:0 the file ends before measurement 2 of 2 of point 'T3'", "copy it anew"},
      {kProject.substr(0, kProject.find("1 -501")),
       "S011 17:0 the file ends before measurement 2 of 2 of point 'T2'", "copy it anew"},
      {kProject.substr(0, kProject.find("T3 1 2") + 4), "S011 19:0 the file ends in point 'T3'",
       "copy it anew"},
      {kHead.substr(0, kHead.find("60 20 300")), "S011 9:0 the file ends in image 1 of 2", "copy it anew"},
      {With(kProject, 5, ""), "S013 5:1 '10 20 300' is not the rotation matrix of an image", "missing"},
      {With(kProject, 2, ""), "S013 2:1 '447 0' is not a camera line", "missing"},
      {With(kProject, 12, "2.5"),
       "S008 12:1 the number of measurements is '2.5', where 2 is read and the rest passed over", "whole"},
      {With(kProject, 12, "20000"), "S014 12:1 point 'T1' has 20000 measurements", "at most"},
      {With(kProject, 12, ""),
       "S018 12:1 '0 10.5 20' stands where the number of measurements of point 'T1' should", "missing"},
      {With(kProject, 13, ""), "S018 14:1 'T2 1 2 3 0' stands where measurement 2 of 2 of point 'T1' should",
       "missing"},
      {Before(kProject, 13, "0 10.5 20"),
       "R012 14:1 point 'T1' is measured a second time in image 'A_447'\n"
       "S018 15:1 '1 -500 20' stands where the line of point 2 of 3 should",
       "one place"},
      {Before(kProject, 15, "1 -500 20"),
       "S018 15:1 '1 -500 20' stands where the line of point 2 of 3 should", "doubled"},
      {With(With(kProject, 15, "22 1 2 3 0"), 12, "3"),
       "S018 15:1 '22 1 2 3 0' stands where measurement 3 of 3 of point 'T1' should", "missing"}};
  ExpectRows(rows, Part::Project);
}

TEST(SurveyFaults, OneWrongCountOrLineIsOneFinding) {
  const std::string third = "449 0\nimages/A_449.jpg\n1 0 0 0 1 0 0 0 1\n90 20 300\n";
  const std::string reals = With(kProject, 6, "10.5 20.5 300.5");
  const Row rows[] = {
      {With(kProject, 1, "1 1 3"), "S013 1:1 the first line says 1 image, and line 7 begins one more",
       "number of images"},
      {kHead + third + kPoints, "S013 1:1 the first line says 2 images, and line 11 begins one more",
       "stands there twice"},
      {With(kProject, 1, "3 1 3"),
       "S013 11:1 'T1 1 2 3 0' is the line of a point, where image 2 of 3 should begin", "which says 3"},
      {With(kProject, 1, "2 2 3"), "S013 3:1 '447 0' is not a camera line", "counts"},
      {Before(kProject, 3, "1 3600 2700 0 2500 0 0 0 0 0"),
       "S013 3:1 '1 3600 2700 0 2500 0 0 0 0 0' is not the first line of an image", "doubled"},
      {With(kProject, 3, ""), "S013 3:1 'images/A_447.jpg' is not the first line of an image", "missing"},
      {With(kProject, 4, ""), "S013 5:1 '10 20 300' is not the rotation matrix of an image", "missing"},
      {With(kProject, 6, ""), "S013 6:1 '448 0' is not the position of an image", "missing"},
      {Before(kProject, 4, "447 0"), "S013 5:1 'images/A_447.jpg' is not the rotation matrix of an image",
       "doubled"},
      {Before(kProject, 4, "images/A_447.jpg"),
       "S013 5:1 'images/A_447.jpg' is not the rotation matrix of an image", "doubled"},
      {Before(kProject, 5, "1 0 0 0 1 0 0 0 1"),
       "S013 6:1 '1 0 0 0 1 0 0 0 1' is not the position of an image", "doubled"},
      {Before(kProject, 6, "10 20 300"), "S013 7:1 '10 20 300' is not the first line of an image", "doubled"},
      {Before(reals, 6, "10.5 20.5 300.5"), "S013 7:1 '10.5 20.5 300.5' is not the first line of an image",
       "doubled"},
      {With(kProject, 11, ""), "S018 11:1 '2' stands where the line of point 1 of 3 should", "missing"},
      {With(kProject, 15, ""), "S018 15:1 '2' stands where the line of point 2 of 3 should", "missing"}};
  ExpectRows(rows, Part::Project);
}

TEST(SurveyFaults, References) {
  const Row rows[] = {{With(kProject, 14, "448 -500 20"), "R001 14:1 there is no image 448",
                       "Ordinals are places in the file counted from 0; 448 is the ID of image 1"},
                      {With(kProject, 14, " 2 -500 20"), "R001 14:2 there is no image 2", "from 0 to 1"},
                      {With(kProject, 14, "-1 -500 20"), "R001 14:1 there is no image -1", "from 0 to 1"},
                      {With(With(kProject, 2, "7 3600 2700 0 2500 0 0 0 0 0"), 3, "447 7"),
                       "R002 3:5 there is no camera 7", "7 is the ID of camera 0"},
                      {With(kProject, 3, "447 -1"), "R002 3:5 there is no camera -1", "from 0 to 0"},
                      {With(kProject, 14, "0 -500 20"),
                       "R012 14:1 point 'T1' is measured a second time in image 'A_447'", "one place"}};
  ExpectRows(rows, Part::Project);
}

TEST(SurveyFaults, Losses) {
  const std::string lost =
      "\nR018 11:0 point 'T1' is left out whole, for its measurement in image 'A_447', which is left out"
      "\nR018 15:0 point 'T2' is left out whole, for its measurement in image 'A_447', which is left out"
      "\nR018 19:0 point 'T3' is left out whole, for its measurement in image 'A_447', which is left out";
  const std::string control =
      "\nR023 0:0 2 points: G1 and G2: with a measurement on an image that is left out, which does not count";
  const std::string secondCamera =
      With(With(kProject, 1, "2 2 3"), 2, "0 3600 2700 0 2500 0 0 0 0 0\n1 3600 2700 0 0 0 0 0 0 0");
  const Row rows[] = {
      {With(kProject, 6, "0 0 0"),
       "R014 6:0 image 'A_447' is left out, for its position is 0 0 0" + lost + control, "start position"},
      {With(kProject, 6, "nan 0 0"),
       "R014 5:0 image 'A_447' is left out, for its position or its angles are not finite" + lost + control,
       "position"},
      {With(kProject, 5, "1 0 0 0 1 2 0 0 1"),
       "R014 5:0 image 'A_447' is left out, for its position or its angles are not finite" + lost + control,
       "matrix"},
      {With(kProject, 2, "0 3600 2700 0 2500 0 0 0 1e-4 0"),
       "R016 2:0 k1 or k2 of camera 0 is too large, and taken for 0", "at most 1e-5"},
      {With(kProject, 2, "0 3600 2700 0 2500 0 0 1 0 0 1e-26 0 0 1e-4"),
       "R016 2:0 further terms of the distortion of camera 0 are taken for 0", "write all five"},
      {With(kProject, 2, "0 3600 2700 0 2500 0 0 1 0 0 1e-26 0 0 1e-4 0"),
       "R026 2:0 camera 0 has terms of distortion beyond k1 and k2", "--method rigorous"},
      {With(secondCamera, 3, "1 3600 2700 0 2500 0 0 0 0 0"),
       "R017 3:0 camera 1 has no image, and cameras behind it may be left out with their images",
       "Take it out"},
      {secondCamera,
       "R013 3:0 camera 1 is left out with its 0 images, for f is not above 0 and at most 1e6, or x0 or y0 "
       "is "
       "not finite",
       "image units"},
      {With(With(With(kProject, 13, "1 10.5 20"), 17, "1 11 21"), 21, "1 12 22"),
       "R012 14:1 point 'T1' is measured a second time in image 'A_448'\n"
       "R012 18:1 point 'T2' is measured a second time in image 'A_448'\n"
       "R012 22:1 point 'T3' is measured a second time in image 'A_448'\n"
       "R015 3:0 image 'A_447' has no tie point, and is left out of an adjustment",
       "one place"},
      {With(With(kProject, 14, ""), 12, "1"),
       "R020 0:0 1 tie point: T1: fewer than 2 measurements, which determine nothing", "out"},
      {With(kProject, 11, "T1 1 2 3 1"), "R024 0:0 1 point: T1: of a type other than 0 among the tie points",
       "GCP file"}};
  ExpectRows(rows, Part::Project);
}

TEST(SurveyFaults, NamesOfImages) {
  const std::string twice = With(kProject, 8, "images/A_447.jpg"), none = With(kProject, 8, "A_448.jpg");
  const Row withPos[] = {{twice,
                          "R003 8:0 the name 'A_447' is that of another image, in line 4\n"
                          "R008 2:1 no image of the project is called 'A_448'",
                          "rename"},
                         {none,
                          "R005 8:0 the path 'A_448.jpg' gives the image no name\n"
                          "R008 2:1 no image of the project is called 'A_448'",
                          "./"}};
  ExpectRows(withPos, Part::Project);
  // Nothing is said of names where cameras and images have a fault of their own.
  const Row broken[] = {
      {With(twice, 10, "60 20,0 300"), "S006 10:4 Y is '20,0', with a comma in it", "point"}};
  ExpectRows(broken, Part::Project);
  const Row without[] = {{twice, "R004 8:0 the name 'A_447' is that of another image, in line 4", "rename"},
                         {none, "R006 8:0 the path 'A_448.jpg' gives the image no name", "./"}};
  ExpectRows(without, Part::Project, false);
}

TEST(SurveyFaults, GcpFile) {
  const Row rows[] = {
      {"0\n", "", ""},
      {"", "S011 0:0 the file is empty", ""},
      {"G1 1 2 3 1\n", "S014 1:1 'G1 1 2 3 1' is not the number of points", "converted"},
      {"1\n" + kGcp.substr(2), "S012 6:1 'G2 4 5 6 2' stands behind the last of 1 points", "doubled"},
      {With(kGcp, 2, "G1 1,5 2 3 1"), "S006 2:4 X is '1,5', with a comma in it", "decimal point"},
      {With(kGcp, 4, "447 1 2"), "R001 4:1 there is no image 447", "447 is the ID of image 0"},
      {With(kGcp, 6, "G1 4 5 6 2"), "R021 6:1 point 'G1' stands in line 2 already", "rename"},
      {With(kGcp, 6, "G2 4 5 6 0"), "R022 0:0 1 point: G2: of type 0, neither control nor check", "type 1"},
      {With(kGcp, 5, "0 3 4"), "R012 5:1 point 'G1' is measured a second time in image 'A_447'",
       "one place"}};
  ExpectRows(rows, Part::Gcp);
}

TEST(SurveyFaults, PosFile) {
  const std::string second = "A_448 60 20 300 1 2 3 1\n";
  const Row rows[] = {
      {"\n" + kPos + " \n", "", ""},
      {"# name X Y Z\n" + kPos, "S010 1:1 comments are not known here", "Remove"},
      {"name X Y Z omega phi kappa strip\n" + kPos, "S010 1:1 headings are not known here", "Remove"},
      {"A_447 X 20 300 1 2 3 1\n" + second, "S007 1:7 X is 'X', which is no number", "plain number"},
      {"A_447 nan nan nan 1 2 3 1\n" + second,
       "S019 1:1 the line of 'A_447' holds a number that is not finite\n"
       "R010 0:0 1 image: A_447: without a line, and not observed",
       "without a fix"},
      {"A_447 10,0 20,0 300,5 1 2 3 1\n" + second, "S006 1:7 X is '10,0', with a comma in it",
       "decimal point"},
      {"A_447;10;20;300;1;2;3;1\n" + second, "S009 1:24 the line has 1 of 8 fields: X is missing",
       "by blanks"},
      {"A_447 10 20 300 1 2 3 1\nA_448 60 20 300 1 2 3\n",
       "S009 2:22 the line has 7 of 8 fields: the strip ID is missing", "Complete"},
      {"A_447 10 20 300\nA_448 60 20 300\n", "S021 1:1 the lines hold neither angles nor strips",
       "one group"},
      {"A_447 10 20 300 1 2 3\nA_448 60 20 300 1 2 3 1\nA_449 60 20 300 1 2 3 1\n",
       "S009 1:22 the line has 7 of 8 fields: the strip ID is missing", "Complete"},
      {"A_447 10 20 300 1 2 3\n\nA_448 60 20 300 1 2 3\n", "S021 1:1 the lines hold no strips", "one group"},
      {"A_447 10 20 300 1 2 3\nA_448 60 20 300 1 2 3\n", "S021 1:1 the lines hold no strips", "one group"},
      {"A_447 10 nan 300 1 2 3 1\n" + second,
       "S019 1:1 the line of 'A_447' holds a number that is not finite\n"
       "R010 0:0 1 image: A_447: without a line, and not observed",
       "without a fix"},
      {"a_447.JPG 10 20 300 1 2 3 1\n" + second,
       "R007 1:1 no image of the project is called 'a_447.JPG'; the nearest without a line is 'A_447'\n"
       "R010 0:0 1 image: A_447: without a line, and not observed",
       "without folder"},
      {"A_446 10 20 300 1 2 3 1\n" + second,
       "R008 1:1 no image of the project is called 'A_446'; the nearest without a line is 'A_447'\n"
       "R010 0:0 1 image: A_447: without a line, and not observed",
       "without folder"},
      {kPos + "B_1 10 20 300 1 2 3 1\n", "R008 3:1 no image of the project is called 'B_1'", "passed over"},
      {"B_1 10 20 300 1 2 3 1\n",
       "R009 0:0 no image of the project has a line: the names here are such as 'B_1', those of the project "
       "such as 'A_447'",
       "without folder"},
      {kPos + second, "R011 3:1 'A_448' has a line already, line 2", "Remove"}};
  ExpectRows(rows, Part::Pos);
}

}  // namespace
}  // namespace orvo::test
