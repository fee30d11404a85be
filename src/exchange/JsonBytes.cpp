#include "exchange/JsonBytes.h"

#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

InputFile Opened(const std::string& path) {
  InputFile file;
  if (!file.Open(path)) {
    Refuse(path, 0, file.Failed() ? "cannot be read: " + file.Fault().szReason : "there is no such file",
           "Look at the path");
  }
  return file;
}

}  // namespace

JsonBytes::JsonBytes(const std::string& path) : File(Opened(path)), Bytes(File) {}

void JsonBytes::CheckRead() const {
  if (File.Failed()) Refuse(File.Path(), 0, "cannot be read: " + File.Fault().szReason, "Look at the disk");
}

}  // namespace orvo::exchange
