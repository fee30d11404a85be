#include "base/FolderList.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

namespace orvo {

std::vector<std::string> NamesInFolder(const std::string& folder, int* error) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> list(::opendir(folder.c_str()), ::closedir);
  int failure = list ? 0 : errno;
  while (list) {
    errno = 0;
    const dirent* entry = ::readdir(list.get());
    if (entry == nullptr) {
      failure = errno;
      break;
    }
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (error != nullptr) *error = failure;
  std::ranges::sort(names);
  return names;
}

int RemoveFlatFolder(const std::string& folder) {
  for (const std::string& name : NamesInFolder(folder)) ::unlink((folder + "/" + name).c_str());
  return ::rmdir(folder.c_str()) == 0 ? 0 : errno;
}

}  // namespace orvo
