#include "peer/RigorousPeer.h"

#include <ceres/ceres.h>
#include <sys/resource.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "block/GcpSigmas.h"
#include "check/RigorousReading.h"
#include "peer/RigorousProblem.h"
#include "prepared/PreparedBlock.h"

namespace orvo::peer {
namespace {

constexpr double kDefaultTolerance = 1e-6;

const std::map<std::string, ceres::LinearSolverType> kSolvers = {
    {"dense", ceres::DENSE_SCHUR}, {"sparse", ceres::SPARSE_SCHUR}, {"iterative", ceres::ITERATIVE_SCHUR}};
const std::map<std::string, ceres::PreconditionerType> kPreconditioners = {
    {"jacobi", ceres::JACOBI},
    {"schur_jacobi", ceres::SCHUR_JACOBI},
    {"cluster_jacobi", ceres::CLUSTER_JACOBI},
    {"cluster_tridiagonal", ceres::CLUSTER_TRIDIAGONAL}};

/// Renews the frames, and notes when each trial was done: before the derivatives at its place, of which a
/// solver that stops there has no need.
class EvaluationWatch : public ceres::EvaluationCallback {
 public:
  explicit EvaluationWatch(FrameTable& renewed) : frames(renewed) {}
  void PrepareForEvaluation(bool evaluateJacobians, bool newPoint) override {
    if (evaluateJacobians) BeforeDerivatives = Now();
    frames.PrepareForEvaluation(evaluateJacobians, newPoint);
  }
  Times BeforeDerivatives;

 private:
  FrameTable& frames;
};

/// Finds the step after which the default tolerance would have ended it.
class DefaultStop : public ceres::IterationCallback {
 public:
  explicit DefaultStop(const EvaluationWatch& watch) : evaluations(watch) {}
  ceres::CallbackReturnType operator()(const ceres::IterationSummary& summary) override {
    const double before = summary.cost + summary.cost_change;
    if (!bFound && summary.iteration > 0 && std::fabs(summary.cost_change) <= kDefaultTolerance * before) {
      bFound = true;
      Time = summary.step_is_successful ? evaluations.BeforeDerivatives : Now();
    }
    return ceres::SOLVER_CONTINUE;
  }
  bool bFound = false;
  Times Time;

