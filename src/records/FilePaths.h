// The files of a run.
#pragma once

#include <string>

namespace orvo {

struct FilePaths {
  std::string szOutputPath, szProjectPath, szGcpPath;
  std::string szOvtPath;  ///< empty for a text project
};

}  // namespace orvo
