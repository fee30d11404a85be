// What is in a folder.
#pragma once

#include <string>
#include <vector>

namespace orvo {

/// The names of the entries, sorted; none where the folder can't be read. `error`: errno then, else 0.
std::vector<std::string> NamesInFolder(const std::string& folder, int* error = nullptr);

/// Removes the files in a folder and the folder itself; what is in folders within it stays, and so do they.
/// 0 or errno.
int RemoveFlatFolder(const std::string& folder);

}  // namespace orvo
