// The line reader against a slow one.
#include "base/TextReader.h"
#include "fuzz/LineReference.h"
#include "fuzz/Target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orvo::test;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  orvo::TextReader file;
  if (!file.Open(Folder().Write("text", text))) Require("not opened");
  std::string_view line;
  for (std::string piece : SplitIntoPieces(text)) {
    if (piece.back() == '\n') piece.pop_back();
    if (!file.Next(line)) Require("a line is missing");
    if (line != piece) Require("a line differs");
  }
  if (file.Next(line)) Require("a line too many");
  return 0;
}
