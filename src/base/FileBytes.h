// The bytes of a file for a parser that takes them one after another.
#pragma once

#include <cstdint>
#include <iterator>
#include <vector>

#include "base/InputFile.h"

namespace orvo {

/// Reads an open file in blocks, and knows the line that the parser has got to. The end is also where reading
/// failed: the file knows.
class FileBytes {
 public:
  explicit FileBytes(const InputFile& file) : File(file) { Fill(); }

  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    explicit Iterator(FileBytes* bytes) : pBytes(bytes) {}
    reference operator*() const { return pBytes->Buffer[pBytes->nPlace]; }
    Iterator& operator++() {
      pBytes->Advance();
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      pBytes->Advance();
      return before;
    }
    /// Iterators differ in nothing but whether they are at the end.
    bool operator==(const Iterator& other) const { return AtEnd() == other.AtEnd(); }
    bool operator!=(const Iterator& other) const { return AtEnd() != other.AtEnd(); }

   private:
    bool AtEnd() const { return pBytes == nullptr || pBytes->nPlace == pBytes->Buffer.size(); }
    FileBytes* pBytes;
  };
  Iterator begin() { return Iterator(this); }
  static Iterator end() { return Iterator(nullptr); }

  /// From 1.
  int64_t Line() const { return nLine; }

 private:
  void Advance() {
    if (Buffer[nPlace] == '\n') ++nLine;
    if (++nPlace == Buffer.size()) Fill();
  }
  void Fill();

  const InputFile& File;
  std::vector<char> Buffer;
  size_t nPlace = 0;
  int64_t nOffset = 0, nLine = 1;
};

}  // namespace orvo
