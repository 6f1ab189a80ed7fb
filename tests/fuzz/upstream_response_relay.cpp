// A few datagrams of upstream servers through the relay, with requests in flight.
//
// Input: a method list (see ProxyUnderFuzz), the requests in flight (see below), then the
// datagrams, each as a sender's number (see below) and `Input::Datagram`.

#include "tests/fuzz/check.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/proxy_under_fuzz.h"

namespace {

constexpr int kMostDatagrams = 6;

struct Source {
  Sender sender;
  std::string text;
};

Source Ipv4Source(const std::string& address, std::uint16_t port) {
  return {Ipv4Sender(address, port), address};
}

// Every other number is a server by its position in a list. The port never matters.
Source SourceOf(std::uint8_t number) {
  switch (number) {
    case 0xF0:
      return Ipv4Source("192.0.2.99", 53);
    case 0xF1:
      return {Ipv6Sender("2001:db8::1", 53), "2001:db8::1"};
    case 0xF2:
      return {NamelessSender(), ""};
    case 0xF3:
      return Ipv4Source("255.255.255.255", 53);
    default:
      return Ipv4Source(ServerAddress(number), static_cast<std::uint16_t>(53 + number));
  }
}

// A request for `name` as it waits for the method at `index`.
void FileWaiting(ProxyUnderFuzz& proxy, std::uint16_t id, std::uint8_t index,
                 const std::string& name, const std::string& question) {
  ExpectedRequest request;
  request.client_id = {'\xAB', static_cast<char>(id)};
  request.client = Ipv4Sender("127.0.0.1", static_cast<std::uint16_t>(50000 + index)).Kept();
  request.packet = std::string{static_cast<char>(id & 0xFF), static_cast<char>(id >> 8)} +
                   std::string("\x01\x20\x00\x01\x00\x00\x00\x00\x00\x01", 10) + question;
  request.name = name;
  request.type = 28;
  request.methods = proxy.Expected().methods;
  request.index = index;
  proxy.File(id, request);
}

// Each bit of `choice` files a request: at the first and the second method, at the index of reverse
// names, with a name in the host map, at the index before it wraps, and with the largest packet.
void FileRequests(ProxyUnderFuzz& proxy, std::uint8_t choice) {
  const std::string other("\5other\3net\0\0\x1C\0\1", 15);
  const std::string intra("\5iNTRA\3lan\0\0\x1C\0\1", 15);
  const std::string reverse(
      "\1"
      "1\7in-addr\4arpa\0\0\x0C\0\1",
      20);
  if ((choice & 0x01) != 0) FileWaiting(proxy, 0, 0, "other.net", other);
  if ((choice & 0x02) != 0) FileWaiting(proxy, 1, 1, "other.net", other);
  if ((choice & 0x04) != 0) FileWaiting(proxy, 2, 159, "1.in-addr.arpa", reverse);
  if ((choice & 0x08) != 0) FileWaiting(proxy, 3, 0, "iNTRA.lan", intra);
  if ((choice & 0x10) != 0) FileWaiting(proxy, 0xFFFF, 255, "other.net", other);
  if ((choice & 0x20) != 0) {
    const std::string tail(8192 - 12 - other.size(), 'x');
    FileWaiting(proxy, 0x0100, 0, "other.net", other + tail);
  }
}

void TakeResponse(ProxyUnderFuzz& proxy, const std::string& datagram, const Source& source) {
  const std::size_t sent_before = substituted_sockets::Sent().size();
  const std::size_t in_flight_before = proxy.Expected().in_flight.size();
  proxy.TakeResponse(datagram, source.sender, source.text);

  const std::vector<SentDatagram>& sent = substituted_sockets::Sent();
  const std::size_t in_flight = proxy.Expected().in_flight.size();
  CHECK(sent.size() <= sent_before + 1);
  CHECK(in_flight == in_flight_before || in_flight == in_flight_before - 1);
  const bool answered = sent.size() > sent_before && sent.back().sock == kApplicationsSocket;
  if (!answered) return;
  CHECK(in_flight == in_flight_before - 1);
  CHECK(sent.back().bytes.substr(0, 2) == std::string({'\xAB', datagram[0]}));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  ProxyUnderFuzz proxy(input.Byte());
  FileRequests(proxy, input.Byte());
  int count = 0;
  do {
    const Source source = SourceOf(input.Byte());
    TakeResponse(proxy, input.Datagram(), source);
  } while (!input.Empty() && ++count < kMostDatagrams);
  proxy.FailBothReceives();
  return 0;
}
