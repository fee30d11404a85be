#include "gpu/ReducedSystem.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "geometry/camera/ImagePointPartials.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::test {
namespace {

constexpr int kPosSize = 6;

size_t Index(int64_t value) { return static_cast<size_t>(value); }

/// One ray's share in double precision.
struct Ray {
  bool bCounts = false;
  size_t image = 0, camera = 0;
  double weight = 0, pairWeight = 0;
  double D[2][11] = {}, L[2] = {};
  /// Of the unknowns in their own order: position of each of the eleven columns, -1 where it is none.
  std::array<int64_t, 11> Position = {};
};

class Reference {
 public:
  Reference(const KernelBlock& source, const ReferenceRules& given) : block(source), rules(given) {}

  ReducedSystem Run() {
    system.n = static_cast<int32_t>(block.Para.nUnknownLen);
    system.nLayoutMode = static_cast<int32_t>(block.Para.nMode);
    system.nImages = static_cast<int32_t>(block.Para.nImageCount);
    system.nCameras = static_cast<int32_t>(block.Para.nCameraCount);
    n = Index(system.n);
    system.S.assign(n * n, 0.0);
    system.b.assign(n, 0.0);
    system.Precond.assign(Index(block.Para.nPrecondLen), 0.0);
    for (size_t o = 0; o < Index(block.Para.nObjPt); ++o) AddPoint(o);
    AddCameraBlocks();
    for (size_t k = 0; k < n; ++k) {
      const double diagonal = system.S[k * n + k];
      system.Scale.push_back(diagonal != 0 ? std::sqrt(std::fabs(diagonal)) : 1.0);
    }
    return system;
  }

 private:
  Ray MakeRay(size_t j, size_t o) {
    Ray ray;
    system.Residuals.insert(system.Residuals.end(), {0.0, 0.0});
    system.Flags.push_back(gpu::kRayIsLeftOut);
    if (block.ImgIdx[4 * j + 3] == gpu::kRayIsLeftOut) return ray;
    ray.bCounts = true;
    ray.image = block.ImgIdx[4 * j];
    ray.camera = block.ImgIdx[4 * j + 1];
    PartialRows<double> rows;
    const float* point = &block.ObjPt[12 * o];
    LinearizeImagePoint<double>(block.ImgPt[4 * j], block.ImgPt[4 * j + 1], point[0], point[1], point[2],
                                MakeImageTerms(EopOf(block, ray.image)),
                                MakeCameraTerms(IopOf(block, ray.camera)), rows);
    for (int k = 0; k < 2; ++k) {
      std::copy_n(rows.B[k], 6, ray.D[k]);
      std::copy_n(rows.A[k], 5, ray.D[k] + 6);
      ray.L[k] = rows.L[k];
    }
    system.Residuals[system.Residuals.size() - 2] = ray.L[0];
    system.Residuals.back() = ray.L[1];
    const double factor = static_cast<double>(block.Para.nGrossFactor100) / 100;
    const bool gross = block.Type(o) == 0 && (std::fabs(ray.L[0]) > factor * block.Rms[2] ||
                                              std::fabs(ray.L[1]) > factor * block.Rms[3]);
    system.Flags.back() = gross ? gpu::kRayIsGross : gpu::kRayCounts;
    ray.pairWeight = gross ? rules.fGrossWeight : 1.0;
    ray.weight = gross                ? rules.fGrossWeight
                 : block.Type(o) == 1 ? static_cast<double>(block.Para.nControlWeight)
                                      : 1.0;
    if (!gross) {
      system.fSums[0] += ray.L[0];
      system.fSums[1] += ray.L[1];
      system.fSums[2] += ray.L[0] * ray.L[0];
      system.fSums[3] += ray.L[1] * ray.L[1];
    }
    const auto image = static_cast<int64_t>(ray.image), camera = static_cast<int64_t>(ray.camera);
    for (int64_t k = 0; k < 11; ++k) {
      int64_t& position = ray.Position[Index(k)];
      switch (block.Para.nMode) {
        case LayoutEop:
          position = k < 6 ? 6 * image + k : -1;
          break;
        case LayoutIop:
          position = k < 6 ? -1 : 5 * camera + k - 6;
          break;
        case LayoutMergedEopIop:
          position = 11 * image + k;
          break;
        default:
          position = k < 6 ? 6 * image + k : 6 * block.Para.nImageCount + 5 * camera + k - 6;
      }
    }
    return ray;
  }

