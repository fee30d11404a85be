#include "check/block/PosPairs.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <unordered_map>

namespace orvo {

std::vector<PosPair> PairPos(const SurveyBlock& block, const std::vector<bool>& usable) {
  std::unordered_map<std::string_view, size_t> lines, images;
  for (size_t i = 0; i < block.Pos.size(); ++i) lines[block.Pos[i].szName] = i;
  std::vector<PosPair> pairs;
  for (size_t i = 0; i < block.Images.size(); ++i) {
    const std::string_view name = block.Images[i].szName;
    if (name.empty() || !images.try_emplace(name, i).second || !usable[i]) continue;
    if (const auto line = lines.find(name); line != lines.end()) pairs.push_back({i, line->second});
  }
  return pairs;
}

PositionPairing PairPositions(const SurveyBlock& block, const std::vector<PosPair>& pairs,
                              double objectScale) {
  PositionPairing pairing;
  for (const PosPair& pair : pairs) {
    const Position3& given = block.Pos[pair.nPos].S;
    const bool none = given == Position3{0, 0, 0};
    if (none || !std::ranges::all_of(given, [](double value) { return std::isfinite(value); })) continue;
    Position3 centre = block.Images[pair.nImage].S;
    for (double& coordinate : centre) coordinate *= objectScale;
    pairing.Pairs.push_back(pair);
    pairing.Block.push_back(centre);
    pairing.Given.push_back(given);
  }
  return pairing;
}

}  // namespace orvo
