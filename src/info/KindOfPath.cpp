#include "info/KindOfPath.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "base/OutputNames.h"

namespace orvo::info {
namespace {

namespace fs = std::filesystem;

constexpr size_t kHeadBytes = 1 << 16;
constexpr size_t kMostFields = 64;

/// Fields between blanks and tabs.
std::vector<std::string_view> FieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (size_t at = line.find_first_not_of(" \t\r"); at < line.size() && fields.size() < kMostFields;) {
    const size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
    fields.push_back(line.substr(at, end - at));
    at = line.find_first_not_of(" \t\r", end);
  }
  return fields;
}

bool IsReal(std::string_view field) {
  if (field.starts_with('+')) field.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  return error == std::errc() && end == field.data() + field.size();
}

bool IsCount(std::string_view field) {
  int64_t value = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
  return error == std::errc() && end == field.data() + field.size() && value >= 0;
}

bool AreCounts(const std::vector<std::string_view>& fields, size_t number) {
  return fields.size() == number && std::ranges::all_of(fields, IsCount);
}

/// The first lines that are not blank, without a byte order mark.
std::vector<std::string_view> LinesOf(std::string_view head) {
  if (head.starts_with("\xef\xbb\xbf")) head.remove_prefix(3);
  std::vector<std::string_view> lines;
  while (!head.empty() && lines.size() < 8) {
    const size_t end = std::min(head.find('\n'), head.size());
    const std::string_view line = head.substr(0, end);
    if (line.find_first_not_of(" \t\r") != std::string_view::npos) lines.push_back(line);
    head.remove_prefix(std::min(end + 1, head.size()));
  }
  return lines;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

/// A table with headings, or without them numbers between commas or semicolons.
KindOfPath KindOfTable(std::string_view first) {
  const std::string head = Lower(first);
  const auto has = [&](std::string_view word) { return head.find(word) != std::string::npos; };
  const bool image = has("image") || has("filename") || has("sourcefile") || has("label") || has("photo");
  const bool point = has("point") || has("name") || has("gcp") || has("id");
  const bool angles = has("omega") || has("yaw") || has("roll") || has("gpslatitude");
  if (angles || (image && !point)) return {PathKind::PosTable, "pos", ""};
  if (point) return {PathKind::GcpTable, "gcp", ""};
  return {};
}

/// Headed by a projection, as ground control points and positions of images are exchanged.
bool NamesProjection(std::string_view line) {
  const std::string lower = Lower(line);
  return lower.starts_with("+proj") || lower.starts_with("epsg:") || lower.starts_with("wgs84");
}

KindOfPath KindOfLines(const std::vector<std::string_view>& lines) {
  const auto first = FieldsOf(lines[0]);
  const auto second = lines.size() > 1 ? FieldsOf(lines[1]) : std::vector<std::string_view>();
  if (lines[0].starts_with("# Bundle file")) return {PathKind::Model, "bundler", ""};
  if (NamesProjection(lines[0])) {
    // Three coordinates and a pixel before the name of the image, or the name first.
    if (second.size() >= 6 && IsReal(second[0])) return {PathKind::GcpTable, "gcp", ""};
    return {PathKind::PosTable, "pos", ""};
  }
  if (AreCounts(first, 3)) {
    if (second.size() == 4 && IsCount(second[0]) && IsCount(second[1]) && IsReal(second[2])) {
      return {PathKind::Model, "bal", ""};
    }
    if (second.size() >= 7 && IsCount(second[1]) && IsCount(second[2]))
      return {PathKind::TextProject, "", ""};
  }
  if (AreCounts(first, 1) && (lines.size() == 1 || second.size() >= 5)) return {PathKind::Gcp, "", ""};
  if (first.size() >= 8 && std::all_of(first.begin() + 1, first.begin() + 8, IsReal)) {
    return {PathKind::Pos, "", ""};
  }
  if (lines[0].find_first_of(",;") != std::string_view::npos) return KindOfTable(lines[0]);
  return {};
}

bool HasOneOf(const fs::path& folder, std::initializer_list<const char*> names) {
  std::error_code error;
  return std::ranges::any_of(names,
                             [&](const char* name) { return fs::is_regular_file(folder / name, error); });
}

KindOfPath KindOfFolder(const fs::path& folder) {
  if (HasOneOf(folder, {"OrvoResult.ovc"})) return {PathKind::Result, "", ""};
  if (HasOneOf(folder, {"images.bin", "images.txt"}) && HasOneOf(folder, {"cameras.bin", "cameras.txt"})) {
    return {PathKind::Model, "colmap", ""};
  }
  if (HasOneOf(folder, {"reconstruction.json"})) return {PathKind::Model, "opensfm", ""};
  if (HasOneOf(folder / kUnusableFolder, {"OrvoResult.ovc"})) {
    return {
        PathKind::Unknown, "",
        std::string("this run came to nothing usable: what it found lies in its folder ") + kUnusableFolder};
  }
  return {};
}

/// Files that a text is no match for, some of them by name.
std::optional<KindOfPath> KindOfBytes(std::string_view head) {
  const auto unknown = [](const char* why) { return KindOfPath{PathKind::Unknown, "", why}; };
  if (head.starts_with("LASF")) return unknown("this is a LAS file of points, which Orvo writes alone");
  if (head.starts_with("ply\n") || head.starts_with("ply\r\n")) {
    return unknown("this is a PLY file, which Orvo writes alone");
  }
  if (head.starts_with("\xff\xfe") || head.starts_with("\xfe\xff")) {
    return unknown("this is text as UTF-16: save it as UTF-8");
  }
  if (head.find('\0') != std::string_view::npos)
    return unknown("this is a binary file that Orvo does not know");
  return {};
}

KindOfPath KindOfObject(std::string_view head) {
  if (head.find("\"FeatureCollection\"") != std::string_view::npos) {
    return {PathKind::Unknown, "", "this is a GeoJSON file, which Orvo writes alone"};
  }
  if (head.find("\"program\": \"orvo\"") != std::string_view::npos) {
    return {PathKind::Unknown, "", "this is a file of cameras, which Orvo writes alone"};
  }
  return {PathKind::Unknown, "", "this is JSON, but no list of reconstructions"};
}

}  // namespace

KindOfPath KindOfText(std::string_view name, std::string_view head) {
  const size_t dot = name.rfind('.');
  const std::string extension = dot == std::string_view::npos ? "" : std::string(name.substr(dot));
  if (extension == ".ovt") return {PathKind::Ovt, "", ""};
  if (extension == ".xml" || extension == ".XML" || extension == ".ini") return {PathKind::Settings, "", ""};
  if (const auto kind = KindOfBytes(head)) return *kind;
  // An .ovc has no points, so that its first lines are those of a text project.
  const auto lines = LinesOf(head);
  if (lines.empty()) return {};
  if (name.ends_with(".orvo.json")) {
    return {PathKind::Unknown, "", "this is the sidecar of a project, which is read together with it"};
  }
  if (lines[0].starts_with('{')) return KindOfObject(head);
  if (lines[0].starts_with('[')) {
    const bool model = head.find("\"cameras\"") != std::string_view::npos ||
                       head.find("\"shots\"") != std::string_view::npos;
    if (model) return {PathKind::Model, "opensfm", ""};
    return {};
  }
  KindOfPath kind = KindOfLines(lines);
  if (kind.Kind == PathKind::TextProject && extension == ".ovc") kind.Kind = PathKind::OvcProject;
  return kind;
}

KindOfPath LookAt(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (!fs::exists(status)) return {PathKind::Missing, "", error ? error.message() : "there is no such file"};
  if (fs::is_directory(status)) return KindOfFolder(path);
  if (!fs::is_regular_file(status)) return {PathKind::Missing, "", "it is no file on a disk"};
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file) return {PathKind::Missing, "", std::strerror(errno)};
  std::string head(kHeadBytes, '\0');
  head.resize(std::fread(head.data(), 1, head.size(), file.get()));
  if (std::ferror(file.get()) != 0) return {PathKind::Missing, "", "it can't be read"};
  return KindOfText(fs::path(path).filename().string(), head);
}

std::string TextOf(const KindOfPath& kind) {
  switch (kind.Kind) {
    case PathKind::Missing:
      return "missing";
    case PathKind::Unknown:
      return "unknown";
    case PathKind::TextProject:
      return "text project";
    case PathKind::OvcProject:
      return "binary project";
    case PathKind::Ovt:
      return "tie points";
    case PathKind::Gcp:
      return "GCP file";
    case PathKind::Pos:
      return "POS file";
    case PathKind::Settings:
      return "settings";
    case PathKind::Result:
      return "result folder";
    case PathKind::Model:
      return kind.szForm + " model";
    case PathKind::GcpTable:
      return "table of control points";
    case PathKind::PosTable:
      return "table of positions";
  }
  return "unknown";
}

}  // namespace orvo::info
