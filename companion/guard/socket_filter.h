#pragma once

#include "companion/guard/conditions.h"

namespace ctl {

/// Puts a filter for `rules` on a UDP socket, in place of any that it has. The filter belongs to
/// the socket: it stays when this process ends, and ends with the socket. Returns 0 or an error
/// number.
int AttachFilter(int socket, const SocketRules& rules);

/// Takes the socket's filter away. Returns 0, also when there was none, or an error number.
int DetachFilter(int socket);

enum class FilterState {
  kNone,
  kThese,    ///< the conditions are these; the senders may be others
  kOther,    ///< the conditions are others
  kUnknown,  ///< the system does not tell
};
FilterState FilterOn(int socket, const std::vector<Condition>& keep_out);

}  // namespace ctl
