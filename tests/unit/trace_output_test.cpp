#include "dns_proxy_mac/trace/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "dns_proxy_mac/trace/print.h"
#include "tests/unit/child_process.h"
#include "tests/unit/proxy_fixture.h"
#include "tests/unit/temporary_file.h"

namespace {

using system_calls::Call;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::size_t kPart = 16384;
constexpr std::size_t kShared = 65536;

constexpr char kText[] = "%s\n";
constexpr char kSigned[] = "%d\n";
constexpr char kUnsigned[] = "%u\n";

// One line of `length` bytes.
void PrintLine(std::size_t length, char letter) {
  trace::Print<kText>(std::string(length - 1, letter).c_str());
}

std::string LineOf(std::size_t length, char letter) {
  return std::string(length - 1, letter) + "\n";
}

class TraceOutput : public SharedObjectsTest {
 protected:
  ~TraceOutput() override {
    trace_.Resume();
    trace::OpenOutput();
  }
};

}  // namespace

TEST_F(TraceOutput, NothingIsWrittenBeforeAFlush) {
  trace::Print<kText>("one");
  trace::HandOver();
  EXPECT_EQ(trace_.Written(), "");
  trace::Print<kText>("two");
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "one\ntwo\n");
}

TEST_F(TraceOutput, FlushOfNothingAsksTheSystemForNothing) {
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(), IsEmpty());
}

TEST_F(TraceOutput, FlushIsOneWriteOfEverything) {
  trace::Print<kText>("one");
  trace::HandOver();
  trace::Print<kText>("two");
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(), ElementsAre("write 1: 8 bytes"));
}

TEST_F(TraceOutput, PartIsHandedOverOnce) {
  trace::Print<kText>("one");
  trace::HandOver();
  trace::HandOver();
  EXPECT_EQ(Trace(), "one\n");
  EXPECT_EQ(Trace(), "");
}

TEST_F(TraceOutput, FourFullPartsAreOneWrite) {
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    PrintLine(kPart, letter);
    trace::HandOver();
  }
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(), ElementsAre("write 1: 65536 bytes"));
}

TEST_F(TraceOutput, PartThatTheSharedOutputHasNoRoomForIsWrittenBehindIt) {
  for (const char letter : {'a', 'b', 'c'}) {
    PrintLine(kPart, letter);
    trace::HandOver();
  }
  PrintLine(kPart - 1, 'd');
  trace::HandOver();
  PrintLine(2, 'e');
  EXPECT_EQ(trace_.Written(), "");
  trace::HandOver();  // one byte too many
  EXPECT_EQ(trace_.Written(),
            LineOf(kPart, 'a') + LineOf(kPart, 'b') + LineOf(kPart, 'c') + LineOf(kPart - 1, 'd'));
  EXPECT_EQ(Trace(), "e\n");
}

TEST_F(TraceOutput, LineThatDoesNotFitIntoThePartIsWhole) {
  for (std::size_t room = 0; room <= 12; ++room) {
    PrintLine(kPart - room, 'a');
    trace::Print<kSigned>(-2147483647);
    EXPECT_EQ(Trace(), LineOf(kPart - room, 'a') + "-2147483647\n") << room;
    PrintLine(kPart - room, 'a');
    trace::Print<kUnsigned>(65535U);
    EXPECT_EQ(Trace(), LineOf(kPart - room, 'a') + "65535\n") << room;
    PrintLine(kPart - room, 'a');
    trace::Print<kText>("twelve bytes");
    EXPECT_EQ(Trace(), LineOf(kPart - room, 'a') + "twelve bytes\n") << room;
  }
}

TEST_F(TraceOutput, TextLongerThanTheOutputIsWrittenWhole) {
  PrintLine(3 * kShared + 5, 'x');
  EXPECT_EQ(Trace(), LineOf(3 * kShared + 5, 'x'));
}

TEST_F(TraceOutput, PartialWriteIsContinued) {
  trace::Print<kText>("0123456789");
  system_calls::Substitute(Call::kWrite, {{4}, {3}});  // the first seven bytes are taken elsewhere
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(),
              ElementsAre("write 1: 11 bytes", "write 1: 7 bytes", "write 1: 4 bytes"));
  EXPECT_EQ(trace_.Written(), "789\n");
}

TEST_F(TraceOutput, InterruptedWriteIsRepeated) {
  trace::Print<kText>("line");
  system_calls::Substitute(Call::kWrite, {{-1, EINTR}});
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "line\n");
}

TEST_F(TraceOutput, FailedWriteCostsTheLinesOfTheOutputAndNothingElse) {
  trace::Print<kText>("lost");
  system_calls::Substitute(Call::kWrite, {{-1, EIO}});
  trace::Flush();
  trace::Print<kText>("kept");
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "kept\n");
}