  /// Whether the sums of a point hold its ray j.
  bool InSums(size_t o, size_t j) const {
    if (!rules.bBoundaries) return true;
    return j / 256 <= block.FirstRay(o) / 256 + 1;
  }

  /// Fills P and e as the last step of a point does.
  static void Finish(double N[6], const double Q[3], double* P, double* e) {
    const double c00 = N[3] * N[5] - N[4] * N[4], c01 = N[1] * N[5] - N[2] * N[4],
                 c02 = N[1] * N[4] - N[2] * N[3], c11 = N[0] * N[5] - N[2] * N[2],
                 c12 = N[0] * N[4] - N[1] * N[2], c22 = N[0] * N[3] - N[1] * N[1];
    const double determinant = N[0] * c00 - N[1] * c01 + N[2] * c02;
    const double inverse[6] = {c00, -c01, c02, c11, -c12, c22};
    for (int k = 0; k < 6; ++k) P[k] = std::fabs(determinant) < 1e-24 ? N[k] : inverse[k] / determinant;
    e[0] = P[0] * Q[0] + P[1] * Q[1] + P[2] * Q[2];
    e[1] = P[1] * Q[0] + P[3] * Q[1] + P[4] * Q[2];
    e[2] = P[2] * Q[0] + P[4] * Q[1] + P[5] * Q[2];
  }

  void FinishPoint(size_t o, const std::vector<Ray>& rays, double* P, double* e) const {
    const float* uploaded = &block.ObjPt[12 * o];
    const size_t first = block.FirstRay(o), m = rays.size();
    double heightDifference = uploaded[5];
    double N[6] = {}, Q[3] = {};
    for (size_t k = 0; k < m; ++k) {
      const Ray& ray = rays[k];
      if (!InSums(o, first + k)) continue;
      for (int row = 0; row < 2; ++row) {
        const double* D = ray.D[row];
        const int pairs[6][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}};
        for (int t = 0; t < 6; ++t) N[t] += ray.weight * D[pairs[t][0]] * D[pairs[t][1]];
        for (int t = 0; t < 3; ++t) Q[t] -= ray.weight * D[t] * ray.L[row];
      }
    }
    const auto observeHeight = [&] {
      if (!rules.bDeviceRules || block.Type(o) != 4) return;
      const auto weight = static_cast<double>(block.Para.nControlWeight);
      N[5] += weight;
      Q[2] += heightDifference * weight;
    };
    if (rules.bBoundaries && m > 0 && first + m > (first / 256 + 1) * 256 && o < first / 256) {
      for (int k = 0; k < 6; ++k) P[k] = uploaded[3 + k];
      for (int k = 0; k < 3; ++k) e[k] = uploaded[9 + k];
      return;
    }
    observeHeight();
    Finish(N, Q, P, e);
    if (rules.bBoundaries && o == 0 && m <= 256) {
      // The record of block 0 names point 0 when no point runs from block 0 into block 1.
      for (size_t k = 0; k < Index(block.Para.nObjPt); ++k) {
        const size_t begin = block.FirstRay(k), end = begin + block.RayCount(k);
        if (begin < 256 && end > 256) return;
      }
      heightDifference = P[2];
      std::fill(std::begin(N), std::end(N), 0.0);
      std::fill(std::begin(Q), std::end(Q), 0.0);
      observeHeight();
      Finish(N, Q, P, e);
    }
  }

