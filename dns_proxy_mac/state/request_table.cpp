#include "dns_proxy_mac/state/request_table.h"

RequestTable::RequestTable() { pthread_mutex_init(&mutex, nullptr); }

RequestTable::~RequestTable() NO_THREAD_SAFETY_ANALYSIS {  // nobody else is left to use the table
  Clear();
}

void RequestTable::Add(DnsRequest* request) { mapRequests.insert({request->usId, request}); }

bool RequestTable::Find(std::uint16_t id, Iterator& found) {
  found = mapRequests.find(id);
  return found != mapRequests.end();
}

void RequestTable::MoveOn(DnsRequest& request) { ++request.CurrentDNSMethodIndex; }

std::unique_ptr<DnsRequest> RequestTable::Take(std::uint16_t id) {
  Iterator found;
  if (!Find(id, found)) return nullptr;
  std::unique_ptr<DnsRequest> request(found->second);
  mapRequests.erase(found);
  return request;
}

void RequestTable::Delete(std::uint16_t id) { Take(id); }

bool RequestTable::Delete(std::uint16_t id, DnsRequest& removed) {
  const std::unique_ptr<DnsRequest> request = Take(id);
  if (request == nullptr) return false;
  removed = *request;
  return true;
}

bool RequestTable::Delete(std::uint16_t id, std::uint16_t& client_id, sockaddr& client_address) {
  const std::unique_ptr<DnsRequest> request = Take(id);
  if (request == nullptr) return false;
  client_id = request->usClientId;
  client_address = request->ClientAddr;
  return true;
}

void RequestTable::Clear() {
  while (!mapRequests.empty()) {
    const auto first = mapRequests.begin();
    DnsRequest* request = first->second;
    mapRequests.erase(first);
    delete request;
  }
}

void HoldRequestTableUntilExit(RequestTable& table)
    NO_THREAD_SAFETY_ANALYSIS {  // takes the mutex itself
  pthread_mutex_lock(&table.mutex);
}
