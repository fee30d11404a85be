#include "block/PosLine.h"

#include "base/Scan.h"

namespace orvo {

bool ReadPosLine(std::string_view text, PosLine& line) {
  FieldScanner fields(text);
  std::string_view name;
  if (!fields.Word(name)) return false;
  line.szName = name;
  for (double* value : {&line.X, &line.Y, &line.Z, &line.fOmega, &line.fPhi, &line.fKappa})
    fields.Real(*value);
  fields.Int(line.nStrip);
  return true;
}

double PosRadians(double degrees) { return degrees / 57.29577951471995; }

}  // namespace orvo
