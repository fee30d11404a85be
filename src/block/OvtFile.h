// The binary tie-point file (.ovt): two 32-bit counts N and M, N object point records of 68 bytes, M image
// point records of 16 bytes; little-endian, no padding.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/InputFile.h"

namespace orvo {

inline constexpr int64_t kOvtHeaderBytes = 8, kOvtPointBytes = 68, kOvtMeasureBytes = 16;

/// One object point as it stands in the file; coordinates are unscaled.
struct OvtPoint {
  char szName[32] = {};  ///< always ended, whatever the file holds
  double X = 0, Y = 0, Z = 0;
  int32_t nType = 0;
  int32_t nImagePointNum = 0;
  int32_t nFirstImagePoint = 0;  ///< index among all image point records of the file
};

/// One image point as it stands in the file.
struct OvtMeasure {
  int32_t nImageOrdinal = 0;
  float x = 0, y = 0;     ///< file units
  int32_t nReserved = 0;  ///< carried along when a record is copied
};

/// A little-endian number at any address.
template <typename T>
T LoadLittleEndian(const char* bytes) {
  char native[sizeof(T)];
  std::memcpy(native, bytes, sizeof(T));
  if constexpr (std::endian::native == std::endian::big) std::reverse(native, native + sizeof(T));
  return std::bit_cast<T>(native);
}

/// The packed records; `record` has kOvtHeaderBytes, kOvtPointBytes or kOvtMeasureBytes.
void EncodeOvtHeader(int32_t pointNum, int32_t measureNum, char* record);
OvtPoint DecodeOvtPoint(const char* record);
void EncodeOvtPoint(const OvtPoint& point, char* record);
inline OvtMeasure DecodeOvtMeasure(const char* record) {
  return {LoadLittleEndian<int32_t>(record), LoadLittleEndian<float>(record + 4),
          LoadLittleEndian<float>(record + 8), LoadLittleEndian<int32_t>(record + 12)};
}
void EncodeOvtMeasure(const OvtMeasure& measure, char* record);
/// Single fields of a packed object point.
void EncodeOvtPosition(double X, double Y, double Z, char* pointRecord);
int32_t DecodeOvtMeasureCount(const char* pointRecord);
/// Single field of a packed image point.
inline int32_t DecodeOvtImageOrdinal(const char* measureRecord) {
  return LoadLittleEndian<int32_t>(measureRecord);
}

/// Reads runs of records, in as few system calls as there are runs, for any number of threads.
class OvtReader {
 public:
  explicit OvtReader(InputFiles* run = nullptr) : File(run) {}

  /// False when there is no such file or it can't be read (see InputFile). A file too short for its header
  /// has no records.
  bool Open(const std::string& path);
  void Close();
  /// The file holds both counts.
  bool HasHeader() const { return File.Size() >= kOvtHeaderBytes; }
  bool Failed() const { return File.Failed(); }

  /// The counts, cut to the records that the file really holds.
  int32_t PointNum() const { return nPointNum; }
  int32_t MeasureNum() const { return nMeasureNum; }
  /// The counts as the header says them.
  int32_t HeaderPointNum() const { return nHeaderPointNum; }
  int32_t HeaderMeasureNum() const { return nHeaderMeasureNum; }

  /// Packed records from `first` on into `records`, at most `count` of them; the number of whole records
  /// read.
  int64_t ReadPoints(int64_t first, int64_t count, char* records) const;
  int64_t ReadMeasures(int64_t first, int64_t count, char* records) const;

 private:
  int64_t Read(int64_t offset, int64_t recordBytes, int64_t count, char* records) const;

  InputFile File;
  int32_t nHeaderPointNum = 0, nHeaderMeasureNum = 0;
  int32_t nPointNum = 0, nMeasureNum = 0;
};

}  // namespace orvo
