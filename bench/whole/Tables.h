// What the terminal shows while cases run.
#pragma once

#include <cstdio>
#include <span>

#include "whole/Measurement.h"

namespace orvo::bench {

void PrintRunHead(std::FILE* out);
/// A row for each program; where there are two, a row with the ratios of the second to the first.
void PrintRunRows(std::FILE* out, std::span<const Measurement> ofCase);
/// Phases, then output files, the programs side by side.
void PrintPhases(std::FILE* out, std::span<const Measurement> ofCase);

}  // namespace orvo::bench
