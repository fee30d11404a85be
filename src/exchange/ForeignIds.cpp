#include "exchange/ForeignIds.h"

#include <unordered_set>

namespace orvo::exchange {

int64_t IdOfImage(const ForeignModel& model, size_t image) {
  return model.ImageIds.empty() ? model.Images[image].nId : model.ImageIds[image];
}

int64_t ReplaceIds(const IdRange& range, std::vector<int64_t>& ids) {
  std::unordered_set<int64_t> taken;
  std::vector<size_t> replaced;
  for (size_t i = 0; i < ids.size(); ++i) {
    const bool fits = ids[i] >= range.nLeast && ids[i] <= range.nMost && taken.insert(ids[i]).second;
    if (!fits) replaced.push_back(i);
  }
  int64_t next = range.nLeast;
  for (const size_t i : replaced) {
    while (taken.contains(next)) ++next;
    ids[i] = next++;
  }
  return static_cast<int64_t>(replaced.size());
}

}  // namespace orvo::exchange
