// The least that a forwarded query can cost: a thread that passes datagrams on to an upstream
// server and one that passes what comes back to the last client. Nothing is parsed, kept or
// renumbered, so it serves one client at a time. What the first server sends goes on to the second,
// when there is one. With two TRACE numbers, so many bytes are written for a query and for a
// response.
//
//   bare_relay SERVER SECOND|- [QUERY_TRACE RESPONSE_TRACE]

#include <atomic>
#include <cstring>
#include <thread>

#include "bare_event.h"

namespace {

struct Relay {
  int to_clients;
  int to_servers;
  sockaddr_in first;
  sockaddr_in second;
  bool has_second;
  std::atomic<std::uint64_t> client_address_and_port{0};
};

std::uint64_t Packed(const sockaddr_in& address) {
  return std::uint64_t{address.sin_addr.s_addr} << 16 | address.sin_port;
}

sockaddr_in Unpacked(std::uint64_t packed) {
  sockaddr_in result{};
  result.sin_family = AF_INET;
  result.sin_port = static_cast<in_port_t>(packed & 0xFFFF);
  result.sin_addr.s_addr = static_cast<in_addr_t>(packed >> 16);
  return result;
}

void PassResponses(Relay& relay, const EventTrace& trace) {
  char buffer[kLargestDatagram];
  sockaddr_in server;
  for (;;) {
    WaitReadable(relay.to_servers);
    const std::size_t length = Receive(relay.to_servers, buffer, server);
    if (relay.has_second && server.sin_addr.s_addr == relay.first.sin_addr.s_addr) {
      Send(relay.to_servers, buffer, length, relay.second);
    } else {
      const std::uint64_t client = relay.client_address_and_port.load(std::memory_order_relaxed);
      Send(relay.to_clients, buffer, length, Unpacked(client));
    }
    trace.Write();
  }
}

void PassQueries(Relay& relay, const EventTrace& trace) {
  char buffer[kLargestDatagram];
  sockaddr_in client;
  for (;;) {
    WaitReadable(relay.to_clients);
    const std::size_t length = Receive(relay.to_clients, buffer, client);
    relay.client_address_and_port.store(Packed(client), std::memory_order_relaxed);
    Send(relay.to_servers, buffer, length, relay.first);
    trace.Write();
  }
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 3) return 1;
  Relay relay;
  relay.to_clients = BindTo("127.0.0.1");
  relay.to_servers = OpenSocket();
  relay.first = DnsAddress(arguments[1]);
  relay.has_second = std::strcmp(arguments[2], "-") != 0;
  relay.second = relay.has_second ? DnsAddress(arguments[2]) : sockaddr_in{};
  const EventTrace query_trace(count > 4 ? ByteCount(arguments[3]) : 0);
  const EventTrace response_trace(count > 4 ? ByteCount(arguments[4]) : 0);
  std::thread responses(PassResponses, std::ref(relay), std::cref(response_trace));
  PassQueries(relay, query_trace);
}
