// A real block distorted on purpose: each distortion is one error, with its code and what to write.
#include <gtest/gtest.h>

#include <functional>
#include <numbers>

#include "check/SurveyBlocks.h"
#include "check/block/AngleConventions.h"

namespace orvo::test {
namespace {

using Distortion = std::function<void(SurveyBlock&)>;

struct Case {
  const char* szName;
  Distortion Distort;
  const char* szRemedy;  ///< code and remedy, or how they begin
};

constexpr double kDegree = std::numbers::pi / 180;

Distortion Measurements(std::function<void(double&, double&)> change) {
  return [change](SurveyBlock& block) {
    for (SurveyPoints* points : {&block.Tie, &block.Control}) {
      for (SurveyMeasurement& measurement : points->Measurements) change(measurement.x, measurement.y);
    }
  };
}

Distortion Images(std::function<void(SurveyImage&)> change) {
  return [change](SurveyBlock& block) { std::ranges::for_each(block.Images, change); };
}

Distortion Control(std::function<void(std::array<double, 3>&)> change) {
  return [change](SurveyBlock& block) {
    for (SurveyPoint& point : block.Control.Points) change(point.P);
  };
}

Distortion Positions(std::function<void(SurveyPos&)> change) {
  return [change](SurveyBlock& block) { std::ranges::for_each(block.Pos, change); };
}

/// Angles of all lines from the rotations that they had as Orvo's.
Distortion Angles(std::function<std::array<double, 3>(const Rotation3&)> anglesOf,
                  double unit = 1 / kDegree) {
  return Positions([anglesOf, unit](SurveyPos& pos) {
    const auto a = anglesOf(OrvoRotation(pos.dOmega * kDegree, pos.dPhi * kDegree, pos.dKappa * kDegree));
    pos.dOmega = a[0] * unit;
    pos.dPhi = a[1] * unit;
    pos.dKappa = a[2] * unit;
  });
}

std::array<double, 3> StandardAngles(const Rotation3& R) {
  return {std::atan2(-R[5], R[8]), std::asin(R[2]), std::atan2(-R[1], R[0])};
}

/// Yaw, pitch and roll of R = E Rz Ry Rx B.
std::array<double, 3> YawPitchRoll(const Rotation3& R, const Rotation3& B) {
  const Rotation3 E = {0, 1, 0, 1, 0, 0, 0, 0, -1};
  const Rotation3 M = Multiply(Multiply(E, R), Transposed(B));
  return {std::atan2(M[3], M[0]), std::asin(-M[6]), std::atan2(M[7], M[8])};
}
constexpr Rotation3 kBody = {0, 1, 0, 1, 0, 0, 0, 0, -1}, kGimbal = {0, 0, -1, 1, 0, 0, 0, -1, 0};

std::array<double, 9> Columns(const std::array<double, 9>& R, int first, int second, int third) {
  std::array<double, 9> result{};
  int column = 0;
  for (const int from : {first, second, third}) {
    for (size_t row = 0; row < 3; ++row)
      result[3 * row + static_cast<size_t>(column)] =
          (from < 0 ? -1 : 1) * R[3 * row + static_cast<size_t>(std::abs(from)) - 1];
    ++column;
  }
  return result;
}

/// Rotation and translation of the camera frame with y down and z to the front.
void ToCameraDownFront(SurveyImage& image) {
  image.R = Transposed(Columns(image.R, 1, -2, -3));
  std::array<double, 3> t{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t k = 0; k < 3; ++k) t[row] -= image.R[3 * row + k] * image.S[k];
  }
  image.S = t;
}

const Case kCases[] = {
    {"y down", Measurements([](double&, double& y) { y = -y; }), "C001: Write x, -y"},
    {"upper left", Measurements([](double& x, double& y) { x += 1800, y = 1350 - y; }),
     "C002: Write x - 1800, 1350 - y"},
    {"lower left", Measurements([](double& x, double& y) { x += 1800, y += 1350; }),
     "C003: Write x - 1800, y - 1350"},
    {"x and y exchanged", Measurements([](double& x, double& y) { std::swap(x, y); }), "C004: Write y, x"},
    {"transposed", Images([](SurveyImage& image) { image.R = Transposed(image.R); }),
     "C005: Write their transposes"},
    {"y down, z to the front", Images([](SurveyImage& image) { image.R = Columns(image.R, 1, -2, -3); }),
     "C006: Write the second and third column with the other sign"},
    {"the same, transposed",
     Images([](SurveyImage& image) { image.R = Transposed(Columns(image.R, 1, -2, -3)); }),
     "C007: Write their transposes, then the second and third column with the other sign"},
    {"rotation and translation", Images(ToCameraDownFront),
     "C008: Write M' with the second and third column with the other sign, and the projection centre in "
     "place of the "
     "translation t, -M' t"},
    {"a quarter turn", Images([](SurveyImage& image) { image.R = Columns(image.R, 2, -1, 3); }),
     "C009: Write their columns in the order minus second, first, third"},
    {"half a turn", Images([](SurveyImage& image) { image.R = Columns(image.R, -1, -2, 3); }),
     "C009: Write their first and second column with the other sign"},
    {"everything of a camera with y down",
     [](SurveyBlock& block) {
       Measurements([](double& x, double& y) { x += 1800, y = 1350 - y; })(block);
       Images(ToCameraDownFront)(block);
     },
     "C010: Write x - 1800, 1350 - y; of orientations, write M' with"},
    {"skewed", Images([](SurveyImage& image) { image.R[4] += 0.1; }), "C011: Write three rows"},
    {"mirrored", Images([](SurveyImage& image) { image.R = Columns(image.R, 1, -2, 3); }),
     "C012: One axis has"},
    {"points exchanged",
     [](SurveyBlock& block) { std::swap(block.Control.Points[2].P, block.Control.Points[5].P); },
     "K007: Write the coordinates of"},
    {"feet", Control([](auto& p) {
       for (double& value : p) value /= 0.3048;
     }),
     "K003: Write metres: times 0.3048"},
    {"heights in feet", Control([](auto& p) { p[2] /= 0.3048; }),
     "K004: Write heights in metres: times 0.3048"},
    {"E and N exchanged", Control([](auto& p) { std::swap(p[0], p[1]); }),
     "K002: Write easting first, then northing"},
    {"sign of E", Control([](auto& p) { p[0] = -p[0]; }), "K005: Write it with the other sign"},
    {"heights 33 m up", Control([](auto& p) { p[2] += 33; }),
     "K006: Write heights of one kind, ellipsoidal or above the geoid, on both sides: take 3"},
    {"heights 33 m down", Control([](auto& p) { p[2] -= 33; }),
     "K006: Write heights of one kind, ellipsoidal or above the geoid, on both sides: add 3"},
    {"control measured from the lower left",
     [](SurveyBlock& block) {
       for (SurveyMeasurement& measurement : block.Control.Measurements)
         measurement.x += 1800, measurement.y += 1350;
     },
     "K017: Write x - 1800, y - 1350 in the GCP file"},
    {"control in degrees",
     Control([](auto& p) { p[0] = -83.3056 + p[0] / 84000, p[1] = 41.0365 + p[1] / 111000; }),
     "K015: Write metres in a Cartesian frame"},
    {"one control point off", [](SurveyBlock& block) { block.Control.Points[3].P[0] += 40; },
     "K008: Look at its name"},
    {"standard angles", Angles(StandardAngles), "P001: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"yaw, pitch, roll of the body", Angles([](const Rotation3& R) { return YawPitchRoll(R, kBody); }),
     "P002: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"roll, pitch, yaw of the body", Angles([](const Rotation3& R) {
       const auto a = YawPitchRoll(R, kBody);
       return std::array<double, 3>{a[2], a[1], a[0]};
     }),
     "P002: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"yaw, pitch, roll of the gimbal", Angles([](const Rotation3& R) { return YawPitchRoll(R, kGimbal); }),
     "P003: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"radians", Positions([](SurveyPos& pos) {
       for (double* angle : {&pos.dOmega, &pos.dPhi, &pos.dKappa}) *angle *= kDegree;
     }),
     "P004: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"gon", Positions([](SurveyPos& pos) {
       for (double* angle : {&pos.dOmega, &pos.dPhi, &pos.dKappa}) *angle /= 0.9;
     }),
     "P023: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"standard angles in radians", Angles(StandardAngles, 1),
     "P004: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"phi first", Positions([](SurveyPos& pos) { std::swap(pos.dOmega, pos.dPhi); }),
     "P005: Write Orvo's omega, phi, kappa in degrees: -3.4976"},
    {"positions in degrees", Positions([](SurveyPos& pos) {
       pos.S[0] = -83.3056 + pos.S[0] / 84000, pos.S[1] = 41.0365 + pos.S[1] / 111000;
     }),
     "P009: Write metres in a Cartesian frame"},
    {"positions with E and N exchanged", Positions([](SurveyPos& pos) { std::swap(pos.S[0], pos.S[1]); }),
     "P010: Write easting first"},
    {"positions in feet", Positions([](SurveyPos& pos) {
       for (double& value : pos.S) value /= 0.3048;
     }),
     "P011: Write metres: times 0.3048"},
    {"positions with heights in feet", Positions([](SurveyPos& pos) { pos.S[2] /= 0.3048; }),
     "P012: Write heights in metres"},
    {"positions with a sign", Positions([](SurveyPos& pos) { pos.S[1] = -pos.S[1]; }), "P013: Write it with"},
    {"positions 33 m up", Positions([](SurveyPos& pos) { pos.S[2] += 33; }),
     "P014: Write heights of one kind, ellipsoidal or above the geoid, in all files: take off 3"},
    {"heights 33 m up, without positions",
     [](SurveyBlock& block) {
       block.Pos.clear();
       for (SurveyPoint& point : block.Control.Points) point.P[2] += 33;
     },
     "K006: Write heights of one kind, ellipsoidal or above the geoid, on both sides: take 3"},
    {"heights 33 m up, with 4 points and without positions",
     [](SurveyBlock& block) {
       block.Pos.clear();
       block.Control.Points.resize(4);
       for (SurveyPoint& point : block.Control.Points) point.P[2] += 33;
     },
     "K006: Write heights of one kind, ellipsoidal or above the geoid, on both sides: take 3"},
    {"one image turned",
     [](SurveyBlock& block) {
       auto& R = block.Images[60].R;
       for (size_t row = 0; row < 3; ++row) R[3 * row] = -std::exchange(R[3 * row + 1], R[3 * row]);
     },
     "G014: Look at its orientation"},
    {"one position off", [](SurveyBlock& block) { block.Pos[7].S[1] += 120; }, "P017: Look at the name"},
};

