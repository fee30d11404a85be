#include "orvo/LineStream.h"

#include <sys/types.h>

namespace orvo {

LineStream::LineStream(std::function<void(const std::string& line)> take) : TakeLine(std::move(take)) {
  cookie_io_functions_t calls{};
  calls.write = [](void* stream, const char* text, size_t size) -> ssize_t {
    static_cast<LineStream*>(stream)->Take({text, size});
    return static_cast<ssize_t>(size);
  };
  fStream = ::fopencookie(this, "w", calls);
  if (fStream != nullptr) std::setvbuf(fStream, nullptr, _IONBF, 0);
}

LineStream::~LineStream() {
  if (fStream != nullptr) std::fclose(fStream);
  if (!szLine.empty()) TakeLine(szLine);
}

void LineStream::Take(std::string_view text) {
  while (!text.empty()) {
    const size_t end = text.find('\n');
    szLine += text.substr(0, end == std::string_view::npos ? text.size() : end + 1);
    if (end == std::string_view::npos) return;
    TakeLine(szLine);
    szLine.clear();
    text.remove_prefix(end + 1);
  }
}

}  // namespace orvo
