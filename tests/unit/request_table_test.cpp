#include "dns_proxy_mac/state/request_table.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include "tests/unit/language_runtime.h"
#include "tests/unit/proxy_fixture.h"

namespace {

sockaddr_in Application() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(40000);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::memcpy(address.sin_zero, "to 16.", 7);  // so that it shows whether all bytes are copied
  return address;
}

DnsRequest* Record(std::uint16_t id, const char* domain) {
  RequestInFlight wanted;
  wanted.id = id;
  wanted.domain = domain;
  wanted.methods = {HostMapMethod()};
  return NewRequest(wanted, Application());
}

DnsRequest* Filed(RequestTable& table, std::uint16_t id) REQUIRES(table) {
  DnsRequest* const record = Record(id, "filed");
  table.Add(record);
  return record;
}

DnsRequest* FiledIn(RequestTable& table, std::uint16_t id) {
  const Guard guard(table);
  return Filed(table, id);
}

// Storage that goes with the record.
const void* MethodsOf(const DnsRequest* record) { return record->vecMethods.data(); }

}  // namespace

TEST(RequestTableTest, FindOnAnEmptyTableReturnsFalseAndTheEnd) {
  RequestTable table;
  const Guard guard(table);
  RequestTable::Iterator found;
  EXPECT_FALSE(table.Find(0, found));
  EXPECT_TRUE(found == table.mapRequests.end());
}

TEST(RequestTableTest, FindOfAnotherIdReturnsFalseAndTheEnd) {
  RequestTable table;
  const Guard guard(table);
  table.Add(Record(7, "filed"));
  RequestTable::Iterator found = table.mapRequests.begin();
  EXPECT_FALSE(table.Find(8, found));
  EXPECT_TRUE(found == table.mapRequests.end());
}

TEST(RequestTableTest, FindHandsOutTheFiledRecordItself) {
  RequestTable table;
  const Guard guard(table);
  DnsRequest* const record = Record(7, "filed");
  table.Add(record);
  RequestTable::Iterator found;
  ASSERT_TRUE(table.Find(7, found));
  EXPECT_EQ(found->first, 7);
  EXPECT_EQ(found->second, record);
}

TEST(RequestTableTest, SecondRecordOfAnIdIsNeitherFiledNorFreed) {
  RequestTable table;
  const Guard guard(table);
  DnsRequest* const first = Record(7, "first");
  const std::unique_ptr<DnsRequest> second(Record(7, "second"));
  table.Add(first);
  table.Add(second.get());
  RequestTable::Iterator found;
  ASSERT_TRUE(table.Find(7, found));
  EXPECT_EQ(found->second, first);
  EXPECT_EQ(found->second->strDomain, "first");
  EXPECT_EQ(table.mapRequests.size(), 1U);
  EXPECT_EQ(second->strDomain, "second");  // still there, and freed by the test alone
}

TEST(RequestTableTest, RecordsAreFiledUnderTheSmallestAndTheLargestId) {
  RequestTable table;
  const Guard guard(table);
  table.Add(Record(0, "smallest"));
  table.Add(Record(65535, "largest"));
  RequestTable::Iterator found;
  ASSERT_TRUE(table.Find(0, found));
  EXPECT_EQ(found->second->strDomain, "smallest");
  ASSERT_TRUE(table.Find(65535, found));
  EXPECT_EQ(found->second->strDomain, "largest");
}

TEST(RequestTableTest, DeleteRemovesTheEntry) {
  RequestTable table;
  const Guard guard(table);
  table.Add(Record(7, "deleted"));
  table.Add(Record(8, "kept"));
  table.Delete(7);
  RequestTable::Iterator found;
  EXPECT_FALSE(table.Find(7, found));
  EXPECT_TRUE(table.Find(8, found));
}

TEST(RequestTableTest, DeleteOfAnIdThatIsNotFiledChangesNothing) {
  RequestTable table;
  const Guard guard(table);
  table.Add(Record(7, "kept"));
  table.Delete(8);
  EXPECT_EQ(table.mapRequests.size(), 1U);
}

TEST(RequestTableTest, RecordCopyingDeleteHandsOutAnEqualRecordOnce) {
  RequestTable table;
  const Guard guard(table);
  DnsRequest* const record = Record(7, "mail.local");
  record->bSpare = true;
  table.Add(record);
  DnsRequest removed;
  removed.bSpare = false;
  EXPECT_TRUE(table.Delete(7, removed));
  EXPECT_EQ(removed.usId, 7);
  EXPECT_EQ(removed.strDomain, "mail.local");
  EXPECT_EQ(removed.iQueryPacketLen, 28);
  EXPECT_EQ(WireAt(&removed.usClientId, 2), "AB CD"_wire);
  ASSERT_EQ(removed.vecMethods.size(), 1U);
  EXPECT_EQ(removed.vecMethods[0].iDNSMethodType, 1);
  EXPECT_TRUE(removed.bSpare);
  EXPECT_TRUE(table.mapRequests.empty());

  removed.strDomain = "as it was";
  EXPECT_FALSE(table.Delete(7, removed));
  EXPECT_EQ(removed.strDomain, "as it was");
}

TEST(RequestTableTest, AddressCopyingDeleteHandsOutWhereTheAnswerGoesOnce) {
  RequestTable table;
  const Guard guard(table);
  table.Add(Record(7, "mail.local"));
  std::uint16_t client_id = 0;
  sockaddr address{};
  EXPECT_TRUE(table.Delete(7, client_id, address));
  EXPECT_EQ(WireAt(&client_id, 2), "AB CD"_wire);
  const sockaddr_in expected = Application();
  EXPECT_EQ(WireAt(&address, 16), WireAt(&expected, 16));
  EXPECT_TRUE(table.mapRequests.empty());

  client_id = 0x7777;
  address = sockaddr{};
  EXPECT_FALSE(table.Delete(7, client_id, address));
  EXPECT_EQ(client_id, 0x7777);
  EXPECT_EQ(WireAt(&address, 16), Repeated(16, 0));
}

