#include "exchange/ExchangeOptions.h"

#include <array>
#include <utility>

namespace orvo::exchange {
namespace {

constexpr std::array kModes = {std::pair("correct", DistortionMode::Correct),
                               std::pair("fit", DistortionMode::Fit),
                               std::pair("drop", DistortionMode::Drop)};
constexpr std::array kFrames = {std::pair("as-is", FrameKind::AsIs),
                                std::pair("projected", FrameKind::Projected),
                                std::pair("topocentric", FrameKind::Topocentric)};
constexpr std::array kCameras = {
    std::pair("automatic", CameraChoice::Automatic), std::pair("original", CameraChoice::Original),
    std::pair("refit", CameraChoice::Refit), std::pair("pinhole", CameraChoice::Pinhole)};

template <class Table, class Value>
const char* NameIn(const Table& table, Value value) {
  for (const auto& [name, entry] : table) {
    if (entry == value) return name;
  }
  return "";
}

template <class Value, class Table>
std::optional<Value> ValueIn(const Table& table, const std::string& name) {
  for (const auto& [entry, value] : table) {
    if (name == entry) return value;
  }
  return {};
}

}  // namespace

const char* NameOf(DistortionMode mode) { return NameIn(kModes, mode); }
const char* NameOf(FrameKind kind) { return NameIn(kFrames, kind); }

std::optional<DistortionMode> DistortionModeOf(const std::string& name) {
  return ValueIn<DistortionMode>(kModes, name);
}

std::optional<FrameKind> FrameKindOf(const std::string& name) { return ValueIn<FrameKind>(kFrames, name); }

std::optional<CameraChoice> CameraChoiceOf(const std::string& name) {
  return ValueIn<CameraChoice>(kCameras, name);
}

}  // namespace orvo::exchange
