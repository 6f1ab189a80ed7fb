#include <poll.h>
#if !defined(__APPLE__)
#include <sys/syscall.h>
#endif
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <ios>
#include <string>
#include <thread>

#include "dns_proxy_mac/trace/print.h"
#include "tests/unit/child_process.h"
#include "tests/unit/program.h"
#include "tests/unit/proxy_fixture.h"

namespace {

using system_calls::Call;
using system_calls::kSystem;

// Statuses of a child that saw what it must not see.
constexpr int kTraceTakenFirst = 92;
constexpr int kSaidTooEarly = 93;
constexpr int kNoPipe = 94;
constexpr int kPrinted = 95;
constexpr int kTableFree = 96;
constexpr int kWrote = 97;
constexpr int kStateLeftOver = 98;
constexpr int kAskedForASocket = 99;

constexpr char kFromAQueryThread[] = "from a query thread\n";
constexpr char kFromAWorker[] = "from a worker\n";

// How long somebody has who must not get anywhere.
constexpr int kMomentMs = 100;
// What a worker gives main: on macOS, where nothing tells that main waits, this is always over.
#if defined(__APPLE__)
constexpr auto kPatience = std::chrono::seconds(5);
#else
constexpr auto kPatience = std::chrono::seconds(60);
#endif

#if defined(__APPLE__)
// Nothing tells there in what a thread sleeps: the worker gives main all its time.
bool MainWaitsForTheTable() { return false; }
#else
// Whether the main thread sleeps in a system call on the request table's mutex.
bool MainWaitsForTheTable() {
  const std::string main_thread = std::to_string(getpid());
  std::ifstream file("/proc/self/task/" + main_thread + "/syscall");
  std::string call;
  std::uintptr_t word = 0;
  return file >> call >> std::hex >> word && call == std::to_string(SYS_futex) &&
         word == reinterpret_cast<std::uintptr_t>(&g_DnsRequestTable.mutex);
}
#endif

// For a worker that holds the table. A main that never waits for it is given up.
void UntilMainWaitsForTheTable() {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!MainWaitsForTheTable() && std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
  }
}

// The entry, in a child process, without threads unless a test lets them run.
class Main : public SharedObjectsTest {
 protected:
  // Runs the program to its end; `status` and `output` are what it left.
  void Run(const char* servers, const char* host_map) {
    ChildProcess child([=] { return RunProgramWith(servers, host_map); });
    status = child.Wait();
    output = child.rest;
  }

  int status = -1;
  std::string output;
};

}  // namespace

TEST_F(Main, NothingConfiguredEndsWithStatusZeroAndOpensNoSocket) {
  ChildProcess child([] {
    const system_calls::Recording recording;
    const int result = RunProgramWith(nullptr, nullptr);
    for (const std::string& call : recording.Calls()) {
      if (call.find("socket") == 0) return kAskedForASocket;
    }
    return result;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(child.rest,
            "dnsproxy: dns_size:0, hostmap_size:0\n"
            "func: main(line:79) StartDnsSrv failed\n");
}

TEST_F(Main, FilesWithoutEntriesAreNothingConfigured) {
  Run("", ":1.2.3.4\n:\n");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output,
            "read hostmap: :1.2.3.4\n"
            "read hostmap: :\n"
            "dnsproxy: dns_size:0, hostmap_size:0\n"
            "func: main(line:79) StartDnsSrv failed\n");
}

TEST_F(Main, HostMapAloneStartsTheServiceWithoutServers) {
  system_calls::SubstituteThreads();
  Run(nullptr, "mail.local:10.1.2.3\n");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output,
            "read hostmap: mail.local:10.1.2.3\n"
            "dnsproxy: dns_size:0, hostmap_size:1\n"
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:124) Add host map: mail.local -> 10.1.2.3\n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n"
            "func: main(line:90) StartDnsSrv success\n");
}

TEST_F(Main, ServersAloneStartTheServiceWithoutAHostMap) {
  system_calls::SubstituteThreads();
  Run("192.0.2.1\n\n", nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output,
            "read dns: 192.0.2.1\n"
            "read dns: \n"
            "dnsproxy: dns_size:2, hostmap_size:0\n"
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 192.0.2.1\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: \n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n"
            "func: main(line:90) StartDnsSrv success\n");
}

TEST_F(Main, OddHostMapLinesAreLoadedAsTheyAreRead) {
  system_calls::SubstituteThreads();
  Run(nullptr, "a.example:1.2.3.4:53\nlocalhost\n\n:1.2.3.4\nb.example:1.2.3.5\r\n");
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output,
            "read hostmap: a.example:1.2.3.4:53\n"
            "read hostmap: localhost\n"
            "read hostmap: \n"
            "read hostmap: :1.2.3.4\n"
            "read hostmap: b.example:1.2.3.5\r\n"
            "dnsproxy: dns_size:0, hostmap_size:4\n"
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:124) Add host map: a.example -> 1.2.3.4:53\n"
            "func: StartDnsSrv(line:124) Add host map: localhost -> localhost\n"
            "func: StartDnsSrv(line:124) Add host map:  -> \n"
            "func: StartDnsSrv(line:124) Add host map: b.example -> 1.2.3.5\r\n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:161) pthread_create thread_query success\n"
            "func: main(line:90) StartDnsSrv success\n");
}

