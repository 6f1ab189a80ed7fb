#include "page/api/metrics.h"

namespace page {
namespace {

// Addresses come from a file, in printable ASCII; what a label's value may not hold is escaped.
std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') quoted += '\\';
    quoted += character;
  }
  return quoted + '"';
}

void Describe(const char* name, const char* type, const char* help, std::string& out) {
  out += std::string("# TYPE ") + name + ' ' + type + "\n# HELP " + name + ' ' + help + '\n';
}

template <typename Value>
void AddServers(const char* name, const char* sample, const char* type, const char* help,
                const Snapshot& now, Value value, std::string& out) {
  Describe(name, type, help, out);
  for (const ServerNow& server : now.servers) {
    out += std::string(sample) + "{server=" + Quoted(server.address) + "} " +
           std::to_string(value(server)) + '\n';
  }
}

}  // namespace

std::string Metrics(const Snapshot& now, const std::array<std::uint64_t, kOutcomes>& outcomes) {
  std::string out;
  Describe("dns_proxy_serving", "gauge", "Whether the proxy takes queries.", out);
  out += std::string("dns_proxy_serving ") + (now.state == ProxyState::kServing ? "1" : "0") + '\n';
  Describe("dns_proxy_trace_readable", "gauge", "Whether the trace can be read.", out);
  out += std::string("dns_proxy_trace_readable ") + (now.is_trace_read ? "1" : "0") + '\n';
  Describe("dns_proxy_queries", "counter", "Queries by how they ended, over all days remembered.",
           out);
  for (std::size_t at = 0; at < kOutcomes; ++at) {
    out += std::string("dns_proxy_queries_total{outcome=\"") + KeyOf(static_cast<Outcome>(at)) +
           "\"} " + std::to_string(outcomes[at]) + '\n';
  }
  Describe("dns_proxy_waiting", "gauge", "Queries that wait for a server.", out);
  out += "dns_proxy_waiting " + std::to_string(now.waiting_count) + '\n';
  AddServers(
      "dns_proxy_server_asked", "dns_proxy_server_asked_total", "counter",
      "Queries sent to the server since the proxy's start.", now,
      [](const ServerNow& server) { return server.asked; }, out);
  AddServers(
      "dns_proxy_server_answers", "dns_proxy_server_answers_total", "counter",
      "Its responses with answers.", now, [](const ServerNow& server) { return server.answers; },
      out);
  AddServers(
      "dns_proxy_server_empty", "dns_proxy_server_empty_total", "counter",
      "Its responses without answers.", now, [](const ServerNow& server) { return server.empty; },
      out);
  Describe("dns_proxy_server_answer_time_seconds", "gauge",
           "Of its last responses, the median and the 95th in a hundred.", out);
  for (const ServerNow& server : now.servers) {
    if (!server.median) continue;
    const std::string labels =
        "dns_proxy_server_answer_time_seconds{server=" + Quoted(server.address) + ",quantile=\"";
    out += labels + "0.5\"} " + std::to_string(static_cast<double>(*server.median) / 1e6) + '\n';
    out += labels + "0.95\"} " + std::to_string(static_cast<double>(*server.ninety_fifth) / 1e6) +
           '\n';
  }
  Describe("dns_proxy_dropped_day", "gauge", "Dropped in the last 24 hours, by reason.", out);
  for (std::size_t at = 0; at < ctl::kDropReasons; ++at) {
    const auto reason = static_cast<ctl::DropReason>(at);
    out += "dns_proxy_dropped_day{reason=" + Quoted(ctl::InWords(reason)) + "} " +
           std::to_string(now.day[DayCounts::KindOf(reason)]) + '\n';
  }
  return out + "# EOF\n";
}

}  // namespace page
