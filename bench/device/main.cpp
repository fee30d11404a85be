// orvo_bench_device: what the kernels of the device path take, fast and literal, on the processor or a CUDA
// device.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "device/CopyBandwidth.h"
#include "device/StripBlock.h"
#include "gpu/Device.h"
#include "gpu/kernels/fast/FastLayout.h"
#include "gpu/kernels/literal/LiteralKernels.h"
#include "records/UnknownLayout.h"

namespace orvo::bench {
namespace {

using gpu::Kernel;
using gpu::KernelForm;

struct Options {
  std::string szDevice = "host", szJson;
  std::vector<int64_t> Measurements = {1000000};
  std::vector<std::string> Forms = {"fast"};
  int nLayout = LayoutEopIop;
  int nProcessors = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  int nRepeats = 5;
  int nProducts = 20;
};

/// Seconds, the best of several.
struct Timings {
  std::string szForm;
  int64_t nRays = 0, nPoints = 0, nImages = 0;
  double fUpload = 0;   ///< of the whole section, once a run
  double fRefresh = 0;  ///< object points and orientations, once an iteration
  double fSumMatrix = 0, fConstVector = 0, fPreconditioner = 0;
  double fProduct = 0;    ///< kernels of one product
  double fStep = 0;       ///< one product with its direction sent and itself fetched
  double fIteration = 0;  ///< all that a device does in one iteration of so many products
  double fProductBytes = 0;
};

class DeviceRun {
 public:
  DeviceRun(gpu::Device& onDevice, const Options& given, KernelForm form) : device(onDevice), options(given) {
    call.Form = form;
  }
  ~DeviceRun() {
    for (void* address : vAddresses) device.Free(address);
  }
  DeviceRun(const DeviceRun&) = delete;
  DeviceRun& operator=(const DeviceRun&) = delete;

  Timings Measure(int64_t measurements) {
    Timings timings;
    StripBlock block = MakeStripBlock(measurements, options.nLayout, call.Form == KernelForm::Fast);
    timings.nRays = block.Para.nImgPt;
    timings.nPoints = block.Para.nObjPt;
    timings.nImages = block.nImages;
    timings.fUpload = Seconds([&] {
      Upload(block);
      Synchronize();
    });
    for (auto* array : {&block.ImgIdx, &block.ObjIdx, &block.PairPos}) *array = {};
    block.ImgPt = {};
    timings.fRefresh = Best([&] {
      Check(
          device.CopyToDevice(call.Arrays.cupObjPt, block.ObjPt.data(), block.ObjPt.size() * sizeof(float)));
      Check(device.CopyToDevice(call.Arrays.cupEop, block.Eop.data(), block.Eop.size() * sizeof(float)));
      Check(device.CopyToDevice(call.Arrays.cupIop, block.Iop.data(), block.Iop.size() * sizeof(float)));
      UploadThresholds();
    });
    timings.fSumMatrix = BestOf([&] {
      if (call.Form == KernelForm::Literal) {
        Check(device.Clear(call.Arrays.cupTR, Bytes(gpu::TailFloats(call.Para.nImgPt))));
      }
      UploadThresholds();
      Launch(Kernel::SumMatrix);
    });
    timings.fConstVector = BestOf([&] { Launch(Kernel::ConstVector); });
    timings.fPreconditioner = BestOf([&] {
      if (options.nLayout != LayoutIop) Launch(Kernel::Preconditioner);
      if (options.nLayout == LayoutIop || options.nLayout == LayoutEopIop) Launch(Kernel::PreconditionerIop);
    });
    timings.fProduct = BestOf([&] { Launch(Kernel::MatrixVectorAd); });
    std::vector<float> vector(static_cast<size_t>(call.Para.nUnknownLen), 1e-3f);
    const size_t bytes = vector.size() * sizeof(float);
    timings.fStep = Best([&] {
      Check(device.CopyToDevice(call.Arrays.cupD, vector.data(), bytes));
      Check(device.Clear(call.Arrays.cupAd, bytes));
      if (call.Arrays.cuptAd != nullptr) Check(device.Clear(call.Arrays.cuptAd, 64 * bytes));
      Launch(Kernel::MatrixVectorAd);
      Check(device.CopyToHost(vector.data(), call.Arrays.cupAd, bytes));
    });
    std::vector<float> packed(static_cast<size_t>(call.Para.nPrecondLen));
    const double fetch = Best([&] {
      Check(device.CopyToHost(vector.data(), call.Arrays.cupR, bytes));
      Check(device.CopyToHost(packed.data(), call.Arrays.cupM, packed.size() * sizeof(float)));
    });
    timings.fIteration = timings.fRefresh + timings.fSumMatrix + timings.fConstVector +
                         timings.fPreconditioner + fetch + options.nProducts * timings.fStep;
    timings.fProductBytes = ProductBytes(block.Para);
    return timings;
  }

  int Status() const { return nStatus; }

 private:
  static size_t Bytes(int64_t floats) { return static_cast<size_t>(floats) * sizeof(float); }

