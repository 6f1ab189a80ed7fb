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
  delete found->second;
  mapRequests.erase(found);
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
  for (const auto& [id, request] : mapRequests) delete request;
  mapRequests.clear();
}

// The lock is the table's, which the check does not follow through a pointer.
FiledRequest::FiledRequest(RequestTable& table, std::uint16_t id) NO_THREAD_SAFETY_ANALYSIS
    : table_(&table) {
  table_->Lock();
  if (table_->Find(id, found_)) request_ = found_->second;
}

FiledRequest::~FiledRequest() {
  if (table_ != nullptr) Release();
}

void FiledRequest::Release() NO_THREAD_SAFETY_ANALYSIS {
  request_ = nullptr;
  table_->Unlock();
  table_ = nullptr;
}

std::unique_ptr<DnsRequest> FiledRequest::TakeOut() NO_THREAD_SAFETY_ANALYSIS {
  std::unique_ptr<DnsRequest> request(request_);
  table_->mapRequests.erase(found_);
  Release();
  return request;
}