TEST(RequestTableTest, ClearOnAnEmptyTableDoesNothing) {
  RequestTable table;
  const Guard guard(table);
  table.Clear();
  EXPECT_TRUE(table.mapRequests.empty());
}

TEST(RequestTableTest, AfterClearEveryFindReturnsFalse) {
  RequestTable table;
  const Guard guard(table);
  for (std::uint16_t id = 0; id < 100; ++id) table.Add(Record(id, "cleared"));
  table.Clear();
  RequestTable::Iterator found;
  for (std::uint16_t id = 0; id < 100; ++id) EXPECT_FALSE(table.Find(id, found));
}

TEST(RequestTableTest, ClearAndDestructionFreeWhatIsFiled) {
  const void* cleared = nullptr;
  const void* destroyed = nullptr;
  {
    RequestTable table;
    const Guard guard(table);  // given back before the table goes
    cleared = MethodsOf(Filed(table, 7));
    table.Clear();
    EXPECT_TRUE(language_runtime::WasFreed(cleared));
    destroyed = MethodsOf(Filed(table, 8));
    EXPECT_FALSE(language_runtime::WasFreed(destroyed));
  }
  EXPECT_TRUE(language_runtime::WasFreed(destroyed));
}

TEST(RequestTableTest, EveryDeleteFreesTheRecord) {
  RequestTable table;
  const Guard guard(table);
  DnsRequest copy;
  std::uint16_t client_id = 0;
  sockaddr address{};
  const void* const first = MethodsOf(Filed(table, 7));
  const void* const second = MethodsOf(Filed(table, 8));
  const void* const third = MethodsOf(Filed(table, 9));
  table.Delete(7);
  EXPECT_TRUE(language_runtime::WasFreed(first));
  table.Delete(8, copy);
  EXPECT_TRUE(language_runtime::WasFreed(second));
  table.Delete(9, client_id, address);
  EXPECT_TRUE(language_runtime::WasFreed(third));
}

TEST(RequestTableTest, EntriesWithoutARecordAreRemovedLikeAnyOther) {
  RequestTable table;
  const Guard guard(table);
  table.mapRequests[7] = nullptr;
  table.mapRequests[8] = nullptr;
  table.Delete(7);
  EXPECT_EQ(table.mapRequests.size(), 1U);
  table.Clear();
  EXPECT_TRUE(table.mapRequests.empty());
}

TEST(GuardTest, HoldsTheMutexForTheLengthOfItsScope) {
  RequestTable table;
  {
    const Guard guard(table);
    EXPECT_EQ(pthread_mutex_trylock(&table.mutex), EBUSY);
  }
  EXPECT_EQ(pthread_mutex_trylock(&table.mutex), 0);
  pthread_mutex_unlock(&table.mutex);
}

TEST(FiledRequestTest, HoldsTheMutexWhileItsRecordCanBeReached) {
  RequestTable table;
  DnsRequest* const record = FiledIn(table, 7);
  {
    FiledRequest request(table, 7);
    ASSERT_TRUE(request);
    EXPECT_EQ(&*request, record);
    EXPECT_EQ(request->strDomain, "filed");
    EXPECT_EQ(pthread_mutex_trylock(&table.mutex), EBUSY);
  }
  EXPECT_EQ(pthread_mutex_trylock(&table.mutex), 0);
  pthread_mutex_unlock(&table.mutex);
}

TEST(FiledRequestTest, IdThatIsNotFiledHasNoRecordAndHoldsTheMutexForItsScope) {
  RequestTable table;
  FiledIn(table, 7);
  {
    const FiledRequest request(table, 8);
    EXPECT_FALSE(request);
    EXPECT_EQ(pthread_mutex_trylock(&table.mutex), EBUSY);
  }
  EXPECT_EQ(pthread_mutex_trylock(&table.mutex), 0);
  pthread_mutex_unlock(&table.mutex);
}

TEST(FiledRequestTest, ReleaseGivesTheMutexBackOnceAndLeavesNoWayToTheRecord) {
  RequestTable table;
  FiledIn(table, 7);
  {
    FiledRequest request(table, 7);
    request.Release();
    EXPECT_FALSE(request);
    EXPECT_EQ(request.operator->(), nullptr);
    EXPECT_EQ(pthread_mutex_trylock(&table.mutex), 0);
  }
  EXPECT_EQ(pthread_mutex_trylock(&table.mutex), EBUSY);  // the end of the scope left it alone
  pthread_mutex_unlock(&table.mutex);
  EXPECT_TRUE(FiledRequest(table, 7));
}

TEST(FiledRequestTest, TakeOutRemovesTheEntryAndHandsOverItsRecord) {
  RequestTable table;
  DnsRequest* const record = FiledIn(table, 7);
  FiledRequest request(table, 7);
  const std::unique_ptr<DnsRequest> taken = request.TakeOut();
  EXPECT_EQ(taken.get(), record);
  EXPECT_EQ(taken->strDomain, "filed");
  EXPECT_FALSE(request);
  EXPECT_EQ(request.operator->(), nullptr);
  EXPECT_EQ(pthread_mutex_trylock(&table.mutex), 0);
  pthread_mutex_unlock(&table.mutex);
  EXPECT_FALSE(FiledRequest(table, 7));
}
