// The first half of an iteration on the device path.
#include <algorithm>
#include <cmath>

#include "gpu/GpuBundle.h"
#include "gpu/kernels/RayModel.h"
#include "gpu/kernels/fast/FastLayout.h"
#include "results/GpuResidualLines.h"
#include "run/InputGate.h"
#include "run/RunVerdict.h"

namespace orvo::gpu {
namespace {

/// A ray that is left out is listed as on the CPU: not gross, without residual.
void ListLeftOut(GpuResidualLine& line) {
  line.nImage = line.nCamera = -1;
  line.vx = line.vy = 0;
  line.nFlag = 0;
}

/// The tables of the literal kernels, 4 words and 4 floats an image point.
GpuResidualTable TableOf(const std::vector<uint32_t>& imgIdx, const std::vector<float>& imgPt) {
  GpuResidualTable table;
  table.nPointNum = std::ssize(imgIdx) / 4;
  table.Fill = [&imgIdx, &imgPt](int64_t first, int64_t count, GpuResidualLine* lines) {
    const uint32_t* words = imgIdx.data() + 4 * first;
    const float* values = imgPt.data() + 4 * first;
    for (int64_t i = 0; i < count; ++i, words += 4, values += 4) {
      lines[i] = {static_cast<int32_t>(words[0]),
                  static_cast<int32_t>(words[1]),
                  static_cast<int32_t>(words[2]),
                  values[0],
                  values[1],
                  values[2],
                  values[3],
                  static_cast<int32_t>(words[3])};
      if (words[3] == kRayIsLeftOut) ListLeftOut(lines[i]);
    }
  };
  return table;
}

/// Image and flag of each ray and its residual from the device, all else from the records.
GpuResidualTable TableOf(std::span<const ImagePointRecord> imagePoints, int32_t firstPoint,
                         const std::vector<uint32_t>& rayImage, const std::vector<float>& residuals) {
  GpuResidualTable table;
  table.nPointNum = std::ssize(rayImage);
  table.Fill = [&rayImage, &residuals, imagePoints, firstPoint](int64_t first, int64_t count,
                                                                GpuResidualLine* lines) {
    for (int64_t i = 0; i < count; ++i) {
      const auto at = static_cast<size_t>(first + i);
      const ImagePointRecord& ray = imagePoints[at];
      const uint32_t image = rayImage[at] & ~kGrossBit;
      lines[i] = {
          ray.nImage,        ray.nCamera,           ray.nObjectPoint - firstPoint,          ray.x, ray.y,
          residuals[2 * at], residuals[2 * at + 1], (rayImage[at] & kGrossBit) != 0 ? 1 : 0};
      if (image == kNoImage) ListLeftOut(lines[i]);
    }
  };
  return table;
}

}  // namespace

bool GpuBundle::ComputeSums() {
  for (std::vector<double>* vector : {&M, &z, &x, &r}) std::fill(vector->begin(), vector->end(), 0.0);
  std::fill_n(fStatistics, 4, 0.0f);
  Block.LogPrintf(">>>>Computing sum matrix, constant vector and preconditioner....\n");
  State.Para.nSkipStatistics = 0;
  bHasPoints = false;
  for (int32_t section = 0; section < Block.Points.Sections.Count(); ++section) {
    if (!SumPointSection(section)) return false;
  }
  if (!bHasPoints) {
    Block.LogPrintf("Error!Unexpected image point number!\n");
    Block.LogPrintf("Compute GPU section info failed!\n");
    return false;
  }
  // Deliberate: the divisor counts gross image points, too, which the sums leave out.
  const auto N = static_cast<float>(Block.Points.nImagePointNum);
  for (int i = 0; i < 2; ++i) fStatistics[i] /= N;
  for (int i = 2; i < 4; ++i) fStatistics[i] = std::sqrt(fStatistics[i] / N);
  NoteIteration(Block, static_cast<double>(fStatistics[2]) * static_cast<double>(fStatistics[2]),
                static_cast<double>(fStatistics[3]) * static_cast<double>(fStatistics[3]));
  Block.SetResidualStatistics(fStatistics[0], fStatistics[1], fStatistics[2], fStatistics[3]);
  Block.LogPrintf(">>>>Image point reprojection error:%lf\t%lf\n", static_cast<double>(fStatistics[2]),
                  static_cast<double>(fStatistics[3]));
  return true;
}

/// Reads and divides the section where it is not there from an earlier iteration.
bool GpuBundle::ReadPointSection(int32_t section) {
  if (!HasSeveralSections() && nPassDone != 0) return true;
  const bool inMemory = Block.Settings.Resampling_Points && !Block.Points.bResampledToFile;
  if (!inMemory) {
    Block.LogPrintf(">>>>Read points data %d....\n", section);
    if (Block.ReadSectionPoints(section) != 1) {
      Block.LogPrintf(">>>>Read points data failed!\n");
      return false;
    }
    if (!PointsHold(Block)) return false;
  }
  if (IsSkipped()) return true;
  if (Block.ComputeGpuSections(section) == 0) {
    Block.LogPrintf("Compute GPU section info failed!\n");
    return false;
  }
  return true;
}

bool GpuBundle::SumPointSection(int32_t section) {
  if (!ReadPointSection(section)) return false;
  Block.LogPrintf(">>>>Compute object points coordinates %d....\n", section);
  Block.ComputeTiePoints(section);
  if (IsSkipped()) return true;
  if (!HasSeveralSections() && State.Sections.nGpuSectionNum == 1) {
    bResident = true;
    // Before the first upload there is nothing to refresh.
    Block.RefreshObjectArray(0);
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

bool GpuBundle::AllocateRun() {
  const auto enabled = static_cast<size_t>(std::max(State.nEnabledDeviceNum, 0));
  for (size_t i = 0; i < std::min(enabled, State.vEnabledDevices.size()); ++i) {
    Target.SetDevice(State.vEnabledDevices[i]);
    if (Block.AllocFixedDeviceMemory() == 0) return false;
  }
  return true;
}

bool GpuBundle::SumGpuSection(int32_t section, int32_t group, int32_t device) {
  if (!bResident || nUploadDone == 0) {
    if (Block.AllocPointDeviceMemory(group * State.nEnabledDeviceNum + device) == 0) return false;
    ++nUploadDone;
    if (bResident) State.ReleasePointImages();
  }
  bHasPoints = true;
  if (!ClearSums()) return false;
  Launch(Kernel::SumMatrix);
  Launch(Kernel::ConstVector);
  if (Block.Unknowns.nLayoutMode != LayoutIop) Launch(Kernel::Preconditioner);
  if (Block.Unknowns.nLayoutMode == LayoutIop || Block.Unknowns.nLayoutMode == LayoutEopIop)
    Launch(Kernel::PreconditionerIop);

  float sums[4] = {};
  if (const int code = Target.CopyToHost(sums, State.Arrays.cupRms, sizeof(sums)); code != 0) {
    Block.LogPrintf("Cuda device %d:%d Compute sum matrix failed!\n", group, code);
    return false;
  }
  for (int i = 0; i < 4; ++i) fStatistics[i] += sums[i];
  if (Block.Settings.Output_Image_Point_RMSE &&
      !WriteResiduals((GroupNum() * section + group) * State.nEnabledDeviceNum + device,
                      group * State.nEnabledDeviceNum + device)) {
    return false;
  }
  int code = 0;
  if (!DownloadVector(State.Arrays.cupR, Block.Unknowns.nUnknownNum, r, code)) {
    Block.LogPrintf("Cuda device %d:%dCompute const vector failed!\n", group, code);
    return false;
  }
  if (!DownloadVector(State.Arrays.cupM, Block.Unknowns.nDiagUpperSize, M, code)) {
    Block.LogPrintf("Compute preconditioner failed: %d!\n", code);
    return false;
  }
  if (!bResident) Block.FreePointDeviceMemory();
  return true;
}

bool GpuBundle::Fails(const char* array, int code) {
  if (code != 0) Block.LogPrintf("Cuda memory allocating failed:%s %d!\n", array, code);
  return code != 0;
}

bool GpuBundle::ClearSums() {
  const DeviceArrays& arrays = State.Arrays;
  const auto n = static_cast<size_t>(Block.Unknowns.nUnknownNum) * sizeof(float);
  const auto upper = static_cast<size_t>(Block.Unknowns.nDiagUpperSize) * sizeof(float);
  const auto tails = static_cast<size_t>(TailFloats(State.Para.nImgPt)) * sizeof(float);
  const bool literal = State.Form == KernelForm::Literal;
  if (literal && Fails("cuptR", Target.Clear(arrays.cuptR, kLaunchBlocks * n))) return false;
  if (Fails("cupR", Target.Clear(arrays.cupR, n))) return false;
  if (literal && Fails("cuptM", Target.Clear(arrays.cuptM, kLaunchBlocks * upper))) return false;
  if (Fails("cupM", Target.Clear(arrays.cupM, upper))) return false;
  return !literal || !Fails("cupTR", Target.Clear(arrays.cupTR, tails));
}

/// Adds `count` floats of the device; false with the device's code.
bool GpuBundle::DownloadVector(const float* from, int64_t count, std::vector<double>& sum, int& code) {
  fStaging.resize(static_cast<size_t>(count));
  code = Target.CopyToHost(fStaging.data(), from, fStaging.size() * sizeof(float));
  if (code != 0) return false;
  const size_t end = std::min(fStaging.size(), sum.size());
  for (size_t k = 0; k < end; ++k) sum[k] += static_cast<double>(fStaging[k]);
  return true;
}

/// False where the residuals can't be had from the device; a file that can't be written is counted.
bool GpuBundle::WriteResiduals(int32_t number, int32_t gpuSection) {
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
    Block.LogPrintf("Cuda residuals can't be fetched:%d!\n", code);
    return false;
  }
  if (literal) {
    Block.WriteResidualsGpu(nIteration, number, TableOf(words, values));
    return true;
  }
  const SectionPoints section = Block.PointsOfGpuSection(gpuSection);
  if (std::ssize(section.ImagePoints) != State.Para.nImgPt) return true;
  const auto firstPoint =
      static_cast<int32_t>(section.ObjectPoints.data() - Block.Points.pObjectPoints.data());
  Block.WriteResidualsGpu(nIteration, number, TableOf(section.ImagePoints, firstPoint, words, values));
  return true;
}

}  // namespace orvo::gpu
