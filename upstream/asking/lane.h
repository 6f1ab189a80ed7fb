#pragma once

#include <ares.h>

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "common/upstream/server_address.h"
#include "upstream/asking/event_loop.h"
#include "upstream/asking/random_numbers.h"
#include "upstream/asking/socket_calls.h"
#include "upstream/wire/message.h"

namespace upstream {

class Lane;

/// What became of a query.
struct Outcome {
  /// The server's response, with the id under which it was asked.
  std::optional<View> response;
  /// Without a response. True: nothing came, however often it was sent. False: it could not be
  /// sent, was refused, or was given up.
  bool is_overdue = false;
  int sent_again = 0;  ///< after the first time
};

/// A query that a lane asks.
class AskedQuery {
 public:
  /// The query has ended. May be called before `Ask` returns. No lane may be destroyed from here;
  /// the same query may be asked again.
  virtual void Ended(const Outcome& outcome) = 0;

 protected:
  ~AskedQuery() = default;

 private:
  friend class Lane;
  Lane* lane_ = nullptr;
  std::uint16_t id_ = 0;
};

enum class Transport { kUdp, kTcp };

/// How often a query is sent, and how long the first try waits; each one waits twice as long.
struct Tries {
  int count;
  int first_milliseconds;
};

/// Asks one server through one channel of the resolver library, and so from one port at a time,
/// which the system picks again whenever nothing is in flight. Ids are random and none is in flight
/// twice. A response is accepted when it comes from the server's address and port and repeats id
/// and question. The rest of it is not judged, and over UDP it may be longer than the library
/// accepts.
class Lane final : private Watcher {
 public:
  Lane(const ServerAddress& server, Transport transport, Tries tries, EventLoop& loop,
       RandomNumbers& numbers);
  /// Ends what is in flight, without a response.
  ~Lane();
  Lane(const Lane&) = delete;
  Lane& operator=(const Lane&) = delete;

  /// `query` is asked with an id of its own. `asked` lives until it has ended.
  void Ask(View query, AskedQuery& asked);
  /// Ends what is in flight, without a response, and gives up the port.
  void GiveUp();
  /// Repeats or ends what is overdue. To be called every few milliseconds while something is in
  /// flight.
  void Turn();

  std::size_t InFlight() const { return in_flight_; }
  /// Queries that were asked from the present port.
  std::size_t AskedFromPort() const { return asked_from_port_; }

 private:
  void Ready(int descriptor, bool readable, bool writable) override;
  std::uint16_t FreeId();
  static void OnEnd(void* argument, int status, int timeouts, unsigned char* bytes, int count);

  EventLoop& loop_;
  RandomNumbers& numbers_;
  SocketCalls sockets_;
  const Transport transport_;
  ares_channel channel_ = nullptr;
  std::bitset<65536> ids_in_flight_;
  std::size_t in_flight_ = 0;
  std::size_t asked_from_port_ = 0;
};

}  // namespace upstream
