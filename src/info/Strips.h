// The flight lines of a block, and how far their images overlap.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exchange/views/Footprint.h"
#include "info/Spread.h"
#include "records/SurveyBlock.h"

namespace orvo::info {

/// Images of one strip, by ordinal, in the order of the project.
using Strip = std::vector<int32_t>;

/// Where the strips were taken from.
enum class StripSource {
  Pos,     ///< the IDs of the POS file
  Course,  ///< the order of the project: a turn of 45 degrees or a gap of three bases ends a strip
  None     ///< neither tells of strips: most images would be strips of their own
};

struct StripList {
  StripSource Source = StripSource::None;
  std::vector<Strip> Strips;  ///< of the source None: empty
};

StripList StripsOf(const SurveyBlock& block);

/// Overlaps in per cent of the footprint, bases in object units.
struct StripFigures {
  Spread Images;   ///< of a strip
  Spread Base;     ///< between neighbours in a strip
  Spread Forward;  ///< of neighbours in a strip, along the line through their middles
  Spread Side;     ///< with the nearest image of a parallel strip on either side, across the strip
};

/// `footprints`: by image, as FootprintOf gives them; empty ones take no part in the overlaps.
StripFigures FiguresOfStrips(const SurveyBlock& block, const StripList& list,
                             const std::vector<exchange::Polygon>& footprints);

}  // namespace orvo::info
