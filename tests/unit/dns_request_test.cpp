#include "dns_proxy_mac/state/dns_request.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

#include "tests/unit/language_runtime.h"
#include "tests/unit/proxy_fixture.h"

namespace {

sockaddr_in Application(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// A record with a value of its own in every field.
std::unique_ptr<DnsRequest> FullRecord() {
  RequestInFlight wanted;
  wanted.id = 4660;
  wanted.index = 2;
  wanted.qtype = 28;
  wanted.methods = {HostMapMethod(), ServerMethod(Application(53))};
  std::unique_ptr<DnsRequest> record(NewRequest(wanted, Application(5353)));
  record->iRecvLen = 28;
  record->iQueryPacketLen = 44;
  record->QueryPacket[8191] = 'e';
  record->usQClass = 3;
  record->bSpare = true;
  return record;
}

void ExpectFullRecord(const DnsRequest& record) {
  EXPECT_EQ(record.usId, 4660);
  EXPECT_EQ(WireAt(&record.usClientId, 2), "AB CD"_wire);
  EXPECT_EQ(record.CurrentDNSMethodIndex, 2);
  EXPECT_EQ(record.iRecvLen, 28);
  const sockaddr_in address = Application(5353);
  EXPECT_EQ(WireAt(&record.ClientAddr, 16), WireAt(&address, 16));
  EXPECT_EQ(WireAt(record.QueryPacket + 2, 26),
            "01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
  EXPECT_EQ(record.QueryPacket[8191], 'e');
  EXPECT_EQ(record.iQueryPacketLen, 44);
  EXPECT_EQ(record.strDomain, "mail.local");
  EXPECT_EQ(record.usQType, 28);
  EXPECT_EQ(record.usQClass, 3);
  ASSERT_EQ(record.vecMethods.size(), 2U);
  EXPECT_EQ(record.vecMethods[0].iDNSMethodType, 1);
  EXPECT_EQ(record.vecMethods[1].iDNSMethodType, 0);
  EXPECT_EQ(record.vecMethods[1].iParam, 1000);
  EXPECT_TRUE(record.bSpare);
}

}  // namespace

TEST(DnsRequestTest, DefaultConstructionMakesDomainAndMethodsEmpty) {
  const std::unique_ptr<DnsRequest> record(new DnsRequest);
  EXPECT_EQ(record->strDomain, "");
  EXPECT_TRUE(record->vecMethods.empty());
}

TEST(DnsRequestTest, StorageOfARecordThatIsGoneIsUsedForTheNext) {
  auto* first = new DnsRequest;
  auto* second = new DnsRequest;
  EXPECT_NE(first, second);
  delete first;
  delete second;
  auto* third = new DnsRequest;
  auto* fourth = new DnsRequest;
  EXPECT_EQ(third, second);
  EXPECT_EQ(fourth, first);
  delete third;
  delete fourth;
}

TEST(DnsRequestTest, ManyQueriesOneAfterTheOtherTakeTheStorageOfOne) {
  language_runtime::WatchAllocationsOf(sizeof(DnsRequest));
  delete new DnsRequest;
  language_runtime::WatchAllocationsOf(sizeof(DnsRequest));
  for (int query = 0; query < 1000; ++query) delete new DnsRequest;
  EXPECT_EQ(language_runtime::LastWatchedAllocation(), nullptr);
}

TEST(DnsRequestTest, ThreadsMakeAndFreeRecordsAtTheSameTime) {
  const auto work = [](std::uint16_t mark) {
    for (int turn = 0; turn < 200000; ++turn) {
      const std::unique_ptr<DnsRequest> one(new DnsRequest);
      const std::unique_ptr<DnsRequest> other(new DnsRequest);
      one->iRecvLen = mark;
      other->iRecvLen = mark + 1;
      const std::unique_ptr<DnsRequest> third(new DnsRequest);
      third->iRecvLen = mark + 2;
      ASSERT_EQ(one->iRecvLen, mark);
      ASSERT_EQ(other->iRecvLen, mark + 1);
    }
  };
  std::thread second(work, 100);
  work(200);
  second.join();
}

TEST(DnsRequestTest, FieldsStandInTheirOrder) {
  const std::unique_ptr<DnsRequest> record(new DnsRequest);
  const std::vector<const void*> fields = {&record->usId,
                                           &record->usClientId,
                                           &record->CurrentDNSMethodIndex,
                                           &record->iRecvLen,
                                           &record->ClientAddr,
                                           &record->QueryPacket,
                                           &record->iQueryPacketLen,
                                           &record->strDomain,
                                           &record->usQType,
                                           &record->usQClass,
                                           &record->vecMethods,
                                           &record->bSpare};
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
  EXPECT_EQ(sizeof(record->ClientAddr), 16U);
  EXPECT_EQ(sizeof(record->QueryPacket), 8192U);
}

TEST(DnsRequestTest, AssignmentCopiesEveryField) {
  const std::unique_ptr<DnsRequest> source = FullRecord();
  RequestInFlight other;
  other.query = Repeated(8192, 'o');
  other.domain = "other.local";
  other.methods = {MethodOfType(2)};
  const std::unique_ptr<DnsRequest> other_record(NewRequest(other, Application(1)));
  DnsRequest& target = *other_record;
  target = *source;
  ExpectFullRecord(target);
  ExpectFullRecord(*source);
}

TEST(DnsRequestTest, CopyAndSourceAreIndependent) {
  const std::unique_ptr<DnsRequest> source = FullRecord();
  DnsRequest target;
  target = *source;
  source->strDomain = "changed";
  source->vecMethods.clear();
  source->QueryPacket[3] = 'x';
  ExpectFullRecord(target);
}

TEST(DnsRequestTest, AssignmentToItselfKeepsTheRecord) {
  const std::unique_ptr<DnsRequest> record = FullRecord();
  const DnsRequest& same = *record;
  *record = same;
  ExpectFullRecord(*record);
}

TEST(DnsRequestTest, AssignmentReturnsItsTarget) {
  const std::unique_ptr<DnsRequest> source = FullRecord();
  DnsRequest target;
  EXPECT_EQ(&(target = *source), &target);
}
