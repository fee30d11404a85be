// Why an output could not be put down whole.
#pragma once

#include <string>

namespace orvo {

/// The first thing that went wrong with a file that is written.
struct OutputFault {
  std::string szPath;    ///< as users know the file: its final place
  std::string szAction;  ///< what failed: "create", "write", "synchronize", "rename"
  int nError = 0;        ///< errno

  bool Any() const { return !szAction.empty(); }
  /// The system's reason, such as "No space left on device".
  std::string Reason() const;
  /// "write OUT/OrvoResult.ovt: No space left on device"
  std::string Text() const { return szAction + " " + szPath + ": " + Reason(); }
};

}  // namespace orvo
