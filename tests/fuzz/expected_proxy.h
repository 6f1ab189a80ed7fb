#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// One resolution method as the expectations see it.
struct ExpectedMethod {
  enum Kind { kServer, kHostMap, kUnknown };
  Kind kind = kServer;
  /// A server's dotted address; empty for the others.
  std::string address;
};

using ExpectedMethods = std::vector<ExpectedMethod>;

/// One query in flight. The wire texts are raw bytes.
struct ExpectedRequest {
  std::string client_id;  ///< the application's two id bytes
  std::string client;     ///< the application's socket address, 16 bytes
  std::string packet;     ///< the query with the proxy's id
  std::string name;
  std::uint16_t type = 0;
  std::uint16_t type_class = 1;
  const ExpectedMethods* methods = nullptr;  ///< not owned, outlives the request
  std::uint8_t index = 0;
};

/// A datagram handed to the system, whether the system took it or not.
struct ExpectedDatagram {
  bool to_application = false;
  std::string bytes;
  std::string address;  ///< 16 bytes of an application, or a server's dotted text
};

/// What every datagram has to lead to, as a second, plainer proxy that shares nothing with the
/// first: no sockets, no threads, whole texts instead of buffers. Made for little-endian machines.
class ExpectedProxy {
 public:
  /// 1 when the query is accepted, 0 when it is refused.
  int TakeQuery(const std::string& datagram, const std::string& client);

  /// 1, or 0 when the response ends the service. `from` is the sender's address as text.
  int TakeResponse(const std::string& datagram, const std::string& from);

  std::map<std::string, std::string> hosts;  ///< a domain and its address, 4 bytes
  const ExpectedMethods* methods = nullptr;  ///< what every accepted query tries
  std::map<std::uint16_t, ExpectedRequest> in_flight;
  std::uint16_t next_id = 0;
  bool servers_unreachable = false;
  /// Everything that was handed to the system, in order.
  std::vector<ExpectedDatagram> sent;

 private:
  void TryNextMethod(std::uint16_t id);
  bool AnsweredFromHosts(const ExpectedRequest& request);
  void SendNoSuchName(const ExpectedRequest& request);
};
