// A table of control points in a folder with a small project, to be imported there.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "exchange/ExchangeFault.h"
#include "exchange/crs/CoordinateSystems.h"
#include "exchange/survey/Survey.h"
#include "support/Console.h"
#include "support/TestFiles.h"

namespace orvo::test {

inline const std::string kGcpProject =
    "3 1 0\n0 4000 3000 0 5000 0 0 0 0 0\n"
    "0 0\nimages/IMG_1.jpg\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "1 0\nimages/IMG_2.jpg\n1 0 0 0 1 0 0 0 1\n1 2 3\n"
    "2 0\nother/IMG_2.jpg\n1 0 0 0 1 0 0 0 1\n1 2 3\n";

/// The import into GCP.txt of a folder; what it says.
struct GcpTable {
  ScratchFolder Folder;
  exchange::ImportOptions Options;
  Console Out, Err;

  explicit GcpTable(const std::string& table) {
    WriteFile(Folder / "block.prj", kGcpProject);
    WriteFile(Folder / "points.csv", table);
    Options.szSource = Folder / "points.csv";
    Options.szOut = Folder / "GCP.txt";
    Options.szProject = Folder / "block.prj";
  }
  std::string Run() {
    exchange::ExchangeLog log(Out.Stream(), Err.Stream());
    exchange::ImportGcp(Options, log);
    return ReadFile(Options.szOut);
  }
  /// "line: what" of what is refused, empty where nothing is.
  std::string Fault() {
    try {
      Run();
    } catch (const exchange::ExchangeFault& fault) {
      EXPECT_FALSE(Exists(Options.szOut));
      return std::to_string(fault.What.nLine) + ": " + fault.What.szWhat;
    }
    return {};
  }
};

class GcpFrames : public testing::Test {
 protected:
  void SetUp() override {
    if (!exchange::HasCoordinateSystems()) GTEST_SKIP() << "built without PROJ";
  }
};

inline const std::string kList =
    "EPSG:32611\n235269.88 3811198.11 0 2100 1400 IMG_1.jpg P1\n235248.03 3811227.25 10 2100 1500 IMG_1.jpg\n"
    "235248.03 3811227.25 10 2100 1500 images/IMG_2.jpg\n";

}  // namespace orvo::test
