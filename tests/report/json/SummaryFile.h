// Summaries on their way through files.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "report/json/SummaryJson.h"
#include "report/json/SummaryReading.h"
#include "support/TestFiles.h"

namespace orvo::test {

inline std::string SummaryOf(const report::RunFigures& figures) {
  const ScratchFolder folder;
  TextWriter file;
  EXPECT_TRUE(file.Open(folder / "summary.json"));
  report::WriteSummary(figures, file);
  EXPECT_TRUE(file.Close());
  return ReadFile(folder / "summary.json");
}

inline report::SummaryOrFault ReadBack(const std::string& summary) {
  const ScratchFolder folder;
  WriteFile(folder / "summary.json", summary);
  InputFiles inputs;
  return report::ReadSummary(folder / "summary.json", inputs);
}

/// Empty where it can be read.
inline std::string FaultOf(const std::string& summary) {
  const report::SummaryOrFault read = ReadBack(summary);
  return std::holds_alternative<std::string>(read) ? std::get<std::string>(read) : std::string();
}

/// Pointers to all values of a document, of arrays to the first element only.
inline std::vector<nlohmann::json::json_pointer> PlacesOf(
    const nlohmann::json& document, const nlohmann::json::json_pointer& at = nlohmann::json::json_pointer()) {
  std::vector<nlohmann::json::json_pointer> places;
  const auto add = [&](const auto& key) {
    places.push_back(at / key);
    const auto more = PlacesOf(document[key], at / key);
    places.insert(places.end(), more.begin(), more.end());
  };
  if (document.is_object()) {
    for (const auto& [key, value] : document.items()) add(key);
  } else if (document.is_array() && !document.empty()) {
    add(size_t{0});
  }
  return places;
}

}  // namespace orvo::test
