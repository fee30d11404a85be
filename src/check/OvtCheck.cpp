#include "check/OvtCheck.h"

#include <vector>

#include "block/OvtFacts.h"
#include "block/OvtFile.h"

namespace orvo {
namespace {

constexpr int64_t kAtOnce = 16384;

Finding At(const std::string& path, int64_t byte, std::string what, std::string remedy) {
  return {Severity::Error, path, 0, byte, std::move(what), std::move(remedy)};
}

std::optional<Finding> FindBrokenPoint(const std::string& path, const OvtReader& file) {
  std::vector<char> records(static_cast<size_t>(kAtOnce * kOvtPointBytes));
  OvtPointRun run;
  for (int64_t first = 0; first < file.PointNum();) {
    const int64_t read = file.ReadPoints(first, kAtOnce, records.data());
    if (read == 0) return At(path, -1, "the file can't be read to its end", "Copy it anew");
    for (int64_t i = 0; i < read; ++i) {
      const char* record = records.data() + i * kOvtPointBytes;
      run.Add(record);
      const OvtPoint point = DecodeOvtPoint(record);
      const int64_t byte = kOvtHeaderBytes + (first + i) * kOvtPointBytes;
      if (run.bBroken || run.nEnd > file.MeasureNum() || run.nFirst > 0) {
        return At(path, byte,
                  "point " + std::to_string(first + i) + " (" + point.szName + ") has " +
                      std::to_string(point.nImagePointNum) + " measurements from index " +
                      std::to_string(point.nFirstImagePoint) +
                      " on, which don't follow those of the point before it, or a number that can't be",
                  "Write the file anew");
      }
    }
    first += read;
  }
  if (run.nEnd == file.MeasureNum()) return {};
  return At(path, -1,
            "the points have " + std::to_string(run.nEnd) + " of " + std::to_string(file.MeasureNum()) +
                " measurements",
            "Write the file anew");
}

std::optional<Finding> FindBrokenMeasure(const std::string& path, const OvtReader& file, int64_t imageNum) {
  std::vector<char> records(static_cast<size_t>(kAtOnce * kOvtMeasureBytes));
  for (int64_t first = 0; first < file.MeasureNum();) {
    const int64_t read = file.ReadMeasures(first, kAtOnce, records.data());
    if (read == 0) return At(path, -1, "the file can't be read to its end", "Copy it anew");
    for (int64_t i = 0; i < read; ++i) {
      const char* record = records.data() + i * kOvtMeasureBytes;
      const int64_t byte =
          kOvtHeaderBytes + kOvtPointBytes * file.PointNum() + (first + i) * kOvtMeasureBytes;
      const int32_t image = DecodeOvtImageOrdinal(record);
      if (image < 0 || image >= imageNum) {
        return At(
            path, byte,
            "measurement " + std::to_string(first + i) + " is on image " + std::to_string(image) +
                ", which there is not",
            "Images are referred to by their place in the .ovc, from 0 to " + std::to_string(imageNum - 1));
      }
      if (!OvtMeasureIsFinite(record)) {
        return At(path, byte, "measurement " + std::to_string(first + i) + " is not finite",
                  "Leave it out where the file is made");
      }
    }
    first += read;
  }
  return {};
}

}  // namespace

std::optional<Finding> CheckOvtSize(const std::string& path) {
  InputFile bytes;
  OvtReader file;
  if (!bytes.Open(path) || !file.Open(path)) {
    return At(path, -1, "the file can't be read", "An .ovc project needs its .ovt file beside it");
  }
  const int64_t size = bytes.Size(), points = file.HeaderPointNum(), measures = file.HeaderMeasureNum();
  if (size < kOvtHeaderBytes) return At(path, -1, "the file is too short for its two counts", "Copy it anew");
  if (points < 0 || measures < 0) {
    return At(path, 0,
              "the counts are " + std::to_string(points) + " points and " + std::to_string(measures) +
                  " measurements",
              "Look whether the file is an .ovt");
  }
  const int64_t wanted = kOvtHeaderBytes + kOvtPointBytes * points + kOvtMeasureBytes * measures;
  if (wanted == size) return {};
  return At(path, -1,
            std::to_string(points) + " points and " + std::to_string(measures) + " measurements take " +
                std::to_string(wanted) + " bytes, and the file has " + std::to_string(size),
            size < wanted ? "It was cut off: copy it anew" : "Write or copy it anew");
}

std::optional<Finding> FindFaultOfOvt(const std::string& path, int64_t imageNum) {
  if (auto size = CheckOvtSize(path)) return size;
  OvtReader file;
  if (!file.Open(path)) return At(path, -1, "the file can't be read", "Check its path and permissions");
  if (auto point = FindBrokenPoint(path, file)) return point;
  return FindBrokenMeasure(path, file, imageNum);
}

}  // namespace orvo
