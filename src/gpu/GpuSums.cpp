// The first half of an iteration on the device path.
#include <algorithm>
#include <cmath>

#include "gpu/GpuIteration.h"
#include "gpu/ResidualTables.h"

namespace orvo::gpu {

bool GpuIteration::ComputeSums() {
  for (std::vector<double>* vector : {&M, &x, &r}) std::fill(vector->begin(), vector->end(), 0.0);
  std::fill_n(fStatistics, 4, 0.0f);
  Log.Print(">>>>Computing sum matrix, constant vector and preconditioner....\n");
  State.Para.nSkipStatistics = 0;
  bHasPoints = false;
  for (int32_t section = 0; section < Parts.Points.Sections.Count(); ++section) {
    if (!SumPointSection(section)) return false;
  }
  if (!bHasPoints) {
    Log.Print("Error!Unexpected image point number!\n");
    Log.Print("Compute GPU section info failed!\n");
    return false;
  }
  // Deliberate: the divisor counts gross image points, too, which the sums leave out.
  const auto N = static_cast<float>(Parts.Points.nImagePointNum);
  for (int i = 0; i < 2; ++i) fStatistics[i] /= N;
  for (int i = 2; i < 4; ++i) fStatistics[i] = std::sqrt(fStatistics[i] / N);
  ResidualStatistics& residuals = Parts.Residuals;
  residuals.fMeanResidualX = fStatistics[0];
  residuals.fMeanResidualY = fStatistics[1];
  residuals.fRmsResidualX = fStatistics[2];
  residuals.fRmsResidualY = fStatistics[3];
  const double squareX = residuals.fRmsResidualX * residuals.fRmsResidualX;
  const double squareY = residuals.fRmsResidualY * residuals.fRmsResidualY;
  fMeanSquares = squareX + squareY;
  if (pVerdict != nullptr) pVerdict->NoteIteration(squareX, squareY);
  Log.Print(">>>>Image point reprojection error:%lf\t%lf\n", residuals.fRmsResidualX,
            residuals.fRmsResidualY);
  return true;
}

/// Reads and divides the section where it is not there from an earlier iteration.
bool GpuIteration::ReadPointSection(int32_t section) {
  if (!HasSeveralSections() && nPassDone != 0) return true;
  const bool inMemory = Parts.Settings.Resampling_Points && !Parts.Points.bResampledToFile;
  if (!inMemory) {
    Log.Print(">>>>Read points data %d....\n", section);
    if (!Calls.ReadSection(section)) {
      Log.Print(">>>>Read points data failed!\n");
      return false;
    }
    if (!Calls.PointsHold()) return false;
  }
  return IsSkipped() || CutIntoGpuSections(section);
}

bool GpuIteration::SumPointSection(int32_t section) {
  if (!ReadPointSection(section)) return false;
  Log.Print(">>>>Compute object points coordinates %d....\n", section);
  Calls.ComputeTiePoints(section);
  if (IsSkipped()) return true;
  if (!HasSeveralSections() && State.Sections.nGpuSectionNum == 1) {
    bResident = true;
    // Before the first upload there is nothing to refresh.
    RefreshObjectArray(PointsOf(0), nThreads, State);
  }
  if (nPassDone == 0 && !AllocateRun()) return false;
  ++nPassDone;
  for (int32_t group = 0; group < GroupNum(); ++group) {
    for (int32_t device = 0; device < State.nEnabledDeviceNum; ++device) {
      if (!SumGpuSection(section, group, device)) return false;
    }
  }
  ForgetPointSection();
  return true;
}

bool GpuIteration::AllocateRun() {
  const auto enabled = static_cast<size_t>(std::max(State.nEnabledDeviceNum, 0));
  for (size_t i = 0; i < std::min(enabled, State.vEnabledDevices.size()); ++i) {
    Target.SetDevice(State.vEnabledDevices[i]);
    if (!AllocFixedDeviceMemory(Parts.Images.Kept(), Parts.Cameras.Usable(), Parts.Unknowns, Parts.Residuals,
                                State, Log))
      return false;
  }
  return true;
}

bool GpuIteration::SumGpuSection(int32_t section, int32_t group, int32_t device) {
  if (!bResident || nUploadDone == 0) {
    if (!Upload(group * State.nEnabledDeviceNum + device)) return false;
    ++nUploadDone;
    if (bResident) State.ReleasePointImages();
  }
  bHasPoints = true;
  if (!ClearSums()) return false;
  Launch(Kernel::SumMatrix);
  Launch(Kernel::ConstVector);
  if (Parts.Unknowns.nLayoutMode != LayoutIop) Launch(Kernel::Preconditioner);
  if (Parts.Unknowns.nLayoutMode == LayoutIop || Parts.Unknowns.nLayoutMode == LayoutEopIop)
    Launch(Kernel::PreconditionerIop);

  float sums[4] = {};
  if (const int code = Target.CopyToHost(sums, State.Arrays.cupRms, sizeof(sums)); code != 0) {
    Log.Print("Cuda device %d:%d Compute sum matrix failed!\n", group, code);
    return false;
  }
  for (int i = 0; i < 4; ++i) fStatistics[i] += sums[i];
  if (Parts.Settings.Output_Image_Point_RMSE &&
      !WriteResiduals((GroupNum() * section + group) * State.nEnabledDeviceNum + device,
                      group * State.nEnabledDeviceNum + device)) {
    return false;
  }
  int code = 0;
  if (!DownloadVector(State.Arrays.cupR, Parts.Unknowns.nUnknownNum, r, code)) {
    Log.Print("Cuda device %d:%dCompute const vector failed!\n", group, code);
    return false;
  }
  if (!DownloadVector(State.Arrays.cupM, Parts.Unknowns.nDiagUpperSize, M, code)) {
    Log.Print("Compute preconditioner failed: %d!\n", code);
    return false;
  }
  if (!bResident) FreePointDeviceMemory(State);
  return true;
}

bool GpuIteration::Fails(const char* array, int code) {
  if (code != 0) Log.Print("Cuda memory allocating failed:%s %d!\n", array, code);
  return code != 0;
}

bool GpuIteration::ClearSums() {
  const DeviceArrays& arrays = State.Arrays;
  const auto n = static_cast<size_t>(Parts.Unknowns.nUnknownNum) * sizeof(float);
  const auto upper = static_cast<size_t>(Parts.Unknowns.nDiagUpperSize) * sizeof(float);
  const auto tails = static_cast<size_t>(TailFloats(State.Para.nImgPt)) * sizeof(float);
  const bool literal = State.Form == KernelForm::Literal;
  if (literal && Fails("cuptR", Target.Clear(arrays.cuptR, kLaunchBlocks * n))) return false;
  if (Fails("cupR", Target.Clear(arrays.cupR, n))) return false;
  if (literal && Fails("cuptM", Target.Clear(arrays.cuptM, kLaunchBlocks * upper))) return false;
  if (Fails("cupM", Target.Clear(arrays.cupM, upper))) return false;
  return !literal || !Fails("cupTR", Target.Clear(arrays.cupTR, tails));
}

/// False where the residuals can't be had from the device; a file that can't be written is counted.
bool GpuIteration::WriteResiduals(int32_t number, int32_t gpuSection) {
  const auto n = static_cast<size_t>(State.Para.nImgPt);
  const bool literal = State.Form == KernelForm::Literal;
  // The fast form has x, y of all image points in front of their residuals.
  std::vector<float> values(literal ? 4 * n : 2 * n);
  std::vector<uint32_t> words(literal ? 4 * n : n);
  const float* from = State.Arrays.cupImgPt;
  if (!literal && from != nullptr) from += 2 * n;
  int code = Target.CopyToHost(values.data(), from, values.size() * sizeof(float));
  if (code == 0)
    code = Target.CopyToHost(words.data(), State.Arrays.cupImgIdx, words.size() * sizeof(uint32_t));
  if (code != 0) {
    Log.Print("Cuda residuals can't be fetched:%d!\n", code);
    return false;
  }
  if (literal) {
    Calls.WriteResiduals(nIteration, number, LiteralResidualTable(words, values));
    return true;
  }
  const SectionPoints section = PointsOf(gpuSection);
  if (std::ssize(section.ImagePoints) != State.Para.nImgPt) return true;
  const auto firstPoint =
      static_cast<int32_t>(section.ObjectPoints.data() - Parts.Points.pObjectPoints.data());
  Calls.WriteResiduals(nIteration, number, FastResidualTable(section.ImagePoints, firstPoint, words, values));
  return true;
}

}  // namespace orvo::gpu
