#include "base/OutputFiles.h"

namespace orvo {

bool OpenOutput(OutputFolder& outputs, TextWriter& file, const std::string& path) {
  const std::string place = outputs.PlaceOf(path);
  if (place.empty()) return false;
  if (file.Open(place, path)) return true;
  outputs.Fail(file.Fault());
  return false;
}

bool CloseOutput(OutputFolder& outputs, TextWriter& file) {
  if (!ClosePassingOutput(outputs, file)) return false;
  outputs.Written(file.Path(), file.Shown());
  return true;
}

bool ClosePassingOutput(OutputFolder& outputs, TextWriter& file) {
  if (file.Close()) return true;
  outputs.Fail(file.Fault());
  return false;
}

}  // namespace orvo
