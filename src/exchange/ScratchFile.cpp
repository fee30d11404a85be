#include "exchange/ScratchFile.h"

#include <unistd.h>

#include <cerrno>

#include "base/OutputFault.h"
#include "base/UnnamedFile.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {

ScratchFile::ScratchFile(const std::string& folder) : szFolder(folder) {
  const int handle = OpenUnnamedFile(folder);
  if (handle < 0) Fail("create");
  fFile = ::fdopen(handle, "w+b");
  if (fFile == nullptr) {
    ::close(handle);
    Fail("create");
  }
  std::setvbuf(fFile, nullptr, _IOFBF, size_t{1} << 18);
}

ScratchFile::~ScratchFile() {
  if (fFile != nullptr) std::fclose(fFile);
}

void ScratchFile::Fail(const char* action) const {
  Refuse(szFolder, 0,
         std::string("cannot ") + action +
             " a file without a name there: " + OutputFault{{}, {}, errno}.Reason(),
         "Free room on the disk, or name another place with --out");
}

void ScratchFile::Write(const void* data, size_t bytes) {
  if (bytes > 0 && std::fwrite(data, 1, bytes, fFile) != bytes) Fail("write");
}

void ScratchFile::Rewind() {
  if (std::fflush(fFile) != 0 || std::fseek(fFile, 0, SEEK_SET) != 0) Fail("write");
}

void ScratchFile::Read(void* data, size_t bytes) {
  if (bytes > 0 && std::fread(data, 1, bytes, fFile) != bytes) {
    if (std::ferror(fFile) == 0) errno = EIO;
    Fail("read");
  }
}

}  // namespace orvo::exchange
