// What a query's lines cost the reader of the trace: 11 lines, forwarded and answered.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/trace/tally.h"

namespace {

constexpr int kQueries = 65536;

constexpr char kStart[] =
    "read dns: 10.0.0.8\n"
    "dnsproxy: dns_size:1, hostmap_size:0\n"
    "func: StartDnsSrv(line:118) bind 127.0.0.1:53 success\n"
    "func: StartDnsSrv(line:136) Add KQ DNS to list: 10.0.0.8\n"
    "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n"
    "func: StartDnsSrv(line:161) pthread_create thread_query success\n";

std::string LinesOf(int number) {
  const std::string name = "h" + std::to_string(number % 1000) + ".example.net";
  const std::string id = std::to_string(number);
  return "func: thread_query(line:282) ****QureyThread***: received dns request\n"
         "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received 40 data from "
         "127.0.0.1\n"
         "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :1\n"
         "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............" +
         name +
         "\nfunc: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is " +
         name + ", id:" + id +
         "\nfunc: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: " + id +
         ", bReasonIsTimeout:0\n"
         "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: 0, DnsListSize:1\n"
         "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:0(0: dns, 1:hostmap)\n"
         "func: thread_answer(line:239) AnswerThread: received dns response.\n"
         "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv 56 data from "
         "10.0.0.8\n"
         "func: RecvAndProcessPacketsFromDNSServer(line:367) domain " +
         name + " received answer 10.0.0.1 from 10.0.0.8, we have to delete id:" + id + "\n";
}

void ReadQuery(benchmark::State& state) {
  std::vector<std::string> queries;
  for (int number = 0; number < kQueries; ++number) queries.push_back(LinesOf(number));
  ctl::TraceReader reader;
  const ctl::Tally tally(reader);
  reader.Feed(kStart, 1);
  std::uint64_t number = 0;
  for (auto _ : state) reader.Feed(queries[number++ % kQueries], 1);
  if (tally.answered() != number) state.SkipWithError("a query is missing");
}

BENCHMARK(ReadQuery);

}  // namespace
