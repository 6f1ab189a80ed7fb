#include <sys/select.h>

#include <atomic>

#include "dns_proxy_mac/engine/engine.h"
#include "dns_proxy_mac/startup/service.h"
#include "dns_proxy_mac/trace/print.h"

namespace {

int SelectReadable(int sock, fd_set& readable, timeval* timeout) {
  FD_ZERO(&readable);
  FD_SET(sock, &readable);
  return select(sock + 1, &readable, nullptr, nullptr, timeout);
}

// How many workers are between two waits.
std::atomic<int> g_WorkersAtWork{0};

// Waits without limit until `sock` is readable; the result is that of `select`. The last worker
// that finds nothing to do writes the trace out before it waits; as long as another is at work,
// that one is sure to come by.
int WaitReadable(int sock, fd_set& readable) {
  trace::HandOver();
  if (sock >= FD_SETSIZE) return -1;  // the set has no place for it
  int ready = 0;
  if (--g_WorkersAtWork == 0) {
    timeval at_once{0, 0};
    ready = SelectReadable(sock, readable, &at_once);
    if (ready == 0) trace::Flush();
  }
  if (ready == 0) ready = SelectReadable(sock, readable, nullptr);
  ++g_WorkersAtWork;
  return ready;
}

void ServeResponses() {
  while (g_SockToDNSServers != -1) {
    fd_set readable;
    const int ready = WaitReadable(g_SockToDNSServers, readable);
    if (ready < 0) {
      trace::Print<trace::kAnswerSelectFailed>();
      return;
    }
    if (ready == 0) {
      trace::Print<trace::kAnswerSelectTimedOut>();
      continue;
    }
    trace::Print<trace::kResponseReadable>();
    if (FD_ISSET(g_SockToDNSServers, &readable) &&
        RecvAndProcessPacketsFromDNSServer(g_SockToDNSServers) == 0) {
      trace::Print<trace::kRelayEnded>();
      return;
    }
  }
  trace::Print<trace::kAnswerSocketInvalid>();
}

void ServeQueries() {
  while (g_SockToClientApps != -1) {
    fd_set readable;
    if (WaitReadable(g_SockToClientApps, readable) < 1) {
      trace::Print<trace::kQuerySelectFailed>();
      return;
    }
    trace::Print<trace::kQueryReadable>();
    if (FD_ISSET(g_SockToClientApps, &readable) &&
        RecvAndProcessPacketsFromLocalApps(g_SockToClientApps) == 0) {
      return;
    }
  }
  trace::Print<trace::kQuerySocketInvalid>();
}

void* Work(void (*serve)()) {
  ++g_WorkersAtWork;
  serve();
  --g_WorkersAtWork;
  trace::Flush();
  return nullptr;
}

}  // namespace

void* thread_answer(void* /*unused*/) { return Work(ServeResponses); }
void* thread_query(void* /*unused*/) { return Work(ServeQueries); }
