#include "exchange/WholeFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "base/OutputFiles.h"
#include "exchange/ExchangeFault.h"
#include "exchange/FilesRead.h"

namespace orvo::exchange {
namespace {

bool AreOneFile(const std::string& first, const std::string& second) {
  struct stat one {
  }, other{};
  return ::stat(first.c_str(), &one) == 0 && ::stat(second.c_str(), &other) == 0 &&
         one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

[[noreturn]] void RefuseFault(const OutputFault& fault) {
  Refuse(fault.szPath, 0, "cannot " + fault.szAction + " the file: " + fault.Reason(),
         "Nothing was written; free room on the disk, or name another place with --out");
}

}  // namespace

WholeFiles::WholeFiles(const std::string& folder, std::vector<std::string> inputs, BlockFiles ofBlocks)
    : szFolder(folder), Inputs(std::move(inputs)), OfBlocks(ofBlocks) {
  while (szFolder.size() > 1 && szFolder.back() == '/') szFolder.pop_back();
  MakeFolder(folder);
  if (const std::string reason = Outputs.Begin(szFolder); !reason.empty()) {
    RemoveMadeFolders();
    Refuse(folder, 0, reason, "Name another place with --out");
  }
}

void WholeFiles::MakeFolder(const std::string& folder) {
  std::error_code error;
  for (std::filesystem::path each = szFolder; !each.empty() && !std::filesystem::exists(each, error);
       each = each.parent_path()) {
    Made.insert(Made.begin(), each.string());
    if (each == each.parent_path()) break;
  }
  std::filesystem::create_directories(szFolder, error);
  if (!error) return;
  RemoveMadeFolders();
  Refuse(folder, 0, "the folder can't be made: " + error.message(), "Name another place with --out");
}

void WholeFiles::RemoveMadeFolders() {
  // One that is not empty stays, and those around it.
  for (; !Made.empty() && ::rmdir(Made.back().c_str()) == 0; Made.pop_back()) continue;
}

std::string WholeFiles::FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

WholeFiles::~WholeFiles() {
  if (!bCommitted) Outputs.End(OutputFate::Discard);
  if (!bInPlace) RemoveMadeFolders();
}

std::string WholeFiles::PathOf(const std::string& name) const { return szFolder + "/" + name; }

void WholeFiles::RefuseInput(const std::string& path) const {
  for (const std::string& input : Inputs) {
    if (AreOneFile(path, input)) {
      Refuse(path, 0, "this output is an input", "Name another place with --out");
    }
  }
  std::error_code error;
  if (OfBlocks == BlockFiles::Keep && IsOfBlock(path) && std::filesystem::exists(path, error)) {
    Refuse(path, 0, "a file of a block is there already, which this output would replace",
           "Name another place with --out");
  }
}

void WholeFiles::Write(const std::string& name, const std::function<void(TextWriter& file)>& writer) {
  const std::string path = PathOf(name);
  RefuseInput(path);
  TextWriter file;
  if (!OpenOutput(Outputs, file, path)) RefuseFault(Outputs.Fault());
  writer(file);
  if (!CloseOutput(Outputs, file)) RefuseFault(Outputs.Fault());
}

void WholeFiles::Commit() {
  bCommitted = true;
  if (!Outputs.End(OutputFate::Add)) RefuseFault(Outputs.Fault());
  bInPlace = true;
}

}  // namespace orvo::exchange
