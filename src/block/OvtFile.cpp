#include "block/OvtFile.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <filesystem>

namespace orvo {
namespace {

constexpr size_t kNameBytes = 32;
constexpr size_t kPositionOffset = 32, kTypeOffset = 56, kCountOffset = 60, kFirstOffset = 64;

template <typename T>
void SwapBytes(T& value) {
  char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  std::reverse(bytes, bytes + sizeof(T));
  std::memcpy(&value, bytes, sizeof(T));
}

template <typename T>
T Load(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof(T));
  if constexpr (std::endian::native == std::endian::big) SwapBytes(value);
  return value;
}

template <typename T>
void Store(T value, char* bytes) {
  if constexpr (std::endian::native == std::endian::big) SwapBytes(value);
  std::memcpy(bytes, &value, sizeof(T));
}

}  // namespace

void EncodeOvtHeader(int32_t pointNum, int32_t measureNum, char* record) {
  Store(pointNum, record);
  Store(measureNum, record + 4);
}

OvtPoint DecodeOvtPoint(const char* record) {
  OvtPoint point;
  std::memcpy(point.szName, record, kNameBytes - 1);
  point.X = Load<double>(record + kPositionOffset);
  point.Y = Load<double>(record + kPositionOffset + 8);
  point.Z = Load<double>(record + kPositionOffset + 16);
  point.nType = Load<int32_t>(record + kTypeOffset);
  point.nImagePointNum = Load<int32_t>(record + kCountOffset);
  point.nFirstImagePoint = Load<int32_t>(record + kFirstOffset);
  return point;
}

void EncodeOvtPoint(const OvtPoint& point, char* record) {
  std::memcpy(record, point.szName, kNameBytes);
  EncodeOvtPosition(point.X, point.Y, point.Z, record);
  Store(point.nType, record + kTypeOffset);
  Store(point.nImagePointNum, record + kCountOffset);
  Store(point.nFirstImagePoint, record + kFirstOffset);
}

OvtMeasure DecodeOvtMeasure(const char* record) {
  return {Load<int32_t>(record), Load<float>(record + 4), Load<float>(record + 8),
          Load<int32_t>(record + 12)};
}

void EncodeOvtMeasure(const OvtMeasure& measure, char* record) {
  Store(measure.nImageOrdinal, record);
  Store(measure.x, record + 4);
  Store(measure.y, record + 8);
  Store(measure.nReserved, record + 12);
}

void EncodeOvtPosition(double X, double Y, double Z, char* pointRecord) {
  Store(X, pointRecord + kPositionOffset);
  Store(Y, pointRecord + kPositionOffset + 8);
  Store(Z, pointRecord + kPositionOffset + 16);
}

int32_t DecodeOvtMeasureCount(const char* pointRecord) { return Load<int32_t>(pointRecord + kCountOffset); }

int32_t DecodeOvtImageOrdinal(const char* measureRecord) { return Load<int32_t>(measureRecord); }

bool OvtReader::Open(const std::string& path) {
  Close();
  std::error_code failure;
  if (std::filesystem::is_directory(path, failure)) return false;
  File.rdbuf()->pubsetbuf(nullptr, 0);  // whole runs go straight into the caller's memory
  File.open(path, std::ios::in | std::ios::binary);
  if (!File.is_open()) return false;
  char header[kOvtHeaderBytes] = {};
  if (!File.read(header, kOvtHeaderBytes)) return true;
  nHeaderPointNum = Load<int32_t>(header);
  nHeaderMeasureNum = Load<int32_t>(header + 4);

  const auto end = static_cast<int64_t>(File.seekg(0, std::ios::end).tellg());
  const int64_t body = std::max<int64_t>(end - kOvtHeaderBytes, 0);
  nPointNum = static_cast<int32_t>(std::clamp<int64_t>(nHeaderPointNum, 0, body / kOvtPointBytes));
  // Image records stand behind all the points that the header promises, so a file cut among its points has
  // none.
  const int64_t rest = std::max<int64_t>(body - kOvtPointBytes * std::max(nHeaderPointNum, 0), 0);
  nMeasureNum = static_cast<int32_t>(std::clamp<int64_t>(nHeaderMeasureNum, 0, rest / kOvtMeasureBytes));
  return true;
}

void OvtReader::Close() {
  File.close();
  File.clear();
  nHeaderPointNum = nHeaderMeasureNum = nPointNum = nMeasureNum = 0;
}

int64_t OvtReader::ReadPoints(int64_t first, int64_t count, char* records) {
  if (first < 0 || first >= nPointNum) return 0;
  return Read(kOvtHeaderBytes + kOvtPointBytes * first, kOvtPointBytes, std::min(count, nPointNum - first),
              records);
}

int64_t OvtReader::ReadMeasures(int64_t first, int64_t count, char* records) {
  if (first < 0 || first >= nMeasureNum) return 0;
  return Read(kOvtHeaderBytes + kOvtPointBytes * nPointNum + kOvtMeasureBytes * first, kOvtMeasureBytes,
              std::min(count, nMeasureNum - first), records);
}

int64_t OvtReader::Read(int64_t offset, int64_t recordBytes, int64_t count, char* records) {
  if (count <= 0) return 0;
  File.clear();
  if (!File.seekg(offset)) return 0;
  File.read(records, recordBytes * count);
  return static_cast<int64_t>(File.gcount()) / recordBytes;
}

}  // namespace orvo
