// What a file or folder is, by looking into it.
#pragma once

#include <string>
#include <string_view>

namespace orvo::info {

enum class PathKind {
  Missing,      ///< nothing is there, or it can't be read
  Unknown,      ///< none of the following
  TextProject,  ///< of ours
  OvcProject,
  Ovt,  ///< tie points alone
  Gcp,
  Pos,
  Settings,
  Result,    ///< a folder with OrvoResult.ovc
  Model,     ///< of another program: szForm tells which
  GcpTable,  ///< control points as a table of another program
  PosTable   ///< positions as a table of another program
};

struct KindOfPath {
  PathKind Kind = PathKind::Unknown;
  std::string szForm;  ///< the row of the table of forms that reads it: "colmap", "gcp"; empty for our own
  std::string szWhy;   ///< of what is missing the system's reason, of what is unknown what it looks like
};

/// Folders by the names in them, files by their names and their first 64 KB.
KindOfPath LookAt(const std::string& path);

/// Of a file by its name (with its extension) and how it begins.
KindOfPath KindOfText(std::string_view name, std::string_view head);

/// "text project", "result folder", "colmap model".
std::string TextOf(const KindOfPath& kind);

}  // namespace orvo::info
