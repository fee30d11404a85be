// Where the images of a generated block stand, and which of them can see a ground point.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "synthetic/SyntheticCamera.h"
#include "synthetic/SyntheticOptions.h"

namespace orvo {

class FlightPlan {
 public:
  explicit FlightPlan(const SyntheticOptions& options);

  static int64_t CountImages(const SyntheticOptions& options);
  /// False when an image at the limit of tilt would see the horizon.
  static bool FootprintsAreBounded(const SyntheticOptions& options);

  /// Strip by strip in the order of flight: the parallel strips, then the cross strips.
  const std::vector<SyntheticImage>& Images() const { return pImages; }
  int32_t StripNum() const { return nStrips; }

  /// The plane of the flight plan: u along the parallel strips, v across them, (0, 0) at the block's origin.
  void ToPlan(double X, double Y, double& u, double& v) const;
  void FromPlan(double u, double v, double& X, double& Y) const;
  /// Half the extent of the planned projection centres in u and v.
  double HalfLength() const { return fHalfLength; }
  double HalfWidth() const { return fHalfWidth; }
  /// How far from its planned position along and across its strip an image may see a ground point.
  double ReachAlong() const { return fReachAlong; }
  double ReachAcross() const { return fReachAcross; }

  /// Calls visit(ordinal) for every image that may see the ground at (X, Y), and for few others, in ascending
  /// order.
  template <typename Visit>
  void VisitCandidates(double X, double Y, const Visit& visit) const {
    double u, v;
    ToPlan(X, Y, u, v);
    for (const Grid* each : {&Parallel, &Cross}) {
      const Grid& grid = *each;
      const double along = grid.bCross ? v : u, across = grid.bCross ? u : v;
      const auto [firstStrip, lastStrip] =
          Range(across, fReachAcross, grid.fFirstStrip, grid.fStripStep, grid.nStrips);
      const auto [firstImage, lastImage] =
          Range(along, fReachAlong, grid.fFirstImage, grid.fImageStep, grid.nImages);
      for (int32_t strip = firstStrip; strip <= lastStrip; ++strip) {
        const int32_t base = grid.nFirstOrdinal + strip * grid.nImages;
        if (strip % 2 == 0) {
          for (int32_t i = firstImage; i <= lastImage; ++i) visit(base + i);
        } else {
          for (int32_t i = lastImage; i >= firstImage; --i) visit(base + grid.nImages - 1 - i);
        }
      }
    }
  }

 private:
  /// Regular strips of one direction; every second one is flown backwards.
  struct Grid {
    bool bCross = false;
    int32_t nFirstOrdinal = 0, nStrips = 0, nImages = 0;
    double fFirstStrip = 0, fStripStep = 1;  ///< position of the strips across their direction
    double fFirstImage = 0, fImageStep = 1;  ///< position of the images along it
  };

  /// The places of a regular row that lie within `reach` of `position`; empty ranges have last < first.
  static std::pair<int32_t, int32_t> Range(double position, double reach, double first, double step,
                                           int32_t count);
  static int32_t ImagesOfCrossStrip(const SyntheticOptions& options);
  void AddStrip(const SyntheticOptions& options, const Grid& grid, int32_t strip);
  void SetFlightTimes(const SyntheticOptions& options);

  int32_t nStrips = 0;
  Grid Parallel, Cross;
  double fCosine, fSine, fOriginX, fOriginY;
  double fHalfLength = 0, fHalfWidth = 0, fReachAlong = 0, fReachAcross = 0;
  std::vector<SyntheticImage> pImages;
};

}  // namespace orvo
