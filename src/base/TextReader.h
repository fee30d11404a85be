// Line reader of every text form.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/InputFile.h"

namespace orvo {

/// Reads a text file in large blocks and hands out its lines in pieces of at most 511 characters, without
/// their line end: a longer line comes as several lines. The line end takes a character's room, so that a
/// line of exactly 511 characters is followed by an empty piece. CR LF reads like LF throughout. A line may
/// hold any byte. A byte order mark at the start of the file is passed over. What fails, and a line of more
/// than 16 MB, ends the text and is a fault (see InputFile).
class TextReader {
 public:
  static constexpr size_t kMaxLine = 511;
  static constexpr int64_t kMaxLineBytes = int64_t{16} << 20;

  explicit TextReader(InputFiles* run = nullptr) : File(run) {}

  /// False when there is no such file or it can't be read in that way.
  bool Open(const std::string& path, const InputUse& use = kReadAgain);
  void Close();
  bool IsOpen() const { return File.IsOpen(); }
  /// Something failed since the file was opened: what was read is not all that there is.
  bool Failed() const { return File.Failed(); }
  FileFault Fault() const { return File.Fault(); }
  /// Says that the text can't be used, and ends it.
  void Refuse(const std::string& reason);
  /// Back to the first line.
  void Rewind() { Seek(0); }
  /// The place in the file of what Next hands out next, and back to such a place.
  int64_t Tell() const { return nBufferOffset + static_cast<int64_t>(nBegin); }
  void Seek(int64_t offset);

  /// The next line, valid until the next call; false at the end of the file.
  bool Next(std::string_view& line);
  /// The next line, empty at the end of the file.
  std::string_view Next();
  /// Passes over lines, stopping at the end of the file; the number of lines passed.
  int64_t Skip(int64_t lines);
  /// True when the last piece was the end of its line, false when the line goes on in the next piece.
  bool LineEnded() const { return bLineEnded; }
  bool AtEnd();
  /// Bytes in the file, an upper bound of everything that a count in it can stand for.
  int64_t Size() const { return File.Size(); }
  const std::string& Path() const { return File.Path(); }

 private:
  bool Fill();
  void SkipByteOrderMark();
  bool EndsAtLongLine(size_t pieceBytes);

  InputFile File;
  std::unique_ptr<char[]> pBuffer;
  size_t nBegin = 0, nEnd = 0;
  int64_t nBufferOffset = 0;  ///< place in the file of the first byte in the buffer
  int64_t nLineBytes = 0;     ///< of the line that the pieces so far belong to
  bool bLineEnded = true;
  bool bEndOfFile = false;
};

}  // namespace orvo
