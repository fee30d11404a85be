#include "block/Connectivity.h"

#include <algorithm>
#include <map>
#include <numeric>

namespace orvo {

ImageSets::ImageSets(int32_t images) {
  for (auto& parent : vParents) {
    parent.resize(static_cast<size_t>(std::max(images, 0)));
    std::iota(parent.begin(), parent.end(), 0);
  }
}

int32_t ImageSets::Root(std::vector<int32_t>& parent, int32_t image) {
  auto i = static_cast<size_t>(image);
  while (static_cast<size_t>(parent[i]) != i) {
    parent[i] = parent[static_cast<size_t>(parent[i])];
    i = static_cast<size_t>(parent[i]);
  }
  return static_cast<int32_t>(i);
}

void ImageSets::Join(int64_t ordinal, std::span<const int32_t> images) {
  if (images.size() < 2) return;
  std::vector<int32_t>& parent = vParents[static_cast<size_t>(ordinal % 3)];
  const int32_t root = Root(parent, images.front());
  for (const int32_t image : images.subspan(1)) {
    const int32_t other = Root(parent, image);
    if (other != root) parent[static_cast<size_t>(other)] = root;
  }
}

void ImageSets::Join(const ImageSets& other) {
  for (size_t third = 0; third < vParents.size(); ++third) {
    for (size_t i = 0; i < other.vParents[third].size(); ++i) {
      const int32_t pair[] = {static_cast<int32_t>(i), other.vParents[third][i]};
      Join(static_cast<int64_t>(third), pair);
    }
  }
}

std::vector<int32_t> ImageSets::Cells() const {
  std::array<std::vector<int32_t>, 3> parents = vParents;
  std::map<std::array<int32_t, 3>, int32_t> labels;
  std::vector<int32_t> cells(parents[0].size());
  for (size_t i = 0; i < cells.size(); ++i) {
    std::array<int32_t, 3> key{};
    for (size_t third = 0; third < 3; ++third) key[third] = Root(parents[third], static_cast<int32_t>(i));
    cells[i] = labels.try_emplace(key, static_cast<int32_t>(labels.size())).first->second;
  }
  return cells;
}

bool CellJoiner::IsOne() const {
  return std::ranges::all_of(vCells, [](int32_t cell) { return cell == 0; });
}

void CellJoiner::Count(std::span<const int32_t> images) {
  const auto cellOf = [this](int32_t image) { return vCells[static_cast<size_t>(image)]; };
  if (std::ranges::all_of(images, [&](int32_t image) { return cellOf(image) == cellOf(images.front()); }))
    return;
  std::vector<int32_t> cells;
  for (const int32_t image : images) cells.push_back(cellOf(image));
  std::ranges::sort(cells);
  cells.erase(std::unique(cells.begin(), cells.end()), cells.end());
  vCrossing.push_back(std::move(cells));
}

std::vector<std::vector<int32_t>> CellJoiner::Parts(int64_t least) const {
  const int32_t cellNum = vCells.empty() ? 0 : *std::ranges::max_element(vCells) + 1;
  std::vector<int32_t> part(static_cast<size_t>(cellNum));
  std::iota(part.begin(), part.end(), 0);
  for (bool joined = true; joined;) {
    joined = false;
    std::map<std::pair<int32_t, int32_t>, int64_t> shared;
    for (const std::vector<int32_t>& cells : vCrossing) {
      std::vector<int32_t> parts;
      parts.reserve(cells.size());
      for (const int32_t cell : cells) parts.push_back(part[static_cast<size_t>(cell)]);
      std::ranges::sort(parts);
      parts.erase(std::unique(parts.begin(), parts.end()), parts.end());
      for (size_t a = 0; a < parts.size(); ++a) {
        for (size_t b = a + 1; b < parts.size(); ++b) ++shared[{parts[a], parts[b]}];
      }
    }
    for (const auto& [pair, count] : shared) {
      if (count < least) continue;
      const int32_t from = part[static_cast<size_t>(pair.second)], to = part[static_cast<size_t>(pair.first)];
      if (from == to) continue;
      std::ranges::replace(part, from, to);
      joined = true;
    }
  }
  std::map<int32_t, std::vector<int32_t>> byPart;
  for (size_t i = 0; i < vCells.size(); ++i) {
    byPart[part[static_cast<size_t>(vCells[i])]].push_back(static_cast<int32_t>(i));
  }
  std::vector<std::vector<int32_t>> parts;
  parts.reserve(byPart.size());
  for (auto& entry : byPart) parts.push_back(std::move(entry.second));
  std::ranges::stable_sort(parts, [](const auto& a, const auto& b) { return a.size() > b.size(); });
  return parts;
}

}  // namespace orvo
