#include "dns_proxy_mac/engine/synthesized_responses.h"

#include <cstring>
#include <memory>

#include "tests/unit/proxy_fixture.h"

namespace {

constexpr std::uint16_t kTypeA = 1;
constexpr std::uint16_t kTypeMx = 15;
constexpr std::uint16_t kTypeIpv6 = 28;

const HostRespData kRecord = {
    {0xC0, 0x0C, 0, 1, 0, 1, 0, 1, 0x51, 0x80, 0, 4, 0x0A, 0x01, 0x02, 0x03}};

// The record of a query that the application sent as `query`; it holds the proxy's id, 07 00.
std::unique_ptr<DnsRequest> Stored(const Wire& query, std::uint16_t qtype = kTypeA) {
  RequestInFlight wanted;
  wanted.query = query;
  wanted.qtype = qtype;
  return std::unique_ptr<DnsRequest>(NewRequest(wanted, sockaddr_in{}));
}

Wire HostMapAnswer(const Wire& query, std::uint16_t qtype = kTypeA) {
  const auto request = Stored(query, qtype);
  BuildHostMapAnswer(*request, kRecord);
  return WireAt(request->QueryPacket, static_cast<std::size_t>(request->iQueryPacketLen));
}

Wire NoSuchName(const Wire& query) {
  const auto request = Stored(query);
  char response[kDatagramCapacity];
  BuildNoSuchNameResponse(*request, response);
  return WireAt(response, static_cast<std::size_t>(request->iQueryPacketLen));
}

// 29 bytes of question and an 11-byte EDNS option record.
const Wire kEdnsQuery =
    "12 34 01 20 00 01 00 00 00 00 00 01 04 'mail' 06 'office' 00 00 01 00 01 "
    "00 00 29 10 00 00 00 80 00 00 00"_wire;

}  // namespace

