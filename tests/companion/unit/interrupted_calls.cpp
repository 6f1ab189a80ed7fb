#include "interrupted_calls.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace interrupted_calls {
namespace {

int g_Steps = 0;
int g_Step = 0;
What g_What = What::kNothing;
bool g_RefuseHardLinks = false;

bool Fails() {
  if (++g_Steps != g_Step || g_What == What::kNothing) return false;
  if (g_What == What::kEnd) _exit(kEndStatus);
  errno = EIO;
  return true;
}

}  // namespace

void At(int step, What what) {
  g_Steps = 0;
  g_Step = step;
  g_What = what;
}

int Steps() { return g_Steps; }

void RefuseHardLinks(bool refuse) { g_RefuseHardLinks = refuse; }

extern "C" {

// NOLINTBEGIN: the names are the linker's.
int __real_rename(const char*, const char*);
int __real_linkat(int, const char*, int, const char*, int);
int __real_unlink(const char*);
int __real_mkdir(const char*, mode_t);
int __real_rmdir(const char*);
int __real_chmod(const char*, mode_t);
int __real_fchmod(int, mode_t);
int __real_ftruncate(int, off_t);
ssize_t __real_write(int, const void*, size_t);

int __wrap_rename(const char* from, const char* to) {
  return Fails() ? -1 : __real_rename(from, to);
}
int __wrap_linkat(int of, const char* from, int in, const char* to, int flags) {
  if (Fails()) return -1;
  if (!g_RefuseHardLinks) return __real_linkat(of, from, in, to, flags);
  errno = EXDEV;
  return -1;
}
int __wrap_unlink(const char* path) { return Fails() ? -1 : __real_unlink(path); }
int __wrap_mkdir(const char* path, mode_t mode) { return Fails() ? -1 : __real_mkdir(path, mode); }
int __wrap_rmdir(const char* path) { return Fails() ? -1 : __real_rmdir(path); }
int __wrap_chmod(const char* path, mode_t mode) { return Fails() ? -1 : __real_chmod(path, mode); }
int __wrap_fchmod(int file, mode_t mode) { return Fails() ? -1 : __real_fchmod(file, mode); }
// Thousands of them would take minutes.
int __wrap_fsync(int) { return Fails() ? -1 : 0; }
int __wrap_ftruncate(int file, off_t size) { return Fails() ? -1 : __real_ftruncate(file, size); }
// A process that is ended may have written the half.
ssize_t __wrap_write(int file, const void* bytes, size_t count) {
  if (g_What == What::kEnd && g_Steps + 1 == g_Step) __real_write(file, bytes, count / 2);
  return Fails() ? -1 : __real_write(file, bytes, count);
}
// NOLINTEND

}  // extern "C"

}  // namespace interrupted_calls
