#include "upstream/servers/follower.h"

#include <utility>

#include "common/upstream/text_lines.h"

namespace upstream {

Follower::Follower(std::string path, ReadNetworkNow read_network, Saying say)
    : path_(std::move(path)), read_network_(std::move(read_network)), say_(std::move(say)) {
  list_.entries.push_back({true, {}});
}

std::optional<std::vector<ServerAddress>> Follower::Look() {
  LookAtFile();
  if (list_.NamesNetwork()) LookAtNetwork();
  const bool is_first = std::exchange(is_first_look_, false);
  std::vector<ServerAddress> servers = Servers(list_, network_);
  if (servers == servers_ && !is_first) return std::nullopt;
  servers_ = servers;
  return servers;
}

void Follower::LookAtFile() {
  std::optional<std::string> text = ReadFile(path_);
  const bool is_settled = is_first_look_ || text == text_;
  text_ = std::move(text);
  if (!is_settled) return;
  if (!text_) {
    SayOnce(path_ + " cannot be read: " +
                (has_list_ ? "the servers that it named last are asked on."
                           : "the network's own servers are asked."),
            said_of_file_);
    return;
  }
  if (listed_text_ == text_) return;
  listed_text_ = text_;
  ServerList list = ReadServerList(*text_);
  if (!list.complaint.empty()) {
    SayOnce(path_ + ": " + list.complaint + " The servers stay as they were.", said_of_file_);
    return;
  }
  list_ = std::move(list);
  has_list_ = true;
  said_of_file_.clear();
}

void Follower::LookAtNetwork() {
  NetworkReading reading = read_network_();
  if (!reading.complaint.empty()) {
    SayOnce(reading.complaint + " The servers stay as they were.", said_of_network_);
    return;
  }
  said_of_network_.clear();
  const bool is_settled = is_first_look_ || reading.servers == seen_network_;
  seen_network_ = std::move(reading.servers);
  if (is_settled && !seen_network_.empty()) network_ = seen_network_;
}

void Follower::SayOnce(const std::string& sentence, std::string& said) {
  if (sentence == said) return;
  said = sentence;
  say_(sentence);
}

}  // namespace upstream
