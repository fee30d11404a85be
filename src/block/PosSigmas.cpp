#include "block/PosSigmas.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "base/PrintableName.h"
#include "base/Scan.h"
#include "base/TextReader.h"
#include "block/ImageNameIndex.h"
#include "block/PosLine.h"

namespace orvo {
namespace {

constexpr size_t kColumns = 6;

/// The words behind the strip, one more than there can be at most.
std::vector<std::string_view> ColumnsOf(std::string_view line) {
  FieldScanner fields(line);
  std::string_view word;
  int32_t strip = 0;
  fields.Word(word);
  for (int i = 0; i < 6; ++i) fields.SkipReal();
  std::vector<std::string_view> columns;
  if (!fields.Int(strip) || !fields.NumbersAreWhole()) return columns;
  while (columns.size() <= kColumns && fields.Word(word)) columns.push_back(word);
  return columns;
}

/// False where the word is none.
bool ParseSigma(std::string_view word, double& sigma) {
  FieldScanner field(word);
  double value = 0;
  if (!field.Real(value) || !field.NumbersAreWhole() || !std::isfinite(value)) return false;
  sigma = value < 0 ? std::numeric_limits<double>::infinity() : value;
  return value < 0 || (value >= kLeastPosSigma && value <= kLargestPosSigma);
}

std::vector<std::string_view> NamesOf(const ImageTable& images) {
  std::vector<std::string_view> names;
  names.reserve(images.pImageNames.size());
  for (const ImageShortName& name : images.pImageNames)
    names.emplace_back(name.sz, strnlen(name.sz, sizeof(name.sz)));
  return names;
}

/// -1 where no kept image is called so.
int32_t ImageOf(std::string_view name, const ImageNameIndex& index, const ImageTable& images) {
  const int32_t ordinal = index.Find(name);
  if (ordinal < 0 || static_cast<size_t>(ordinal) >= images.pImageIndex.size()) return -1;
  const int32_t image = images.pImageIndex[static_cast<size_t>(ordinal)];
  return image < images.nImageNum ? image : -1;
}

}  // namespace

std::string ParsePosSigma(std::string_view line, PosSigma& sigma) {
  sigma = {};
  const std::vector<std::string_view> columns = ColumnsOf(line);
  if (columns.empty()) return {};
  if (columns.size() != 3 && columns.size() != kColumns)
    return "behind the strip are not three or six columns";
  PosSigma told;
  // The angles of a line are omega, phi, kappa.
  double* const places[kColumns] = {&told.Position[0], &told.Position[1], &told.Position[2],
                                    &told.Angles[1],   &told.Angles[0],   &told.Angles[2]};
  for (size_t i = 0; i < columns.size(); ++i) {
    if (!ParseSigma(columns[i], *places[i]))
      return "'" + PrintableName(columns[i]) + "' is no standard deviation";
  }
  for (double& angle : told.Angles) angle = PosRadians(angle);
  sigma = told;
  return {};
}

PosSigmas ReadPosSigmas(const std::string& pos, const ImageTable& images, InputFiles& inputs) {
  PosSigmas sigmas;
  TextReader file(&inputs);
  if (pos.empty() || !file.Open(pos)) return sigmas;
  sigmas.vByImage.resize(images.Kept().size());
  const std::vector<std::string_view> names = NamesOf(images);
  const ImageNameIndex index(names);
  std::string_view line;
  for (int64_t number = 1; sigmas.vFaults.size() < kMostPosSigmaFaults && file.Next(line);
       number += file.LineEnded() ? 1 : 0) {
    std::string_view name;
    if (!FieldScanner(line).Word(name)) continue;
    PosSigma told;
    std::string fault = ParsePosSigma(line, told);
    if (!fault.empty()) sigmas.vFaults.push_back({number, std::move(fault)});
    const int32_t image = ImageOf(name, index, images);
    if (image >= 0) sigmas.vByImage[static_cast<size_t>(image)] = told;
  }
  return sigmas;
}

}  // namespace orvo
