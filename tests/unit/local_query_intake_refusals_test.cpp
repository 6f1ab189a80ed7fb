#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "dns_proxy_mac/engine/engine.h"
#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;

// What is refused, and that nothing comes of it: no request, no id, no reply.
class IntakeRefusals : public ProxyTest {
 protected:
  ~IntakeRefusals() override {
    EXPECT_EQ(g_QueryID, 0);
    EXPECT_EQ(RequestsInFlight(), 0U);
    EXPECT_TRUE(application.HasNothing());
  }

  int Intake() { return RecvAndProcessPacketsFromLocalApps(g_SockToClientApps); }
};

}  // namespace

TEST_F(IntakeRefusals, SocketOfMinusOne) {
  EXPECT_EQ(RecvAndProcessPacketsFromLocalApps(-1), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:393)RecvAndProcessPacketsFromLocalApps: socket fd is invalid\n");
}

TEST_F(IntakeRefusals, ReceiveCallThatFails) {
  system_calls::Substitute(Call::kRecvfrom, {{-1, ECONNREFUSED}});
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv nothing...\n");
}

TEST_F(IntakeRefusals, DescriptorThatIsNoSocket) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(RecvAndProcessPacketsFromLocalApps(ends[0]), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv nothing...\n");
  close(ends[0]);
  close(ends[1]);
}

TEST_F(IntakeRefusals, EmptyDatagram) {
  Ask(""_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 0 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1\n");
}

TEST_F(IntakeRefusals, ElevenBytesAreTooShort) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 11 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from 127.0.0.1\n");
}

TEST_F(IntakeRefusals, TwoQuestions) {
  Ask("AB CD 01 00 00 02 00 00 00 00 00 00 01 'a' 00 00 01 00 01 01 'b' 00 00 01 00 01"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 26 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :2\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 2, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, NoQuestion) {
  Ask("AB CD 01 00 00 00 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :0\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 0, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, QuestionCountIsReadUnsignedAndInNetworkOrder) {
  Ask("AB CD 01 00 FF FE 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :65534\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 65534, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, OneInTheOtherByteOrderIs256Questions) {
  Ask("AB CD 01 00 01 00 00 00 00 00 00 00 01 'a' 00 00 01 00 01"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 19 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :256\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: 256, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, HeaderWithNothingBehindItHasAnEmptyDomain) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 12 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, RootNameIsAnEmptyDomain) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 00 00 02 00 01"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 17 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, CompressionPointerFirstIsAnEmptyDomain) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 C0 0C 00 01 00 01"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 18 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: ExtractDomain(line:482)ExtractDomain invalid value:-64\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, FirstLabelThatBeginsWithAZeroByteIsAnEmptyDomain) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 03 00 'ab' 00 00 01 00 01"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 21 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, FirstLabelCompletedFromBehindTheDatagramIsAnEmptyDomain) {
  Ask("AB CD 01 00 00 01 00 00 00 00 00 00 05"_wire);
  EXPECT_EQ(Intake(), 0);
  EXPECT_EQ(
      Trace(),
      "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 13 data from 127.0.0.1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
      "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: 127.0.0.1\n");
}

TEST_F(IntakeRefusals, SenderOfAnotherFamilyHasNoAddressText) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
  ASSERT_EQ(send(ends[1], "short", 5, 0), 5);
  EXPECT_EQ(RecvAndProcessPacketsFromLocalApps(ends[0]), 0);
  EXPECT_EQ(Trace(),
            "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 5 data from \n"
            "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from \n");
  close(ends[0]);
  close(ends[1]);
}
