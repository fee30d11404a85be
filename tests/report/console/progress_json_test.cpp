// The lines of events for other programs.
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "report/console/ObserverList.h"
#include "report/console/ProgressJson.h"
#include "support/Console.h"

namespace orvo::test {
namespace {

using namespace report;
using Json = nlohmann::json;

/// What the events come to on a clock that is set by hand.
struct Written {
  Console Stream;
  double fNow = 0;
  ProgressJson Events{Stream.Stream(), [this] { return fNow; }};

  std::vector<Json> Lines() {
    std::vector<Json> lines;
    const std::string text = Stream.Text();
    EXPECT_TRUE(text.empty() || text.back() == '\n');
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      for (const char c : line) EXPECT_TRUE(c >= 0x20 && c < 0x7f) << line;
      lines.push_back(Json::parse(line));
    }
    return lines;
  }
};

TEST(ProgressJson, TellsEveryEventWithItsFields) {
  Written written;
  ObserverList all;
  all.Add(written.Events);
  written.Events.OnBegin();
  all.OnPhase(RunPhase::Reading);
  written.fNow = 1.25;
  BlockCounts counts;
  counts.nImages = 1;
  counts.nImagesInFile = 2;
  counts.nCameras = 3;
  counts.nCamerasInFile = 4;
  counts.nStrips = 5;
  counts.nTiePoints = 6;
  counts.nTiePointsInFile = 7;
  counts.nMeasurements = 8;
  counts.nControl = 9;
  counts.nCheck = 10;
  counts.nPosImages = 11;
  counts.nUnknowns = 12;
  counts.nRedundancy = 13;
  counts.nSections = 14;
  all.OnCounts(counts, {.nMost = 20, .fThreshold = 0.5});
  all.OnPhase(RunPhase::Iterating);
  written.fNow = 2;
  all.OnAdvance(1, 0.25);
  written.fNow = 3.25;
  IterationFigure figure;
  figure.nNumber = 1;
  figure.Rmse = {1.5, 2.5};
  figure.fLargest = 3.5;
  figure.nUsed = 100;
  figure.nGross = 10;
  figure.nSolverSteps = 77;
  figure.fDamping = 1e-8;
  figure.fSeconds = 2;
  all.OnIteration(figure);
  all.OnFinding({Severity::Warning, "f", 2, 3, "what", "do", "K001", 4});
  written.Events.OnMessage("Error!");
  written.Events.OnFailure("no disk");
  all.OnEnd(RunFigures());
  const Verdict verdict{true, Grade::Doubtful, {{Grade::Doubtful, "much", "5 px", "Look"}}};
  written.Events.OnExit(&verdict, 3);
  const std::vector<Json> expected = {
      Json::parse(R"({"event":"begin","seconds":0.0,"version":1})"),
      Json::parse(R"({"event":"phase","seconds":0.0,"phase":"reading","done":0.0,"left":null})"),
      Json::parse(R"({"event":"counts","seconds":1.25,"images":1,"images_in_file":2,"cameras":3,
        "cameras_in_file":4,"strips":5,"tie_points":6,"tie_points_in_file":7,"measurements":8,"control":9,
        "check":10,"pos_images":11,"unknowns":12,"redundancy":13,"sections":14,"iterations_at_most":20,
        "threshold":0.5})"),
      Json::parse(R"({"event":"phase","seconds":1.25,"phase":"iterating","done":0.0,"left":null})"),
      Json::parse(R"({"event":"advance","seconds":2.0,"iteration":1,"share":0.25,"done":0.0,"left":null})"),
      {},
      Json::parse(R"({"event":"finding","seconds":3.25,"weight":"warning","code":"K001","file":"f","line":2,
        "column":4,"byte":3,"what":"what","remedy":"do"})"),
      Json::parse(R"({"event":"message","seconds":3.25,"text":"Error!"})"),
      Json::parse(R"({"event":"failure","seconds":3.25,"message":"no disk"})"),
      Json::parse(R"({"event":"end","seconds":3.25,"verdict":"doubtful","reasons":
        [{"grade":"doubtful","what":"much","limit":"5 px","remedy":"Look"}],"exit":3})")};
  std::vector<Json> lines = written.Lines();
  ASSERT_EQ(lines.size(), expected.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    if (i == 5) continue;
    EXPECT_EQ(lines[i], expected[i]) << i;
  }
  Json& iteration = lines[5];
  // 19 more of 2 s, and what follows.
  EXPECT_GE(iteration["left"].get<double>(), 38);
  EXPECT_LT(iteration["done"].get<double>(), 3.25 / (3.25 + 38));
  EXPECT_GT(iteration["done"].get<double>(), 0);
  iteration.erase("left");
  iteration.erase("done");
  EXPECT_EQ(iteration, Json::parse(R"({"event":"iteration","seconds":3.25,"iteration":1,
    "rmse":{"x":1.5,"y":2.5},"largest":3.5,"used":100,"gross":10,"solver_steps":77,"damping":1e-8,"took":2.0})"));
}

TEST(ProgressJson, ALineIsJsonWhateverTheNamesAndNumbers) {
  Written written;
  const std::string name = std::string("a\"\\\x01\n\x7f\xff\xc3\x28 \xe6\x97\xa5</script>") + '\0' + "z";
  written.Events.OnFinding({Severity::Note, name, 0, -1, name, name, name, 0});
  written.Events.OnFailure(name);
  IterationFigure figure;
  figure.nNumber = 1;
  figure.Rmse = {NAN, INFINITY};
  figure.fLargest = -INFINITY;
  figure.fDamping = NAN;
  figure.fSeconds = NAN;
  written.Events.OnIteration(figure);
  written.Events.OnExit(nullptr, 1);
  const std::vector<Json> lines = written.Lines();
  ASSERT_EQ(lines.size(), 4u);
  const std::string shown =
      std::string("a\"\\\x01\n\x7f\xef\xbf\xbd\xef\xbf\xbd( \xe6\x97\xa5</script>") + '\0' + "z";
  EXPECT_EQ(lines[0]["file"], shown);
  EXPECT_EQ(lines[1]["message"], shown);
  for (const char* key : {"largest", "damping", "took"}) EXPECT_TRUE(lines[2][key].is_null()) << key;
  EXPECT_TRUE(lines[2]["rmse"]["x"].is_null());
  EXPECT_TRUE(lines[3]["verdict"].is_null());
  EXPECT_EQ(lines[3]["exit"], 1);
}

TEST(ProgressJson, AdvancesAreFew) {
  Written quick, slow;
  quick.Events.OnPhase(RunPhase::Iterating);
  slow.Events.OnPhase(RunPhase::Iterating);
  for (int i = 0; i <= 10000; ++i) {
    quick.fNow = i * 0.0001;
    quick.Events.OnAdvance(1, i / 10000.0);
    slow.fNow = i * 1.0;
    slow.Events.OnAdvance(1, i / 10000.0);
  }
  EXPECT_GE(quick.Lines().size(), 10u) << "ten a second";
  EXPECT_LE(quick.Lines().size(), 12u);
  EXPECT_GE(slow.Lines().size(), 100u) << "each percent";
  EXPECT_LE(slow.Lines().size(), 103u);
}

}  // namespace
}  // namespace orvo::test
