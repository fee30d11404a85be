// The rigorous method's problem, solved by the peer, and what it took.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "peer/Times.h"

namespace orvo::peer {

struct RigorousArguments {
  std::string szProject, szGcp, szSettings;
  std::vector<std::string> pOverrides;  ///< KEY=VALUE of settings of the rigorous method
  std::string szSolver = "sparse";      ///< dense, sparse or iterative
  std::string szPreconditioner = "schur_jacobi";
  int nThreads = 1;
  double fTolerance = 1e-12;  ///< relative change of the cost that ends it
  double fRadius = 1e4;       ///< of the first trust region; damping is 1 over it
  double fForcing = 0.1;      ///< of the iterative solver
  bool bExplicit = false;     ///< it forms the Schur complement
  bool bProgress = false;
};

/// Those that `RigorousArguments` has beside the options of the classic problem.
void AddRigorousOptions(CLI::App& app, RigorousArguments& arguments);

/// Solves and prints a line of JSON, times in seconds with wall and cpu: images, measurements, vpv (twice the
/// solver's cost, without unit), accepted and rejected (steps), converged, read, build, solve (with what the
/// solver prepares), to_default (of it, until its default tolerance of 1e-6 would have ended it), total
/// (since `start`) and peak_bytes. 1 after a message where it can't be done.
int SolveRigorous(const RigorousArguments& arguments, const Times& start);

}  // namespace orvo::peer