  void AddPoint(size_t o) {
    std::vector<Ray> rays;
    for (size_t j = block.FirstRay(o); j < block.FirstRay(o) + block.RayCount(o); ++j)
      rays.push_back(MakeRay(j, o));
    double P[6], e[3];
    FinishPoint(o, rays, P, e);
    system.P.insert(system.P.end(), P, P + 6);
    system.e.insert(system.e.end(), e, e + 3);
    const double inverse[3][3] = {{P[0], P[1], P[2]}, {P[1], P[3], P[4]}, {P[2], P[4], P[5]}};
    const bool eliminated = block.Type(o) != 1;

    // G: sum of the weighted D'C of all rays of the point by unknown, with C = -B.
    std::vector<double> G(3 * n, 0.0);
    std::vector<size_t> touched;
    for (const Ray& ray : rays) {
      if (!ray.bCounts) continue;
      AddDirect(ray);
      if (eliminated) SubtractConstVector(ray, e);
      AddImageBlock(ray, inverse, eliminated);
      for (size_t k = 0; eliminated && k < 11; ++k) {
        if (ray.Position[k] < 0) continue;
        const size_t position = Index(ray.Position[k]);
        touched.push_back(position);
        for (size_t t = 0; t < 3; ++t) {
          G[3 * position + t] -= ray.weight * (ray.D[0][k] * ray.D[0][t] + ray.D[1][k] * ray.D[1][t]);
        }
      }
    }
    std::sort(touched.begin(), touched.end());
    touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
    for (const size_t row : touched) {
      double GP[3];
      for (size_t t = 0; t < 3; ++t) {
        GP[t] = G[3 * row] * inverse[0][t] + G[3 * row + 1] * inverse[1][t] + G[3 * row + 2] * inverse[2][t];
      }
      for (const size_t col : touched) {
        system.S[row * n + col] -= GP[0] * G[3 * col] + GP[1] * G[3 * col + 1] + GP[2] * G[3 * col + 2];
      }
    }
  }

  void AddDirect(const Ray& ray) {
    for (size_t p = 0; p < 11; ++p) {
      if (ray.Position[p] < 0) continue;
      const size_t row = Index(ray.Position[p]);
      system.b[row] += ray.weight * (ray.D[0][p] * ray.L[0] + ray.D[1][p] * ray.L[1]);
      for (size_t q = 0; q < 11; ++q) {
        if (ray.Position[q] < 0) continue;
        system.S[row * n + Index(ray.Position[q])] +=
            ray.weight * (ray.D[0][p] * ray.D[0][q] + ray.D[1][p] * ray.D[1][q]);
      }
    }
  }

  void SubtractConstVector(const Ray& ray, const double* e) {
    double u[2];
    for (int row = 0; row < 2; ++row)
      u[row] = -(ray.D[row][0] * e[0] + ray.D[row][1] * e[1] + ray.D[row][2] * e[2]);
    for (size_t p = 0; p < 11; ++p) {
      if (ray.Position[p] < 0) continue;
      const double weight = p == 10 && rules.bDeviceRules ? ray.weight * ray.weight : ray.weight;
      system.b[Index(ray.Position[p])] -= weight * (ray.D[0][p] * u[0] + ray.D[1][p] * u[1]);
    }
  }

  /// An image's diagonal block takes of each ray its pair with itself only.
  void AddImageBlock(const Ray& ray, const double inverse[3][3], bool eliminated) {
    if (block.Para.nMode == LayoutIop) return;
    const size_t size = block.Para.nMode == LayoutMergedEopIop ? 11 : 6;
    double T[2][2] = {};
    for (int r = 0; r < 2; ++r) {
      for (int c = 0; c < 2; ++c) {
        for (int s = 0; s < 3; ++s) {
          for (int t = 0; t < 3; ++t) T[r][c] += ray.D[r][s] * inverse[s][t] * ray.D[c][t];
        }
      }
    }
    double* out = &system.Precond[size * (size + 1) / 2 * ray.image];
    for (size_t p = 0; p < size; ++p) {
      for (size_t q = p; q < size; ++q, ++out) {
        for (int r = 0; r < 2; ++r) {
          *out += ray.weight * ray.D[r][p] * ray.D[r][q];
          for (int c = 0; eliminated && c < 2; ++c)
            *out -= ray.weight * ray.weight * ray.D[r][p] * T[r][c] * ray.D[c][q];
        }
      }
    }
  }

  /// A camera's diagonal block takes all pairs of rays through the camera: it is that of S.
  void AddCameraBlocks() {
    if (block.Para.nMode != LayoutIop && block.Para.nMode != LayoutEopIop) return;
    const bool behind = block.Para.nMode == LayoutEopIop;
    for (size_t c = 0; c < Index(block.Para.nCameraCount); ++c) {
      const size_t top = (behind ? 6 * Index(block.Para.nImageCount) : 0) + 5 * c;
      double* out = &system.Precond[(behind ? 21 * Index(block.Para.nImageCount) : 0) + 15 * c];
      for (size_t p = 0; p < 5; ++p) {
        for (size_t q = p; q < 5; ++q) *out++ = system.S[(top + p) * n + top + q];
      }
    }
  }

