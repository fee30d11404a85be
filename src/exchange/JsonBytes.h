// The bytes of a JSON file for a parser that takes them one after another.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "base/InputFile.h"

namespace orvo::exchange {

/// Reads in blocks, and knows the line that the parser has got to.
class JsonBytes {
 public:
  /// Throws ExchangeFault where the file can't be opened.
  explicit JsonBytes(const std::string& path);

  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    explicit Iterator(JsonBytes* bytes) : pBytes(bytes) {}
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
    JsonBytes* pBytes;
  };
  Iterator begin() { return Iterator(this); }
  static Iterator end() { return Iterator(nullptr); }

  const std::string& Path() const { return File.Path(); }
  int64_t Size() const { return File.Size(); }
  /// From 1.
  int64_t Line() const { return nLine; }
  /// Throws ExchangeFault where the end was no end but a fault of reading.
  void CheckRead() const;

 private:
  void Advance() {
    if (Buffer[nPlace] == '\n') ++nLine;
    if (++nPlace == Buffer.size()) Fill();
  }
  void Fill();

  InputFile File;
  std::vector<char> Buffer;
  size_t nPlace = 0;
  int64_t nOffset = 0, nLine = 1;
};

}  // namespace orvo::exchange