/// The block with control points, and POS lines with its own angles; nothing where it is not at hand.
std::optional<SurveyBlock> Seneca(const char* project) {
  const auto pos = SharedData("seneca/seneca_pos.txt");
  if (!pos) return std::nullopt;
  SurveyFiles files;
  files.szProject = *SharedData("seneca/seneca_small.prj");
  files.szPos = *pos;
  SurveyBlock block = ReadBlock(files);
  AddControl(block, 8);
  for (size_t i = 0; i < block.Images.size(); ++i) {
    const auto angles = PosAngles(block.Images[i].R);
    block.Pos[i].dOmega = angles[0];
    block.Pos[i].dPhi = angles[1];
    block.Pos[i].dKappa = angles[2];
  }
  files.szPos.clear();
  files.szProject = *SharedData(std::string("seneca/") + project);
  const SurveyBlock start = ReadBlock(files);
  block.Cameras = start.Cameras;
  block.Images = start.Images;
  return block;
}

class DistortedSeneca : public testing::TestWithParam<const char*> {};

TEST_P(DistortedSeneca, HasOneErrorEach) {
  const auto seneca = Seneca(GetParam());
  if (!seneca) GTEST_SKIP() << "the shared data are not at hand";
  EXPECT_EQ(Remedies(*seneca), "");
  for (const Case& each : kCases) {
    SurveyBlock block = *seneca;
    each.Distort(block);
    const std::string found = Remedies(block);
    EXPECT_EQ(found.substr(0, std::strlen(each.szRemedy)), each.szRemedy) << each.szName;
    EXPECT_EQ(std::ranges::count(found, '\n'), 0) << each.szName << '\n' << found;
  }
}

INSTANTIATE_TEST_SUITE_P(Starts, DistortedSeneca, testing::Values("seneca_small.prj", "seneca_start.prj"));

}  // namespace
}  // namespace orvo::test
