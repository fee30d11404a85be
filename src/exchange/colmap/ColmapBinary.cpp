// cameras.bin, images.bin, points3D.bin.
#include <cmath>
#include <unordered_set>

#include "exchange/ByteReader.h"
#include "exchange/colmap/ColmapCameras.h"
#include "exchange/colmap/ColmapTables.h"

namespace orvo::exchange {
namespace {

constexpr int64_t kPoint2DBytes = 24;
constexpr char kWriteAgain[] = "Copy or write the model again";

void RefuseRest(const ByteReader& file) {
  if (file.Offset() != file.Size()) {
    file.Refuse(file.Offset(), "the file goes on behind its counts", kWriteAgain);
  }
}

/// Measurements where they lie in images.bin.
class BinaryMeasurements : public ColmapMeasurements {
 public:
  explicit BinaryMeasurements(const std::string& path) : File(path) {}

  bool At(size_t image, uint64_t place, ColmapPoint2D& point) const override {
    const Run& run = Runs[image];
    if (place >= run.nNum) return false;
    char record[kPoint2DBytes];
    File.ReadAt(run.nOffset + static_cast<int64_t>(place) * kPoint2DBytes, record, sizeof record);
    point.X = LoadLittleEndian<double>(record);
    point.Y = LoadLittleEndian<double>(record + 8);
    point.nPoint = LoadLittleEndian<uint64_t>(record + 16);
    return true;
  }

  struct Run {
    int64_t nOffset;
    uint64_t nNum;
  };
  ByteReader File;
  std::vector<Run> Runs;
};

void ReadCameras(const std::string& path, ColmapTables& tables) {
  ByteReader file(path);
  const auto count = file.Get<uint64_t>("the number of cameras");
  for (uint64_t i = 0; i < count; ++i) {
    const int64_t begin = file.Offset();
    ForeignCamera camera;
    camera.nId = file.Get<uint32_t>("a camera");
    const auto id = file.Get<int32_t>("a camera");
    const ColmapCameraModel* model = FindColmapModel(id);
    if (model == nullptr) {
      file.Refuse(begin + 4, "the camera model " + std::to_string(id) + " is not known",
                  "Use one of the perspective or fisheye models");
    }
    const auto width = file.Get<uint64_t>("a camera"), height = file.Get<uint64_t>("a camera");
    if (width == 0 || height == 0 || width > 1000000 || height > 1000000) {
      file.Refuse(begin + 8, "the image size is not between 1 and 1000000", kWriteAgain);
    }
    camera.nWidth = static_cast<int32_t>(width);
    camera.nHeight = static_cast<int32_t>(height);
    std::vector<double> parameters;
    for (size_t k = 0; k < model->nParameters; ++k) {
      parameters.push_back(file.Get<double>("the parameters of a camera"));
    }
    SetColmapParameters(*model, parameters, camera);
    if (std::string fault = AddCamera(std::move(camera), tables); !fault.empty()) {
      file.Refuse(begin, std::move(fault), kWriteAgain);
    }
  }
  RefuseRest(file);
}

void ReadImages(const std::string& path, ColmapTables& tables, ExchangeLog& log) {
  auto measurements = std::make_shared<BinaryMeasurements>(path);
  ByteReader& file = measurements->File;
  const auto count = file.Get<uint64_t>("the number of images");
  for (uint64_t i = 0; i < count; ++i) {
    log.Progress("Reading images", file.Offset(), file.Size());
    const int64_t begin = file.Offset();
    ColmapPose pose;
    pose.nId = file.Get<uint32_t>("an image");
    for (double& value : pose.q) value = file.Get<double>("the pose of an image");
    for (double& value : pose.t) value = file.Get<double>("the pose of an image");
    pose.nCamera = file.Get<uint32_t>("an image");
    pose.szName = file.GetText("the name of an image");
    const auto points = file.Get<uint64_t>("an image");
    measurements->Runs.push_back({file.Offset(), points});
    file.Skip(points, kPoint2DBytes, "the measurements of an image");
    if (std::string fault = AddImage(pose, tables); !fault.empty()) {
      file.Refuse(begin, std::move(fault), kWriteAgain);
    }
  }
  RefuseRest(file);
  tables.Measurements = std::move(measurements);
}

class BinaryPoints : public PointStream {
 public:
  BinaryPoints(const std::string& path, std::shared_ptr<const ColmapTables> tables, ExchangeLog& log)
      : File(path), Tables(std::move(tables)), Log(log) {
    nNum = File.Get<uint64_t>("the number of points");
  }

  bool Next(StreamPoint& point) override {
    if (nNext == nNum) {
      RefuseRest(File);
      return false;
    }
    ++nNext;
    Log.Progress("Reading points", File.Offset(), File.Size());
    const int64_t begin = File.Offset();
    const auto id = File.Get<uint64_t>("a point");
    for (double& value : point.P) {
      value = File.Get<double>("a point");
      if (!std::isfinite(value)) {
        File.Refuse(File.Offset() - 8, "a coordinate of a point is not finite", kWriteAgain);
      }
    }
    for (int i = 0; i < 3; ++i) File.Get<uint8_t>("the colour of a point");
    File.Get<double>("the error of a point");
    const auto length = File.Get<uint64_t>("a point");
    if (!Ids.insert(id).second) {
      File.Refuse(begin, "point " + std::to_string(id) + " is there twice", kWriteAgain);
    }
    point.szName = std::to_string(id);
    point.Measurements.clear();
    for (uint64_t i = 0; i < length; ++i) {
      const auto image = File.Get<uint32_t>("the track of a point");
      const auto place = File.Get<uint32_t>("the track of a point");
      if (std::string fault = TakeTrackEntry(*Tables, id, image, place, point); !fault.empty()) {
        File.Refuse(begin, std::move(fault), kWriteAgain);
      }
    }
    return true;
  }
  void Rewind() override {
    File.Seek(0);
    nNum = File.Get<uint64_t>("the number of points");
    nNext = 0;
    Ids.clear();
  }

 private:
  ByteReader File;
  std::shared_ptr<const ColmapTables> Tables;
  ExchangeLog& Log;
  uint64_t nNum = 0, nNext = 0;
  std::unordered_set<uint64_t> Ids;  ///< of the points so far
};

}  // namespace

ColmapTables ReadColmapBinaryTables(const std::string& folder, ExchangeLog& log) {
  ColmapTables tables;
  ReadCameras(folder + "/cameras.bin", tables);
  ReadImages(folder + "/images.bin", tables, log);
  return tables;
}

std::unique_ptr<PointStream> OpenColmapBinaryPoints(const std::string& folder,
                                                    std::shared_ptr<const ColmapTables> tables,
                                                    ExchangeLog& log) {
  return std::make_unique<BinaryPoints>(folder + "/points3D.bin", std::move(tables), log);
}

}  // namespace orvo::exchange
