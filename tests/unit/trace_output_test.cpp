#include "dns_proxy_mac/trace/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "tests/unit/child_process.h"
#include "tests/unit/proxy_fixture.h"
#include "tests/unit/temporary_file.h"

namespace {

using system_calls::Call;
using ::testing::IsEmpty;

constexpr std::size_t kBuffer = 65536;

class TraceOutput : public SharedObjectsTest {
 protected:
  ~TraceOutput() override {
    trace_.Resume();
    trace::OpenOutput();
  }

  // One line of `length` bytes.
  static void Print(std::size_t length, char letter) {
    trace::Line("%s\n", std::string(length - 1, letter).c_str());
  }
};

}  // namespace

TEST_F(TraceOutput, NothingIsWrittenBeforeAFlush) {
  trace::Line("one: %d\n", 1);
  EXPECT_EQ(trace_.Written(), "");
  trace::Line("two: %s\n", "text");
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "one: 1\ntwo: text\n");
}

TEST_F(TraceOutput, FlushOfAnEmptyBufferAsksTheSystemForNothing) {
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(), IsEmpty());
}

TEST_F(TraceOutput, FlushIsOneWriteOfEverything) {
  trace::Line("one\n");
  trace::Line("two\n");
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(), ::testing::ElementsAre("write 1: 8 bytes"));
}

TEST_F(TraceOutput, FullBufferIsWrittenWhenMoreComes) {
  Print(kBuffer, 'a');
  EXPECT_EQ(trace_.Written(), "");
  trace::Line("b\n");
  EXPECT_EQ(trace_.Written(), std::string(kBuffer - 1, 'a') + "\n");
  EXPECT_EQ(Trace(), "b\n");
}

TEST_F(TraceOutput, LineThatDoesNotFitIsWrittenInParts) {
  Print(kBuffer - 2, 'a');
  trace::Line("bcd\n");
  EXPECT_EQ(trace_.Written(), std::string(kBuffer - 3, 'a') + "\nbc");
  EXPECT_EQ(Trace(), "d\n");
}

TEST_F(TraceOutput, NumberThatDoesNotFitIsWrittenInParts) {
  for (std::size_t room = 0; room <= 12; ++room) {
    Print(kBuffer - room, 'a');
    trace::Line("%d\n", -2147483647);
    EXPECT_EQ(Trace(), std::string(kBuffer - room - 1, 'a') + "\n-2147483647\n") << room;
    Print(kBuffer - room, 'a');
    trace::Line("%u\n", 65535U);
    EXPECT_EQ(Trace(), std::string(kBuffer - room - 1, 'a') + "\n65535\n") << room;
  }
}

TEST_F(TraceOutput, TextLongerThanTheBufferIsWrittenWhole) {
  const std::string text(3 * kBuffer + 5, 'x');
  trace::Line("text %s ends\n", text.c_str());
  EXPECT_EQ(Trace(), "text " + text + " ends\n");
}

TEST_F(TraceOutput, PartialWriteIsContinued) {
  trace::Line("0123456789\n");
  system_calls::Substitute(Call::kWrite, {{4}, {3}});  // the first seven bytes are taken elsewhere
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(),
              ::testing::ElementsAre("write 1: 11 bytes", "write 1: 7 bytes", "write 1: 4 bytes"));
  EXPECT_EQ(trace_.Written(), "789\n");
}

TEST_F(TraceOutput, InterruptedWriteIsRepeated) {
  trace::Line("line\n");
  system_calls::Substitute(Call::kWrite, {{-1, EINTR}});
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "line\n");
}

TEST_F(TraceOutput, FailedWriteCostsTheBufferedLinesAndNothingElse) {
  trace::Line("lost\n");
  system_calls::Substitute(Call::kWrite, {{-1, EIO}});
  trace::Flush();
  trace::Line("kept\n");
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "kept\n");
}

