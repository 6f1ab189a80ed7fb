#include "dns_proxy_mac/state/shared_objects.h"

#include <algorithm>

#include "tests/unit/child_process.h"
#include "tests/unit/language_runtime.h"
#include "tests/unit/proxy_fixture.h"

namespace {

class SharedObjects : public SharedObjectsTest {};

// As the process began, before the first fixture set them.
const int g_SockToClientAppsAtFirst = g_SockToClientApps;
const int g_SockToDNSServersAtFirst = g_SockToDNSServers;

}  // namespace

TEST_F(SharedObjects, AreRegisteredForDestructionInTheOrderOfTheirConstruction) {
  const std::vector<const void*> ours = {&g_Hostmaps, &g_DnsMethodList, &g_DnsRequestTable};
  std::vector<const void*> registered;
  for (const void* object : language_runtime::RegisteredForExit()) {
    if (std::find(ours.begin(), ours.end(), object) != ours.end()) registered.push_back(object);
  }
  EXPECT_EQ(registered, ours);
}

TEST_F(SharedObjects, BeginWithoutRequestsHostsMethodsOrSockets) {
  EXPECT_TRUE(g_Hostmaps.mapHosts.empty());
  EXPECT_TRUE(g_DnsMethodList.empty());
  EXPECT_EQ(RequestsInFlight(), 0U);
  EXPECT_EQ(g_QueryID, 0);
  EXPECT_EQ(g_SockToClientAppsAtFirst, -1);
  EXPECT_EQ(g_SockToDNSServersAtFirst, -1);
}

TEST_F(SharedObjects, RequestsStillInFlightAreFreedAtExit) {
  // Under the leak check the child's status would tell.
  ChildProcess child([this] {
    AddHost("mail.local", "10.1.2.3");
    const Guard guard(g_DnsRequestTable);
    g_DnsRequestTable.Add(NewRequest(RequestInFlight(), sockaddr_in{}));
    return 0;
  });
  EXPECT_EQ(child.Wait(), 0);
}
