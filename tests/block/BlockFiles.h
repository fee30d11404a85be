// Small blocks as files, and a block that remembers what it logged.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "block/BlockParts.h"
#include "block/OvtFile.h"
#include "support/TestFiles.h"

namespace orvo::test {

/// A block whose messages can be read.
template <typename Block>
class Logged {
 public:
  explicit Logged(int64_t freeBytes = int64_t{1} << 40)
      : console(open_memstream(&text, &length)), block(MadeUpPlatform(freeBytes, 1), console) {}
  ~Logged() {
    std::fclose(console);
    std::free(text);
  }
  Logged(const Logged&) = delete;
  Logged& operator=(const Logged&) = delete;

  Block* operator->() { return &block; }
  Block& operator*() { return block; }
  /// Everything logged since the last call.
  std::string Log() {
    std::fflush(console);
    const std::string all(text, length);
    const std::string fresh = all.substr(seen);
    seen = all.size();
    return fresh;
  }

 private:
  char* text = nullptr;
  size_t length = 0, seen = 0;
  std::FILE* console;
  Block block;
};
using LoggedBlock = Logged<BlockParts>;

inline const std::string kCamera = "0 4000 3000 0 50000 10 -20 0 1e-9 1e-15\n";

/// The four lines of an image that looks straight down.
inline std::string ImageText(int id, int camera, const std::string& position = "100 200 300") {
  return std::to_string(id) + " " + std::to_string(camera) + "\nd/img" + std::to_string(id) +
         ".tif\n1 0 0 0 1 0 0 0 1\n" + position + "\n";
}

struct MeasureText {
  int image;
  double x, y;
};

/// The lines of a point.
inline std::string PointText(const std::string& name, int type, const std::vector<MeasureText>& measures,
                             const std::string& position = "1 2 3") {
  std::string text =
      name + " " + position + " " + std::to_string(type) + "\n" + std::to_string(measures.size()) + "\n";
  char line[100];
  for (const MeasureText& m : measures) {
    std::snprintf(line, sizeof line, "%d %.9g %.9g\n", m.image, m.x, m.y);
    text += line;
  }
  return text;
}

/// A project of one camera and `imageNum` images, with points behind.
inline std::string ProjectText(int imageNum, int pointNum, const std::string& points) {
  std::string text = std::to_string(imageNum) + " 1 " + std::to_string(pointNum) + "\n" + kCamera;
  for (int i = 0; i < imageNum; ++i) text += ImageText(i, 0);
  return text + points;
}

inline OvtPoint MakeOvtPoint(const char* name, int type, int imagePointNum, int firstImagePoint) {
  OvtPoint point;
  std::snprintf(point.szName, sizeof point.szName, "%s", name);
  point.X = 1;
  point.Y = 2;
  point.Z = 3;
  point.nType = type;
  point.nImagePointNum = imagePointNum;
  point.nFirstImagePoint = firstImagePoint;
  return point;
}

inline std::string OvtBytes(const std::vector<OvtPoint>& points, const std::vector<OvtMeasure>& measures) {
  std::string bytes(static_cast<size_t>(kOvtHeaderBytes), '\0');
  EncodeOvtHeader(static_cast<int32_t>(points.size()), static_cast<int32_t>(measures.size()), bytes.data());
  std::string record(static_cast<size_t>(kOvtPointBytes), '\0');
  for (const OvtPoint& point : points) {
    EncodeOvtPoint(point, record.data());
    bytes += record;
  }
  record.resize(static_cast<size_t>(kOvtMeasureBytes));
  for (const OvtMeasure& measure : measures) {
    EncodeOvtMeasure(measure, record.data());
    bytes += record;
  }
  return bytes;
}

/// Files of one project in a folder of its own, and the steps that read them.
struct ProjectFiles {
  ScratchFolder folder;
  std::string szText = folder / "block.prj";
  std::string szOvc = folder / "block.ovc";
  std::string szOvt = folder / "block.ovt";
  std::string szGcp = folder / "gcp.txt";

  /// Counts, images and cameras; one section unless the memory is small.
  static void ReadAll(BlockParts& block, const std::string& project, const std::string& gcp) {
    block.Count(project, gcp);
    block.ReadTables(project);
    block.Plan();
  }
};

}  // namespace orvo::test