TEST(HostMapAnswerTest, AQuestionGetsOneAnswerBehindItsQuery) {
  EXPECT_EQ(
      HostMapAnswer("12 34 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire),
      "12 34 81 00 00 01 00 01 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01 "
      "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST(HostMapAnswerTest, AaaaQuestionAnnouncesTwoAnswersAndCarriesTheOne) {
  EXPECT_EQ(
      HostMapAnswer("12 34 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 1C 00 01"_wire,
                    kTypeIpv6),
      "12 34 81 00 00 01 00 02 00 00 00 00 04 'mail' 05 'local' 00 00 1C 00 01 "
      "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST(HostMapAnswerTest, MxQuestionGetsOneAddress) {
  EXPECT_EQ(
      HostMapAnswer("12 34 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 0F 00 01"_wire,
                    kTypeMx),
      "12 34 81 00 00 01 00 01 00 00 00 00 04 'mail' 05 'local' 00 00 0F 00 01 "
      "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST(HostMapAnswerTest, TypesAroundAaaaGetOneAnswer) {
  const Wire query = "12 34 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 00 00 01"_wire;
  for (const int qtype : {0, 27, 29, 255, 7168}) {
    EXPECT_EQ(WireAt(HostMapAnswer(query, static_cast<std::uint16_t>(qtype)).bytes.data() + 6, 2),
              "00 01"_wire)
        << qtype;
  }
}

TEST(HostMapAnswerTest, OnlyQrAndRcodeOfTheFlagsChange) {
  EXPECT_EQ(
      HostMapAnswer("12 34 7F FF 00 01 00 00 00 00 00 00"_wire),
      "12 34 FF F0 00 01 00 01 00 00 00 00 C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
  EXPECT_EQ(
      HostMapAnswer("12 34 00 00 00 01 00 00 00 00 00 00"_wire),
      "12 34 80 00 00 01 00 01 00 00 00 00 C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST(HostMapAnswerTest, OtherCountsStayAsAskedAndTheAnswerCountDoesNot) {
  EXPECT_EQ(
      HostMapAnswer("12 34 01 00 00 01 99 99 AA BB CC DD"_wire),
      "12 34 81 00 00 01 00 01 AA BB CC DD C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST(HostMapAnswerTest, RecordStandsBehindAnOptionRecordThatIsStillCounted) {
  EXPECT_EQ(HostMapAnswer(kEdnsQuery),
            "12 34 81 20 00 01 00 01 00 00 00 01 04 'mail' 06 'office' 00 00 01 00 01 "
            "00 00 29 10 00 00 00 80 00 00 00 "
            "C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03"_wire);
}

TEST(HostMapAnswerTest, ZeroByteStandsBehindTheMessage) {
  const auto request = Stored("12 34 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  std::memset(request->QueryPacket + 19, '#', 20);
  BuildHostMapAnswer(*request, kRecord);
  EXPECT_EQ(request->iQueryPacketLen, 35);
  EXPECT_EQ(WireAt(request->QueryPacket + 35, 4), "00 '###'"_wire);
}

TEST(HostMapAnswerTest, QueriesOfUpTo8175BytesLeaveRoom) {
  EXPECT_TRUE(HostMapAnswerFits(*Stored(Repeated(12, 0))));
  EXPECT_TRUE(HostMapAnswerFits(*Stored(Repeated(8175, 0))));
  EXPECT_FALSE(HostMapAnswerFits(*Stored(Repeated(8176, 0))));
  EXPECT_FALSE(HostMapAnswerFits(*Stored(Repeated(8192, 0))));
}

TEST(HostMapAnswerTest, LongestAnswerEndsOneByteBeforeItsBuffer) {
  const auto request = Stored(Repeated(8175, 'q'));
  request->strDomain = "behind the buffer";
  BuildHostMapAnswer(*request, kRecord);
  EXPECT_EQ(request->iQueryPacketLen, 8191);
  EXPECT_EQ(WireAt(request->QueryPacket + 8174, 18),
            "'q' C0 0C 00 01 00 01 00 01 51 80 00 04 0A 01 02 03 00"_wire);
  EXPECT_EQ(request->strDomain, "behind the buffer");
}

TEST(NoSuchNameResponseTest, QuestionIsCopiedUnderAHeaderOfItsOwn) {
  EXPECT_EQ(
      NoSuchName("12 34 01 00 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire),
      "12 34 80 03 00 01 00 00 00 00 00 00 04 'mail' 05 'local' 00 00 01 00 01"_wire);
}

TEST(NoSuchNameResponseTest, NoFlagOfTheQueryIsEchoed) {
  EXPECT_EQ(NoSuchName("12 34 7F FF 00 01 99 99 AA BB CC DD"_wire),
            "12 34 80 03 00 01 00 00 00 00 00 00"_wire);
}

TEST(NoSuchNameResponseTest, OptionRecordIsCopiedAndNotCounted) {
  EXPECT_EQ(NoSuchName(kEdnsQuery),
            "12 34 80 03 00 01 00 00 00 00 00 00 04 'mail' 06 'office' 00 00 01 00 01 "
            "00 00 29 10 00 00 00 80 00 00 00"_wire);
}

TEST(NoSuchNameResponseTest, StoredQueryIsNotChangedAndTheRestOfTheBufferIsZero) {
  const auto request = Stored("12 34 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  char response[kDatagramCapacity];
  std::memset(response, '#', sizeof(response));
  BuildNoSuchNameResponse(*request, response);
  EXPECT_EQ(WireAt(request->QueryPacket, 19),
            "07 00 01 00 00 01 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  EXPECT_EQ(request->iQueryPacketLen, 19);
  EXPECT_EQ(WireAt(response + 19, 8173), Repeated(8173, 0));
}

TEST(NoSuchNameResponseTest, LongestQueryIsCopiedWhole) {
  const Wire tail = Repeated(8180, 't');
  EXPECT_EQ(NoSuchName("12 34 01 00 00 01 00 00 00 00 00 00"_wire + tail),
            "12 34 80 03 00 01 00 00 00 00 00 00"_wire + tail);
}
