#include <gtest/gtest.h>

#include "report/SampleFigures.h"
#include "report/json/SameFigures.h"
#include "report/json/SummaryFile.h"

namespace orvo::test {
namespace {

using nlohmann::json;

json Sample() { return json::parse(SummaryOf(MakeSampleFigures(12))); }

std::string FaultWith(json summary, const std::string& place, const json& value) {
  summary[json::json_pointer(place)] = value;
  return FaultOf(summary.dump());
}

TEST(SummaryReading, TellsWhatIsWrongWithItsPath) {
  const json summary = Sample();
  const struct {
    const char* szPlace;
    json Value;
    const char* szFault;
  } cases[] = {
      {"/form", "geojson", "it is no summary of a run"},
      {"/version", "2.0", "it is of version \"2.0\" of the form, and this program reads 1.x"},
      {"/version", "1.x", "it is of version \"1.x\" of the form, and this program reads 1.x"},
      {"/version", "1.", "it is of version \"1.\" of the form"},
      {"/version", "1", "it is of version \"1\" of the form"},
      {"/version", "1.0.1", "it is of version \"1.0.1\" of the form"},
      {"/version", "1.0 ", "it is of version \"1.0 \" of the form"},
      {"/version", "10.0", "it is of version \"10.0\" of the form"},
      {"/version", 1, "it is of version \"\" of the form"},
      {"/seconds", "long", "seconds has to be a number or null"},
      {"/counts/images", -1, "counts.images has to be a whole number from 0 to 2147483647"},
      {"/counts/images", 2147483648, "counts.images has to be a whole number"},
      {"/counts/images", 12.0, "counts.images has to be a whole number"},
      {"/counts/measurements", 18446744073709551615u, "counts.measurements has to be a whole number"},
      {"/images", 5, "images has to be an array"},
      {"/images", json::object(), "images has to be an array"},
      {"/images/3", nullptr, "images[3] has to be an object"},
      {"/images/3/name", 7, "images[3].name has to be a text"},
      {"/images/3/camera", 2, "images[3].camera is 2, but there are 2 cameras"},
      {"/images/3/camera", -2, "images[3].camera has to be a whole number from -1 to 2147483647"},
      {"/images/3/mean", {1, 2, 3}, "images[3].mean has to be 2 values"},
      {"/images/3/mean", {1}, "images[3].mean.y is missing"},
      {"/images/3/mean/1", "x", "images[3].mean.y has to be a number or null"},
      {"/images/3/footprint/2", 1, "images[3].footprint[2] has to be an array"},
      {"/images/3/footprint", json::array(), "images[3].footprint has to have 4 elements"},
      {"/cameras", json::array(), "images[0].camera is 0, but there are 0 cameras"},
      {"/cameras/1/field", {{1, 2, 3}}, "cameras[1].field has to have no element or 300"},
      {"/cameras/1/field/7/0", -1, "cameras[1].field[7].count has to be a whole number"},
      {"/cameras/0/rings", json::array({0}), "cameras[0].rings[0] has to be an object"},
      {"/pos", true, "pos has to be an object"},
      {"/pos/images/0/image", 12, "pos.images[0].image is 12, but there are 12 images"},
      {"/pos/images/0/image", -1, "pos.images[0].image has to be a whole number from 0"},
      {"/pos/strips", nullptr, "pos.strips has to be an array"},
      {"/points/cells/1/column", 0, "points.cells[1].column is not behind the cell before"},
      {"/points/rays/step", 0, "points.rays has to have a first value, and a step above 0"},
      {"/residuals/histogram_x/first", nullptr, "residuals.histogram_x has to have a first value"},
      {"/verdict/result", "fine", "verdict.result has to be one of \"good\", \"doubtful\", \"unusable\""},
      {"/phases/0/phase", 1, "phases[0].phase has to be one of \"reading\""},
      {"/findings/0/offset", -2, "findings[0].offset has to be a whole number from -1"}};
  for (const auto& each : cases) {
    const std::string fault = FaultWith(summary, each.szPlace, each.Value);
    EXPECT_NE(fault.find(each.szFault), std::string::npos) << each.szPlace << ": " << fault;
  }
}

TEST(SummaryReading, CountsOneInTheSingular) {
  json summary = Sample();
  summary["cameras"] = json::array({summary["cameras"][0]});
  EXPECT_NE(FaultWith(summary, "/images/3/camera", 1).find("is 1, but there is 1 camera"), std::string::npos)
      << FaultWith(summary, "/images/3/camera", 1);
}

TEST(SummaryReading, TakesEveryVersionOfItsNumber) { EXPECT_EQ(FaultWith(Sample(), "/version", "1.12"), ""); }

TEST(SummaryReading, TellsTheLineOfAnElement) {
  std::string text = SummaryOf(MakeSampleFigures(12));
  const size_t at = text.find("\"name\":\"s1_1002.tif\",\"camera\":0");
  ASSERT_NE(at, std::string::npos);
  const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(at), '\n');
  text.replace(text.find("\"camera\":0", at), 10, "\"camera\":{}");
  EXPECT_EQ(FaultOf(text), "line " + std::to_string(line) +
                               ": images[2].camera has to be a whole number from -1 to 2147483647");
}

TEST(SummaryReading, WantsEveryKey) {
  const json summary = Sample();
  size_t taken = 0;
  for (const auto& place : PlacesOf(summary)) {
    json without = summary;
    json& parent = without[place.parent_pointer()];
    if (!parent.is_object() || place.to_string() == "/precision") continue;
    parent.erase(place.back());
    const std::string fault = FaultOf(without.dump());
    EXPECT_NE(fault.find(place.back()), std::string::npos) << place << ": " << fault;
    ++taken;
  }
  EXPECT_GT(taken, 200u);
}

/// Files of version 1.0 know no precision.
TEST(SummaryReading, TakesWhatCameLaterAsNone) {
  json summary = Sample();
  summary.erase("precision");
  summary["version"] = "1.0";
  const report::SummaryOrFault read = ReadBack(summary.dump());
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read)) << std::get<std::string>(read);
  report::RunFigures expected = MakeSampleFigures(12);
  expected.Precision.reset();
  EXPECT_TRUE(Same(std::get<report::RunFigures>(read), expected));
}

