#include "tests/guard/datagrams.h"

#include <algorithm>

namespace {

constexpr std::size_t kQuestionCountAt = 4;
constexpr std::size_t kNameAt = 12;
constexpr std::size_t kReceiveCapacity = 8192;
constexpr std::size_t kLargestDatagram = 65507;

// The bytes at which a condition, a sign or a label's length changes.
constexpr unsigned char kEdgeBytes[] = {0x00, 0x01, 0x02, 0x2E, 0x3F, 0x40, 0x7F, 0x80, 0xC0, 0xFF};

Datagram WithByte(Datagram datagram, std::size_t at, unsigned value) {
  if (at < datagram.size()) datagram[at] = static_cast<char>(value & 0xFF);
  return datagram;
}

}  // namespace

Datagram GoodQuery() {
  constexpr char kBytes[] =
      "\xAB\xCD\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00\x01"
      "a\x02"
      "bc\x00\x00\x01\x00\x01";
  return {kBytes, sizeof(kBytes) - 1};
}

void ForEachEdge(const Sink& sink) {
  for (const std::size_t length : {6, 11, 12, 13, 14, 21}) {
    const Datagram query = GoodQuery().substr(0, length);
    for (unsigned count = 0; count <= 0xFFFF; ++count) {
      sink(WithByte(WithByte(query, kQuestionCountAt, count >> 8), kQuestionCountAt + 1, count));
    }
  }
  for (const std::size_t length : {13, 14, 15, 21}) {
    const Datagram query = GoodQuery().substr(0, length);
    for (unsigned bytes = 0; bytes <= 0xFFFF; ++bytes) {
      sink(WithByte(WithByte(query, kNameAt, bytes >> 8), kNameAt + 1, bytes));
    }
  }
}

std::uint32_t RandomDatagrams::Below(std::uint32_t bound) {
  return static_cast<std::uint32_t>(random_() % bound);
}

char RandomDatagrams::Byte() {
  const bool is_edge = Below(2) == 0;
  const std::uint32_t byte = is_edge ? kEdgeBytes[Below(sizeof(kEdgeBytes))] : Below(256);
  return static_cast<char>(byte);
}

Datagram RandomDatagrams::Anything() {
  Datagram datagram(Below(48), '\0');
  for (char& byte : datagram) byte = Byte();
  return datagram;
}

Datagram RandomDatagrams::NearlyGood() {
  Datagram datagram = GoodQuery();
  for (std::uint32_t changes = Below(4); changes > 0; --changes) {
    datagram[Below(static_cast<std::uint32_t>(datagram.size()))] = Byte();
  }
  if (Below(2) == 0) datagram.resize(Below(20));
  if (Below(4) == 0) datagram.append(Below(600), Byte());
  return datagram;
}

Datagram RandomDatagrams::Large() {
  Datagram datagram = NearlyGood();
  const std::size_t most = Below(8) == 0 ? kLargestDatagram : kReceiveCapacity + 2;
  datagram.resize(std::max(datagram.size(), most - Below(4)), Byte());
  return datagram;
}

Datagram RandomDatagrams::Next() {
  const std::uint32_t kind = Below(500);
  if (kind == 0) return Large();
  return kind < 150 ? Anything() : NearlyGood();
}

std::vector<Datagram> RandomDatagrams::NextSegments() {
  std::vector<Datagram> segments(2 + Below(6));
  const std::size_t size = 1 + Below(40);
  for (Datagram& segment : segments) {
    segment = NearlyGood();
    segment.resize(size);
  }
  segments.back().resize(1 + Below(static_cast<std::uint32_t>(size)));
  return segments;
}
