// A few datagrams of applications through the intake, up to what is sent because of them.
//
// Input: a method list (see ProxyUnderFuzz), the ids (see below), then the datagrams, each as an
// application's number and `Input::Datagram`.

#include "tests/fuzz/check.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/proxy_under_fuzz.h"
#include "tests/fuzz/wire.h"

namespace {

constexpr int kMostDatagrams = 6;
constexpr std::size_t kAnswerRecord = 16;

// Low two bits: the first id. Bit 2: queries of earlier applications hold some of the ids.
void SetIds(std::uint8_t ids, ProxyUnderFuzz& proxy) {
  constexpr std::uint16_t kFirst[] = {0, 1, 0xFFFF, 0x0201};
  proxy.SetNextId(kFirst[ids & 3]);
  if ((ids & 4) == 0) return;
  static const ExpectedMethods kEarlierMethods = {{ExpectedMethod::kServer, "10.0.0.7"}};
  for (const std::uint16_t id : {std::uint16_t{0}, std::uint16_t{2}, std::uint16_t{0x0202}}) {
    ExpectedRequest earlier;
    earlier.client_id = "id";
    earlier.client = Ipv4Sender("127.0.0.9", 999).Kept();
    earlier.packet = std::string(2, '\0') + "the packet of an earlier query";
    earlier.name = "earlier.example";
    earlier.type = 1;
    earlier.methods = &kEarlierMethods;
    proxy.File(id, earlier);
  }
}

// Whoever sends an ordinary query, IPv4 or not, is where the answer goes.
Sender Application(std::uint8_t number) {
  if (number == 0xF0) return Ipv6Sender("::1", 4242);
  if (number == 0xF1) return NamelessSender();
  return Ipv4Sender("127.0.0.1", static_cast<std::uint16_t>(40000 + number));
}

// What holds for any query whose id is free, without a look at the method list.
void CheckAnswer(const std::string& query, std::uint16_t id, const SentDatagram& sent) {
  if (sent.sock == kServersSocket) {
    const std::string wire_id = {static_cast<char>(id & 0xFF), static_cast<char>(id >> 8)};
    CHECK(sent.bytes == wire_id + query.substr(2));
    return;
  }
  CHECK(sent.bytes.substr(0, 2) == query.substr(0, 2));
  CHECK((sent.bytes[2] & 0x80) != 0);
  if (sent.bytes.size() == query.size()) {
    CHECK(sent.bytes.substr(2, 2) == "\x80\x03");
    CHECK(sent.bytes.substr(kHeader) == query.substr(kHeader));
  } else {
    CHECK(sent.bytes.size() == query.size() + kAnswerRecord);
    CHECK(sent.bytes.substr(kHeader, query.size() - kHeader) == query.substr(kHeader));
  }
}

void TakeQuery(ProxyUnderFuzz& proxy, const std::string& datagram, const Sender& sender) {
  const std::uint16_t id = proxy.Expected().next_id;
  const bool id_is_free = proxy.Expected().in_flight.count(id) == 0;
  const std::size_t sent_before = substituted_sockets::Sent().size();
  proxy.TakeQuery(datagram, sender);

  const std::vector<SentDatagram>& sent = substituted_sockets::Sent();
  const bool refused = proxy.Expected().next_id == id;
  CHECK(sent.size() <= sent_before + (refused ? 0 : 1));
  if (sent.size() == sent_before || !id_is_free) return;
  CheckAnswer(datagram.substr(0, 8192), id, sent.back());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  ProxyUnderFuzz proxy(input.Byte());
  SetIds(input.Byte(), proxy);
  int count = 0;
  do {
    const Sender sender = Application(input.Byte());
    TakeQuery(proxy, input.Datagram(), sender);
  } while (!input.Empty() && ++count < kMostDatagrams);
  proxy.FailBothReceives();
  return 0;
}
