#include "gpu/PosUpdates.h"

#include "normal/PosEquations.h"

namespace orvo::gpu {
namespace {

PosPlaces PlacesOf(const PosSource& source) {
  return MakePosPlaces(source.Images.nUnknownImageNum, source.Cameras.nCameraNum, source.bCamerasAreUnknown);
}

/// A message for each index of a drift parameter, or of a record, that fails; true when none does.
bool IndicesFit(const PosSource& source, const PosModel& model, int32_t image, int32_t group, RunLog& log) {
  const int64_t size = source.Unknowns.nPosSize, end = int64_t{source.Images.nGroupNum} * size;
  bool fit = true;
  const auto check = [&](int64_t parameter, bool imageCounts) {
    const int64_t index = group * size + parameter;
    if ((!imageCounts || image < source.Images.nImageFileNum) && index >= 0 && index < end) return;
    log.Print("Error!=======================\n");
    fit = false;
  };
  for (int64_t j = 0; model.bGps && model.bConst && j < 3; ++j) check(j, true);
  const int64_t firstLinear = model.bConst ? model.RowNum() : 0;
  for (int64_t k = 0; model.bGps && model.bLinear && k < 3; ++k) check(firstLinear + k, false);
  return fit && group < source.Images.nGroupNum;
}

}  // namespace

std::vector<PosTerm> GatherPosTerms(const PosSource& source, RunLog& log) {
  std::vector<PosTerm> terms;
  const ImageTable& images = source.Images;
  const PosModel model = PosModelOf(source.Limits);
  // Without image unknowns the groups are none either.
  if (source.Unknowns.nLayoutMode == LayoutIop || source.Unknowns.nPosSize != model.ParameterNum())
    return terms;
  terms.reserve(images.pImageIndex.size());
  for (size_t record = 0; record < images.pImageIndex.size(); ++record) {
    const int32_t image = images.pImageIndex[record];
    if (image < 0) continue;
    if (image > images.nImageNum - 1) log.Print("==========================Error!\n");
    const auto row = static_cast<size_t>(image);
    if (row >= images.pImageGroup.size() || row >= images.pEop.size()) continue;
    const int32_t group = images.pImageGroup[row];
    if (group < 0 || !IndicesFit(source, model, image, group, log)) continue;
    // Deliberate: the record is taken at the image's ordinal in the project, although it was put where the
    // image is kept. The two differ behind an image that was left out.
    if (record >= images.pPos.size() || images.pPos[record].nStatus == kPosNotObserved) continue;
    const EopRecord& eop = images.pEop[row];
    const double* parameters =
        source.pPosParams.data() + static_cast<size_t>(group) * static_cast<size_t>(source.Unknowns.nPosSize);
    PosTerm term{image, group, eop.fTime, {}};
    if (ComputePosMisclosure(model, eop, images.pPos[record], parameters, term.L)) terms.push_back(term);
  }
  return terms;
}

bool UpdatePosPreconditioner(const PosSource& source, RunLog& log, std::vector<double>& M) {
  if (!source.Limits.UsesPos()) return false;
  log.Print(">>>>Update POS preconditioner....\n");
  AddPosPreconditioner(PosModelOf(source.Limits), PlacesOf(source), GatherPosTerms(source, log), M);
  return true;
}

bool UpdatePosConstVector(const PosSource& source, RunLog& log, std::vector<double>& r) {
  if (!source.Limits.UsesPos()) return false;
  log.Print(">>>>Update POS constant vector....\n");
  AddPosConstVector(PosModelOf(source.Limits), PlacesOf(source), GatherPosTerms(source, log), r);
  return true;
}

bool UpdatePosNormalEquation(const PosSource& source, RunLog& log, const std::vector<float>& d,
                             std::vector<double>& Ad) {
  if (!source.Limits.UsesPos()) return false;
  log.Print(">>>>Update POS normal equation....\n");
  AddPosProduct(PosModelOf(source.Limits), PlacesOf(source), GatherPosTerms(source, log), d, Ad);
  return true;
}

}  // namespace orvo::gpu
