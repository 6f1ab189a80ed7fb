#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "dns_proxy_mac/state/shared_objects.h"
#include "tests/unit/system_calls.h"
#include "tests/unit/trace_capture.h"
#include "tests/unit/udp_peer.h"
#include "tests/unit/wire.h"

/// A request to file, with a value in every field that the test does not care about.
struct RequestInFlight {
  std::uint16_t id = 7;
  /// As the application sent it. It is stored with `id` in place of its first two bytes.
  Wire query = "AB CD 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire;
  std::string domain = "mail.local";
  std::uint16_t qtype = 1;
  std::uint8_t index = 0;
  std::vector<DNSMethodInfo> methods;
};

/// A record that no table holds yet.
DnsRequest* NewRequest(const RequestInFlight& wanted, const sockaddr_in& application);

/// A server method that asks `address`, at any port.
DNSMethodInfo ServerMethod(const sockaddr_in& address);

/// The host map as a method.
DNSMethodInfo HostMapMethod();

/// A method that asks nobody.
DNSMethodInfo MethodOfType(std::int32_t type);

/// Process-wide objects as at the start of the process, before and after every test; the trace in
/// a file.
class SharedObjectsTest : public ::testing::Test {
 protected:
  SharedObjectsTest();
  ~SharedObjectsTest() override;

  /// Everything printed since the last look.
  std::string Trace() { return trace_.Taken(); }

  void AddHost(std::string domain, const char* address);
  static bool InFlight(std::uint16_t id);
  static std::size_t RequestsInFlight();
  static std::uint8_t MethodIndex(std::uint16_t id);

  TraceCapture trace_;
};

/// The proxy's two sockets on loopback, any port, with an application and two upstream servers that
/// talk to them.
class ProxyTest : public SharedObjectsTest {
 protected:
  ProxyTest();
  ~ProxyTest() override;

  /// The application's query arrives at the proxy.
  void Ask(const Wire& query) { Deliver(application, query, apps_socket); }

  /// A response of `server` arrives at the proxy.
  void Respond(const UdpPeer& server, const Wire& response) {
    Deliver(server, response, servers_socket);
  }

  DNSMethodInfo AskServerA() const { return ServerMethod(server_a.Address()); }
  DNSMethodInfo AskServerB() const { return ServerMethod(server_b.Address()); }

  /// Files a request under an id that is not in flight yet.
  void File(const RequestInFlight& wanted);
  static void Forget(std::uint16_t id);
  static void TryNext(std::uint16_t id, bool bReasonIsTimeout = false);

  /// Whatever a test puts into the globals.
  const int apps_socket = BoundSocket("127.0.0.1", 0);
  const int servers_socket = BoundSocket("127.0.0.1", 0);
  UdpPeer application{"127.0.0.1"};
  UdpPeer server_a{"127.0.0.2"};
  UdpPeer server_b{"127.0.0.3"};

 private:
  // Returns when the datagram has arrived: a kernel with much to do puts that off. Nobody may be
  // receiving from `sock` meanwhile.
  static void Deliver(const UdpPeer& sender, const Wire& datagram, int sock);
};
