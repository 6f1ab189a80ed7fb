#pragma once

#include <poll.h>

#include <cstdint>
#include <vector>

#include "upstream/wire/time.h"

namespace upstream {

/// Told when a descriptor that it watches can be read from or written to.
class Watcher {
 public:
  virtual void Ready(int descriptor, bool readable, bool writable) = 0;

 protected:
  ~Watcher() = default;
};

/// Waits for many descriptors at once. Everything happens on the one thread that calls it, and
/// watchers may begin and end the watch of any descriptor while they are told.
class EventLoop {
 public:
  /// With neither reading nor writing the watch ends. It must end before the descriptor is closed.
  void Watch(int descriptor, bool to_read, bool to_write, Watcher& watcher);

  /// Waits until something is ready, but no longer than `most`, and tells the watchers.
  void Turn(Span most);

 private:
  struct Watched {
    Watcher* watcher = nullptr;  // null when nobody watches
    short events = 0;
    std::uint64_t serial = 0;  // tells this watch from an earlier one of the same number
  };
  void ListDescriptors();

  std::vector<Watched> watched_;  // by descriptor
  std::vector<pollfd> polled_;
  std::vector<std::uint64_t> polled_serials_;
  bool is_listed_ = false;
  std::uint64_t serial_ = 0;
};

}  // namespace upstream
