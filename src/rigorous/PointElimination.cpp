#include "rigorous/PointElimination.h"

#include <algorithm>

namespace orvo::rigorous {
ShareRows PointElimination::CameraRows::Fill(const CameraColumns& camera, const PlaceRow& row, bool hasImage,
                                             int32_t share) {
  const int32_t end = camera.nLens + camera.Layout.Num, width = RoundedUp(end);
  for (int i = 0; i < 2; ++i) {
    std::fill_n(Numbers[i], width, 0.0);
    if (hasImage) std::copy_n(row.Image[i], 6, Numbers[i]);
    for (int k = 0; k < camera.Layout.Num; ++k) {
      Numbers[i][camera.nLens + k] = row.Camera[i][static_cast<int>(camera.Layout.Columns[k])];
    }
  }
  return {share, width, end, {Numbers[0], Numbers[1]}};
}

PointElimination::PointElimination(const PointSurroundings& around, ChunkEquations& chunk)
    : pAround(&around), pChunk(&chunk) {}

void PointElimination::Add(const PointObservations& point, const PointPlace& place) {
  if (!place.bInUse) return;
  CollectNodes(point, place);
  PlaceShares();
  CollectRays(point, place);
  const ShareBlocks blocks = {vShares.data(), static_cast<int32_t>(vShares.size()), vBlocks.data()};
  pAround->Kernels.AddRays(vRays.data(), static_cast<int32_t>(vRays.size()), blocks);
  if (place.Factor.RankNum() == 0) return;
  pAround->Kernels.Reduce(place.Factor.Q.data(), place.Reduced.data(), blocks);
}

PointElimination::RayNodes PointElimination::NodesOf(const Ray& ray) const {
  const auto image = static_cast<size_t>(ray.nImage);
  const auto camera = static_cast<size_t>(pAround->Of.vImages[image].nCamera);
  const CameraColumns& columns = pAround->pPlan->vCameras[camera];
  return {pAround->pPlan->vImageNode[image], columns.Layout.Num > 0 ? columns.nNode : -1};
}

void PointElimination::CollectNodes(const PointObservations& point, const PointPlace& place) {
  vNodes.clear();
  for (size_t r = 0; r < point.Rays.size(); ++r) {
    if (!(place.vWeights[r] > 0)) continue;
    const RayNodes nodes = NodesOf(point.Rays[r]);
    AddNode(nodes.nImage);
    AddNode(nodes.nCamera);
  }
}

void PointElimination::AddNode(int32_t node) {
  if (node < 0) return;
  auto place = vNodes.end();
  while (place != vNodes.begin() && (place - 1)->nNode > node) --place;
  if (place != vNodes.begin() && (place - 1)->nNode == node) return;
  vNodes.insert(place, {node, pChunk->LocalOf(node)});
}

void PointElimination::PlaceShares() {
  const size_t num = vNodes.size();
  int32_t rows = 0;
  for (const PointNode& node : vNodes) rows += 3 * pChunk->StrideOf(node.nLocal) / kRowNumbers;
  vV.assign(static_cast<size_t>(rows), {});
  vShares.resize(num);
  vBlocks.resize(num * num);
  for (size_t a = 0, row = 0; a < num; ++a) {
    const int32_t local = vNodes[a].nLocal, stride = pChunk->StrideOf(local);
    vShares[a] = {pChunk->SizeOf(local), stride, vV[row].Numbers, pChunk->Constants(local)};
    row += static_cast<size_t>(3 * stride / kRowNumbers);
    for (size_t b = a; b < num; ++b) pChunk->NeedBlock(local, vNodes[b].nLocal);
  }
  for (size_t a = 0; a < num; ++a) {
    for (size_t b = a; b < num; ++b) vBlocks[a * num + b] = pChunk->Block(vNodes[a].nLocal, vNodes[b].nLocal);
  }
}

int32_t PointElimination::ShareOf(int32_t node) const {
  int32_t share = 0;
  while (vNodes[static_cast<size_t>(share)].nNode != node) ++share;
  return share;
}

// All rays before the first sum: registers are loaded long after their numbers were stored one by one.
void PointElimination::CollectRays(const PointObservations& point, const PointPlace& place) {
  vRays.clear();
  if (vCameraRows.size() < point.Rays.size()) vCameraRows.resize(point.Rays.size());
  for (size_t r = 0; r < point.Rays.size(); ++r) {
    if (!(place.vWeights[r] > 0)) continue;
    vRays.push_back(WeightedOf(point.Rays[r], place.vRows[r], place.vWeights[r], vCameraRows[r]));
  }
}

WeightedRay PointElimination::WeightedOf(const Ray& ray, const PlaceRow& row, double weight,
                                         CameraRows& camera) const {
  const RayNodes nodes = NodesOf(ray);
  const bool isOneNode = nodes.nImage >= 0 && nodes.nImage == nodes.nCamera;
  WeightedRay weighted;
  weighted.pRow = &row;
  weighted.fWeight = weight;
  if (nodes.nImage >= 0 && !isOneNode) {
    weighted.Parts[0] = {ShareOf(nodes.nImage), kRowNumbers, 6, {row.Image[0], row.Image[1]}};
  }
  if (nodes.nCamera >= 0) {
    const auto columns = static_cast<size_t>(pAround->Of.vImages[static_cast<size_t>(ray.nImage)].nCamera);
    weighted.Parts[1] =
        camera.Fill(pAround->pPlan->vCameras[columns], row, isOneNode, ShareOf(nodes.nCamera));
  }
  return weighted;
}

}  // namespace orvo::rigorous