  const KernelBlock& block;
  const ReferenceRules rules;
  ReducedSystem system;
  size_t n = 0;
};

/// Keeps the larger; a value that is not a number counts as infinite.
void Raise(double& largest, double value) {
  if (!(value <= largest)) largest = std::isnan(value) ? std::numeric_limits<double>::infinity() : value;
}

double VectorError(const ReducedSystem& system, const std::vector<double>& expected,
                   const std::vector<float>& values) {
  double size = 0, largest = 0;
  if (values.size() != expected.size()) return std::numeric_limits<double>::infinity();
  for (size_t k = 0; k < expected.size(); ++k) {
    Raise(size, std::fabs(expected[k]) / system.Scale[k]);
    Raise(largest, std::fabs(values[k] - expected[k]) / system.Scale[k]);
  }
  return size > 0 ? largest / size : largest;
}

}  // namespace

ReducedSystem MakeReducedSystem(const KernelBlock& block, ReferenceRules rules) {
  return Reference(block, rules).Run();
}

double ConstVectorError(const ReducedSystem& system, const std::vector<float>& R) {
  return VectorError(system, system.b, R);
}

double ProductError(const ReducedSystem& system, int32_t k, const std::vector<float>& Ad) {
  const auto n = static_cast<size_t>(system.n), column = static_cast<size_t>(k);
  double largest = 0;
  if (Ad.size() != n) return std::numeric_limits<double>::infinity();
  for (size_t i = 0; i < n; ++i) {
    Raise(largest, std::fabs(Ad[i] - system.S[i * n + column]) / (system.Scale[i] * system.Scale[column]));
  }
  return largest;
}

double ProductError(const ReducedSystem& system, const std::vector<float>& d, const std::vector<float>& Ad) {
  const auto n = static_cast<size_t>(system.n);
  std::vector<double> expected(n, 0.0);
  for (size_t i = 0; i < n; ++i) {
    for (size_t k = 0; k < n; ++k) expected[i] += system.S[i * n + k] * d[k];
  }
  return VectorError(system, expected, Ad);
}

double PreconditionerError(const ReducedSystem& system, const std::vector<float>& M) {
  if (M.size() != system.Precond.size()) return std::numeric_limits<double>::infinity();
  double largest = 0;
  size_t element = 0, top = 0;
  while (element < M.size()) {
    size_t size = kPosSize;
    const size_t images = Index(system.nImages), cameras = Index(system.nCameras);
    switch (system.nLayoutMode) {
      case LayoutEop:
        break;
      case LayoutIop:
        if (top < 5 * cameras) size = 5;
        break;
      case LayoutMergedEopIop:
        if (top < 11 * images) size = 11;
        break;
      default:
        if (top >= 6 * images && top < 6 * images + 5 * cameras) size = 5;
    }
    for (size_t p = 0; p < size; ++p) {
      for (size_t q = p; q < size; ++q, ++element) {
        Raise(largest, std::fabs(M[element] - system.Precond[element]) /
                           (system.Scale[top + p] * system.Scale[top + q]));
      }
    }
    top += size;
  }
  return largest;
}

double InverseError(const ReducedSystem& system, const KernelBlock& block, const std::vector<float>& ObjPt) {
  double largest = 0;
  for (size_t o = 0; o < ObjPt.size() / 12; ++o) {
    if (block.Type(o) == 1) continue;
    double size = 0, difference = 0;
    for (size_t k = 0; k < 6; ++k) {
      Raise(size, std::fabs(system.P[6 * o + k]));
      Raise(difference, std::fabs(ObjPt[12 * o + 3 + k] - system.P[6 * o + k]));
    }
    Raise(largest, size > 0 ? difference / size : difference);
  }
  return largest;
}

double SolvedVectorError(const ReducedSystem& system, const KernelBlock& block,
                         const std::vector<float>& ObjPt) {
  double size = 0, difference = 0;
  for (size_t o = 0; o < ObjPt.size() / 12; ++o) {
    if (block.Type(o) == 1) continue;
    for (size_t k = 0; k < 3; ++k) {
      Raise(size, std::fabs(system.e[3 * o + k]));
      Raise(difference, std::fabs(ObjPt[12 * o + 9 + k] - system.e[3 * o + k]));
    }
  }
  return size > 0 ? difference / size : difference;
}

}  // namespace orvo::test