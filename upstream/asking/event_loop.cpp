#include "upstream/asking/event_loop.h"

#include <algorithm>

namespace upstream {

void EventLoop::Watch(int descriptor, bool to_read, bool to_write, Watcher& watcher) {
  const auto at = static_cast<std::size_t>(descriptor);
  if (at >= watched_.size()) watched_.resize(at + 1);
  Watched& watched = watched_[at];
  if (watched.watcher == nullptr) watched.serial = ++serial_;
  watched.events = static_cast<short>((to_read ? POLLIN : 0) | (to_write ? POLLOUT : 0));
  watched.watcher = watched.events != 0 ? &watcher : nullptr;
  is_listed_ = false;
}

void EventLoop::ListDescriptors() {
  polled_.clear();
  polled_serials_.clear();
  for (std::size_t at = 0; at < watched_.size(); ++at) {
    if (watched_[at].watcher == nullptr) continue;
    polled_.push_back({static_cast<int>(at), watched_[at].events, 0});
    polled_serials_.push_back(watched_[at].serial);
  }
  is_listed_ = true;
}

void EventLoop::Turn(Span most) {
  if (!is_listed_) ListDescriptors();
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(most).count();
  const int ready = poll(polled_.data(), static_cast<nfds_t>(polled_.size()),
                         static_cast<int>(std::max<std::int64_t>(milliseconds, 0)));
  if (ready <= 0) return;  // nothing, or a signal: the caller looks at both
  // The list does not change in this turn; what the watchers change counts from the next turn on.
  for (std::size_t i = 0; i < polled_.size(); ++i) {
    const short events = polled_[i].revents;
    if (events == 0) continue;
    const Watched& watched = watched_[static_cast<std::size_t>(polled_[i].fd)];
    if (watched.watcher == nullptr || watched.serial != polled_serials_[i]) continue;
    const bool failed = (events & (POLLERR | POLLHUP | POLLNVAL)) != 0;
    watched.watcher->Ready(
        polled_[i].fd, failed || (events & POLLIN) != 0,
        (events & POLLOUT) != 0 || (failed && (polled_[i].events & POLLOUT) != 0));
  }
}

}  // namespace upstream
