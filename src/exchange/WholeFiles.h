// The files of an import or export: all of them come in place, or none.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/OutputFolder.h"
#include "base/TextWriter.h"

namespace orvo::exchange {

/// Projects, tie points and sidecars that are there already, whoever's they are.
enum class BlockFiles {
  Keep,    ///< refused as the place of an output
  Replace  ///< written anew: by an import of a block
};

/// Files of one folder. What was there under other names stays. Throws ExchangeFault.
class WholeFiles {
 public:
  /// Makes the folder where it is missing. `inputs`: files that may not be written over.
  WholeFiles(const std::string& folder, std::vector<std::string> inputs,
             BlockFiles ofBlocks = BlockFiles::Keep);
  /// For one file, or several beside it: the folder of `path`.
  static std::string FolderOf(const std::string& path);
  /// Without Commit nothing is left, nor are folders that were missing.
  ~WholeFiles();
  WholeFiles(const WholeFiles&) = delete;
  WholeFiles& operator=(const WholeFiles&) = delete;

  const std::string& Folder() const { return szFolder; }
  /// The final path of a file of this name.
  std::string PathOf(const std::string& name) const;
  /// Writes a file of the folder.
  void Write(const std::string& name, const std::function<void(TextWriter& file)>& writer);
  /// Puts everything in place.
  void Commit();

 private:
  void MakeFolder(const std::string& folder);
  void RefuseInput(const std::string& path) const;
  void RemoveMadeFolders();

  std::string szFolder;
  std::vector<std::string> Made;  ///< folders that were missing, the outermost first
  std::vector<std::string> Inputs;
  BlockFiles OfBlocks;
  OutputFolder Outputs;
  bool bCommitted = false, bInPlace = false;
};

}  // namespace orvo::exchange
