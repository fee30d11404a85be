// Project, tie points, GCP and POS file of a generated block.
#include <bit>
#include <cstring>

#include "synthetic/FixedText.h"
#include "synthetic/SyntheticFiles.h"

namespace orvo {
namespace {

static_assert(std::endian::native == std::endian::little, "records are written as they stand in memory");

constexpr int kCoordinateDecimals = 6;   // micrometres
constexpr int kMeasurementDecimals = 5;  // of a pixel

void WriteMeasurements(FixedText& out, std::span<const SyntheticMeasurement> measurements) {
  out.Int(static_cast<int64_t>(measurements.size()));
  out.Text("\n");
  for (const SyntheticMeasurement& measurement : measurements) {
    out.Int(measurement.nImage);
    out.Text(" ");
    out.Fixed(measurement.x, kMeasurementDecimals);
    out.Text(" ");
    out.Fixed(measurement.y, kMeasurementDecimals);
    out.Text("\n");
  }
}

void WritePoint(FixedText& out, std::string_view name, double X, double Y, double Z, int32_t type) {
  out.Text(name);
  for (const double value : {X, Y, Z}) {
    out.Text(" ");
    out.Fixed(value, kCoordinateDecimals);
  }
  out.Text(" ");
  out.Int(type);
  out.Text("\n");
}

void WriteHead(FixedText& out, const SyntheticTruth& truth, int64_t points) {
  out.Format("{} {} {}\n", truth.pImages.size(), truth.pStartCameras.size(), points);
  int64_t id = 11;
  for (const SyntheticCamera& camera : truth.pStartCameras) {
    out.Format("{} {} {} 0 {:.6f} {:.6f} {:.6f} 0 {:.12e} {:.12e} 0 0\n", id++, truth.Options.nImageWidth,
               truth.Options.nImageHeight, camera.fFocal, camera.fPrincipalX, camera.fPrincipalY, camera.fK1,
               camera.fK2);
  }
  for (size_t i = 0; i < truth.pImages.size(); ++i) {
    const SyntheticImage& image = truth.pImages[i];
    const SyntheticStart& start = truth.pStarts[i];
    out.Format("{} {}\nimages/{}.jpg\n", image.nId, image.nCamera, ImageName(image));
    for (int k = 0; k < 9; ++k) out.Format("{:.15f}{}", start.R[k], k < 8 ? ' ' : '\n');
    out.Format("{:.9f} {:.9f} {:.9f}\n", start.X, start.Y, start.Z);
  }
}

/// A tie-point record as it stands in the file, 68 bytes.
struct FileBytes {
  char bytes[68] = {};
  size_t nUsed = 0;
  template <typename T>
  void Add(const T& value) {
    std::memcpy(bytes + nUsed, &value, sizeof value);
    nUsed += sizeof value;
  }
};

void WriteOvtPoint(TextWriter& file, int64_t ordinal, const SyntheticTiePoint& point, size_t rays,
                   int64_t first) {
  FileBytes record;
  const std::string name = TiePointName(ordinal);
  std::memcpy(record.bytes, name.data(), name.size());
  record.nUsed = 32;
  record.Add(point.fStartX);
  record.Add(point.fStartY);
  record.Add(point.fStartZ);
  record.Add(int32_t{0});
  record.Add(static_cast<int32_t>(rays));
  record.Add(static_cast<int32_t>(first));
  file.Write(record.bytes, sizeof record.bytes);
}

void WriteOvtMeasurement(TextWriter& file, const SyntheticMeasurement& measurement) {
  char record[16] = {};
  const float x = static_cast<float>(measurement.x), y = static_cast<float>(measurement.y);
  std::memcpy(record, &measurement.nImage, 4);
  std::memcpy(record + 4, &x, 4);
  std::memcpy(record + 8, &y, 4);
  file.Write(record, sizeof record);
}

}  // namespace

bool WriteSyntheticProject(const std::string& path, const SyntheticTruth& truth, const TiePointField* field) {
  TextWriter file;
  if (!file.Open(path)) return false;
  {
    FixedText out(file);
    WriteHead(out, truth, field != nullptr ? truth.Counts.nTiePoints : 0);
    if (field != nullptr) {
      field->VisitPoints([&](int64_t ordinal, const SyntheticTiePoint& point,
                             std::span<const SyntheticMeasurement> measurements) {
        WritePoint(out, TiePointName(ordinal), point.fStartX, point.fStartY, point.fStartZ, 0);
        WriteMeasurements(out, measurements);
      });
    }
  }
  return file.Close();
}

bool WriteSyntheticOvt(const std::string& path, const SyntheticTruth& truth, const TiePointField& field) {
  TextWriter file;
  if (!file.Open(path)) return false;
  const int32_t counts[2] = {static_cast<int32_t>(truth.Counts.nTiePoints),
                             static_cast<int32_t>(truth.Counts.nTieMeasurements)};
  file.Write(counts, sizeof counts);
  // The points are made a second time for the second part of the file instead of being kept.
  int64_t first = 0;
  field.VisitPoints([&](int64_t ordinal, const SyntheticTiePoint& point,
                        std::span<const SyntheticMeasurement> measurements) {
    WriteOvtPoint(file, ordinal, point, measurements.size(), first);
    first += static_cast<int64_t>(measurements.size());
  });
  field.VisitPoints(
      [&](int64_t, const SyntheticTiePoint&, std::span<const SyntheticMeasurement> measurements) {
        for (const SyntheticMeasurement& measurement : measurements) WriteOvtMeasurement(file, measurement);
      });
  return file.Close();
}

bool WriteSyntheticGcp(const std::string& path, const SyntheticTruth& truth) {
  TextWriter file;
  if (!file.Open(path)) return false;
  {
    FixedText out(file);
    out.Int(static_cast<int64_t>(truth.pGroundPoints.size()));
    out.Text("\n");
    for (const SyntheticGroundPoint& point : truth.pGroundPoints) {
      WritePoint(out, point.szName, point.fGivenX, point.fGivenY, point.fGivenZ, point.nType);
      WriteMeasurements(out, point.pMeasurements);
    }
  }
  return file.Close();
}

bool WriteSyntheticPos(const std::string& path, const SyntheticTruth& truth) {
  TextWriter file;
  if (!file.Open(path)) return false;
  // The factor by which the system reads degrees.
  constexpr double kDegreesPerRadian = 57.29577951471995;
  {
    FixedText out(file);
    for (size_t i = 0; i < truth.pImages.size(); ++i) {
      const SyntheticImage& image = truth.pImages[i];
      const SyntheticStripError& error = truth.pStripErrors[static_cast<size_t>(image.nStrip)];
      CounterRandom random(truth.Options.nSeed, RandomStream::Pos, static_cast<int64_t>(i));
      double value[6] = {image.X, image.Y, image.Z, image.fPhi, image.fOmega, image.fKappa};
      for (int k = 0; k < 6; ++k) {
        const double noise = k < 3 ? truth.Options.fPosNoise : truth.Options.fImuNoise * kRadiansPerDegree;
        value[k] += error.fOffset[k] + image.fTime * error.fDrift[k] + noise * random.Normal();
      }
      out.Format("{} {:.6f} {:.6f} {:.6f} {:.9f} {:.9f} {:.9f} {}\n", ImageName(image), value[0], value[1],
                 value[2], value[4] * kDegreesPerRadian, value[3] * kDegreesPerRadian,
                 value[5] * kDegreesPerRadian, image.nStrip + 1);
    }
  }
  return file.Close();
}

}  // namespace orvo
