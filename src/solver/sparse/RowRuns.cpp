#include "solver/sparse/RowRuns.h"

namespace orvo::sparse {

void FindRuns(const SymbolicFactor& factor, const Supernode& source, int64_t firstRow,
              const Supernode& target, std::vector<RowRun>& runs) {
  runs.clear();
  int32_t from = 0;
  int64_t walk = target.nFirstRow;
  for (int64_t r = firstRow; r < source.nEndRow; ++r) {
    const int32_t position = factor.vRows[r], size = factor.vSizes[position];
    int32_t place = 0;
    if (position < target.nEnd) {
      place = static_cast<int32_t>(factor.vFirstUnknown[position] - factor.vFirstUnknown[target.nFirst]);
    } else {
      // An ancestor has all rows that stand behind its own.
      while (factor.vRows[walk] != position) ++walk;
      place = factor.vRowPlaces[walk];
    }
    if (!runs.empty() && runs.back().nTo + runs.back().nLength == place) {
      runs.back().nLength += size;
    } else {
      runs.push_back({from, place, size});
    }
    from += size;
  }
}

int64_t EndOfSegment(const SymbolicFactor& factor, const Supernode& source, int64_t firstRow) {
  const int32_t end = factor.vSupernodes[factor.vOf[factor.vRows[firstRow]]].nEnd;
  while (firstRow < source.nEndRow && factor.vRows[firstRow] < end) ++firstRow;
  return firstRow;
}

}  // namespace orvo::sparse
