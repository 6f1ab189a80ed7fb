#pragma once

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/upstream/server_list.h"
#include "upstream/servers/network.h"

namespace upstream {

/// Follows the file of servers and what it refers to. A reading counts when it comes out the same
/// twice in a row, so that nothing half-written counts. A reading that fails never takes servers
/// away: the last good ones stay, and one sentence says why. If there is no file from the beginning
/// on, the network's servers are followed.
class Follower {
 public:
  using ReadNetworkNow = std::function<NetworkReading()>;
  using Saying = std::function<void(const std::string& sentence)>;
  Follower(std::string path, ReadNetworkNow read_network, Saying say);

  /// Looks once more. Returns the servers to be asked when they differ from those before.
  std::optional<std::vector<ServerAddress>> Look();

 private:
  void LookAtFile();
  void LookAtNetwork();
  void SayOnce(const std::string& sentence, std::string& said);

  const std::string path_;
  const ReadNetworkNow read_network_;
  const Saying say_;

  bool is_first_look_ = true;
  std::optional<std::string> text_;  // as it was at the last look
  bool has_list_ = false;
  std::optional<std::string> listed_text_;  // what `list_` or the complaint was made of
  ServerList list_;
  std::vector<ServerAddress> seen_network_;
  std::vector<ServerAddress> network_;
  std::vector<ServerAddress> servers_;
  std::string said_of_file_;
  std::string said_of_network_;
};

}  // namespace upstream
