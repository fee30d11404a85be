// How a block is adjusted.
#pragma once

#include <cstdint>

#include "records/RigorousSettings.h"

namespace orvo {

enum class AdjustMethod : uint8_t {
  Classic,  ///< by a schedule of weights and damping, results as they always were
  Rigorous  ///< least squares of all observations with their standard deviations, to the statistical end
};

/// "classic", "rigorous".
inline const char* NameOf(AdjustMethod method) {
  return method == AdjustMethod::Rigorous ? "rigorous" : "classic";
}

struct MethodChoice {
  AdjustMethod Method = AdjustMethod::Classic;
  RigorousSettings Settings;  ///< of the rigorous method

  bool IsRigorous() const { return Method == AdjustMethod::Rigorous; }
};

}  // namespace orvo
