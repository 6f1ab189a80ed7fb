#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "dns_proxy_mac/engine/engine.h"
#include "tests/unit/language_runtime.h"
#include "tests/unit/proxy_fixture.h"

/// Queries that reach the intake. The proxy has one upstream server unless a test says otherwise,
/// so an accepted query stays in flight.
class IntakeTest : public ProxyTest {
 protected:
  IntakeTest() { g_DnsMethodList = {AskServerA()}; }

  /// The query arrives and is handed to the intake.
  int Accept(const Wire& query) {
    Ask(query);
    return RecvAndProcessPacketsFromLocalApps(g_SockToClientApps);
  }

  /// All storage of freed records, so that the next record comes from the heap.
  static std::vector<std::unique_ptr<DnsRequest>> AllSpares() {
    std::vector<std::unique_ptr<DnsRequest>> spares;
    language_runtime::WatchAllocationsOf(sizeof(DnsRequest));
    while (language_runtime::LastWatchedAllocation() == nullptr)
      spares.emplace_back(new DnsRequest);
    return spares;
  }

  /// The record in flight under `id`; the test has the only thread.
  static const DnsRequest& Request(std::uint16_t id) {
    const Guard guard(g_DnsRequestTable);
    return *g_DnsRequestTable.mapRequests.at(id);
  }
};
