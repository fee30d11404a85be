// Calls on names in folders that fail.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "faults/preload/Plan.h"

using namespace orvo::faults;

namespace {

bool Fails(Kind kind, const char* path) { return IsBelowRoot(path) && Strikes(kind); }
bool Fails(Kind kind, int folder, const char* path) { return IsBelowRoot(folder, path) && Strikes(kind); }

}  // namespace

extern "C" {

int rename(const char* from, const char* to) noexcept {
  ORVO_NEXT(rename);
  return Fails(Kind::Rename, to) ? -1 : next(from, to);
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  ORVO_NEXT(renameat);
  return Fails(Kind::Rename, toFolder, to) ? -1 : next(fromFolder, from, toFolder, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
  ORVO_NEXT(renameat2);
  return Fails(Kind::Rename, toFolder, to) ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int link(const char* from, const char* to) noexcept {
  ORVO_NEXT(link);
  return Fails(Kind::Rename, to) ? -1 : next(from, to);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept {
  ORVO_NEXT(linkat);
  return Fails(Kind::Rename, toFolder, to) ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int symlink(const char* target, const char* path) noexcept {
  ORVO_NEXT(symlink);
  return Fails(Kind::Rename, path) ? -1 : next(target, path);
}

int mkdir(const char* path, mode_t mode) noexcept {
  ORVO_NEXT(mkdir);
  return Fails(Kind::MakeFolder, path) ? -1 : next(path, mode);
}

int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  ORVO_NEXT(mkdirat);
  return Fails(Kind::MakeFolder, folder, path) ? -1 : next(folder, path, mode);
}

int unlink(const char* path) noexcept {
  ORVO_NEXT(unlink);
  return Fails(Kind::Remove, path) ? -1 : next(path);
}

int unlinkat(int folder, const char* path, int flags) noexcept {
  ORVO_NEXT(unlinkat);
  return Fails(Kind::Remove, folder, path) ? -1 : next(folder, path, flags);
}

int rmdir(const char* path) noexcept {
  ORVO_NEXT(rmdir);
  return Fails(Kind::Remove, path) ? -1 : next(path);
}

int remove(const char* path) noexcept {
  ORVO_NEXT(remove);
  return Fails(Kind::Remove, path) ? -1 : next(path);
}

int stat(const char* path, struct stat* status) noexcept {
  ORVO_NEXT(stat);
  return Fails(Kind::Status, path) ? -1 : next(path, status);
}

int lstat(const char* path, struct stat* status) noexcept {
  ORVO_NEXT(lstat);
  return Fails(Kind::Status, path) ? -1 : next(path, status);
}

int fstat(int file, struct stat* status) noexcept {
  ORVO_NEXT(fstat);
  return IsWatched(file) && Strikes(Kind::Status) ? -1 : next(file, status);
}

int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
  ORVO_NEXT(fstatat);
  return Fails(Kind::Status, folder, path) ? -1 : next(folder, path, status, flags);
}

int stat64(const char* path, struct stat64* status) noexcept {
  ORVO_NEXT(stat64);
  return Fails(Kind::Status, path) ? -1 : next(path, status);
}

int lstat64(const char* path, struct stat64* status) noexcept {
  ORVO_NEXT(lstat64);
  return Fails(Kind::Status, path) ? -1 : next(path, status);
}

int fstat64(int file, struct stat64* status) noexcept {
  ORVO_NEXT(fstat64);
  return IsWatched(file) && Strikes(Kind::Status) ? -1 : next(file, status);
}

int fstatat64(int folder, const char* path, struct stat64* status, int flags) noexcept {
  ORVO_NEXT(fstatat64);
  return Fails(Kind::Status, folder, path) ? -1 : next(folder, path, status, flags);
}

int access(const char* path, int mode) noexcept {
  ORVO_NEXT(access);
  return Fails(Kind::Status, path) ? -1 : next(path, mode);
}

DIR* opendir(const char* path) {
  ORVO_NEXT(opendir);
  const bool watched = IsBelowRoot(path);
  if (watched && Strikes(Kind::List)) return nullptr;
  DIR* const list = next(path);
  if (watched && list != nullptr) Watch(::dirfd(list));
  return list;
}

dirent* readdir(DIR* list) {
  ORVO_NEXT(readdir);
  return IsWatched(::dirfd(list)) && Strikes(Kind::List) ? nullptr : next(list);
}

dirent64* readdir64(DIR* list) {
  ORVO_NEXT(readdir64);
  return IsWatched(::dirfd(list)) && Strikes(Kind::List) ? nullptr : next(list);
}

int closedir(DIR* list) {
  ORVO_NEXT(closedir);
  Forget(::dirfd(list));
  return next(list);
}
}
