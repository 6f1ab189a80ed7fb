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

void RequestTable::Delete(std::uint16_t id) {
  Iterator found;
  if (!Find(id, found)) return;
  DnsRequest* request = found->second;
  mapRequests.erase(found);
  delete request;
}

bool RequestTable::Delete(std::uint16_t id, DnsRequest& removed) {
  Iterator found;
  if (!Find(id, found)) return false;
  removed = *found->second;
  Delete(id);
  return true;
}

bool RequestTable::Delete(std::uint16_t id, std::uint16_t& client_id, sockaddr& client_address) {
  Iterator found;
  if (!Find(id, found)) return false;
  client_id = found->second->usClientId;
  client_address = found->second->ClientAddr;
  Delete(id);
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