TEST_F(Main, PortThatIsTakenEndsWithStatusOne) {
  const UdpPeer holder("127.0.0.1", 53);
  Run("192.0.2.1\n", nullptr);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(output,
            "read dns: 192.0.2.1\n"
            "dnsproxy: dns_size:1, hostmap_size:0\n"
            "func: StartDnsSrv(line:115) bind 127.0.0.1:53 failed\n"
            "func: main(line:86) StartDnsSrv failed\n");
}

TEST_F(Main, SocketThatCannotBeCreatedEndsWithStatusOne) {
  system_calls::Substitute(Call::kSocket, {{-1, EMFILE}});
  Run("192.0.2.1\n", nullptr);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(output,
            "read dns: 192.0.2.1\n"
            "dnsproxy: dns_size:1, hostmap_size:0\n"
            "func: StartDnsSrv(line:103) socket invalid\n"
            "func: main(line:86) StartDnsSrv failed\n");
}

TEST_F(Main, AnswerThreadThatCannotBeCreatedEndsWithStatusOne) {
  system_calls::Substitute(Call::kPthreadCreate, {{EAGAIN}});
  Run("192.0.2.1\n", nullptr);
  EXPECT_EQ(status, 1);
  EXPECT_THAT(output, ::testing::EndsWith(
                          "func: StartDnsSrv(line:151) pthread_create g_thread_answer failed\n"
                          "func: main(line:86) StartDnsSrv failed\n"));
}

TEST_F(Main, QueryThreadThatCannotBeCreatedEndsWithStatusOneAndEveryLineOnce) {
  system_calls::Substitute(Call::kPthreadCreate, {kSystem, {EAGAIN}});
  Run("192.0.2.1\n", nullptr);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(output,
            "read dns: 192.0.2.1\n"
            "dnsproxy: dns_size:1, hostmap_size:0\n"
            "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
            "func: StartDnsSrv(line:136) Add KQ DNS to list: 192.0.2.1\n"
            "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
            "func: StartDnsSrv(line:158) pthread_create thread_query failed\n"
            "func: main(line:86) StartDnsSrv failed\n");
}

TEST_F(Main, StartsWithIdZeroAndAnEmptyHostMap) {
  g_QueryID = 77;
  AddHost("left.over", "10.9.9.9");
  system_calls::SubstituteThreads();
  ChildProcess child([] {
    const int result = RunProgramWith("192.0.2.1\n", nullptr);
    return g_QueryID == 0 && g_Hostmaps.mapHosts.empty() ? result : kStateLeftOver;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(Main, EndHoldsTheRequestTableAgainstAQueryThreadStillAtWork) {
  system_calls::SubstituteThreads();
  ChildProcess child([] {
    const int result = RunProgramWith("192.0.2.1\n", nullptr);
    return pthread_mutex_trylock(&g_DnsRequestTable.mutex) == EBUSY ? result : kTableFree;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(Main, EndKeepsTheTraceFromAQueryThreadStillAtWork) {
  system_calls::SubstituteThreads();
  ChildProcess child([] {
    const int result = RunProgramWith("192.0.2.1\n", nullptr);
    int ends[2];
    if (pipe(ends) != 0) return kNoPipe;
    std::thread([end = ends[1]] {
      trace::Print<kFromAQueryThread>();
      trace::HandOver();
      (void)!write(end, "e", 1);
    }).detach();
    pollfd got_past{ends[0], POLLIN, 0};
    return poll(&got_past, 1, kMomentMs) == 0 ? result : kPrinted;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(Main, WorkerThatHoldsTheRequestTableCanStillPrint) {
  ChildProcess child([] {
    const system_calls::Recording recording;
    int ends[2];
    if (pipe(ends) != 0) return kNoPipe;
    std::thread worker([&] {
      const Guard guard(g_DnsRequestTable);
      (void)!write(ends[1], "h", 1);
      UntilMainWaitsForTheTable();
      for (const std::string& call : recording.Calls()) {
        if (call.find("write 1:") == 0) _exit(kTraceTakenFirst);
      }
      trace::Print<kFromAWorker>();
      trace::HandOver();
    });
    char held = 0;
    (void)!read(ends[0], &held, 1);
    const int result = RunProgramWith(nullptr, nullptr);
    worker.join();
    return result;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(child.rest,
            "dnsproxy: dns_size:0, hostmap_size:0\n"
            "from a worker\n"
            "func: main(line:79) StartDnsSrv failed\n");
}

TEST_F(Main, OutcomeIsWrittenWithAllElseAndNobodyElseCanPrintBehindIt) {
  ChildProcess child([] {
    const system_calls::Recording recording;
    const int result = RunProgramWith(nullptr, nullptr);
    std::vector<std::string> writes;
    for (const std::string& call : recording.Calls()) {
      if (call.find("write 1:") == 0) writes.push_back(call);
    }
    const std::vector<std::string> one = {"write 1: 76 bytes"};
    return writes == one ? result : kSaidTooEarly;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(child.rest,
            "dnsproxy: dns_size:0, hostmap_size:0\n"
            "func: main(line:79) StartDnsSrv failed\n");
}

TEST_F(Main, StandardOutputClosedBeforeTheStartIsNeverWrittenTo) {
  system_calls::SubstituteThreads();
  ChildProcess child([] {
    close(STDOUT_FILENO);
    const system_calls::Recording recording;
    const int result = RunProgramWith("192.0.2.1\n", nullptr);
    for (const std::string& call : recording.Calls()) {
      if (call.find("write 1:") == 0) return kWrote;
    }
    return result;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(child.rest, "");
}