TEST_F(TraceOutput, FullDiskCostsTheBufferedLinesAndNothingElse) {
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_NE(full, -1);
  dup2(full, STDOUT_FILENO);
  close(full);
  trace::Line("lost\n");
  trace::Flush();
  trace_.Resume();
  trace::Line("kept\n");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, NonBlockingPipeIsWaitedForAndLosesNothing) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
  const std::string text(20 * kBuffer, 'p');
  std::thread printing([&] {
    trace::Line("%s", text.c_str());
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
  EXPECT_TRUE(read_text == text) << read_text.size();
}

TEST_F(TraceOutput, InterruptedWaitForANonBlockingOutputIsRepeated) {
  trace::Line("line\n");
  system_calls::Substitute(Call::kWrite, {{-1, EAGAIN}, {-1, EAGAIN}});
  system_calls::Substitute(Call::kPoll, {{-1, EINTR}, {1}});
  const system_calls::Recording recording;
  trace::Flush();
  EXPECT_THAT(recording.Calls(),
              ::testing::ElementsAre("write 1: 5 bytes", "poll 1: up to -1 ms", "write 1: 5 bytes",
                                     "poll 1: up to -1 ms", "write 1: 5 bytes"));
  EXPECT_EQ(trace_.Written(), "line\n");
}

TEST_F(TraceOutput, WriteThatTakesNothingCostsTheLines) {
  trace::Line("lost\n");
  system_calls::Substitute(Call::kWrite, {{0}});
  trace::Flush();
  trace::Line("kept\n");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, WaitForANonBlockingOutputThatFailsCostsTheLines) {
  trace::Line("lost\n");
  system_calls::Substitute(Call::kWrite, {{-1, EAGAIN}});
  system_calls::Substitute(Call::kPoll, {{-1, ENOMEM}});
  trace::Flush();
  EXPECT_EQ(trace_.Written(), "");
  trace::Line("kept\n");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, OutputClosedBeforeTheStartDropsEveryLine) {
  close(STDOUT_FILENO);
  trace::OpenOutput();
  const TemporaryFile not_ours("");
  const int taken = open(not_ours.Path(), O_RDWR);
  ASSERT_EQ(taken, STDOUT_FILENO);  // the number is given out again, to a file of somebody else
  const system_calls::Recording recording;
  Print(2 * kBuffer, 'a');
  trace::Flush();
  EXPECT_THAT(recording.Calls(), IsEmpty());
  char byte;
  EXPECT_EQ(pread(taken, &byte, 1, 0), 0);
}

TEST_F(TraceOutput, OutputClosedLaterCostsTheLines) {
  close(STDOUT_FILENO);
  trace::Line("lost\n");
  trace::Flush();
  trace_.Resume();
  trace::Line("kept\n");
  EXPECT_EQ(Trace(), "kept\n");
}

TEST_F(TraceOutput, LinesOfTwoThreadsAreNeverMixed) {
  constexpr int kLines = 2000;
  const auto print = [](char letter) {
    const std::string text(40, letter);
    for (int line = 0; line < kLines; ++line) trace::Line("%s%s\n", text.c_str(), text.c_str());
  };
  std::thread other(print, 'a');
  print('b');
  other.join();
  const std::string text = Trace();
  ASSERT_EQ(text.size(), 2U * kLines * 81);
  for (std::size_t at = 0; at < text.size(); at += 81) {
    ASSERT_EQ(text.substr(at, 81), std::string(80, text[at]) + "\n");
  }
}

TEST_F(TraceOutput, NobodyElsePrintsAfterTheHoldUntilExit) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ChildProcess child([&] {
    trace::Line("before\n");
    trace::FlushAndHoldUntilExit();
    std::thread([&] {
      (void)!write(ends[1], "s", 1);
      trace::Line("late\n");
      trace::Flush();
    }).detach();
    char byte = 0;
    (void)!read(ends[0], &byte, 1);  // the other thread is on its way to the buffer
    trace::Line("last\n");
    trace::Flush();
    return byte;
  });
  EXPECT_EQ(child.Wait(), 's');
  EXPECT_EQ(child.rest, "before\nlast\n");
  close(ends[0]);
  close(ends[1]);
}
