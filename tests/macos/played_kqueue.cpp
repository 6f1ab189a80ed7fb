// kqueue's filter for files, played by inotify: what is added is watched by its descriptor, and is
// reported once for whatever happened since it was last asked for, as EV_CLEAR has it. Unlike
// there, closing the descriptor does not end the watch; the page looks at nothing but whether
// something is to be read.
#include <sys/event.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <set>
#include <string>

namespace {

// The descriptors of what is watched, by queue and inotify's number.
std::map<int, std::map<int, std::uintptr_t>> g_Watched;

// A folder is written to when a name in it comes or goes, not when what has the name is.
std::uint32_t MaskOf(std::uintptr_t descriptor, std::uint32_t notes) {
  struct stat status {};
  const bool is_folder =
      fstat(static_cast<int>(descriptor), &status) == 0 && S_ISDIR(status.st_mode);
  std::uint32_t mask = 0;
  if ((notes & NOTE_WRITE) != 0) mask |= is_folder ? IN_CREATE | IN_MOVE | IN_DELETE : IN_MODIFY;
  if ((notes & NOTE_EXTEND) != 0 && !is_folder) mask |= IN_MODIFY;
  if ((notes & NOTE_RENAME) != 0) mask |= IN_MOVE_SELF;
  if ((notes & NOTE_DELETE) != 0) mask |= IN_DELETE_SELF | IN_ATTRIB;
  return mask;
}

std::set<std::uintptr_t> Happened(int queue) {
  std::set<std::uintptr_t> descriptors;
  alignas(inotify_event) char bytes[4096];
  for (ssize_t size; (size = read(queue, bytes, sizeof(bytes))) > 0;) {
    for (ssize_t at = 0; at < size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(bytes + at);
      const auto watched = g_Watched[queue].find(event->wd);
      if (watched != g_Watched[queue].end()) descriptors.insert(watched->second);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  return descriptors;
}

}  // namespace

int kqueue() { return inotify_init1(IN_NONBLOCK | IN_CLOEXEC); }

int kevent(int queue, const struct kevent* changes, int change_count, struct kevent* events,
           int event_count, const timespec*) {
  for (int at = 0; at < change_count; ++at) {
    const std::uintptr_t descriptor = changes[at].ident;
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    const std::uint32_t mask = MaskOf(descriptor, changes[at].fflags);
    const int watch = inotify_add_watch(queue, path.c_str(), mask);
    if (watch < 0) return -1;
    g_Watched[queue][watch] = descriptor;
  }
  if (event_count == 0) return 0;
  int count = 0;
  for (const std::uintptr_t descriptor : Happened(queue)) {
    if (count == event_count) break;
    events[count++] = {descriptor, EVFILT_VNODE, EV_CLEAR, 0, 0, nullptr};
  }
  return count;
}
