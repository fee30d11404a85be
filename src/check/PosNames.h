// The names of a POS file beside those of a project.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "check/ProjectHead.h"
#include "records/ReadingFacts.h"

namespace orvo {

/// Takes the lines of a POS file by their names. What it keeps grows with the images, not with the lines.
class PosNames {
 public:
  explicit PosNames(const ProjectHead& head);

  /// The line that the name has already, 0 where it has none. `line` becomes its line then.
  int64_t Take(const std::string& name, int64_t line);
  /// An error where no image has a line, else notes of names and images that nothing belongs to.
  std::vector<Finding> Compare(const std::string& path) const;

 private:
  const ProjectHead& Head;
  std::map<std::string, int64_t, std::less<>> LineOfName;  ///< of each image's name, 0 without a line
  NamedCount Unknown;
};

}  // namespace orvo
