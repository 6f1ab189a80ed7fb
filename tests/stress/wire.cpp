#include "tests/stress/wire.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::size_t kHeaderBytes = 12;
constexpr std::size_t kFirstLabel = kHeaderBytes + 1;
constexpr std::array<char, kPaths> kPathLetters = {'d', 'r', 't', 'f', 's', 'n', 'h', 'v', 'k'};

void AppendLabel(Message& message, const std::string& label) {
  message += static_cast<char>(label.size());
  message += label;
}

Message NameOf(Path path, std::uint32_t number) {
  Message name;
  if (path == Path::kHostMap) {
    AppendLabel(name, "mapped");
    AppendLabel(name, "stress");
    return name;
  }
  AppendLabel(name, kPathLetters[static_cast<std::size_t>(path)] + std::to_string(number));
  if (path == Path::kReverse) {
    AppendLabel(name, "in-addr");
    AppendLabel(name, "arpa");
  } else {
    AppendLabel(name, "stress");
  }
  return name;
}

// Four bytes that belong to this name and this answerer and to no other.
Message RecordData(const Message& query, std::uint8_t salt) {
  std::uint32_t hash = 2166136261U;
  for (std::size_t i = kHeaderBytes; i < query.size(); ++i) {
    hash = (hash ^ static_cast<std::uint8_t>(query[i])) * 16777619U;
  }
  Message data(reinterpret_cast<const char*>(&hash), sizeof(hash));
  data[3] = static_cast<char>(salt);
  return data;
}

const Message kRecordHead("\xC0\x0C\x00\x01\x00\x01\x00\x01\x51\x80\x00\x04", 12);

}  // namespace

Message MakeQuery(std::uint16_t id, Path path, std::uint32_t number) {
  Message query(reinterpret_cast<const char*>(&id), sizeof(id));
  query.append("\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00", 10);
  query += NameOf(path, number);
  query.append("\x00\x00\x01\x00\x01", 5);
  return query;
}

Path PathOf(const Message& query) {
  for (std::size_t i = 0; i < kPathLetters.size(); ++i) {
    if (query.size() > kFirstLabel && query[kFirstLabel] == kPathLetters[i]) {
      return static_cast<Path>(i);
    }
  }
  return Path::kDirect;
}

Message EmptyResponse(const Message& query) {
  Message response = query;
  response[2] = '\x81';
  response[3] = '\x83';
  return response;
}

Message Answer(const Message& query, std::uint8_t salt) {
  Message response = query + kRecordHead + RecordData(query, salt);
  response[2] = '\x81';
  response[7] = 1;
  return response;
}

bool IsRightResponse(const Message& query, Path path, const Message& response) {
  switch (path) {
    case Path::kNobody:
    case Path::kReverse: {
      Message expected = query;
      expected[2] = '\x80';
      expected[3] = 3;
      return response == expected;
    }
    case Path::kHostMap: {
      Message expected = query + kRecordHead + Message("\x0A\x01\x02\x03", 4);
      expected[2] = '\x81';
      expected[7] = 1;
      return response == expected;
    }
    case Path::kSecond:
      return response == Answer(query, kSaltB);
    default:
      return response == Answer(query, kSaltA);
  }
}

sockaddr_in Address(const char* ip, std::uint16_t port) {
  sockaddr_in address;
  std::memset(&address, 0, sizeof(address));
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(ip);
  return address;
}

int BoundSocket(const char* ip, std::uint16_t port) {
  const int sock = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in address = Address(ip, port);
  if (sock < 0 || bind(sock, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    std::fprintf(stderr, "proxy_load: cannot bind %s:%d\n", ip, port);
    std::exit(2);
  }
  return sock;
}

bool IsFree(const char* ip, std::uint16_t port) {
  const int sock = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in address = Address(ip, port);
  const bool is_bound =
      bind(sock, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  close(sock);
  return is_bound;
}

bool Receive(int sock, int milliseconds, Message& message, sockaddr_in& from) {
  pollfd readable{sock, POLLIN, 0};
  if (poll(&readable, 1, milliseconds) <= 0) return false;
  std::array<char, 2048> buffer;
  socklen_t length = sizeof(from);
  const ssize_t size =
      recvfrom(sock, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &length);
  if (size < 0) return false;
  message.assign(buffer.data(), static_cast<std::size_t>(size));
  return true;
}

void Send(int sock, const Message& message, const sockaddr_in& to) {
  sendto(sock, message.data(), message.size(), 0, reinterpret_cast<const sockaddr*>(&to),
         sizeof(to));
}
