#include "results/OutputFile.h"

namespace orvo {

bool OpenWithHeader(OvtReader& file, const std::string& path) { return file.Open(path) && file.HasHeader(); }

}  // namespace orvo
