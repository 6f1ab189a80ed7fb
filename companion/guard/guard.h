#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>
#include <vector>

#include "common/platform/process_table.h"

namespace ctl {

/// This process's own descriptors of a proxy's two sockets. The destructor closes them; the proxy's
/// stay open.
class ProxySockets {
 public:
  /// Gets them from outside, once the proxy has bound its port. Empty when it has not or has ended,
  /// or when the system refuses: `refusal` is then the call and its error.
  static std::optional<ProxySockets> Of(const Process& proxy, std::string& refusal);

  ProxySockets(ProxySockets&& other) noexcept;
  ProxySockets(const ProxySockets&) = delete;
  ProxySockets& operator=(const ProxySockets&) = delete;
  ~ProxySockets();

  int to_applications() const { return to_applications_; }
  int to_servers() const { return to_servers_; }

 private:
  ProxySockets(int to_applications, int to_servers)
      : to_applications_(to_applications), to_servers_(to_servers) {}
  void KeepOrClose(int copy);

  int to_applications_;
  int to_servers_;
};

/// The addresses that responses to `proxy` can come from: those of its server file. Without a value
/// when it isn't certain what the proxy has read, because the file was changed after the proxy's
/// start or can't be read, or when there are too many for a filter. The proxy drops responses from
/// other addresses too, but says so in its trace.
std::optional<std::vector<in_addr>> KnownSenders(const Process& proxy);

/// Whether the proxy is guarded, for `status`; empty where the system has no such filters.
std::string GuardInWords(const Process& proxy);

}  // namespace ctl
