// What a hostile server sends, over UDP or TCP, against a lane: the real resolver library with
// substituted sockets. Whatever comes, a response counts only when it answers the query.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "upstream/asking/lane.h"

namespace {

using namespace upstream;

const Bytes kQuery = {0x12, 0x34, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 3, 'w', 'w', 'w', 0, 0, 1, 0, 1};
constexpr std::size_t kQuestionEnd = 21;

// The input that is left: pieces, each with a byte that says how it is changed and one for its
// size.
const std::uint8_t* g_Left = nullptr;
std::size_t g_LeftBytes = 0;
std::uint8_t g_SentId[2];

constexpr std::uint8_t kWithId = 1;
constexpr std::uint8_t kWithQuestion = 2;
constexpr std::uint8_t kIsResponse = 4;
constexpr std::uint8_t kIsLong = 8;

bool NextPiece(Bytes& piece) {
  if (g_LeftBytes < 2) return false;
  const std::uint8_t manner = g_Left[0];
  const std::size_t size = std::min<std::size_t>(g_Left[1], g_LeftBytes - 2);
  piece.assign(g_Left + 2, g_Left + 2 + size);
  g_Left += 2 + size;
  g_LeftBytes -= 2 + size;
  if ((manner & kWithQuestion) != 0) {
    piece.insert(piece.begin(), kQuery.begin(), kQuery.end());
  }
  if ((manner & kIsResponse) != 0 && piece.size() > 2) piece[2] |= 0x80;
  if ((manner & kWithId) != 0 && piece.size() > 1) std::copy_n(g_SentId, 2, piece.begin());
  if ((manner & kIsLong) != 0) piece.resize(piece.size() + 5000);
  return true;
}

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

class Asked final : public AskedQuery {
 public:
  void Ended(const Outcome& outcome) override {
    Check(!has_ended, "a query ends once");
    has_ended = true;
    if (!outcome.response) return;
    Bytes response(outcome.response->bytes, outcome.response->bytes + outcome.response->count);
    Check(response.size() >= kQuestionEnd, "a response has a header and the question");
    Check(std::equal(g_SentId, g_SentId + 2, response.begin()), "a response has the id");
    RestoreAsker({kQuery.data(), kQuery.size()}, response);
    Check(std::equal(kQuery.begin(), kQuery.begin() + 2, response.begin()),
          "the asker's id is back");
  }
  bool has_ended = false;
};

}  // namespace

extern "C" {

// A descriptor that is always ready.
int __wrap_socket(int /*family*/, int /*type*/, int /*protocol*/) {
  return open("/dev/null", O_RDWR);
}
int __wrap_connect(int /*descriptor*/, const sockaddr* /*address*/, socklen_t /*length*/) {
  return 0;
}
int __wrap_setsockopt(int, int, int, const void*, socklen_t) { return 0; }

ssize_t __wrap_writev(int /*descriptor*/, const iovec* parts, int count) {
  ssize_t sent = 0;
  for (int i = 0; i < count; ++i) sent += static_cast<ssize_t>(parts[i].iov_len);
  // Over TCP the length comes first.
  const auto* bytes = static_cast<const std::uint8_t*>(parts[0].iov_base);
  const std::size_t at = parts[0].iov_len == kQuery.size() + 2 ? 2 : 0;
  if (parts[0].iov_len >= kQuery.size()) std::memcpy(g_SentId, bytes + at, 2);
  return sent;
}

ssize_t __wrap_recvfrom(int, void* bytes, size_t room, int, sockaddr* from, socklen_t* length) {
  Bytes piece;
  if (!NextPiece(piece)) {
    errno = EAGAIN;
    return -1;
  }
  sockaddr_in sender{};
  sender.sin_family = AF_INET;
  sender.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::memcpy(from, &sender, sizeof sender);
  *length = sizeof sender;
  const std::size_t taken = std::min(room, piece.size());
  std::copy_n(piece.begin(), taken, static_cast<std::uint8_t*>(bytes));
  return static_cast<ssize_t>(taken);
}

ssize_t __wrap_recv(int, void* bytes, size_t room, int) {
  static Bytes stream;
  Bytes piece;
  if (stream.empty()) {
    if (!NextPiece(piece)) {
      errno = EAGAIN;
      return -1;
    }
    stream = {static_cast<std::uint8_t>(piece.size() >> 8),
              static_cast<std::uint8_t>(piece.size())};
    stream.insert(stream.end(), piece.begin(), piece.end());
  }
  const std::size_t taken = std::min(room, stream.size());
  std::copy_n(stream.begin(), taken, static_cast<std::uint8_t*>(bytes));
  stream.erase(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(taken));
  return static_cast<ssize_t>(taken);
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static RandomNumbers numbers;
  if (size == 0) return 0;
  g_Left = data + 1;
  g_LeftBytes = size - 1;
  EventLoop loop;
  ServerAddress server;
  server.bytes = {127, 0, 0, 1};
  Asked asked;
  {
    Lane lane(server, data[0] % 2 == 0 ? Transport::kUdp : Transport::kTcp, {2, 1000}, loop,
              numbers);
    lane.Ask({kQuery.data(), kQuery.size()}, asked);
    for (int turns = 0; turns < 64 && lane.InFlight() > 0 && g_LeftBytes >= 2; ++turns)
      loop.Turn({});
  }
  Check(asked.has_ended, "a query ends with its lane at the latest");
  return 0;
}

}  // extern "C"