TEST(SummaryReading, RefusesEveryOtherKind) {
  const json summary = Sample();
  size_t changed = 0;
  for (const auto& place : PlacesOf(summary)) {
    // Of another kind than any value of the form.
    const json& value = summary[place];
    const json other = value.is_string() ? json(false) : json("text");
    EXPECT_NE(FaultWith(summary, place.to_string(), other), "") << place;
    ++changed;
  }
  EXPECT_GT(changed, 250u);
}

TEST(SummaryReading, PassesOverWhatIsNew) {
  json summary = Sample();
  summary["version"] = "1.7";
  summary["new"] = {{"deep", json::array({1, {{"images", {1, 2}}}, nullptr})}};
  summary["later"] = "text";
  summary["pos"]["new"] = json::array({{{"image", -5}}});
  summary["images"][0]["new"] = {{"name", 5}};
  summary["counts"]["new"] = true;
  std::string deep = summary.dump();
  deep.insert(1, "\"deep\":" + std::string(100000, '[') + std::string(100000, ']') + ",");
  const report::SummaryOrFault read = ReadBack(deep);
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read)) << std::get<std::string>(read);
  EXPECT_TRUE(Same(std::get<report::RunFigures>(read), MakeSampleFigures(12)));
}

TEST(SummaryReading, TakesKeysInEveryOrder) {
  // Sorted by their names: cameras before counts, points behind images.
  const report::SummaryOrFault read = ReadBack(Sample().dump());
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read)) << std::get<std::string>(read);
  EXPECT_TRUE(Same(std::get<report::RunFigures>(read), MakeSampleFigures(12)));
}

TEST(SummaryReading, RefusesWhatIsNoSummary) {
  const std::string sample = SummaryOf(MakeSampleFigures(12));
  const std::string begin = "{\"form\":\"orvo-summary\",\"version\":\"1.0\",";
  const struct {
    const char* szName;
    std::string szText;
    const char* szFault;
  } cases[] = {
      {"empty", "", "line 1: it is no JSON"},
      {"text", "hello", "it is no JSON"},
      {"a number", "5", "line 1: it is no summary, which is an object"},
      {"a list", "[]", "it is no summary, which is an object"},
      {"null", "null", "it is no summary, which is an object"},
      {"nothing in it", "{}", "it is no summary of a run: it has no \"form\""},
      {"no version", "{\"form\":\"orvo-summary\"}", "it is no summary of a run: it has no \"version\""},
      {"a little", begin.substr(0, begin.size() - 1) + "}", "program is missing"},
      {"cut", sample.substr(0, sample.size() / 2), "it is no JSON"},
      {"the last brace", sample.substr(0, sample.size() - 2), "it is no JSON"},
      {"something behind", sample + "x", "it is no JSON"},
      {"twice", sample + sample, "it is no JSON"},
      {"NaN", begin + "\"seconds\":NaN}", "it is no JSON"},
      {"huge", begin + "\"seconds\":1e999}", "it is no JSON"},
      {"no UTF-8", begin + "\"begin\":\"\xff\"}", "it is no JSON"},
      {"a key twice", begin + "\"begin\":\"a\",\"begin\":\"b\"}", "the key \"begin\" comes twice"},
      {"a list twice", begin + "\"images\":[],\"images\":[]}", "the key \"images\" comes twice"},
      {"twice in an element", begin + "\"images\":[{\"name\":\"a\",\"name\":\"b\"}]}",
       "\"name\" comes twice"},
      {"deep", begin + "\"counts\":" + std::string(100000, '['), "it is nested more deeply"},
      {"deep objects", begin + "\"images\":[" + std::string(9, '[') + "]", "it is nested more deeply"},
      {"deep lists of lists", begin + "\"images\":[[[", "it is no JSON"},
      {"many values",
       begin + "\"counts\":[0" +
           [] {
             std::string zeros;
             for (int k = 0; k < 200000; ++k) zeros += ",0";
             return zeros;
           }() +
           "]}",
       "it holds more values"}};
  for (const auto& each : cases) {
    const std::string fault = FaultOf(each.szText);
    EXPECT_NE(fault.find(each.szFault), std::string::npos) << each.szName << ": " << fault;
  }
}

TEST(SummaryReading, RefusesEveryBeginning) {
  const std::string sample = SummaryOf(MakeSampleFigures(12));
  for (size_t bytes = 0; bytes + 2 < sample.size(); bytes += 997)
    EXPECT_NE(FaultOf(sample.substr(0, bytes)), "") << bytes;
}

TEST(SummaryReading, TellsOfFilesThatCannotBeRead) {
  const ScratchFolder folder;
  InputFiles inputs;
  const auto fault = [&](const std::string& path) {
    return std::get<std::string>(report::ReadSummary(path, inputs));
  };
  EXPECT_EQ(fault(folder / "summary.json"), "there is no such file");
  EXPECT_EQ(fault(folder.Path()), "it cannot be read: it is a folder");
}

}  // namespace
}  // namespace orvo::test
