// Folders with files in them, for tests of what puts files in place.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

namespace orvo::test {

/// The files of a folder and of the folders in it: relative path and contents.
using FolderContents = std::map<std::string, std::string>;

inline FolderContents ContentsOf(const std::filesystem::path& folder) {
  FolderContents contents;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ostringstream text;
    text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    contents[entry.path().lexically_relative(folder).string()] = text.str();
  }
  return contents;
}

inline void Put(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

/// A folder of the test's own, removed at the end.
class CommitFolder {
 public:
  CommitFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "orvo_base_XXXXXX").string();
    Root = ::mkdtemp(name.data());
  }
  ~CommitFolder() { std::filesystem::remove_all(Root); }
  CommitFolder(const CommitFolder&) = delete;
  CommitFolder& operator=(const CommitFolder&) = delete;

  std::string Path() const { return Root.string(); }
  std::string operator/(const std::string& name) const { return (Root / name).string(); }
  FolderContents Contents() const { return ContentsOf(Root); }

 private:
  std::filesystem::path Root;
};

}  // namespace orvo::test
