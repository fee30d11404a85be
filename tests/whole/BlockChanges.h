// Changes of the text files of a generated block.
#pragma once

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "support/Block.h"

namespace orvo::test {

using Fields = std::vector<std::string>;
using Lines = std::vector<Fields>;

inline Lines ReadLines(const std::string& path) {
  Lines lines;
  std::istringstream text(ReadFile(path));
  for (std::string line; std::getline(text, line);) {
    std::istringstream words(line);
    Fields& fields = lines.emplace_back();
    for (std::string word; words >> word;) fields.push_back(word);
  }
  return lines;
}

inline void WriteLines(const std::string& path, const Lines& lines) {
  std::string text;
  for (const auto& fields : lines) {
    for (const std::string& field : fields) text += field + ' ';
    text += '\n';
  }
  WriteFile(path, text);
}

inline std::string Text(double value) {
  std::ostringstream out;
  out.precision(17);
  out << value;
  return out.str();
}

inline void Add(std::string& number, double value) { number = Text(std::stod(number) + value); }

/// The rows of the points of a GCP file.
inline std::vector<size_t> PointRows(const Lines& gcp) {
  std::vector<size_t> rows;
  for (size_t row = 1; row + 1 < gcp.size() && gcp[row].size() >= 5;) {
    rows.push_back(row);
    row += 2 + std::stoul(gcp[row + 1].at(0));
  }
  return rows;
}

inline void ChangeGcp(Block& block, const std::function<void(Lines&, const std::vector<size_t>&)>& change) {
  Lines gcp = ReadLines(block.Paths().szGcp);
  change(gcp, PointRows(gcp));
  WriteLines(block.Paths().szGcp, gcp);
}

inline constexpr size_t kMeasurements = 4;

/// Calls change(fields) for the lines of the images' `line` of four, or with kMeasurements for those of the
/// tie points' measurements: image, x, y.
inline void ChangeProject(Block& block, size_t line, const std::function<void(Fields&)>& change) {
  Lines project = ReadLines(block.Paths().szText);
  const size_t images = std::stoul(project[0][0]), cameras = std::stoul(project[0][1]);
  size_t row = 1 + cameras;
  for (size_t i = 0; i < images; ++i, row += 4) {
    if (line < kMeasurements) change(project[row + line]);
  }
  while (line >= kMeasurements && row + 1 < project.size() && project[row].size() >= 4) {
    const size_t count = std::stoul(project[row + 1].at(0));
    for (size_t m = 0; m < count; ++m) change(project[row + 2 + m]);
    row += 2 + count;
  }
  WriteLines(block.Paths().szText, project);
}

}  // namespace orvo::test
