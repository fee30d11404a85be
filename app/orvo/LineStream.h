// A stream that is read line by line by whoever made it.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

namespace orvo {

/// Hands over every line that is written to its stream, with its line feed, as soon as it is whole; what
/// stands behind the last one at the end.
class LineStream {
 public:
  explicit LineStream(std::function<void(const std::string& line)> take);
  ~LineStream();
  LineStream(const LineStream&) = delete;
  LineStream& operator=(const LineStream&) = delete;

  /// Null where the system gives none.
  std::FILE* Stream() { return fStream; }

 private:
  void Take(std::string_view text);

  std::function<void(const std::string& line)> TakeLine;
  std::string szLine;
  std::FILE* fStream = nullptr;
};

}  // namespace orvo
