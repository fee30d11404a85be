#include "exchange/views/Tables.h"

#include <fmt/format.h>

#include <cmath>
#include <initializer_list>
#include <iterator>

#include "exchange/Angles.h"

namespace orvo::exchange {
namespace {

constexpr size_t kPieceBytes = 1 << 16;

const char* RoleOf(int32_t type) { return type == 0 ? "tie" : type == 1 ? "control" : "check"; }

/// Gathers lines and hands them on in pieces.
class Lines {
 public:
  explicit Lines(TextWriter& file) : File(file) {}
  ~Lines() { File.Write(szPiece); }
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;

  Lines& Text(std::string_view text) {
    AppendField(szPiece, text);
    szPiece.push_back(',');
    return *this;
  }
  Lines& Whole(int64_t value) {
    fmt::format_to(std::back_inserter(szPiece), "{},", value);
    return *this;
  }
  Lines& Fixed(int decimals, std::initializer_list<double> values) {
    for (const double value : values) {
      const size_t begin = szPiece.size();
      fmt::format_to(std::back_inserter(szPiece), "{:.{}f},", value, decimals);
      // A zero has no sign.
      if (szPiece.find_first_not_of("-0.,", begin) == std::string::npos && szPiece[begin] == '-') {
        szPiece.erase(begin, 1);
      }
    }
    return *this;
  }
  /// With all digits.
  Lines& Exact(std::initializer_list<double> values) {
    for (const double value : values) fmt::format_to(std::back_inserter(szPiece), "{},", value);
    return *this;
  }
  Lines& Empty(size_t count) {
    szPiece.append(count, ',');
    return *this;
  }
  void End() {
    szPiece.back() = '\n';  // in the place of the comma behind the last field
    if (szPiece.size() < kPieceBytes) return;
    File.Write(szPiece);
    szPiece.clear();
  }

 private:
  TextWriter& File;
  std::string szPiece;
};

std::string_view NameOf(const SurveyPoint& point) { return point.szName.data(); }

/// The name, or where it is empty the path.
std::string_view NameOf(const SurveyImage& image) {
  return image.szName.empty() ? image.szPath : image.szName;
}

struct ImageResiduals {
  int64_t nMeasurements = 0;
  double dSquareX = 0, dSquareY = 0;
};

void AddResiduals(const SurveyBlock& block, const SurveyPoints& points,
                  const std::vector<StrictPoint>& solved, std::vector<ImageResiduals>& ofImage) {
  for (size_t k = 0; k < solved.size(); ++k) {
    if (!solved[k].bSolved) continue;
    for (const SurveyMeasurement& measurement : points.Of(points.Points[k])) {
      const auto residual = ResidualOf(block, measurement, solved[k].P);
      if (!residual) continue;
      ImageResiduals& sums = ofImage[static_cast<size_t>(measurement.nImage)];
      ++sums.nMeasurements;
      sums.dSquareX += residual->x * residual->x;
      sums.dSquareY += residual->y * residual->y;
    }
  }
}

void WriteResidualsOf(const SurveyBlock& block, const SurveyPoints& points,
                      const std::vector<StrictPoint>& solved, Lines& lines) {
  for (size_t k = 0; k < solved.size(); ++k) {
    if (!solved[k].bSolved) continue;
    const SurveyPoint& point = points.Points[k];
    for (const SurveyMeasurement& measurement : points.Of(point)) {
      const auto residual = ResidualOf(block, measurement, solved[k].P);
      if (!residual) continue;
      lines.Text(NameOf(point)).Text(RoleOf(point.nType));
      lines.Text(NameOf(block.Images[static_cast<size_t>(measurement.nImage)]));
      lines.Fixed(4, {measurement.x, measurement.y, residual->x, residual->y}).End();
    }
  }
}

}  // namespace

void AppendField(std::string& out, std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    out.append(text);
    return;
  }
  out.push_back('"');
  for (const char c : text) {
    if (c == '"') out.push_back('"');
    out.push_back(c);
  }
  out.push_back('"');
}

