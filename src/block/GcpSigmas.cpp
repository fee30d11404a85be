#include "block/GcpSigmas.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/Scan.h"
#include "base/TextReader.h"
#include "block/ProjectText.h"

namespace orvo {

GcpSigma ParseGcpSigma(std::string_view line) {
  GcpSigma sigma;
  bool whole = false;
  std::ranges::copy(ParsePointLine(line, whole).szName, sigma.szName);
  FieldScanner fields(line);
  std::string_view name;
  int32_t type = 0;
  fields.Word(name);
  for (int i = 0; i < 3; ++i) fields.SkipReal();
  fields.Int(type);
  std::array<double, 3> values{};
  for (double& value : values) whole = fields.Real(value) && std::isfinite(value) && whole;
  if (!whole || !fields.NumbersAreWhole()) return sigma;
  for (size_t i = 0; i < values.size(); ++i)
    sigma.Sigma[i] = values[i] < 0 ? std::numeric_limits<double>::infinity() : values[i];
  return sigma;
}

std::vector<GcpSigma> ReadGcpSigmas(const std::string& gcp, InputFiles& inputs) {
  std::vector<GcpSigma> sigmas;
  TextReader file(&inputs);
  if (gcp.empty() || !file.Open(gcp)) return sigmas;
  const int32_t count = ReadGcpCount(file);
  std::string_view line;
  for (int32_t g = 0; g < count && file.Next(line); ++g) {
    sigmas.push_back(ParseGcpSigma(line));
    SkipMeasures(file);
  }
  return sigmas;
}

}  // namespace orvo
