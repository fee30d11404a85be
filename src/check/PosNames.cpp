#include "check/PosNames.h"

#include <set>

#include "block/ReadingFacts.h"

namespace orvo {

std::vector<Finding> ComparePosNames(const std::string& path,
                                     const std::map<std::string, int64_t>& lineOfName,
                                     const ProjectHead& head) {
  std::set<std::string> images;
  NamedCount unobserved, unknown;
  for (const HeadImage& image : head.Images) {
    // Of several images with one name only the first is observed.
    const bool first = images.insert(image.szName).second;
    if (!first || !lineOfName.contains(image.szName)) unobserved.Add(image.szName.c_str());
  }
  for (const auto& [name, line] : lineOfName) {
    if (!images.contains(name)) unknown.Add(name.c_str());
  }
  if (unobserved.nCount == std::ssize(head.Images)) {
    std::string what = "no image of the project has a line";
    if (unknown.nCount > 0 && !head.Images.empty())
      what += ": the names here are such as " + unknown.Names[0] + ", those of the project such as " +
              head.Images[0].szName;
    return {{Severity::Error, path, 0, -1, what,
             "Names stand without folder and extension, upper and lower case as in the project"}};
  }
  std::vector<Finding> notes;
  if (unknown.nCount > 0) {
    notes.push_back(
        {Severity::Note, path, 0, -1,
         CountOf(unknown.nCount, "name", unknown.Names) + ": no image of the project is called so",
         "Names stand without folder and extension, upper and lower case as in the project"});
  }
  if (unobserved.nCount > 0) {
    notes.push_back(
        {Severity::Note,
         path,
         0,
         -1,
         CountOf(unobserved.nCount, "image", unobserved.Names) + ": without a line, and not observed",
         {}});
  }
  return notes;
}

}  // namespace orvo
