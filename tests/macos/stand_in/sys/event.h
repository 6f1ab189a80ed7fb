#pragma once
#pragma GCC system_header  // there a structure and a call share a name as well

// What the page uses of macOS's <sys/event.h>, by the names and values of the system's own header,
// played by played_kqueue.cpp. The cross build compiles against the real one.

#include <fcntl.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>

#define EVFILT_VNODE (-4)
#define EV_ADD 0x0001
#define EV_CLEAR 0x0020
#define NOTE_DELETE 0x0001u
#define NOTE_WRITE 0x0002u
#define NOTE_EXTEND 0x0004u
#define NOTE_RENAME 0x0020u
#define O_EVTONLY O_RDONLY

struct kevent {
  std::uintptr_t ident;
  std::int16_t filter;
  std::uint16_t flags;
  std::uint32_t fflags;
  std::intptr_t data;
  void* udata;
};

#define EV_SET(event, a, b, c, d, e, f) (*(event) = {(a), (b), (c), (d), (e), (f)})

int kqueue();
int kevent(int queue, const struct kevent* changes, int change_count, struct kevent* events,
           int event_count, const timespec* timeout);
