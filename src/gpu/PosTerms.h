// POS observations beside the device: the diagonal blocks, constant vector and product that their equations
// add to those of the points.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "normal/PosObservation.h"

namespace orvo::gpu {

/// One image's observation.
struct PosTerm {
  int32_t nImage = 0, nGroup = 0;
  double fTime = 0;
  double L[6] = {};  ///< misclosure of the rows
};

/// Where the unknowns of the POS groups stand.
struct PosPlaces {
  int64_t nFirstUnknown = 0;  ///< of group 0
  int64_t nFirstPacked = 0;   ///< where the block of group 0 is put in the packed preconditioner
};

/// Deliberately the same places in every layout: an image's unknowns at 6 i and its block at 21 i, also where
/// they are elsewhere (in the layout of merged blocks), and the blocks of the groups behind 21 elements an
/// image and 15 a camera, also where cameras have no blocks.
PosPlaces MakePosPlaces(int32_t imageNum, int32_t cameraNum, bool camerasAreUnknown);

/// M += the images' blocks E'PE and the groups' blocks D'PD, upper triangles. What would leave M is dropped,
/// here and below.
void AddPosPreconditioner(const PosModel& model, const PosPlaces& places, std::span<const PosTerm> terms,
                          std::span<double> M);

/// r += E'PL and D'PL
void AddPosConstVector(const PosModel& model, const PosPlaces& places, std::span<const PosTerm> terms,
                       std::span<double> r);

/// Ad += [E D]' P [E D] d
void AddPosProduct(const PosModel& model, const PosPlaces& places, std::span<const PosTerm> terms,
                   std::span<const float> d, std::span<double> Ad);

}  // namespace orvo::gpu
