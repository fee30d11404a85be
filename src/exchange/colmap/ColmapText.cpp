// cameras.txt, images.txt, points3D.txt.
#include <limits>
#include <unordered_set>

#include "base/PrintableName.h"
#include "exchange/LongLines.h"
#include "exchange/colmap/ColmapCameras.h"
#include "exchange/colmap/ColmapTables.h"

namespace orvo::exchange {
namespace {

constexpr int64_t kMostId = std::numeric_limits<uint32_t>::max();
constexpr char kWriteAgain[] = "Write the model again with colmap model_converter";

/// All measurements of all images.
class TextMeasurements : public ColmapMeasurements {
 public:
  bool At(size_t image, uint64_t place, ColmapPoint2D& point) const override {
    const size_t first = First[image], end = First[image + 1];
    if (place >= end - first) return false;
    point = All[first + place];
    return true;
  }
  std::vector<ColmapPoint2D> All;
  std::vector<size_t> First = {0};
};

void ReadCameras(const std::string& path, ColmapTables& tables) {
  LongLines lines(path);
  std::string_view line;
  while (lines.NextMeant(line)) {
    StrictFields fields(line);
    ForeignCamera camera;
    std::string_view name;
    int64_t width = 0, height = 0;
    if (!fields.Int(camera.nId) || camera.nId < 0 || camera.nId > kMostId || !fields.Word(name) ||
        !fields.Int(width) || !fields.Int(height)) {
      lines.Refuse("CAMERA_ID, MODEL, WIDTH, HEIGHT end at " + fields.Shown(), kWriteAgain);
    }
    const ColmapCameraModel* model = FindColmapModel(name);
    if (model == nullptr) {
      lines.Refuse("the camera model " + PrintableName(name) + " is not known",
                   "Use one of the perspective or fisheye models");
    }
    if (width <= 0 || height <= 0 || width > 1000000 || height > 1000000) {
      lines.Refuse("the image size is not between 1 and 1000000", kWriteAgain);
    }
    std::vector<double> parameters(model->nParameters);
    for (double& parameter : parameters) {
      if (!fields.Real(parameter)) {
        lines.Refuse("the parameters of the camera end at " + fields.Shown() + ", " +
                         std::to_string(model->nParameters) + " are needed",
                     kWriteAgain);
      }
    }
    if (!fields.AtEnd()) lines.Refuse("the camera has more parameters than its model", kWriteAgain);
    camera.nWidth = static_cast<int32_t>(width);
    camera.nHeight = static_cast<int32_t>(height);
    SetColmapParameters(*model, parameters, camera);
    if (std::string fault = AddCamera(std::move(camera), tables); !fault.empty()) {
      lines.Refuse(std::move(fault), kWriteAgain);
    }
  }
}

void ReadPoints2D(LongLines& lines, std::string_view line, TextMeasurements& measurements) {
  StrictFields fields(line);
  while (!fields.AtEnd()) {
    ColmapPoint2D point;
    int64_t id = -1;
    if (!fields.Real(point.X) || !fields.Real(point.Y) || !fields.Int(id) || id < -1) {
      lines.Refuse("X, Y, POINT3D_ID end at " + fields.Shown(), kWriteAgain);
    }
    point.nPoint = id < 0 ? kNoColmapPoint : static_cast<uint64_t>(id);
    measurements.All.push_back(point);
  }
  measurements.First.push_back(measurements.All.size());
}

void ReadImages(const std::string& path, ColmapTables& tables, ExchangeLog& log) {
  auto measurements = std::make_shared<TextMeasurements>();
  LongLines lines(path);
  std::string_view line;
  while (lines.NextMeant(line)) {
    log.Progress("Reading images", lines.BytesRead(), lines.Size());
    StrictFields fields(line);
    ColmapPose pose;
    bool whole = fields.Int(pose.nId) && pose.nId >= 0 && pose.nId <= kMostId;
    for (double& value : pose.q) whole = whole && fields.Real(value);
    for (double& value : pose.t) whole = whole && fields.Real(value);
    if (!whole || !fields.Int(pose.nCamera)) {
      lines.Refuse("IMAGE_ID, QW, QX, QY, QZ, TX, TY, TZ, CAMERA_ID end at " + fields.Shown(), kWriteAgain);
    }
    pose.szName = fields.Rest();
    if (std::string fault = AddImage(pose, tables); !fault.empty())
      lines.Refuse(std::move(fault), kWriteAgain);
    // The second line is there also where it is empty; behind the last image it may be missing.
    if (!lines.Next(line)) line = {};
    ReadPoints2D(lines, line, *measurements);
  }
  tables.Measurements = std::move(measurements);
}

class TextPoints : public PointStream {
 public:
  TextPoints(const std::string& path, std::shared_ptr<const ColmapTables> tables, ExchangeLog& log)
      : Lines(path), Tables(std::move(tables)), Log(log) {}

  bool Next(StreamPoint& point) override {
    std::string_view line;
    if (!Lines.NextMeant(line)) return false;
    Log.Progress("Reading points", Lines.BytesRead(), Lines.Size());
    StrictFields fields(line);
    int64_t id = 0, colour = 0;
    std::string_view error;
    bool whole = fields.Int(id) && id >= 0;
    for (double& value : point.P) whole = whole && fields.Real(value);
    for (int i = 0; i < 3; ++i) whole = whole && fields.Int(colour);
    if (!whole || !fields.Word(error)) {
      Lines.Refuse("POINT3D_ID, X, Y, Z, R, G, B, ERROR end at " + fields.Shown(), kWriteAgain);
    }
    if (!Ids.insert(static_cast<uint64_t>(id)).second) {
      Lines.Refuse("point " + std::to_string(id) + " is there twice", kWriteAgain);
    }
    point.szName = std::to_string(id);
    point.Measurements.clear();
    while (!fields.AtEnd()) {
      int64_t image = 0, place = 0;
      if (!fields.Int(image) || !fields.Int(place)) {
        Lines.Refuse("IMAGE_ID, POINT2D_IDX end at " + fields.Shown(), kWriteAgain);
      }
      std::string fault = TakeTrackEntry(*Tables, static_cast<uint64_t>(id), image, place, point);
      if (!fault.empty()) Lines.Refuse(std::move(fault), kWriteAgain);
    }
    return true;
  }
  void Rewind() override {
    Lines.Rewind();
    Ids.clear();
  }

 private:
  LongLines Lines;
  std::shared_ptr<const ColmapTables> Tables;
  std::unordered_set<uint64_t> Ids;  ///< of the points so far
  ExchangeLog& Log;
};

}  // namespace

ColmapTables ReadColmapTextTables(const std::string& folder, ExchangeLog& log) {
  ColmapTables tables;
  ReadCameras(folder + "/cameras.txt", tables);
  ReadImages(folder + "/images.txt", tables, log);
  return tables;
}

std::unique_ptr<PointStream> OpenColmapTextPoints(const std::string& folder,
                                                  std::shared_ptr<const ColmapTables> tables,
                                                  ExchangeLog& log) {
  return std::make_unique<TextPoints>(folder + "/points3D.txt", std::move(tables), log);
}

}  // namespace orvo::exchange
