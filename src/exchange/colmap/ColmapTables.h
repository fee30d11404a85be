// What a COLMAP model holds besides its points, and what its points refer to.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "exchange/ExchangeLog.h"
#include "exchange/ForeignModel.h"

namespace orvo::exchange {

inline constexpr uint64_t kNoColmapPoint = ~uint64_t{0};

/// A measurement as images list it: pixels, and the point that it belongs to.
struct ColmapPoint2D {
  double X = 0, Y = 0;
  uint64_t nPoint = kNoColmapPoint;
};

/// Measurements of images by their place in the image. Throws ExchangeFault.
class ColmapMeasurements {
 public:
  virtual ~ColmapMeasurements() = default;
  /// False behind the last one of the image; `image` is an ordinal.
  virtual bool At(size_t image, uint64_t place, ColmapPoint2D& point) const = 0;
};

struct ColmapTables {
  std::vector<ForeignCamera> Cameras;
  std::vector<SurveyImage> Images;
  std::vector<int64_t> ImageIds;  ///< as they are; those of Images are ordinals where they don't fit
  std::unordered_map<int64_t, int32_t> OrdinalOfCamera, OrdinalOfImage;  ///< by id
  std::shared_ptr<const ColmapMeasurements> Measurements;
};

/// Empty, or what is wrong with an image that is added to the tables.
struct ColmapPose {
  int64_t nId = 0, nCamera = 0;
  std::array<double, 4> q{};
  std::array<double, 3> t{};
  std::string szName;
};
std::string AddImage(const ColmapPose& pose, ColmapTables& tables);
std::string AddCamera(ForeignCamera camera, ColmapTables& tables);

/// Turns an entry of a track into a measurement of ours; empty, or what is wrong with it.
std::string TakeTrackEntry(const ColmapTables& tables, uint64_t pointId, int64_t imageId, int64_t place,
                           StreamPoint& point);

/// Files of the folder; what is wrong with one is told with its line or byte.
ColmapTables ReadColmapTextTables(const std::string& folder, ExchangeLog& log);
ColmapTables ReadColmapBinaryTables(const std::string& folder, ExchangeLog& log);
std::unique_ptr<PointStream> OpenColmapTextPoints(const std::string& folder,
                                                  std::shared_ptr<const ColmapTables> tables,
                                                  ExchangeLog& log);
std::unique_ptr<PointStream> OpenColmapBinaryPoints(const std::string& folder,
                                                    std::shared_ptr<const ColmapTables> tables,
                                                    ExchangeLog& log);

}  // namespace orvo::exchange
