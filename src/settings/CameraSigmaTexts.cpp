#include "settings/CameraSigmaTexts.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/Scan.h"
#include "settings/SettingTexts.h"
#include "settings/ValueTexts.h"

namespace orvo {
namespace {

std::string NoList() { return std::string("no list of cameras: write ") + kCameraSigmaForm; }

std::string ReadEntry(std::string_view entry, CameraSigma& sigma) {
  const size_t equals = entry.find('=');
  if (equals == std::string_view::npos || !ReadWholeNumber(entry.substr(0, equals), sigma.nCamera).empty() ||
      sigma.nCamera < 0)
    return NoList();
  if (const std::string fault = ReadDecimal(entry.substr(equals + 1), sigma.fSigma); !fault.empty())
    return fmt::format("{} for camera {}", fault, sigma.nCamera);
  return {};
}

}  // namespace

std::string CameraSigmaText(const CameraSigmas& sigmas) {
  std::string text;
  for (const CameraSigma& one : sigmas)
    text += fmt::format("{}{}={}", text.empty() ? "" : " ", one.nCamera, one.fSigma);
  return text.empty() ? "none" : text;
}

std::string ReadCameraSigmas(std::string_view text, double least, double most, CameraSigmas& sigmas) {
  CameraSigmas read;
  FieldScanner fields(text);
  std::string_view entry;
  const bool none = text == "none";
  while (!none && fields.Word(entry)) {
    CameraSigma one;
    if (std::string fault = ReadEntry(entry, one); !fault.empty()) return fault;
    if (!(one.fSigma >= least && one.fSigma <= most))
      return fmt::format("outside of what camera {} can have: a number from {} to {}", one.nCamera,
                         PlainNumber(least), PlainNumber(most));
    if (std::ranges::find(read, one.nCamera, &CameraSigma::nCamera) != read.end())
      return fmt::format("no list with each camera once: camera {} stands there twice", one.nCamera);
    read.push_back(one);
  }
  if (read.empty() && !none) return NoList();
  std::ranges::sort(read, {}, &CameraSigma::nCamera);
  sigmas = std::move(read);
  return {};
}

}  // namespace orvo
