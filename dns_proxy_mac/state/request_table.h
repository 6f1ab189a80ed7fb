#pragma once

#include <pthread.h>
#include <sys/socket.h>

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "dns_proxy_mac/state/dns_request.h"
#include "dns_proxy_mac/thread_annotations.h"

/// The queries in flight, filed under the proxy's 16-bit id. Owns its records.
///
/// Both worker threads use the one table of the process. Its operations lock nothing themselves:
/// a caller holds `mutex` through a `RequestTableGuard` from before it looks at or files a record
/// until it has finished with it, because `Find` hands out the record itself and not a copy.
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

  /// Files a filled record under its `usId`. When that id is still in flight the earlier record
  /// stays and this one is neither filed nor freed; the caller is not told.
  void Add(DnsRequest* request) REQUIRES(this);

  /// True when `id` is filed; `found` is then its entry, otherwise the end of the table. The entry
  /// is good until the lock is given back or the id is deleted.
  bool Find(std::uint16_t id, Iterator& found) REQUIRES(this);

  /// Moves a filed record on to its next method. The index has 8 bits: behind 255 it is 0 again.
  void MoveOn(DnsRequest& request) REQUIRES(this);

  /// Removes the record of `id` and hands it over, so that the caller can go on with it after
  /// giving the lock back; null when there is none.
  std::unique_ptr<DnsRequest> Take(std::uint16_t id) REQUIRES(this);

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

/// Holds a table's mutex for the length of a scope, or until it is given back early.
class SCOPED_CAPABILITY RequestTableGuard {
 public:
  explicit RequestTableGuard(RequestTable& table) ACQUIRE(table) : table_(&table) {
    pthread_mutex_lock(&table_->mutex);
  }
  RequestTableGuard(const RequestTableGuard&) = delete;
  RequestTableGuard& operator=(const RequestTableGuard&) = delete;
  ~RequestTableGuard() RELEASE() {
    if (table_ != nullptr) pthread_mutex_unlock(&table_->mutex);
  }

  /// Gives the mutex back, once.
  void Release() RELEASE() {
    pthread_mutex_unlock(&table_->mutex);
    table_ = nullptr;
  }

 private:
  RequestTable* table_;
};

/// Takes a table's mutex and never gives it back: a worker that comes for it waits until the
/// process is gone. For a process that ends while its query thread is at work.
void HoldRequestTableUntilExit(RequestTable& table);