 private:
  const EvaluationWatch& evaluations;
};

/// The problem that a run of the rigorous method has with these files and settings.
bool MakeProblem(const RigorousArguments& arguments, CBundleAdjustment& block, rigorous::BlockProblem& made) {
  if (!bench::PrepareBlock(block, arguments.szProject, arguments.szGcp, arguments.szSettings,
                           bench::PreparedUnits::OfFiles))
    return false;
  const RigorousReading reading =
      ReadRigorousSettings(arguments.szSettings, RigorousOverridesOf(arguments.pOverrides));
  for (const Finding& finding : reading.Findings) {
    if (finding.Weight != Severity::Error) continue;
    std::fprintf(stderr, "orvo_peer: %s\n", TextOf(finding).c_str());
    return false;
  }
  const std::vector<GcpSigma> sigmas = ReadGcpSigmas(arguments.szGcp, block.Inputs);
  made = rigorous::MakeBlockProblem(
      {block.Settings, block.Limits, reading.Settings, block.Images, block.Cameras, block.Points, sigmas});
  const std::string why = RigorousProblem::WhyNot(made);
  if (!why.empty()) std::fprintf(stderr, "orvo_peer: the block can't be taken: %s\n", why.c_str());
  return why.empty();
}

ceres::Solver::Options OptionsOf(const RigorousArguments& arguments, RigorousProblem& problem) {
  ceres::Solver::Options options;
  options.linear_solver_type = kSolvers.at(arguments.szSolver);
  options.preconditioner_type = kPreconditioners.at(arguments.szPreconditioner);
  options.use_explicit_schur_complement = arguments.bExplicit;
  if (ceres::IsDenseLinearAlgebraLibraryTypeAvailable(ceres::LAPACK))
    options.dense_linear_algebra_library_type = ceres::LAPACK;
  options.num_threads = arguments.nThreads;
  options.function_tolerance = arguments.fTolerance;
  // The cost alone ends it.
  options.gradient_tolerance = options.parameter_tolerance = 0;
  options.initial_trust_region_radius = arguments.fRadius;
  options.eta = arguments.fForcing;
  options.max_num_iterations = 200;
  options.minimizer_progress_to_stdout = arguments.bProgress;
  options.logging_type = arguments.bProgress ? ceres::PER_MINIMIZER_ITERATION : ceres::SILENT;
  options.linear_solver_ordering = problem.Ordering();
  return options;
}

struct SolvedTimes {
  Times Read, Build, Solve, ToDefault, Total;
};

void Print(const RigorousProblem& problem, const ceres::Solver::Summary& summary, size_t images,
           const SolvedTimes& times) {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  std::printf(
      "{\"images\":%zu,\"measurements\":%lld,\"vpv\":%.17g,\"accepted\":%d,\"rejected\":%d,"
      "\"converged\":%s,\"peak_bytes\":%lld",
      images, static_cast<long long>(problem.MeasurementNum()), 2 * summary.final_cost,
      summary.num_successful_steps - 1, summary.num_unsuccessful_steps,
      summary.termination_type == ceres::CONVERGENCE ? "true" : "false",
      1024LL * static_cast<long long>(usage.ru_maxrss));
  const auto print = [](const char* name, const Times& time) {
    std::printf(",\"%s\":{\"wall\":%.6f,\"cpu\":%.6f}", name, time.fWall, time.fCpu);
  };
  print("read", times.Read);
  print("build", times.Build);
  print("solve", times.Solve);
  print("to_default", times.ToDefault);
  print("total", times.Total);
  std::printf("}\n");
}

}  // namespace

void AddRigorousOptions(CLI::App& app, RigorousArguments& arguments) {
  app.add_option("--set", arguments.pOverrides, "KEY=VALUE, with --rigorous: a setting of that method");
  app.add_option("--preconditioner", arguments.szPreconditioner, "of the iterative solver, with --rigorous")
      ->capture_default_str()
      ->check(CLI::IsMember({"jacobi", "schur_jacobi", "cluster_jacobi", "cluster_tridiagonal"}));
  app.add_option("--radius", arguments.fRadius, "first trust region, with --rigorous")->capture_default_str();
  app.add_option("--forcing", arguments.fForcing, "of the iterative solver, with --rigorous")
      ->capture_default_str();
  app.add_flag("--explicit", arguments.bExplicit,
               "the iterative solver forms the Schur complement, with --rigorous");
}

int SolveRigorous(const RigorousArguments& arguments, const Times& start) {
  auto block = std::make_unique<CBundleAdjustment>(NativePlatform(), nullptr);
  auto made = std::make_unique<rigorous::BlockProblem>();
  if (!MakeProblem(arguments, *block, *made)) return 1;
  SolvedTimes times;
  const Times read = Now();
  times.Read = read - start;
  RigorousProblem problem(*made, block->Images);
  EvaluationWatch watch(problem.Frames());
  problem.Build(*made, watch);
  const size_t images = made->Task.vImages.size();
  // What was read is no longer needed, and would count as the solver's memory.
  block.reset();
  made.reset();
  ceres::Solver::Options options = OptionsOf(arguments, problem);
  DefaultStop stop(watch);
  options.callbacks.push_back(&stop);
  ceres::Solver::Summary summary;
  const Times built = Now();
  times.Build = built - read;
  ceres::Solve(options, problem.Problem(), &summary);
  const Times solved = Now();
  times.Solve = solved - built;
  times.ToDefault = stop.bFound ? stop.Time - built : times.Solve;
  times.Total = solved - start;
  if (arguments.bProgress) std::printf("%s\n", summary.FullReport().c_str());
  if (!summary.IsSolutionUsable()) {
    std::fprintf(stderr, "orvo_peer: %s\n", summary.message.c_str());
    return 1;
  }
  Print(problem, summary, images, times);
  std::fflush(stdout);
  // Taking the problem apart piece by piece would count as its time.
  std::_Exit(0);
}

}  // namespace orvo::peer
