// The least that a host-map answer can cost: one thread of select, recvfrom and sendto. Every
// datagram goes back as it came, marked as a response, with EXTRA bytes behind it; nothing is
// parsed. With TRACE, so many bytes are written to standard output for each.
//
//   bare_answer EXTRA [TRACE]

#include "bare_event.h"

namespace {
constexpr std::size_t kFlagsOffset = 2;
constexpr char kResponseFlag = '\x80';
}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 1;
  const std::size_t extra = ByteCount(arguments[1]);
  const EventTrace trace(count > 2 ? ByteCount(arguments[2]) : 0);
  const int sock = BindTo("127.0.0.1");
  std::vector<char> buffer(kLargestDatagram + extra);
  sockaddr_in client;
  for (;;) {
    WaitReadable(sock);
    const std::size_t length = Receive(sock, buffer.data(), client);
    buffer[kFlagsOffset] = kResponseFlag;
    Send(sock, buffer.data(), length + extra, client);
    trace.Write();
  }
}