TEST_F(TraceOutput, FullDiskCostsTheLinesOfTheOutputAndNothingElse) {
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_NE(full, -1);
  dup2(full, STDOUT_FILENO);
  close(full);
  trace::Print<kText>("lost");
  trace::Flush();
  trace_.Resume();
  trace::Print<kText>("kept");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, NonBlockingPipeIsWaitedForAndLosesNothing) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  for (const int end : ends) fcntl(end, F_SETFL, O_NONBLOCK);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  const std::string text(20 * kShared, 'p');
  std::thread printing([&] {
    trace::Print<kText>(text.c_str());
    trace::Flush();
    close(STDOUT_FILENO);
  });
  fcntl(ends[0], F_SETFL, 0);
  std::string read_text;
  char part[4096];
  ssize_t length = 0;
  while ((length = read(ends[0], part, sizeof(part))) > 0) {
    read_text.append(part, static_cast<std::size_t>(length));
  }
  printing.join();
  close(ends[0]);
  EXPECT_TRUE(read_text == text + "\n") << read_text.size();
}

TEST_F(TraceOutput, InterruptedWaitForANonBlockingOutputIsRepeated) {
  trace::Print<kText>("line");
  system_calls::Substitute(Call::kWrite, {{-1, EAGAIN}, {-1, EAGAIN}});
  system_calls::Substitute(Call::kPoll, {{-1, EINTR}, {1}});
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(),
              ElementsAre("write 1: 5 bytes", "poll 1: up to -1 ms", "write 1: 5 bytes",
                          "poll 1: up to -1 ms", "write 1: 5 bytes"));
  EXPECT_EQ(trace_.Written(), "line\n");
}

TEST_F(TraceOutput, WriteThatTakesNothingCostsTheLines) {
  trace::Print<kText>("lost");
  system_calls::Substitute(Call::kWrite, {{0}});
  trace::Flush();
  trace::Print<kText>("kept");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, WaitForANonBlockingOutputThatFailsCostsTheLines) {
  trace::Print<kText>("lost");
  system_calls::Substitute(Call::kWrite, {{-1, EAGAIN}});
  system_calls::Substitute(Call::kPoll, {{-1, ENOMEM}});
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "");
  trace::Print<kText>("kept");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, OutputClosedBeforeTheStartDropsEveryLine) {
  close(STDOUT_FILENO);
  trace::OpenOutput();
  const TemporaryFile not_ours("");
  const int taken = open(not_ours.Path(), O_RDWR);
  ASSERT_EQ(taken, STDOUT_FILENO);  // the number is given out again, to a file of somebody else
  const system_calls::Recording recording;
  PrintLine(2 * kShared, 'a');
  trace::Flush();
  EXPECT_THAT(recording.Calls(), IsEmpty());
  char byte;
  EXPECT_EQ(pread(taken, &byte, 1, 0), 0);
}

TEST_F(TraceOutput, OutputClosedLaterCostsTheLines) {
  close(STDOUT_FILENO);
  trace::Print<kText>("lost");
  trace::Flush();
  trace_.Resume();
  trace::Print<kText>("kept");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, LineTakesAValueForEachOfItsPlaceholdersAndNoOther) {
  EXPECT_TRUE((trace::Takes<const char*, int>(trace::kBindFailed)));
  EXPECT_TRUE((trace::Takes<char*, unsigned short>(trace::kBindFailed)));
  EXPECT_TRUE((trace::Takes<unsigned>(trace::kRequestToAdvanceNotFound)));
  EXPECT_TRUE((trace::Takes<unsigned short>(trace::kRequestToAdvanceNotFound)));
  EXPECT_TRUE((trace::Takes<>(trace::kSocketInvalid)));
  EXPECT_FALSE((trace::Takes<>(trace::kBindFailed)));
  EXPECT_FALSE((trace::Takes<const char*>(trace::kBindFailed)));
  EXPECT_FALSE((trace::Takes<const char*, int, int>(trace::kBindFailed)));
  EXPECT_FALSE((trace::Takes<int>(trace::kSocketInvalid)));
  EXPECT_FALSE((trace::Takes<int, int>(trace::kBindFailed)));
  EXPECT_FALSE((trace::Takes<const char*, const char*>(trace::kBindFailed)));
  EXPECT_FALSE((trace::Takes<const char*, unsigned>(trace::kBindFailed)));
  EXPECT_FALSE((trace::Takes<const char*, long>(trace::kBindFailed)));
  EXPECT_FALSE((trace::Takes<int>(trace::kRequestToAdvanceNotFound)));
}