void WriteOrientations(const ViewBlock& view, TextWriter& file) {
  const SurveyBlock& block = view.Block;
  std::vector<ImageResiduals> ofImage(block.Images.size());
  AddResiduals(block, block.Tie, view.Tie, ofImage);
  AddResiduals(block, block.Control, view.Control, ofImage);
  file.Write(
      "image,path,camera,X,Y,Z,orvo_phi,orvo_omega,orvo_kappa,omega,phi,kappa,measurements,rms_x,rms_y\n");
  Lines lines(file);
  for (size_t k = 0; k < block.Images.size(); ++k) {
    const SurveyImage& image = block.Images[k];
    const auto [omega, phi, kappa] = DegreesOf(AngleSystem::Standard, image.R);
    const auto [orvoOmega, orvoPhi, orvoKappa] = DegreesOf(AngleSystem::Orvo, image.R);
    const ImageResiduals& sums = ofImage[k];
    lines.Text(NameOf(image)).Text(image.szPath).Whole(image.nCamera);
    lines.Fixed(6, {image.S[0], image.S[1], image.S[2]});
    lines.Fixed(9, {orvoPhi, orvoOmega, orvoKappa, omega, phi, kappa});
    lines.Whole(sums.nMeasurements);
    const auto count = static_cast<double>(sums.nMeasurements);
    if (sums.nMeasurements > 0) {
      lines.Fixed(4, {std::sqrt(sums.dSquareX / count), std::sqrt(sums.dSquareY / count)}).End();
    } else {
      lines.Empty(2).End();
    }
  }
}

void WriteCameras(const SurveyBlock& block, TextWriter& file) {
  file.Write("camera,id,width,height,f,x0,y0,k1,k2,k3,p1,p2,b1,b2\n");
  Lines lines(file);
  for (size_t k = 0; k < block.Cameras.size(); ++k) {
    const SurveyCamera& camera = block.Cameras[k];
    lines.Whole(static_cast<int64_t>(k)).Whole(camera.nId).Whole(camera.nWidth).Whole(camera.nHeight);
    lines.Exact({camera.dFocal, camera.dX0, camera.dY0, camera.dK1, camera.dK2});
    const LensTerms& further = camera.Further;
    lines.Exact({further.fK3, further.fP1, further.fP2, further.fB1, further.fB2}).End();
  }
}

void WritePoints(const ViewBlock& view, TextWriter& file) {
  file.Write("point,X,Y,Z,rays,rms\n");
  Lines lines(file);
  for (size_t k = 0; k < view.Tie.size(); ++k) {
    const StrictPoint& point = view.Tie[k];
    if (!point.bSolved) continue;
    lines.Text(NameOf(view.Block.Tie.Points[k])).Fixed(6, {point.P[0], point.P[1], point.P[2]});
    lines.Whole(point.nRays).Fixed(4, {point.Rms()}).End();
  }
}

void WriteControl(const ViewBlock& view, TextWriter& file) {
  file.Write("point,role,X,Y,Z,dX,dY,dZ,rays,rms\n");
  Lines lines(file);
  for (size_t k = 0; k < view.Control.size(); ++k) {
    const StrictPoint& point = view.Control[k];
    const SurveyPoint& given = view.Block.Control.Points[k];
    const auto &P = point.P, &Q = given.P;
    lines.Text(NameOf(given)).Text(RoleOf(given.nType)).Fixed(6, {Q[0], Q[1], Q[2]});
    if (point.bSolved) {
      lines.Fixed(6, {P[0] - Q[0], P[1] - Q[1], P[2] - Q[2]})
          .Whole(point.nRays)
          .Fixed(4, {point.Rms()})
          .End();
    } else {
      lines.Empty(3).Whole(point.nRays).Empty(1).End();
    }
  }
}

void WriteResiduals(const ViewBlock& view, TextWriter& file) {
  file.Write("point,role,image,x,y,vx,vy\n");
  Lines lines(file);
  WriteResidualsOf(view.Block, view.Block.Tie, view.Tie, lines);
  WriteResidualsOf(view.Block, view.Block.Control, view.Control, lines);
}

}  // namespace orvo::exchange
