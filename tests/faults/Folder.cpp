#include "faults/Folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace orvo::faults {
namespace fs = std::filesystem;

std::string ReadWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteWhole(const std::string& path, const std::string& content) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

FolderState ReadFolder(const std::string& folder) {
  FolderState state;
  if (!fs::exists(folder)) return state;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = fs::relative(entry.path(), folder).string();
    if (entry.is_directory()) {
      state[name + "/"];
    } else {
      state[name] = ReadWhole(entry.path().string());
    }
  }
  return state;
}

void RestoreFolder(const std::string& folder, const FolderState& state, const FolderState& present) {
  fs::create_directories(folder);
  for (const auto& [name, content] : present) {
    if (state.count(name) == 0) fs::remove_all(fs::path(folder) / name);
  }
  for (const auto& [name, content] : state) {
    const auto found = present.find(name);
    if (found != present.end() && found->second == content) continue;
    if (name.back() == '/') {
      fs::create_directories(fs::path(folder) / name);
    } else {
      WriteWhole(folder + "/" + name, content);
    }
  }
}

namespace {

bool IsOwn(const std::string& name) { return name.rfind(".orvo", 0) == 0; }
/// What is told of a failed run lies beside the results.
bool IsOfFailure(const std::string& name) { return name.rfind("failed/", 0) == 0; }
/// These tell times and memory, no two runs the same.
bool IsOfTimes(const std::string& name) {
  return name.ends_with("summary.json") || name.ends_with("report.html");
}
/// A file of these that is whole ends as every other.
std::string EndOf(const std::string& content) {
  return content.substr(content.size() - std::min<size_t>(content.size(), 2));
}
bool IsLock(const std::string& name) { return IsOwn(name) && name.find("lock") != std::string::npos; }

}  // namespace

FolderState ResultsOf(const FolderState& state) {
  FolderState results;
  for (const auto& [name, content] : state) {
    if (name == "log.txt" || IsOwn(name) || IsOfFailure(name)) continue;
    results.emplace(name, IsOfTimes(name) ? EndOf(content) : content);
  }
  return results;
}

FolderState LeftoversOf(const FolderState& state) {
  FolderState own;
  for (const auto& [name, content] : state) {
    if (IsOwn(name) && !IsLock(name)) own.emplace(name, content);
  }
  return own;
}

FolderState WithoutTimes(FolderState state) {
  for (auto& [name, content] : state) {
    for (const char* key : {"Total run time:", "Elapsed time:"}) {
      const size_t begin = content.find(key);
      if (begin != std::string::npos) content.erase(begin, content.find('\n', begin) - begin);
    }
  }
  return state;
}

std::string Difference(const FolderState& expected, const FolderState& actual) {
  for (const auto& [name, content] : expected) {
    const auto found = actual.find(name);
    if (found == actual.end()) return name + " is gone";
    if (found->second == content) continue;
    return name + " differs (" + std::to_string(content.size()) + " bytes, now " +
           std::to_string(found->second.size()) + ")";
  }
  for (const auto& [name, content] : actual) {
    if (expected.count(name) == 0) return name + " is new";
  }
  return {};
}

}  // namespace orvo::faults
