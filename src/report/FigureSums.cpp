#include "report/FigureSums.h"

#include <span>

namespace orvo::report {
namespace {

void AddCounts(std::span<int64_t> to, std::span<const int64_t> from) {
  for (size_t i = 0; i < to.size(); ++i) to[i] += from[i];
}

/// Of images or cameras.
template <typename Group>
void AddGroups(std::vector<Group>& to, const std::vector<Group>& from) {
  for (size_t i = 0; i < to.size(); ++i) {
    to[i].Strict.Add(from[i].Strict);
    to[i].nUsed += from[i].nUsed;
    to[i].nGross += from[i].nGross;
  }
}

}  // namespace

void FigureSums::Add(const FigureSums& other) {
  nPoints += other.nPoints;
  nNotSolved += other.nNotSolved;
  nNotInFront += other.nNotInFront;
  nMeasurements += other.nMeasurements;
  nUsed += other.nUsed;
  nGross += other.nGross;
  nTie += other.nTie;
  nTieNotSolved += other.nTieNotSolved;
  nTieNotInFront += other.nTieNotInFront;
  nTieRays += other.nTieRays;
  nTieBelow3 += other.nTieBelow3;
  StrictAll.Add(other.StrictAll);
  StrictKept.Add(other.StrictKept);
  AddCounts(vX, other.vX);
  AddCounts(vY, other.vY);
  AddCounts(vRays, other.vRays);
  AddCounts(vAngles, other.vAngles);
  AddGroups(vImages, other.vImages);
  AddGroups(vCameras, other.vCameras);
  for (size_t i = 0; i < vImages.size(); ++i) vImages[i].fHeights += other.vImages[i].fHeights;
  for (size_t i = 0; i < vFields.size(); ++i) vFields[i].Add(other.vFields[i]);
  Cells.Add(other.Cells);
}

}  // namespace orvo::report
