#include "upstream/asking/lane.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace upstream {
namespace {

constexpr std::uint16_t kDnsPort = 53;
// A bound, so that others get their turn in the loop.
constexpr int kMostReadsInATurn = 256;

// Every option is set that the library would otherwise look up in the host's files and in the
// environment. NOCHECKRESP: a response is passed on whatever its code. IGNTC: so is a truncated
// one, because the library would give the repetition over TCP only the time that was left to the
// first try.
ares_channel OpenChannel(const ServerAddress& server, Transport transport, Tries tries, void* lane,
                         ares_sock_state_cb watch) {
  static char no_lookups[] = "b";
  ares_options options{};
  options.flags = ARES_FLAG_NOCHECKRESP | ARES_FLAG_IGNTC | ARES_FLAG_NOSEARCH |
                  ARES_FLAG_NOALIASES | (transport == Transport::kTcp ? ARES_FLAG_USEVC : 0);
  options.timeout = tries.first_milliseconds;
  options.tries = tries.count;
  options.ndots = 1;
  options.lookups = no_lookups;
  options.sock_state_cb = watch;
  options.sock_state_cb_data = lane;
  ares_channel channel = nullptr;
  const int opened =
      ares_init_options(&channel, &options,
                        ARES_OPT_FLAGS | ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_NDOTS |
                            ARES_OPT_LOOKUPS | ARES_OPT_DOMAINS | ARES_OPT_SERVERS |
                            ARES_OPT_SORTLIST | ARES_OPT_SOCK_STATE_CB | ARES_OPT_NOROTATE);
  if (opened != ARES_SUCCESS) throw std::runtime_error(ares_strerror(opened));
  ares_addr_port_node node{};
  node.family = server.family;
  std::copy_n(server.bytes.begin(), server.bytes.size(),
              reinterpret_cast<std::uint8_t*>(&node.addr));
  node.udp_port = kDnsPort;
  node.tcp_port = kDnsPort;
  if (ares_set_servers_ports(channel, &node) != ARES_SUCCESS) throw std::bad_alloc();
  return channel;
}

}  // namespace

Lane::Lane(const ServerAddress& server, Transport transport, Tries tries, EventLoop& loop,
           RandomNumbers& numbers)
    : loop_(loop), numbers_(numbers), sockets_(server), transport_(transport) {
  channel_ = OpenChannel(server, transport, tries, this,
                         [](void* lane, ares_socket_t descriptor, int to_read, int to_write) {
                           auto* self = static_cast<Lane*>(lane);
                           self->loop_.Watch(descriptor, to_read != 0, to_write != 0, *self);
                         });
  sockets_.Install(channel_);
}

Lane::~Lane() { ares_destroy(channel_); }

void Lane::Ask(View query, AskedQuery& asked) {
  asked.lane_ = this;
  asked.id_ = FreeId();
  ids_in_flight_.set(asked.id_);
  ++in_flight_;
  ++asked_from_port_;
  Bytes sent(query.bytes, query.bytes + query.count);
  sent[0] = static_cast<std::uint8_t>(asked.id_ >> 8);
  sent[1] = static_cast<std::uint8_t>(asked.id_);
  ares_send(channel_, sent.data(), static_cast<int>(sent.size()), OnEnd, &asked);
}

void Lane::GiveUp() { ares_cancel(channel_); }

void Lane::Turn() {
  if (in_flight_ > 0) ares_process_fd(channel_, ARES_SOCKET_BAD, ARES_SOCKET_BAD);
}

void Lane::Ready(int descriptor, bool readable, bool writable) {
  const ares_socket_t to_read = readable ? descriptor : ARES_SOCKET_BAD;
  const ares_socket_t to_write = writable ? descriptor : ARES_SOCKET_BAD;
  // Because the sockets are not the library's own, each of its reads is one datagram.
  for (int reads = 0; reads < kMostReadsInATurn; ++reads) {
    sockets_.ExpectRead();
    ares_process_fd(channel_, to_read, to_write);
    if (transport_ == Transport::kTcp || !sockets_.HasRead()) return;
  }
}

std::uint16_t Lane::FreeId() {
  std::uint16_t id = numbers_.Next();
  while (ids_in_flight_[id]) id = numbers_.Next();
  return id;
}

void Lane::OnEnd(void* argument, int status, int timeouts, unsigned char* bytes, int count) {
  auto& asked = *static_cast<AskedQuery*>(argument);
  Lane& lane = *asked.lane_;
  lane.ids_in_flight_.reset(asked.id_);
  if (--lane.in_flight_ == 0) lane.asked_from_port_ = 0;
  if (status != ARES_SUCCESS || bytes == nullptr) {
    asked.Ended({std::nullopt, status == ARES_ETIMEOUT, timeouts > 0 ? timeouts - 1 : 0});
  } else if (lane.transport_ == Transport::kUdp) {
    asked.Ended({lane.sockets_.Datagram(), false, timeouts});
  } else {
    asked.Ended({View{bytes, static_cast<std::size_t>(count)}, false, timeouts});
  }
}

}  // namespace upstream