  template <class T>
  void Send(T*& to, const std::vector<T>& from) {
    void* address = nullptr;
    Check(device.Malloc(address, from.size() * sizeof(T)));
    vAddresses.push_back(address);
    Check(device.CopyToDevice(address, from.data(), from.size() * sizeof(T)));
    to = static_cast<T*>(address);
  }

  void Zeros(float*& to, int64_t floats) {
    void* address = nullptr;
    Check(device.Malloc(address, Bytes(floats)));
    vAddresses.push_back(address);
    Check(device.Clear(address, Bytes(floats)));
    to = static_cast<float*>(address);
  }

  void Upload(const StripBlock& block) {
    call.Para = block.Para;
    call.nImageNum = block.nImages;
    gpu::DeviceArrays& arrays = call.Arrays;
    const int64_t n = block.Para.nUnknownLen, packed = block.Para.nPrecondLen;
    Send(arrays.cupPara, std::vector<gpu::GpuPara>{block.Para});
    Send(arrays.cupImgIdx, block.ImgIdx);
    Send(arrays.cupObjIdx, block.ObjIdx);
    Send(arrays.cupImgPt, block.ImgPt);
    Send(arrays.cupObjPt, block.ObjPt);
    Send(arrays.cupEop, block.Eop);
    Send(arrays.cupIop, block.Iop);
    Zeros(arrays.cupRms, gpu::kRmsFloats);
    Zeros(arrays.cupR, n);
    Zeros(arrays.cupM, packed);
    Zeros(arrays.cupD, n);
    Zeros(arrays.cupAd, n);
    const int64_t cameras = block.Para.nCameraCount;
    if (call.Form == KernelForm::Fast) {
      Zeros(arrays.cupFast, gpu::FastWorkWords(block.nImages, cameras));
      Check(device.CopyToDevice(arrays.cupFast + gpu::FastIndexBegin(block.nImages, cameras),
                                block.FastIndex.data(), block.FastIndex.size() * sizeof(uint32_t)));
    } else {
      Send(arrays.cupPairPos, block.PairPos);
      Zeros(arrays.cupTR, gpu::TailFloats(block.Para.nImgPt));
      Zeros(arrays.cuptR, gpu::kLaunchBlocks * n);
      Zeros(arrays.cuptM, gpu::kLaunchBlocks * packed);
      Zeros(arrays.cuptAd, gpu::kLaunchBlocks * n);
    }
  }

  void UploadThresholds() {
    std::vector<float> rms(static_cast<size_t>(gpu::kRmsFloats), 0.0f);
    rms[2] = rms[3] = 1;
    Check(device.CopyToDevice(call.Arrays.cupRms, rms.data(), rms.size() * sizeof(float)));
  }

  void Launch(Kernel which) {
    call.Which = which;
    Check(device.Launch(call));
  }

  void Synchronize() {
    float number = 0;
    Check(device.CopyToHost(&number, call.Arrays.cupRms, sizeof number));
  }

  static double Seconds(const std::function<void()>& f) {
    const auto begin = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  }

  double Best(const std::function<void()>& f) const {
    double best = 1e300;
    for (int k = 0; k < options.nRepeats; ++k) best = std::min(best, Seconds(f));
    return best;
  }

  /// Of work that is waited for: several times in a row, so that waiting does not count.
  double BestOf(const std::function<void()>& f) {
    const double once = Seconds([&] {
      f();
      Synchronize();
    });
    const int times = once > 0.05 ? 1 : 10;
    return Best([&] {
             for (int k = 0; k < times; ++k) f();
             Synchronize();
           }) /
           times;
  }

  /// What one product takes from memory at least, see kernels/fast/steps/FastPlan.h; in the literal form,
  /// index and measurement of each ray and its object point once.
  double ProductBytes(const gpu::GpuPara& para) const {
    const auto rays = static_cast<double>(para.nImgPt), points = static_cast<double>(para.nObjPt);
    return call.Form == KernelForm::Fast ? 24 * rays + 104 * points : 32 * rays + 64 * points;
  }

  void Check(int status) {
    if (nStatus == 0) nStatus = status;
  }

