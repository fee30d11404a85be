#include "block/OvtFile.h"

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
  point.X = LoadLittleEndian<double>(record + kPositionOffset);
  point.Y = LoadLittleEndian<double>(record + kPositionOffset + 8);
  point.Z = LoadLittleEndian<double>(record + kPositionOffset + 16);
  point.nType = LoadLittleEndian<int32_t>(record + kTypeOffset);
  point.nImagePointNum = LoadLittleEndian<int32_t>(record + kCountOffset);
  point.nFirstImagePoint = LoadLittleEndian<int32_t>(record + kFirstOffset);
  return point;
}

void EncodeOvtPoint(const OvtPoint& point, char* record) {
  std::memcpy(record, point.szName, kNameBytes);
  EncodeOvtPosition(point.X, point.Y, point.Z, record);
  Store(point.nType, record + kTypeOffset);
  Store(point.nImagePointNum, record + kCountOffset);
  Store(point.nFirstImagePoint, record + kFirstOffset);
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

int32_t DecodeOvtMeasureCount(const char* pointRecord) {
  return LoadLittleEndian<int32_t>(pointRecord + kCountOffset);
}

bool OvtReader::Open(const std::string& path) {
  Close();
  if (!File.Open(path)) return false;
  char header[kOvtHeaderBytes] = {};
  if (File.ReadAt(0, header, kOvtHeaderBytes) != kOvtHeaderBytes) return !File.Failed();
  nHeaderPointNum = LoadLittleEndian<int32_t>(header);
  nHeaderMeasureNum = LoadLittleEndian<int32_t>(header + 4);

  const int64_t body = std::max<int64_t>(File.Size() - kOvtHeaderBytes, 0);
  nPointNum = static_cast<int32_t>(std::clamp<int64_t>(nHeaderPointNum, 0, body / kOvtPointBytes));
  // Image records stand behind all the points that the header promises, so a file cut among its points has
  // none.
  const int64_t rest = std::max<int64_t>(body - kOvtPointBytes * std::max(nHeaderPointNum, 0), 0);
  nMeasureNum = static_cast<int32_t>(std::clamp<int64_t>(nHeaderMeasureNum, 0, rest / kOvtMeasureBytes));
  return true;
}

void OvtReader::Close() {
  File.Close();
  nHeaderPointNum = nHeaderMeasureNum = nPointNum = nMeasureNum = 0;
}

int64_t OvtReader::ReadPoints(int64_t first, int64_t count, char* records) const {
  if (first < 0 || first >= nPointNum) return 0;
  return Read(kOvtHeaderBytes + kOvtPointBytes * first, kOvtPointBytes, std::min(count, nPointNum - first),
              records);
}

int64_t OvtReader::ReadMeasures(int64_t first, int64_t count, char* records) const {
  if (first < 0 || first >= nMeasureNum) return 0;
  return Read(kOvtHeaderBytes + kOvtPointBytes * nPointNum + kOvtMeasureBytes * first, kOvtMeasureBytes,
              std::min(count, nMeasureNum - first), records);
}

int64_t OvtReader::Read(int64_t offset, int64_t recordBytes, int64_t count, char* records) const {
  return count > 0 ? File.ReadAt(offset, records, recordBytes * count) / recordBytes : 0;
}

}  // namespace orvo
