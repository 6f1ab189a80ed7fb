#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <vector>

/// The system calls of a datagram's path, replaced at link time by functions that cost next to
/// nothing, so that what is measured is the proxy's own work. What the proxy writes is thrown away.
namespace replaced {

/// What the next `recvfrom` delivers, again and again, as sent by `sender` (dotted IPv4 address).
void Deliver(std::vector<char> datagram, const char* sender);

/// The bytes that the next `recvfrom` delivers first are those that the last `sendto` sent first:
/// a server that answers with the id that it was asked with.
void DeliverWithLastSentId();

}  // namespace replaced