  gpu::Device& device;
  const Options& options;
  gpu::KernelCall call;
  std::vector<void*> vAddresses;
  int nStatus = 0;
};

std::string JsonOf(const Timings& t, double bandwidth) {
  return fmt::format(
      R"({{"form": "{}", "measurements": {}, "points": {}, "images": {}, "upload_s": {:.6g}, )"
      R"("refresh_s": {:.6g}, "sum_matrix_s": {:.6g}, "const_vector_s": {:.6g}, "preconditioner_s": {:.6g}, )"
      R"("product_s": {:.6g}, "step_s": {:.6g}, "iteration_s": {:.6g}, "bytes_per_ray": {:.4g}, )"
      R"("percent_of_copy": {:.4g}}})",
      t.szForm, t.nRays, t.nPoints, t.nImages, t.fUpload, t.fRefresh, t.fSumMatrix, t.fConstVector,
      t.fPreconditioner, t.fProduct, t.fStep, t.fIteration, t.fProductBytes / static_cast<double>(t.nRays),
      bandwidth > 0 ? 100 * t.fProductBytes / t.fProduct / bandwidth : 0);
}

void Print(const Timings& t, double bandwidth) {
  fmt::print(
      "| {} | {:.1f} M | {} | {:.3f} | {:.3f} | {:.3f} | {:.3f} | {:.3f} | {:.3f} | {:.2f} | {:.0f} | {:.0f} "
      "% |\n",
      t.szForm, static_cast<double>(t.nRays) * 1e-6, t.nImages, 1e3 * t.fRefresh, 1e3 * t.fSumMatrix,
      1e3 * t.fConstVector, 1e3 * t.fPreconditioner, 1e3 * t.fProduct, 1e3 * t.fStep, 1e3 * t.fIteration,
      t.fProductBytes / static_cast<double>(t.nRays),
      bandwidth > 0 ? 100 * t.fProductBytes / t.fProduct / bandwidth : 0);
  std::fflush(stdout);
}

bool WriteJson(const Options& options, const std::string& name, double bandwidth,
               const std::vector<Timings>& all) {
  std::string text = fmt::format(
      "{{\n  \"device\": \"{}\",\n  \"processors\": {},\n  \"layout\": {},\n  \"products\": {},\n"
      "  \"copy_bytes_per_s\": {:.4g},\n  \"runs\": [\n",
      name, options.nProcessors, options.nLayout, options.nProducts, bandwidth);
  for (size_t k = 0; k < all.size(); ++k)
    text += "    " + JsonOf(all[k], bandwidth) + (k + 1 < all.size() ? ",\n" : "\n");
  text += "  ]\n}\n";
  std::FILE* file = std::fopen(options.szJson.c_str(), "wb");
  if (file == nullptr) return false;
  const bool whole = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && whole;
}

int Run(const Options& options) {
  const bool cuda = options.szDevice == "cuda";
  const auto device = cuda ? gpu::MakeCudaDevice(gpu::kLiteralKernels)
                           : gpu::MakeHostDevice(int64_t{1} << 40, options.nProcessors, gpu::kLiteralKernels);
  int32_t count = 0;
  gpu::DeviceProperties properties;
  if (!device || device->GetDeviceCount(count) != 0 || count == 0 ||
      device->GetProperties(0, properties) != 0 || device->SetDevice(0) != 0) {
    fmt::print(stderr, "There is no CUDA device here{}.\n", device ? "" : ", and this build knows of none");
    return 1;
  }
  const double bandwidth = cuda ? CudaCopyBandwidth() : HostCopyBandwidth(options.nProcessors);
  fmt::print("{}{}, copies at {:.1f} GB/s; milliseconds, an iteration with {} products\n\n",
             properties.szName, cuda ? "" : fmt::format(", {} threads", options.nProcessors),
             bandwidth * 1e-9, options.nProducts);
  fmt::print(
      "| kernels | rays | images | refresh | SumMatrix | ConstVector | Preconditioner | product | "
      "product with transfers | iteration | bytes/ray | of the copies |\n"
      "|---|---|---|---|---|---|---|---|---|---|---|---|\n");
  std::vector<Timings> all;
  for (const int64_t measurements : options.Measurements) {
    for (const std::string& form : options.Forms) {
      DeviceRun run(*device, options, form == "literal" ? KernelForm::Literal : KernelForm::Fast);
      Timings timings = run.Measure(measurements);
      if (run.Status() != 0) {
        fmt::print(stderr, "The device failed with code {} at {} measurements, {}.\n", run.Status(),
                   measurements, form);
        return 1;
      }
      timings.szForm = form;
      Print(timings, bandwidth);
      all.push_back(timings);
    }
  }
  if (!options.szJson.empty() && !WriteJson(options, properties.szName, bandwidth, all)) {
    fmt::print(stderr, "{} could not be written.\n", options.szJson);
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace orvo::bench

int main(int argc, char** argv) {
  orvo::bench::Options options;
  CLI::App app{"Times the kernels of the device path on made-up strips."};
  app.add_option("--device", options.szDevice, "host or cuda")
      ->check(CLI::IsMember({"host", "cuda"}))
      ->capture_default_str();
  app.add_option("--measurements", options.Measurements, "Sizes, about")
      ->check(CLI::Range(int64_t{2000}, int64_t{400000000}))
      ->delimiter(',')
      ->capture_default_str();
  app.add_option("--forms", options.Forms, "fast, literal")
      ->check(CLI::IsMember({"fast", "literal"}))
      ->delimiter(',')
      ->capture_default_str();
  app.add_option("--layout", options.nLayout, "0 images, 1 cameras, 2 a camera for each image, 3 both")
      ->check(CLI::Range(0, 3))
      ->capture_default_str();
  app.add_option("--processors", options.nProcessors, "Threads of the host device")
      ->check(CLI::Range(1, 1024))
      ->capture_default_str();
  app.add_option("--repeats", options.nRepeats, "Rounds; the best counts")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--products", options.nProducts, "Products in an iteration")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--json", options.szJson, "Writes the figures to this file");
  CLI11_PARSE(app, argc, argv);
  return orvo::bench::Run(options);
}
