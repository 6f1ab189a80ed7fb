#include "dns_proxy_mac/engine/engine.h"

#include <new>

#include "tests/unit/intake_fixture.h"
#include "tests/unit/language_runtime.h"

namespace {

// Queries at the edges of what the buffers hold.
class IntakeLimits : public IntakeTest {};

const Wire kHeader = "AB CD 01 00 00 01 00 00 00 00 00 00"_wire;
const Wire kMail = kHeader + "04 'mail' 00 00 01 00 01"_wire;

// `count` labels of 127 letters: 128 characters of name each, with the dot.
Wire LongLabels(int count, char letter) {
  Wire labels;
  for (int label = 0; label < count; ++label) {
    labels = labels + "7F"_wire + Repeated(127, letter);
  }
  return labels;
}

}  // namespace

TEST_F(IntakeLimits, DatagramOf8192BytesIsTakenWhole) {
  EXPECT_EQ(Accept(kMail + Repeated(8170, 'x')), 1);
  EXPECT_EQ(Request(0).iRecvLen, 8192);
  EXPECT_EQ(Request(0).iQueryPacketLen, 8192);
  EXPECT_EQ(
      server_a.Receive(),
      "00 00 01 00 00 01 00 00 00 00 00 00 04 'mail' 00 00 01 00 01"_wire + Repeated(8170, 'x'));
}

TEST_F(IntakeLimits, LongerDatagramIsCutTo8192Bytes) {
  EXPECT_EQ(Accept(kMail + Repeated(9000, 'x')), 1);
  EXPECT_EQ(Request(0).iRecvLen, 8192);
  EXPECT_EQ(Request(0).iQueryPacketLen, 8192);
  EXPECT_THAT(
      Trace(),
      ::testing::StartsWith(
          "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 8192 data from 127.0.0.1\n"));
}

TEST_F(IntakeLimits, NameMayFillAll1024Bytes) {
  const std::string part(127, 'n');
  const Wire name = LongLabels(7, 'n') + "7E"_wire + Repeated(126, 'm') + "01 'z' 00"_wire;
  EXPECT_EQ(Accept(kHeader + name + "00 01 00 01"_wire), 1);
  std::string domain;
  for (int label = 0; label < 7; ++label) domain += part + ".";
  domain += std::string(126, 'm') + ".z";
  ASSERT_EQ(domain.size(), 1024U);
  EXPECT_EQ(Request(0).strDomain, domain);
  EXPECT_THAT(
      Trace(),
      ::testing::HasSubstr(
          "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
          "func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: 1\n"
          "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............" +
          domain + "\n"));
}

TEST_F(IntakeLimits, NameOf1023BytesAndItsDotFit) {
  EXPECT_EQ(Accept(kHeader + LongLabels(8, 'n') + "00 00 01 00 01"_wire), 1);
  EXPECT_EQ(Request(0).strDomain.size(), 1023U);
  EXPECT_EQ(Request(0).usQType, 1);
  EXPECT_THAT(Trace(), ::testing::Not(::testing::HasSubstr("ExtractDomain")));
}

TEST_F(IntakeLimits, NameThatOverflowsIsUsedWithTheLabelsBeforeIt) {
  EXPECT_EQ(Accept(kHeader + LongLabels(9, 'n') + "00 00 01 00 01"_wire), 1);
  EXPECT_EQ(Request(0).strDomain.size(), 1023U);
  EXPECT_THAT(
      Trace(),
      ::testing::HasSubstr(
          "func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: 127\n"));
}

TEST_F(IntakeLimits, NameCutByACompressionPointerIsUsedAsItStands) {
  EXPECT_EQ(Accept(kHeader + "04 'mail' C0 20 00 01 00 01"_wire), 1);
  EXPECT_EQ(Request(0).strDomain, "mail");
  EXPECT_EQ(Request(0).usQType, 0x2000);
  EXPECT_EQ(Request(0).usQClass, 0x0100);
}

TEST_F(IntakeLimits, LabelCutByTheDatagramsEndIsCompletedWithZeroBytes) {
  EXPECT_EQ(Accept(kHeader + "7F 'mail'"_wire), 1);
  EXPECT_EQ(Request(0).strDomain, "mail");
  EXPECT_EQ(Request(0).iQueryPacketLen, 17);
}

TEST_F(IntakeLimits, DomainEndsAtTheFirstZeroByteOfALabel) {
  EXPECT_EQ(Accept(kHeader + "05 'ab' 00 'cd' 03 'lan' 00 00 01 00 01"_wire), 1);
  EXPECT_EQ(Request(0).strDomain, "ab");
  EXPECT_EQ(Request(0).usQType, 1);
}

TEST_F(IntakeLimits, TypeAndClassOfAQuestionTooShortForThemAreZero) {
  EXPECT_EQ(Accept(kHeader + "04 'mail' 00"_wire), 1);
  EXPECT_EQ(Request(0).usQType, 0);
  EXPECT_EQ(Request(0).usQClass, 0);
}

TEST_F(IntakeLimits, SecondQueryOfAProcessSeesNothingOfTheFirst) {
  Accept(kMail + Repeated(500, 'x'));
  Forget(0);  // its storage is free for the next
  Accept(kHeader + "7F 'post'"_wire);
  EXPECT_EQ(Request(1).strDomain, "post");
  EXPECT_EQ(WireAt(Request(1).QueryPacket + 17, 17), Repeated(17, 0));
}

TEST_F(IntakeLimits, RecordThatCannotBeAllocatedThrowsAndLeavesNothingBehind) {
  Ask(kMail);
  language_runtime::FailAllocationOf(sizeof(DnsRequest));
  EXPECT_THROW(RecvAndProcessPacketsFromLocalApps(g_SockToClientApps), std::bad_alloc);
  EXPECT_EQ(RequestsInFlight(), 0U);
  EXPECT_EQ(Accept(kMail), 1);
  EXPECT_TRUE(InFlight(0));
}

TEST_F(IntakeLimits, MethodListThatCannotBeCopiedThrowsGivesTheTableBackAndUsesNoId) {
  g_DnsMethodList = {AskServerA(), AskServerA(), AskServerA()};
  Ask(kMail);
  language_runtime::FailAllocationOf(3 * sizeof(DNSMethodInfo));
  EXPECT_THROW(RecvAndProcessPacketsFromLocalApps(g_SockToClientApps), std::bad_alloc);
  EXPECT_EQ(RequestsInFlight(), 0U);
  EXPECT_EQ(Accept(kMail), 1);
  EXPECT_TRUE(InFlight(0));
}

TEST_F(IntakeLimits, TypeThatIsCutInTheMiddleIsZero) {
  EXPECT_EQ(Accept(kHeader + "04 'mail' 00 1C"_wire), 1);
  EXPECT_EQ(Request(0).usQType, 0);
  EXPECT_EQ(Accept(kHeader + "04 'mail' 00 00 1C 1C"_wire), 1);
  EXPECT_EQ(Request(1).usQType, 28);
  EXPECT_EQ(Request(1).usQClass, 0);
}
