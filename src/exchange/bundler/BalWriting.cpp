#include <fmt/format.h>

#include <filesystem>

#include "base/PrintableName.h"
#include "check/Finding.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ForeignRotation.h"
#include "exchange/LensModels.h"
#include "exchange/StrictResiduals.h"
#include "exchange/UnusedOptions.h"
#include "exchange/WholeFiles.h"
#include "exchange/bundler/BundlerForms.h"

namespace orvo::exchange {
namespace {

/// A camera as the form can hold it.
struct BalCamera {
  double f = 0, K1 = 0, K2 = 0;
  bool bCorrect = false;  ///< measurements are freed of the distortion
};

BalCamera BalCameraOf(const ForeignCamera& camera, ExchangeLog& log) {
  const bool radial = camera.Lens == LensModel::Pinhole || camera.Lens == LensModel::SimpleRadial ||
                      camera.Lens == LensModel::Radial;
  BalCamera bal;
  bal.bCorrect = !radial || camera.dFx != camera.dFy;
  bal.f = bal.bCorrect ? (camera.dFx + camera.dFy) / 2 : camera.dFx;
  if (bal.bCorrect) {
    log.Say("Camera " + PrintableName(camera.szName) + ": the form can't hold its model (" +
            NameOf(camera.Lens) + "), so measurements are freed of the distortion");
    return bal;
  }
  if (!camera.Parameters.empty()) bal.K1 = camera.Parameters[0];
  if (camera.Parameters.size() > 1) bal.K2 = camera.Parameters[1];
  return bal;
}

class BalWriter {
 public:
  BalWriter(ForeignModel& model, ExchangeLog& log) : Model(model) {
    for (const ForeignCamera& camera : model.Cameras) Cameras.push_back(BalCameraOf(camera, log));
  }

  void Count() {
    Visit([&](const StreamPoint& point) {
      ++nPoints;
      for (const SurveyMeasurement& measurement : point.Measurements) {
        if (Moved(measurement)) {
          ++nObservations;
        } else {
          ++nWithoutRay;
        }
      }
    });
  }
  void Write(TextWriter& file) const;

  int64_t nPoints = 0, nObservations = 0, nWithoutRay = 0;

 private:
  template <class Take>
  void Visit(const Take& take) const {
    StreamPoint point;
    Model.Points->Rewind();
    while (Model.Points->Next(point)) take(point);
  }
  std::optional<ImageVector> Moved(const SurveyMeasurement& measurement) const;

  ForeignModel& Model;
  std::vector<BalCamera> Cameras;
};

std::optional<ImageVector> BalWriter::Moved(const SurveyMeasurement& measurement) const {
  const auto ordinal = static_cast<size_t>(Model.Images[static_cast<size_t>(measurement.nImage)].nCamera);
  const ForeignCamera& camera = Model.Cameras[ordinal];
  const LensPoint pixel{camera.nWidth / 2.0 + measurement.x, camera.nHeight / 2.0 - measurement.y};
  if (!Cameras[ordinal].bCorrect) {
    // Differences of what is equal, so that centred cameras keep their measurements to the last digit.
    return ImageVector{measurement.x - (camera.dCx - camera.nWidth / 2.0),
                       measurement.y - (camera.nHeight / 2.0 - camera.dCy)};
  }
  const auto direction = DirectionOf(camera, pixel);
  if (!direction) return {};
  return ImageVector{Cameras[ordinal].f * direction->u, -Cameras[ordinal].f * direction->v};
}

void BalWriter::Write(TextWriter& file) const {
  file.Write(fmt::format("{} {} {}\n", Model.Images.size(), nPoints, nObservations));
  int64_t ordinal = 0;
  Visit([&](const StreamPoint& point) {
    for (const SurveyMeasurement& measurement : point.Measurements) {
      if (const auto moved = Moved(measurement)) {
        file.Write(fmt::format("{} {} {} {}\n", measurement.nImage, ordinal, moved->x, moved->y));
      }
    }
    ++ordinal;
  });
  for (const SurveyImage& image : Model.Images) {
    // Rb = R', t = -Rb S.
    Rotation Rb;
    Vector3 t{};
    for (size_t i = 0; i < 3; ++i) {
      for (size_t j = 0; j < 3; ++j) {
        Rb[3 * i + j] = image.R[3 * j + i];
        t[i] -= image.R[3 * j + i] * image.S[j];
      }
    }
    const BalCamera& camera = Cameras[static_cast<size_t>(image.nCamera)];
    file.Write(fmt::format("{}\n{}\n{}\n{}\n{}\n", fmt::join(AngleAxisOf(Rb), "\n"), fmt::join(t, "\n"),
                           camera.f, camera.K1, camera.K2));
  }
  Visit([&](const StreamPoint& point) { file.Write(fmt::format("{}\n", fmt::join(point.P, "\n"))); });
}

}  // namespace

void WriteBal(ForeignModel& model, const ExportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"camera"});
  const std::string name = std::filesystem::path(options.szOut).filename().string();
  if (name.empty()) Refuse(options.szOut, 0, "--out names a folder", "Name a file");
  BalWriter writer(model, log);
  writer.Count();
  WholeFiles files(WholeFiles::FolderOf(options.szOut), model.Files);
  files.Write(name, [&](TextWriter& file) { writer.Write(file); });
  files.Commit();
  log.Say(fmt::format("Images: {}, points: {}, measurements: {}", model.Images.size(), writer.nPoints,
                      writer.nObservations));
  if (writer.nWithoutRay > 0) {
    log.Say(fmt::format("Left out: {} that the camera model has no ray for",
                        CountOf(writer.nWithoutRay, "measurement", {})));
  }
  log.Say("Written: " + PrintableName(options.szOut));
}

}  // namespace orvo::exchange
