#include "verdict/PrecisionJudgement.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/PrintableName.h"
#include "verdict/JudgementTexts.h"

namespace orvo {
namespace {

class PrecisionJudgement {
 public:
  PrecisionJudgement(const VerdictFigures& figures, const VerdictLimits& limits,
                     std::vector<VerdictReason>& reasons)
      : F(figures), L(limits), Reasons(reasons) {}

  void Control();
  void Precision(const PrecisionFigure& precision);

 private:
  void Doubt(std::string what, std::string limit, std::string remedy) {
    Reasons.push_back({Grade::Doubtful, std::move(what), std::move(limit), std::move(remedy)});
  }
  void Sigma0(const PrecisionFigure& precision);
  void WeakImages(const PrecisionFigure& precision);
  void Focals(const PrecisionFigure& precision);

  const VerdictFigures& F;
  const VerdictLimits& L;
  std::vector<VerdictReason>& Reasons;
};

void PrecisionJudgement::Sigma0(const PrecisionFigure& precision) {
  const double sigma0 = precision.fSigma0;
  if (!precision.bTestFailed || (sigma0 <= L.fSigma0 && sigma0 * L.fSigma0 >= 1)) return;
  Doubt(Format("sigma0 %.3g: the residuals are %s than the standard deviations of the settings say", sigma0,
               sigma0 > 1 ? "larger" : "smaller"),
        Format("%.4g times", L.fSigma0),
        Format("Set Sigma_Image %.2g in place of %.2g, unless the standard deviations of control or GPS are "
               "wrong",
               sigma0 * precision.fSigmaImage, precision.fSigmaImage));
}

void PrecisionJudgement::Precision(const PrecisionFigure& precision) {
  Sigma0(precision);
  if (!precision.vFree.empty() && (F.bHasControl || F.bHasGps)) {
    Doubt("no observation holds: " + NameList(precision.vFree) + ", although there is control or GPS", "",
          "Look at how many control points take part, which of their coordinates count, and whether they or "
          "the GPS positions lie on a line");
  }
  if (!precision.szRefusal.empty()) {
    Doubt(precision.szRefusal + ", so that nothing has a standard deviation", "",
          "Measure more points or control there, give a prior for it, or leave it out");
  }
  Focals(precision);
  WeakImages(precision);
}

/// Those whose positions are known far worse than the others', the worst one by name.
void PrecisionJudgement::WeakImages(const PrecisionFigure& precision) {
  std::vector<PrecisionFigure::Image> images = precision.vImages;
  std::erase_if(images, [](const auto& one) { return std::isnan(one.fDeviation); });
  if (images.size() < 3) return;
  std::ranges::sort(images, {}, &PrecisionFigure::Image::fDeviation);
  const double median = images[images.size() / 2].fDeviation, limit = L.fImageDeviation * median;
  const auto weak = std::ranges::count_if(images, [&](const auto& one) { return one.fDeviation > limit; });
  if (weak == 0 || !(median > 0)) return;
  const PrecisionFigure::Image& worst = images.back();
  std::string what =
      Format("the position of image %s is known to %.3g object units, %.3g times the others' median",
             PrintableName(worst.szName).c_str(), worst.fDeviation, worst.fDeviation / median);
  if (weak > 1) what += Format("; %lld more like it", static_cast<long long>(weak - 1));
  Doubt(std::move(what), Format("%.4g times", L.fImageDeviation),
        "Measure more points in it, well apart, or take it out");
}

/// The worst one by name: where each image has a camera of its own, all of them may be weak.
void PrecisionJudgement::Focals(const PrecisionFigure& precision) {
  const auto percentOf = [](const PrecisionFigure::Focal& focal) {
    return 100 * focal.fDeviation / std::fabs(focal.fValue);
  };
  const PrecisionFigure::Focal* worst = nullptr;
  int64_t weak = 0;
  for (const PrecisionFigure::Focal& focal : precision.vFocals) {
    if (!(percentOf(focal) > L.fFocalDeviation)) continue;
    ++weak;
    if (worst == nullptr || percentOf(focal) > percentOf(*worst)) worst = &focal;
  }
  if (worst == nullptr) return;
  std::string what =
      Format("the focal length of camera %s is known to %.3g of %.6g, %.3g %% of it",
             PrintableName(worst->szCamera).c_str(), worst->fDeviation, worst->fValue, percentOf(*worst));
  if (weak > 1) what += Format("; %lld more like it", static_cast<long long>(weak - 1));
  Doubt(std::move(what), Format("%.4g %%", L.fFocalDeviation),
        "Give Prior_Focal, control of different heights, GPS positions or oblique images, or keep the "
        "camera with Set_IOP_Unknown false");
}

void PrecisionJudgement::Control() {
  for (const ControlOutFigure& out : F.vControlOut) {
    Doubt(Format("control point %s contradicts the others and was left out: off by %.3g",
                 PrintableName(out.szName).c_str(), out.fDifference),
          "", "Look at its name, its coordinates and its measurements in " + PrintableName(F.szGcpFile));
  }
  if (F.bControlContradictory) {
    Doubt("the control points contradict each other by far more than their standard deviations say", "",
          "Look at coordinates and units in " + PrintableName(F.szGcpFile) +
              ", and at the standard deviations of control");
  }
}

}  // namespace

void JudgePrecision(const VerdictFigures& figures, const VerdictLimits& limits,
                    std::vector<VerdictReason>& reasons) {
  PrecisionJudgement judgement(figures, limits, reasons);
  judgement.Control();
  if (figures.Precision) judgement.Precision(*figures.Precision);
}

bool IsLeftOut(const std::string& control, const VerdictFigures& figures) {
  return std::ranges::any_of(figures.vControlOut,
                             [&](const ControlOutFigure& out) { return out.szName == control; });
}

}  // namespace orvo
