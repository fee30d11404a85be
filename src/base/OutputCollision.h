// Outputs that would replace an input.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace orvo {

struct OutputCollision {
  std::string szOutput, szInput;
  /// "the output OUT/log.txt is the input DATA/block.prj: name another output folder"
  std::string Text() const;
};

/// A file of the output folder that a run may write, replace or remove, and that is the same file (device
/// and inode, so through links too) as one of the inputs. Everything under a name of an output counts,
/// whatever its iteration or section: in the folder, in its folders of unusable results and of failed runs,
/// and in what a run that died has left staged. Inputs that do not exist are no files.
std::optional<OutputCollision> FindOutputThatIsInput(const std::string& folder,
                                                     const std::vector<std::string>& inputs);

}  // namespace orvo
