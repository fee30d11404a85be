#include "faults/CraftedInputs.h"

#include <fstream>

namespace orvo::faults {
namespace {

const std::string kCamera = "1 8000 12000 0 12000 0 0 0 0 0\n";
const std::string kImage = "1 0\na/b\n1 0 0 0 1 0 0 0 1\n1 2 3\n";

/// Little-endian bytes of a number.
template <typename T>
std::string Bytes(T number) {
  std::string bytes;
  for (size_t i = 0; i < sizeof number; ++i) {
    bytes += static_cast<char>(static_cast<uint64_t>(number) >> (8 * i) & 0xff);
  }
  return bytes;
}

std::string OvtPoint(int32_t measurements) {
  std::string point(64, '\0');
  point[0] = 'P';
  point.replace(60, 4, Bytes(measurements));
  return point + std::string(static_cast<size_t>(12 * measurements), '\0');
}

}  // namespace

const std::vector<CraftedInput>& CraftedInputs() {
  static const std::vector<CraftedInput> inputs{
      {"empty lines for images", "block.prj", "N 1 1\n" + kCamera, "\n\n\n\n"},
      {"empty lines for cameras", "block.prj", "1 N 1\n", "\n"},
      {"shortest cameras", "block.prj", "1 N 1\n", "1 1 1 1 1 0 0 0 0 0\n"},
      {"empty lines for points", "block.prj", "1 1 N\n" + kCamera + kImage, "\n\n"},
      {"points without measurements", "block.prj", "1 1 N\n" + kCamera + kImage, "a\n0\n"},
      {"points of one measurement", "block.prj", "1 1 N\n" + kCamera + kImage, "a 1 2 3 0\n1\n0 1 1\n"},
      {"shortest images", "block.prj", "N 1 1\n" + kCamera, "1 0\n/a\n1 0 0 0 1 0 0 0 1\n1 2 3\n"},
      {"characters alone for images", "block.prj", "N 1 1\n" + kCamera, "1\n1\n1\n1\n"},
      {"counts beyond all", "block.prj", "2147483647 2147483647 9223372036854775807\n", "1\n"},
      {"measurements without end", "block.prj", "1 1 1\n" + kCamera + kImage + "a 1 2 3 0\n2147483647\n",
       "0 1 1\n"},
      {"a line without end", "block.prj", "1 1 1", " 1"},
      {"empty lines for images of an ovc", "block.ovc", "N 1 0\n" + kCamera, "\n\n\n\n"},
      {"control points of two empty lines", "block_gcp.txt", "N\n", "\n\n"},
      {"control points without measurements", "block_gcp.txt", "N\n", "a 1 2 3 1\n0\n"},
      {"control points of one measurement", "block_gcp.txt", "N\n", "a 1 2 3 1\n1\n0 1 1\n"},
      {"control measurements without end", "block_gcp.txt", "1\na 1 2 3 1\n2147483647\n", "0 1 1\n"},
      {"empty POS lines", "block_pos.txt", "", "\n"},
      {"POS lines of one character", "block_pos.txt", "", "a\n"},
      {"shortest POS lines", "block_pos.txt", "", "a 1 1 1 1 1 1 1\n"},
      {"POS lines of an image, strips apart", "block_pos.txt", "", "IMG_001001 1 1 1 1 1 1 99999\n"},
      {"elements of the settings", "pos.xml", "<a>", "<b/>", "</a>"},
      {"attributes of the settings", "pos.xml", "<a ", "b='' ", "/>"},
      {"empty lines of the settings", "pos.ini", "", "\n"},
      {"keys of the settings", "pos.ini", "", "a:1\n"},
      {"an ovt of points without measurements", "block.ovt", Bytes(int32_t{2147483647}) + Bytes(int32_t{0}),
       OvtPoint(0)},
      {"an ovt of points of one measurement", "block.ovt",
       Bytes(int32_t{2147483647}) + Bytes(int32_t{2147483647}), OvtPoint(1)},
  };
  return inputs;
}

void WriteCrafted(const CraftedInput& input, const std::string& path, int64_t bytes) {
  const int64_t count = bytes / static_cast<int64_t>(input.szBody.size());
  std::string head = input.szHead;
  const size_t number = head.substr(0, head.find('\n')).find('N');
  if (number != std::string::npos) head.replace(number, 1, std::to_string(count));
  std::ofstream file(path, std::ios::binary);
  file << head;
  for (int64_t i = 0; i < count; ++i) file << input.szBody;
  file << input.szTail;
}

}  // namespace orvo::faults
