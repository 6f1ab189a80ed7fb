#pragma once

#include <pthread.h>
#include <sys/socket.h>

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "dns_proxy_mac/mutex.h"
#include "dns_proxy_mac/state/dns_request.h"

/// The queries in flight, filed under the proxy's 16-bit id. Owns its records.
///
/// Both worker threads use the one table of the process. Its operations lock nothing themselves: a
/// caller holds the table's mutex through a `Guard`, or reaches a filed record through a
/// `FiledRequest`.
class CAPABILITY("request table") RequestTable {
 public:
  using Map = std::unordered_map<std::uint16_t, DnsRequest*>;
  using Iterator = Map::iterator;

  RequestTable();
  RequestTable(const RequestTable&) = delete;
  RequestTable& operator=(const RequestTable&) = delete;
  /// Frees every record. At process exit the caller sees to it that no worker is inside the lock.
  /// The mutex is not destroyed: a worker may still be waiting for it.
  ~RequestTable();

  void Lock() ACQUIRE() { pthread_mutex_lock(&mutex); }
  void Unlock() RELEASE() { pthread_mutex_unlock(&mutex); }

  /// Files a filled record under its `usId`. When that id is still in flight the earlier record
  /// stays and this one is neither filed nor freed; the caller is not told.
  void Add(DnsRequest* request) REQUIRES(this);

  /// True when `id` is filed; `found` is then its entry, otherwise the end of the table. The entry
  /// is good until the lock is given back or the id is deleted.
  bool Find(std::uint16_t id, Iterator& found) REQUIRES(this);

  /// Removes and frees the record of `id`; nothing happens when there is none.
  void Delete(std::uint16_t id) REQUIRES(this);

  /// The same, handing out a copy of the record first. False, with `removed` untouched, when
  /// there is none.
  bool Delete(std::uint16_t id, DnsRequest& removed) REQUIRES(this);

  /// The same, handing out only where the answer goes: the application's id and its address.
  bool Delete(std::uint16_t id, std::uint16_t& client_id, sockaddr& client_address) REQUIRES(this);

  /// Removes and frees every record.
  void Clear() REQUIRES(this);

  Map mapRequests GUARDED_BY(this);
  pthread_mutex_t mutex;
};

/// The one way to a filed record: it holds the table's mutex from before the record is looked up
/// until the record is released or taken out. Afterwards there is no record to reach here.
class SCOPED_CAPABILITY FiledRequest {
 public:
  /// Takes the mutex and looks up the record of `id`.
  FiledRequest(RequestTable& table, std::uint16_t id) ACQUIRE(table);
  FiledRequest(const FiledRequest&) = delete;
  FiledRequest& operator=(const FiledRequest&) = delete;
  ~FiledRequest() RELEASE();

  /// Whether there is a record to reach.
  explicit operator bool() const { return request_ != nullptr; }
  DnsRequest& operator*() const { return *request_; }
  DnsRequest* operator->() const { return request_; }

  /// Leaves the record filed and gives the mutex back.
  void Release() RELEASE();

  /// Removes the record from the table, gives the mutex back and hands the record over.
  std::unique_ptr<DnsRequest> TakeOut() RELEASE();

 private:
  RequestTable* table_;  // null once the mutex is given back
  RequestTable::Iterator found_;
  DnsRequest* request_ = nullptr;
};
