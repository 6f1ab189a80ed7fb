#include "dns_proxy_mac/state/host_table.h"

#include <gtest/gtest.h>

#include "tests/unit/language_runtime.h"
#include "tests/unit/wire.h"

namespace {

// A table of its own for every test; what it still holds is freed at the end.
class HostTableTest : public ::testing::Test {
 protected:
  ~HostTableTest() override { table.Clear(); }

  void Add(std::string domain, const char* address) { table.Add(domain.data(), address); }

  // The record that `name` finds, "" when it finds none.
  Wire Found(const char* name) {
    HostRespData* record = nullptr;
    return table.Find(name, record) ? WireAt(record, sizeof(*record)) : Wire{};
  }

  HostTable table;
};

}  // namespace

TEST_F(HostTableTest, DomainWithAnUpperCaseLetterIsFiledAndNeverFound) {
  Add("Intra.LAN", "10.1.2.3");
  EXPECT_EQ(table.mapHosts.count("Intra.LAN"), 1U);
  EXPECT_EQ(Found("intra.lan"), ""_wire);
  EXPECT_EQ(Found("Intra.LAN"), ""_wire);
}

TEST_F(HostTableTest, LowerCaseDomainIsFoundInAnyMixOfCases) {
  Add("intra.lan", "10.1.2.3");
  const Wire record = "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire;
  EXPECT_EQ(Found("intra.lan"), record);
  EXPECT_EQ(Found("INTRA.lan"), record);
  EXPECT_EQ(Found("iNtra.Lan"), record);
}

TEST_F(HostTableTest, FoundRecordShowsItsFourAddressBytes) {
  Add("intra.lan", "192.168.1.254");
  HostRespData* record = nullptr;
  ASSERT_TRUE(table.Find("intra.lan", record));
  EXPECT_EQ(WireAt(record->Address(), 4), "C0 A8 01 FE"_wire);
}

TEST_F(HostTableTest, ParentDomainIsNoMatch) {
  Add("intra.lan", "10.1.2.3");
  EXPECT_EQ(Found("host.intra.lan"), ""_wire);
  EXPECT_EQ(Found("lan"), ""_wire);
}

TEST_F(HostTableTest, AsteriskMatchesOnlyItself) {
  Add("*.intra.lan", "10.1.2.3");
  EXPECT_EQ(Found("host.intra.lan"), ""_wire);
  EXPECT_EQ(Found("*.intra.lan"), "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST_F(HostTableTest, FinalDotOfADomainIsPartOfIt) {
  Add("intra.lan.", "10.1.2.3");
  EXPECT_EQ(Found("intra.lan"), ""_wire);
  EXPECT_EQ(Found("intra.lan."), "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST_F(HostTableTest, FirstAddressOfADomainListedTwiceStays) {
  Add("intra.lan", "10.1.2.3");
  Add("intra.lan", "10.9.9.9");
  EXPECT_EQ(Found("intra.lan"), "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
  EXPECT_EQ(table.mapHosts.size(), 1U);
}

TEST_F(HostTableTest, TextThatIsNoAddressGivesAllOnes) {
  for (const char* text : {"", "localhost", "1.2.3.4:53", "1.2.3.256", "::1"}) {
    table.Clear();
    Add("intra.lan", text);
    EXPECT_EQ(Found("intra.lan"), "C0 0C 00 01 00 01 00 01 51 80 00 04 FF FF FF FF"_wire) << text;
  }
}

TEST_F(HostTableTest, CarriageReturnBehindAnAddressDoesNotSpoilIt) {
  Add("intra.lan", "10.1.2.3\r");
  EXPECT_EQ(Found("intra.lan"), "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST_F(HostTableTest, FindOnAnEmptyTableLeavesThePointerUnchanged) {
  HostRespData mine{};
  HostRespData* record = &mine;
  EXPECT_FALSE(table.Find("intra.lan", record));
  EXPECT_EQ(record, &mine);
}

TEST_F(HostTableTest, MissLeavesThePointerUnchanged) {
  Add("intra.lan", "10.1.2.3");
  HostRespData mine{};
  HostRespData* record = &mine;
  EXPECT_FALSE(table.Find("other.lan", record));
  EXPECT_EQ(record, &mine);
}

TEST_F(HostTableTest, CallersTextsAreNotChanged) {
  std::string domain = "Intra.LAN";
  table.Add(domain.data(), "10.1.2.3");
  EXPECT_EQ(domain, "Intra.LAN");
  const std::string name = "INTRA.lan";
  HostRespData* record = nullptr;
  table.Find(name, record);
  EXPECT_EQ(name, "INTRA.lan");
}

TEST_F(HostTableTest, OnlyAsciiLettersAreFolded) {
  Add("\xE4\xC4[`", "10.1.2.3");
  EXPECT_EQ(Found("\xE4\xC4[`"), "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
  EXPECT_EQ(Found("\xC4\xE4[`"), ""_wire);
}

TEST_F(HostTableTest, EmptyDomainIsAnEntryLikeAnyOther) {
  Add("", "10.1.2.3");
  EXPECT_EQ(Found(""), "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST_F(HostTableTest, ClearRemovesEveryEntry) {
  Add("one.lan", "10.0.0.1");
  Add("two.lan", "10.0.0.2");
  table.mapHosts["none.lan"] = nullptr;
  table.Clear();
  EXPECT_TRUE(table.mapHosts.empty());
  table.Clear();
  EXPECT_TRUE(table.mapHosts.empty());
}

TEST_F(HostTableTest, ClearFreesTheRecordOfEveryEntry) {
  Add("one.lan", "10.0.0.1");
  Add("two.lan", "10.0.0.2");
  const void* const one = table.mapHosts.at("one.lan");
  const void* const two = table.mapHosts.at("two.lan");
  EXPECT_FALSE(language_runtime::WasFreed(one) || language_runtime::WasFreed(two));
  table.Clear();
  EXPECT_TRUE(language_runtime::WasFreed(one) && language_runtime::WasFreed(two));
}

TEST_F(HostTableTest, RecordOfARepeatedDomainIsNotFreed) {
  Add("intra.lan", "10.1.2.3");
  language_runtime::WatchAllocationsOf(sizeof(HostRespData));
  Add("intra.lan", "10.9.9.9");
  ASSERT_NE(language_runtime::LastWatchedAllocation(), nullptr);
  EXPECT_FALSE(language_runtime::WasFreed(language_runtime::LastWatchedAllocation()));
}

TEST_F(HostTableTest, EveryLetterIsFolded) {
  Add("abcdefghijklmnopqrstuvwxyz.lan", "10.1.2.3");
  EXPECT_EQ(Found("ABCDEFGHIJKLMNOPQRSTUVWXYZ.LAN"),
            "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST_F(HostTableTest, BlankBeforeAnAddressSpoilsIt) {
  Add("intra.lan", " 10.1.2.3");
  EXPECT_EQ(Found("intra.lan"), "C0 0C 00 01 00 01 00 01 51 80 00 04 FF FF FF FF"_wire);
}

TEST_F(HostTableTest, SparePairStaysEmpty) {
  Add("intra.lan", "10.1.2.3");
  Found("intra.lan");
  EXPECT_EQ(table.spare.first, "");
  EXPECT_EQ(table.spare.second, nullptr);
}
