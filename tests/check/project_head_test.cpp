// Heads of projects: what is refused, what is told.
#include "check/ProjectHead.h"

#include <gtest/gtest.h>

#include <span>

#include "check/FindingTable.h"

namespace orvo::test {
namespace {

const std::string kCounts = "2 1 0\n", kCamera = "0 3600 2700 0 2500 0 0 0 1e-9 1e-16\n",
                  kFirst = "7 0\nimages/A.jpg\n1 0 0 0 1 0 0 0 1\n10 20 300\n",
                  kSecond = "8 0\nimages\\B.jpg\n1 0 0 0 1 0 0 0 1\n20.5 20 300\n";

struct Row {
  std::string content;
  const char* findings;
};

void ExpectRows(std::span<const Row> rows, bool withPoints) {
  ScratchFolder folder;
  for (const Row& row : rows) {
    WriteFile(folder / "head", row.content);
    ProjectHead head;
    EXPECT_EQ(Brief(CheckProjectHead(folder / "head", withPoints, head)), row.findings) << row.content;
  }
}

TEST(ProjectHead, Faults) {
  const Row rows[] = {
      {kCounts + kCamera + kFirst + kSecond, ""},
      {kCounts + kCamera + kFirst + kSecond + "\n \n", ""},
      {"", ":1: error: the file is empty."},
      {"two 1 0\n" + kCamera, ":1: error: 'two 1 0' are not the counts of a project."},
      {"2, 1, 0\n" + kCamera, ":1: error: '2, 1, 0' are not the counts of a project."},
      {"0 1 0\n" + kCamera, ":1: error: the project has 0 images and 1 cameras."},
      {"2 -1 0\n", ":1: error: the project has 2 images and -1 cameras."},
      {"999999999 1 0\n" + kCamera, ":1: error: the file is too short for 999999999 images and 1 cameras."},
      {"99999999999 1 0\n" + kCamera, ":1: error: '99999999999 1 0' are not the counts of a project."},
      {kCounts + kFirst + kSecond, ":2: error: '7 0' is no camera line."},
      {kCounts + "0 3600 2700 0 2500 0 0\n" + kFirst + kSecond,
       ":2: error: '0 3600 2700 0 2500 0 0' is no camera line."},
      {kCounts + "0 3600.5 2700 0 2500 0 0 0 0 0\n" + kFirst + kSecond,
       ":2: error: '0 3600.5 2700 0 2500 0 0 0 0 0' is no camera line."},
      {kCounts + "0 3600 2700 0 nan 0 0 0 0 0\n" + kFirst + kSecond,
       ":2: error: '0 3600 2700 0 nan 0 0 0 0 0' is no camera line."},
      {kCounts + "0 3600 2700 0 2500 0 0 0 1e-9x 0\n" + kFirst + kSecond,
       ":2: error: the k1 of a camera is no number."},
      {kCounts + "0 3600 2700 0 2500 0 0 0 1e-9 -\n" + kFirst + kSecond,
       ":2: error: the k2 of a camera is no number."},
      {kCounts + kCamera + "7\n" + kFirst.substr(4) + kSecond,
       ":3: error: '7' is not the first line of an image."},
      {kCounts + kCamera + "-7 0\n" + kFirst.substr(4) + kSecond, ":3: error: the image ID -7 is negative."},
      {kCounts + kCamera + "7 1\n" + kFirst.substr(4) + kSecond, ":3: error: there is no camera 1."},
      {kCounts + kCamera + "7 -1\n" + kFirst.substr(4) + kSecond, ":3: error: there is no camera -1."},
      {kCounts + kCamera + "7 0\nA\n1 0 0 0 1 0 0 0\n1 2 3\n" + kSecond,
       ":5: error: '1 0 0 0 1 0 0 0' is no rotation matrix."},
      {kCounts + kCamera + "7 0\nA\n1 0 0 0 1 0 0 0 1,0\n1 2 3\n" + kSecond,
       ":5: error: '1 0 0 0 1 0 0 0 1,0' is no rotation matrix."},
      {kCounts + kCamera + "7 0\nA\n1 0 0 0 1 0 0 0 1\n1 2 inf\n" + kSecond,
       ":6: error: '1 2 inf' is no position."},
      {kCounts + kCamera + kFirst, ":7: error: the file ends in image 1 of 2."},
      {kCounts + kCamera + kFirst + kSecond + "9 0\n", ":11: error: '9 0' stands behind the last image."},
      {kCounts + kCamera + "7 0\nimages/" + std::string(600, 'x') + "\n",
       ":4: error: the line is longer than 510 characters."},
  };
  ExpectRows(rows, false);
}

TEST(ProjectHead, Losses) {
  const Row rows[] = {
      {kCounts + "0 3600 2700 0 2500 0 0 0\n" + kFirst + kSecond,
       ": note: 1 camera: ordinal 0: k1 or k2 is missing or too large, and taken for 0."},
      {kCounts + "0 3600 2700 0 2500 0 0 0 1e-9\n" + kFirst + kSecond,
       ": note: 1 camera: ordinal 0: k1 or k2 is missing or too large, and taken for 0."},
      {kCounts + "0 3600 2700 0 2500 0 0 0 0 1e-10\n" + kFirst + kSecond,
       ": note: 1 camera: ordinal 0: k1 or k2 is missing or too large, and taken for 0."},
      {kCounts + "0 3600 2700 0 2500 0 0 1 0 0 1e-26 0 0 1e-4\n" + kFirst + kSecond,
       ": note: 1 camera: ordinal 0: k3, p1, p2, b1 and b2 are not all there, and taken for 0."},
      {kCounts + "0 3600 2700 0 2500 0 0 1 0 0 1e-26 0 0 1e-4 0\n" + kFirst + kSecond, ""},
      {kCounts + "0 3600 2700 0 2500 0 0 0 0 0 x\n" + kFirst + kSecond, ""},
      {kCounts + "0 3600 2700 0 0 0 0 0 0 0\n" + kFirst + kSecond,
       ": note: 1 camera: ordinal 0: left out, for the focal length is not above 0 and at most 1e6.\n"
       ": note: 2 images: A and B: left out with the camera."},
      {kCounts + kCamera + kFirst + "8 0\nx/B.b.jpg\n1 0 0 0 1 0 0 0 1\n0 0.0 -0\n",
       ": note: 1 image: B.b: left out, for the position is 0 0 0."},
      {kCounts + kCamera + kFirst + "8 0\nmy/images/B 1.jpg\n1 0 0 0 1 0 0 0 1\n1 2 3\n",
       ": note: 1 image: B: the path holds a blank, which ends the name."},
  };
  ExpectRows(rows, false);
}

TEST(ProjectHead, AnyLineDroppedOrDoubledIsFound) {
  ScratchFolder folder;
  const std::string good = kCounts + kCamera + kFirst + kSecond;
  for (int line = 1; line <= LineNum(good); ++line) {
    for (const std::string& text : {DropLine(good, line), DoubleLine(good, line)}) {
      WriteFile(folder / "head", text);
      ProjectHead head;
      const std::vector<Finding> findings = CheckProjectHead(folder / "head", false, head);
      ASSERT_TRUE(HasError(findings)) << text;
      EXPECT_GE(findings[0].nLine, line == 1 ? 1 : line - 1) << text;
    }
  }
}

}  // namespace
}  // namespace orvo::test
