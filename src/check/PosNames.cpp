#include "check/PosNames.h"

#include <set>

namespace orvo {

PosNames::PosNames(const ProjectHead& head) : Head(head) {
  for (const HeadImage& image : head.Images) LineOfName.try_emplace(image.szName, 0);
}

int64_t PosNames::Take(const std::string& name, int64_t line) {
  const auto known = LineOfName.find(name);
  if (known == LineOfName.end()) {
    Unknown.Add(name.c_str());
    return 0;
  }
  const int64_t before = known->second;
  if (before == 0) known->second = line;
  return before;
}

std::vector<Finding> PosNames::Compare(const std::string& path) const {
  constexpr const char* kNames =
      "Names stand without folder and extension, upper and lower case as in the project";
  NamedCount unobserved;
  std::set<std::string_view> seen;
  for (const HeadImage& image : Head.Images) {
    // Of several images with one name only the first is observed.
    const bool first = seen.insert(image.szName).second;
    if (!first || LineOfName.find(image.szName)->second == 0) unobserved.Add(image.szName.c_str());
  }
  if (unobserved.nCount == std::ssize(Head.Images)) {
    std::string what = "no image of the project has a line";
    if (Unknown.nCount > 0 && !Head.Images.empty()) {
      what += ": the names here are such as " + Unknown.Names[0] + ", those of the project such as " +
              Head.Images[0].szName;
    }
    return {{Severity::Error, path, 0, -1, what, kNames}};
  }
  std::vector<Finding> notes;
  if (Unknown.nCount > 0) {
    notes.push_back(
        {Severity::Note, path, 0, -1,
         CountOf(Unknown.nCount, "name", Unknown.Names) + ": no image of the project is called so", kNames});
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
