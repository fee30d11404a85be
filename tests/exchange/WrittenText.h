// What a writer puts into its file.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

#include "base/TextWriter.h"
#include "support/TestFiles.h"

namespace orvo::test {

/// `write` gets an open TextWriter.
template <typename Write>
std::string Written(const Write& write) {
  const ScratchFolder folder;
  const std::string path = folder / "written";
  TextWriter file;
  EXPECT_TRUE(file.Open(path));
  write(file);
  EXPECT_TRUE(file.Close());
  return ReadFile(path);
}

/// A number of a binary file, the lowest byte first.
template <typename Number>
Number NumberAt(const std::string& bytes, size_t offset) {
  Number value{};
  if (offset + sizeof(Number) > bytes.size()) {
    ADD_FAILURE() << "the file ends before byte " << offset + sizeof(Number);
    return value;
  }
  static_assert(std::endian::native == std::endian::little);
  std::memcpy(&value, bytes.data() + offset, sizeof(Number));
  return value;
}

}  // namespace orvo::test
