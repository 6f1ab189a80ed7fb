// A fast name server for one machine: any number of addresses, one thread, a manner for each.
//
//   upstream ADDRESS=MANNER...
//
// answer          the query with one A record of 10.9.8.7 and a time to live of 0, so that no
//                 forwarder keeps it
// empty           the query as a response without records, no such name
// silent          nothing
// delay:MS        as answer, so many milliseconds later
// reorder:COUNT   as answer, in groups of so many, the last query first
//
// Prints "ready" once every address is bound and serves until it is ended.

#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "loopback_udp.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kBatch = 64;
constexpr std::size_t kDatagramRoom = 1024;
constexpr std::size_t kFirstFlags = 2;
constexpr std::size_t kSecondFlags = 3;
constexpr std::size_t kAnswerCountLow = 7;
constexpr char kNameError = 3;
// An incomplete group waits no longer than this for the rest.
constexpr std::chrono::milliseconds kGroupPatience{2};
constexpr std::array<char, 16> kRecord = {'\xC0', 0x0C, 0, 1, 0, 1, 0, 0, 0, 0, 0, 4, 10, 9, 8, 7};

enum class Manner { kAnswer, kEmpty, kSilent, kDelay, kReorder };

struct Response {
  std::array<char, kDatagramRoom + kRecord.size()> bytes;
  std::size_t length;
  sockaddr_in to;
  Clock::time_point due;
};

struct Server {
  int sock;
  Manner manner;
  int parameter;
  std::vector<Response> waiting;
};

Server MakeServer(const std::string& argument) {
  const std::size_t equals = argument.find('=');
  const std::size_t colon = argument.find(':');
  const std::string name = argument.substr(equals + 1, colon - equals - 1);
  Server server{};
  server.sock = BindTo(argument.substr(0, equals).c_str());
  const int wide = 8 << 20;
  setsockopt(server.sock, SOL_SOCKET, SO_RCVBUFFORCE, &wide, sizeof(wide));
  if (colon != std::string::npos) server.parameter = std::stoi(argument.substr(colon + 1));
  const std::array<const char*, 5> names = {"answer", "empty", "silent", "delay", "reorder"};
  const auto found = std::find(names.begin(), names.end(), name);
  if (equals == std::string::npos || found == names.end()) {
    std::fprintf(stderr, "upstream: not ADDRESS=MANNER: %s\n", argument.c_str());
    std::exit(1);
  }
  server.manner = static_cast<Manner>(found - names.begin());
  return server;
}

void TurnIntoResponse(Response& response, bool with_answer) {
  char* bytes = response.bytes.data();
  bytes[kFirstFlags] = static_cast<char>(bytes[kFirstFlags] | '\x80');
  bytes[kSecondFlags] = with_answer ? '\x80' : static_cast<char>('\x80' | kNameError);
  bytes[kAnswerCountLow] = with_answer ? 1 : 0;
  // Whatever stood behind the question would stand before the record, so it must not be counted.
  std::memset(bytes + kAnswerCountLow + 1, 0, kHeaderBytes - kAnswerCountLow - 1);
  if (!with_answer) return;
  std::memcpy(bytes + response.length, kRecord.data(), kRecord.size());
  response.length += kRecord.size();
}

// Sends `count` responses from `first` on in as few calls as possible.
void SendAll(int sock, Response* first, std::size_t count) {
  std::array<mmsghdr, kBatch> messages{};
  std::array<iovec, kBatch> parts{};
  while (count > 0) {
    const std::size_t now = std::min(count, kBatch);
    for (std::size_t i = 0; i < now; ++i) {
      parts[i] = {first[i].bytes.data(), first[i].length};
      messages[i].msg_hdr.msg_name = &first[i].to;
      messages[i].msg_hdr.msg_namelen = sizeof(first[i].to);
      messages[i].msg_hdr.msg_iov = &parts[i];
      messages[i].msg_hdr.msg_iovlen = 1;
    }
    const int sent = sendmmsg(sock, messages.data(), static_cast<unsigned>(now), 0);
    if (sent <= 0) return;
    first += sent;
    count -= static_cast<std::size_t>(sent);
  }
}

// What waits on the socket, at most `kBatch` datagrams; the result is how many.
std::size_t ReceiveBatch(int sock, std::array<Response, kBatch>& batch) {
  std::array<mmsghdr, kBatch> messages{};
  std::array<iovec, kBatch> parts{};
  for (std::size_t i = 0; i < kBatch; ++i) {
    parts[i] = {batch[i].bytes.data(), kDatagramRoom};
    messages[i].msg_hdr.msg_name = &batch[i].to;
    messages[i].msg_hdr.msg_namelen = sizeof(batch[i].to);
    messages[i].msg_hdr.msg_iov = &parts[i];
    messages[i].msg_hdr.msg_iovlen = 1;
  }
  const int received = recvmmsg(sock, messages.data(), kBatch, MSG_DONTWAIT, nullptr);
  if (received <= 0) return 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(received); ++i) {
    batch[i].length = messages[i].msg_len;
  }
  return static_cast<std::size_t>(received);
}

void SendWaiting(Server& server, Clock::time_point now) {
  auto& waiting = server.waiting;
  if (waiting.empty()) return;
  if (server.manner == Manner::kReorder) {
    const bool whole = waiting.size() >= static_cast<std::size_t>(server.parameter);
    if (!whole && now < waiting.front().due) return;
    std::reverse(waiting.begin(), waiting.end());
    SendAll(server.sock, waiting.data(), waiting.size());
    waiting.clear();
    return;
  }
  const auto due = std::find_if(waiting.begin(), waiting.end(),
                                [now](const Response& response) { return response.due > now; });
  SendAll(server.sock, waiting.data(), static_cast<std::size_t>(due - waiting.begin()));
  waiting.erase(waiting.begin(), due);
}

void Serve(Server& server) {
  static std::array<Response, kBatch> batch;
  const std::size_t count = ReceiveBatch(server.sock, batch);
  if (server.manner == Manner::kSilent) return;
  for (std::size_t i = 0; i < count; ++i) {
    TurnIntoResponse(batch[i], server.manner != Manner::kEmpty);
  }
  if (server.manner == Manner::kAnswer || server.manner == Manner::kEmpty) {
    SendAll(server.sock, batch.data(), count);
    return;
  }
  const bool groups = server.manner == Manner::kReorder;
  const auto due =
      Clock::now() + (groups ? kGroupPatience : std::chrono::milliseconds(server.parameter));
  for (std::size_t i = 0; i < count; ++i) {
    batch[i].due = due;
    server.waiting.push_back(batch[i]);
  }
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<Server> servers;
  for (int i = 1; i < count; ++i) servers.push_back(MakeServer(arguments[i]));
  std::vector<pollfd> sockets;
  for (const Server& server : servers) sockets.push_back({server.sock, POLLIN, 0});
  std::puts("ready");
  std::fflush(stdout);
  for (;;) {
    const bool anything_waits = std::any_of(servers.begin(), servers.end(),
                                            [](const Server& s) { return !s.waiting.empty(); });
    Checked(poll(sockets.data(), sockets.size(), anything_waits ? 1 : -1), "poll");
    for (std::size_t i = 0; i < servers.size(); ++i) {
      if ((sockets[i].revents & POLLIN) != 0) Serve(servers[i]);
      SendWaiting(servers[i], Clock::now());
    }
  }
}
