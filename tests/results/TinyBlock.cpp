#include "results/TinyBlock.h"

#include <cmath>
#include <cstring>

#include "block/OvtFile.h"
#include "results/Print.h"
#include "results/SlowModel.h"

namespace orvo::test {
namespace {

std::string PointText(const TinyBlock::Point& point) {
  std::string text = Print("%s %.6f %.6f %.6f %d\n%zu\n", point.sName.c_str(), point.X, point.Y, point.Z,
                           point.nType, point.Measurements.size());
  for (const auto& m : point.Measurements) text += Print("%d %.4f %.4f\n", m.nImageOrdinal, m.x, m.y);
  return text;
}

}  // namespace

TinyBlock::TinyBlock(double imageScale, double objectScale) : fConsole(std::tmpfile()), Run(fConsole.get()) {
  const double s = imageScale, S = objectScale;
  Run.Settings.Image_Coor_Scale = s;
  Run.Settings.Object_Coor_Scale = S;
  std::filesystem::create_directory(folder / "out");
  Run.Paths.szOutputPath = folder / "out";

  // The first numbers of the lines are no ordinals, on purpose.
  CameraLines = {"71 8000 6000 12.5 99000 9 8 0 1e-9 0 0 0 0 0 0",
                 "  72\t9 9 1.0 0.0  dropped, kept as it is", "73 4000 3000 -1.25 51000 0 0 0 0 0 0 0 0 0 0"};
  for (int i = 0; i < 4; ++i) {
    ImageLines.push_back({Print("%d %d seen in spring", 500 + i, i == 1 ? 2 : 0),
                          Print("D:\\flight\\a\\%d.tif", i), Print("1 0 0 0 1 0 0 0 1 image %d", i),
                          Print("%d 2 3", i)});
  }
  ImageLines[kDroppedImage][3] = "0 0 0 no position";

  Run.Images.nImageFileNum = 4;
  Run.Cameras.nCameraFileNum = 3;
  Run.Images.nImageNum = Run.Images.nUnknownImageNum = 3;
  Run.Cameras.nCameraNum = 2;
  Run.Images.pImageIndex = {0, 1, -1, 2};
  Run.Images.pImageCamera = {0, 2, 0, 0};
  Run.Images.pImageOrdinal = {0, 1, 3, 0};
  Run.Cameras.pCameraIndex = {0, -1, 1};
  Run.Images.pEop.resize(4);
  Run.Images.pEop[0] = {0, 0, 10.0 * S, 20.0 * S, 1000.0 * S, 0.01, -0.02, 0.3};
  Run.Images.pEop[1] = {0, 0, 410.5 * S, 30.25 * S, 1010.0 * S, -0.03, 0.015, -2.9};
  Run.Images.pEop[2] = {0, 0, 220.0 * S, 415.0 * S, 990.0 * S, 0.02, 0.025, 1.6};
  Run.Cameras.pIop.resize(3);
  Run.Cameras.pIop[0] = {6000, 8000, 100000 * s, 12 * s, -7 * s, 2e-13 / (s * s), -3e-24 / (s * s * s * s)};
  Run.Cameras.pIop[1] = {3000, 4000, 50500 * s, 0, 5 * s, 0, 0};

  TiePoints = {MakePoint("T1", 0, 120, 140, 12, {0, 1, 3}), MakePoint("T2", 0, 200.5, 99.25, -3, {3, 0}),
               MakePoint("T3", 0, 90, 250, 30, {1, 0, 3})};
  Gcp = {MakePoint("C1", 1, 130, 110, 20, {0, 1, 3}), MakePoint("K1", 2, 180, 200, 5, {1, 3}),
         MakePoint("C2", 1, 240, 180, 15, {3, 1, 0}), MakePoint("K2", 3, 60, 190, 25, {0, 3, 1})};
  // One measurement of a control point lies on the dropped image.
  Gcp[0].Measurements.insert(Gcp[0].Measurements.begin() + 1, {kDroppedImage, 77.5, -88.25});
  szProject = folder / "block.prj";
  szGcp = folder / "gcp.txt";
}

TinyBlock::Point TinyBlock::MakePoint(const std::string& name, int32_t type, double X, double Y, double Z,
                                      const std::vector<int32_t>& imageOrdinals) const {
  Point point{name, X, Y, Z, type, {}};
  double shift = 0.3 + 0.1 * X / 100;
  for (const int32_t ordinal : imageOrdinals) {
    const EopRecord& image =
        Run.Images.pEop[static_cast<size_t>(Run.Images.pImageIndex[static_cast<size_t>(ordinal)])];
    const int32_t camera =
        Run.Cameras.pCameraIndex[static_cast<size_t>(Run.Images.pImageCamera[static_cast<size_t>(ordinal)])];
    const IopRecord& iop = Run.Cameras.pIop[static_cast<size_t>(camera)];
    const double S = Run.Settings.Object_Coor_Scale, s = Run.Settings.Image_Coor_Scale;
    const Vector3 b = SlowCameraFrame(image, {X * S, Y * S, Z * S});
    point.Measurements.push_back({ordinal, (iop.fPrincipalX - iop.fFocal * b[0] / b[2]) / s + shift,
                                  (iop.fPrincipalY - iop.fFocal * b[1] / b[2]) / s - 2 * shift});
    shift = 0.7 - shift;
  }
  return point;
}

std::string TinyBlock::ProjectText() const {
  std::string text = Print("%zu %zu %zu\n", ImageLines.size(), CameraLines.size(),
                           bTextPoints ? TiePoints.size() : size_t{0});
  for (const std::string& line : CameraLines) text += line + "\n";
  for (const auto& lines : ImageLines) {
    for (const std::string& line : lines) text += line + "\n";
  }
  if (bTextPoints) {
    for (const Point& point : TiePoints) text += PointText(point);
  }
  return text;
}

std::string TinyBlock::GcpText() const {
  std::string text = Print("%zu\n", Gcp.size());
  for (const Point& point : Gcp) text += PointText(point);
  return text;
}

std::string TinyBlock::OvtBytes() const {
  std::string points, measures;
  int32_t first = 0;
  for (const Point& point : TiePoints) {
    OvtPoint record;
    std::strncpy(record.szName, point.sName.c_str(), sizeof record.szName - 1);
    record.X = point.X;
    record.Y = point.Y;
    record.Z = point.Z;
    record.nType = point.nType;
    record.nImagePointNum = static_cast<int32_t>(point.Measurements.size());
    record.nFirstImagePoint = first;
    char bytes[kOvtPointBytes];
    EncodeOvtPoint(record, bytes);
    points.append(bytes, sizeof bytes);
    for (const Measurement& m : point.Measurements) {
      char measure[kOvtMeasureBytes];
      EncodeOvtMeasure({m.nImageOrdinal, static_cast<float>(m.x), static_cast<float>(m.y), 1000 + first},
                       measure);
      measures.append(measure, sizeof measure);
      ++first;
    }
  }
  char header[kOvtHeaderBytes];
  EncodeOvtHeader(static_cast<int32_t>(TiePoints.size()), first, header);
  return std::string(header, sizeof header) + points + measures;
}

void TinyBlock::WriteFiles(const std::string& projectName) {
  szProject = folder / projectName;
  WriteFile(szProject, ProjectText());
  WriteFile(szGcp, GcpText());
  if (!bTextPoints) WriteFile(szProject.substr(0, szProject.rfind('.')) + ".ovt", OvtBytes());
  Run.Paths.szProjectPath = szProject;
  Run.Paths.szGcpPath = szGcp;
}

std::vector<ImagePointRecord> TinyBlock::Rays(const Point& point) const {
  std::vector<ImagePointRecord> rays;
  for (const Measurement& m : point.Measurements) {
    const int32_t image = Run.Images.pImageIndex[static_cast<size_t>(m.nImageOrdinal)];
    if (image < 0) continue;
    const int32_t camera =
        Run.Cameras
            .pCameraIndex[static_cast<size_t>(Run.Images.pImageCamera[static_cast<size_t>(m.nImageOrdinal)])];
    // Files hold four decimals.
    const double x = std::stod(Print("%.4f", m.x)), y = std::stod(Print("%.4f", m.y));
    rays.push_back({image, camera, 0, static_cast<float>(x * Run.Settings.Image_Coor_Scale),
                    static_cast<float>(y * Run.Settings.Image_Coor_Scale)});
  }
  return rays;
}

std::string TinyBlock::Log() {
  std::string text;
  std::rewind(fConsole.get());
  char block[4096];
  while (const size_t got = std::fread(block, 1, sizeof block, fConsole.get())) text.append(block, got);
  std::fseek(fConsole.get(), 0, SEEK_END);
  return text;
}

}  // namespace orvo::test
