// GPS and IMU observations on the device path, which has no matrix to put them into.
#include "gpu/PosTerms.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

PosModel ModelOf(const CBundleAdjustment& block) {
  return {block.Limits.Apply_GPS_Data,      block.Limits.Apply_IMU_Data, block.Limits.Correct_Const_Error,
          block.Limits.Correct_LinearError, block.Limits.GPS_WeightXY,   block.Limits.GPS_WeightZ};
}

gpu::PosPlaces PlacesOf(const CBundleAdjustment& block) {
  return gpu::MakePosPlaces(block.Images.nUnknownImageNum, block.Cameras.nCameraNum,
                            block.Settings.Set_IOP_Unknown);
}

/// A message for each index of a drift parameter, or of a record, that fails; true when none does.
bool IndicesFit(CBundleAdjustment& block, const PosModel& model, int32_t image, int32_t group) {
  const int64_t size = block.Unknowns.nPosSize, end = int64_t{block.Images.nGroupNum} * size;
  bool fit = true;
  const auto check = [&](int64_t parameter, bool imageCounts) {
    const int64_t index = group * size + parameter;
    if ((!imageCounts || image < block.Images.nImageFileNum) && index >= 0 && index < end) return;
    block.LogPrintf("Error!=======================\n");
    fit = false;
  };
  for (int64_t j = 0; model.bGps && model.bConst && j < 3; ++j) check(j, true);
  const int64_t firstLinear = model.bConst ? model.RowNum() : 0;
  for (int64_t k = 0; model.bGps && model.bLinear && k < 3; ++k) check(firstLinear + k, false);
  return fit && group < block.Images.nGroupNum;
}

}  // namespace

std::vector<gpu::PosTerm> CBundleAdjustment::GatherPosTerms() {
  std::vector<gpu::PosTerm> terms;
  const PosModel model = ModelOf(*this);
  // Without image unknowns the groups are none either.
  if (Unknowns.nLayoutMode == LayoutIop || Unknowns.nPosSize != model.ParameterNum()) return terms;
  terms.reserve(Images.pImageIndex.size());
  for (size_t record = 0; record < Images.pImageIndex.size(); ++record) {
    const int32_t image = Images.pImageIndex[record];
    if (image < 0) continue;
    if (image > Images.nImageNum - 1) LogPrintf("==========================Error!\n");
    if (static_cast<size_t>(image) >= Images.pImageGroup.size() ||
        static_cast<size_t>(image) >= Images.pEop.size())
      continue;
    const int32_t group = Images.pImageGroup[static_cast<size_t>(image)];
    if (group < 0 || !IndicesFit(*this, model, image, group)) continue;
    // Deliberate: the record is taken at the image's ordinal in the project, although it was put where the
    // image is kept. The two differ behind an image that was left out.
    if (record >= Images.pPos.size() || Images.pPos[record].nStatus == kPosNotObserved) continue;
    const EopRecord& eop = Images.pEop[static_cast<size_t>(image)];
    const double* parameters =
        Normal.pPosParams.data() + static_cast<size_t>(group) * static_cast<size_t>(Unknowns.nPosSize);
    gpu::PosTerm term{image, group, eop.fTime, {}};
    if (ComputePosMisclosure(model, eop, Images.pPos[record], parameters, term.L)) terms.push_back(term);
  }
  return terms;
}

int CBundleAdjustment::UpdatePosPreconditioner(std::vector<double>& M) {
  if (!Limits.Apply_GPS_Data && !Limits.Apply_IMU_Data) return 1;
  LogPrintf(">>>>Update POS preconditioner....\n");
  gpu::AddPosPreconditioner(ModelOf(*this), PlacesOf(*this), GatherPosTerms(), M);
  return 1;
}

int CBundleAdjustment::UpdatePosConstVector(std::vector<double>& r) {
  if (!Limits.Apply_GPS_Data && !Limits.Apply_IMU_Data) return 1;
  LogPrintf(">>>>Update POS constant vector....\n");
  gpu::AddPosConstVector(ModelOf(*this), PlacesOf(*this), GatherPosTerms(), r);
  return 1;
}

int CBundleAdjustment::UpdatePosNormalEquation(const std::vector<float>& d, std::vector<double>& Ad) {
  if (!Limits.Apply_GPS_Data && !Limits.Apply_IMU_Data) return 0;
  LogPrintf(">>>>Update POS normal equation....\n");
  gpu::AddPosProduct(ModelOf(*this), PlacesOf(*this), GatherPosTerms(), d, Ad);
  return 1;
}

}  // namespace orvo
