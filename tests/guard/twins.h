#pragma once

#include <cstdint>
#include <vector>

#include "companion/guard/conditions.h"
#include "tests/guard/datagrams.h"

/// Two sockets that are sent the same: one is read by the proxy's own code, unguarded; the other
/// has the filter. Every datagram must be kept out of the other exactly if the proxy's code would
/// end its thread for it, and must get in whole otherwise.
class Twins {
 public:
  /// `handler` is the proxy's: 0 for a datagram that ends its thread.
  using Handler = int (*)(int sock);
  Twins(const std::vector<ctl::Condition>& keep_out, Handler handler);
  Twins(const Twins&) = delete;
  Twins& operator=(const Twins&) = delete;
  ~Twins();

  /// Sends one datagram to each and compares. Ends the program with the datagram's bytes on
  /// standard error when the verdicts differ.
  void Compare(const Datagram& datagram);

  /// The same for datagrams that go out by one call and are divided on their way.
  void CompareSegments(const std::vector<Datagram>& segments);

  std::uint64_t compared() const { return compared_; }
  std::uint64_t kept_out() const { return kept_out_; }

 private:
  void SendToBoth(const Datagram& bytes, std::size_t segment_size);
  void CompareVerdicts(const std::vector<Datagram>& sent);
  std::vector<Datagram> LetIn();

  Handler handler_;
  int unguarded_;
  int guarded_;
  int sender_;
  std::uint64_t compared_ = 0;
  std::uint64_t kept_out_ = 0;
};
