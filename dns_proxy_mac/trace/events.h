#pragma once

#include "dns_proxy_mac/trace/output.h"

/// Everything that the proxy can say: one function per event, named for what happened.
///
/// A line number belongs to its message and stays with it wherever the code moves. The texts are an
/// interface, blanks and misspellings included: people and tools read the trace by them. Text
/// arguments end at their first NUL. Any thread may call any of them.
namespace trace {

// main: the two files, then how the service went.

inline void ReadDnsLine(const char* line) { Line("read dns: %s\n", line); }
inline void ReadHostmapLine(const char* line) { Line("read hostmap: %s\n", line); }
inline void ConfigurationCounts(int dns_size, int hostmap_size) {
  Line("dnsproxy: dns_size:%d, hostmap_size:%d\n", dns_size, hostmap_size);
}
inline void NothingConfigured() { Line("func: %s(line:%d) StartDnsSrv failed\n", "main", 79); }
inline void ServiceStartFailed() { Line("func: %s(line:%d) StartDnsSrv failed\n", "main", 86); }
inline void ServiceEnded() { Line("func: %s(line:%d) StartDnsSrv success\n", "main", 90); }

// StartDnsSrv: sockets, method list, threads.

inline void SocketInvalid() { Line("func: %s(line:%d) socket invalid\n", "StartDnsSrv", 103); }
inline void BindFailed(const char* address, int port) {
  Line("func: %s(line:%d) bind %s:%d failed\n", "StartDnsSrv", 115, address, port);
}
inline void BindSucceeded(const char* address, int port) {
  Line("func: %s(line:%d) bind %s:%d success\n", "StartDnsSrv", 118, address, port);
}
inline void HostMapPairAdded(const char* domain, const char* address) {
  Line("func: %s(line:%d) Add host map: %s -> %s\n", "StartDnsSrv", 124, domain, address);
}
inline void ServerAdded(const char* address) {
  Line("func: %s(line:%d) Add KQ DNS to list: %s\n", "StartDnsSrv", 136, address);
}
inline void AnswerThreadNotCreated() {
  Line("func: %s(line:%d) pthread_create g_thread_answer failed\n", "StartDnsSrv", 151);
}
inline void AnswerThreadCreated() {
  Line("func: %s(line:%d) pthread_create g_thread_answer success\n", "StartDnsSrv", 154);
}
inline void QueryThreadNotCreated() {
  Line("func: %s(line:%d) pthread_create thread_query failed\n", "StartDnsSrv", 158);
}
inline void QueryThreadCreated() {
  Line("func: %s(line:%d) pthread_create thread_query success\n", "StartDnsSrv", 161);
}

// thread_answer: the wait for upstream responses.

inline void AnswerSocketInvalid() {
  Line("func: %s(line:%d) Socket SockToDNSServers is invalid, AnswerThread exit\n", "thread_answer",
       222);
}
inline void AnswerSelectFailed() {
  Line("func: %s(line:%d) AnswerThread: select failed. exit.\n", "thread_answer", 230);
}
inline void AnswerSelectTimedOut() {
  Line("func: %s(line:%d) AnswerThread: select timeout.\n", "thread_answer", 235);
}
inline void ResponseReadable() {
  Line("func: %s(line:%d) AnswerThread: received dns response.\n", "thread_answer", 239);
}
inline void RelayEnded() {
  Line("func: %s(line:%d) RecvAndProcessPacketsFromDNSServer failed, exit.\n", "thread_answer",
       245);
}

// thread_query: the wait for applications' queries.

inline void QuerySocketInvalid() {
  Line("func: %s(line:%d) Socket SockToClientApps is invalid, QueryThread exit\n", "thread_query",
       264);
}
inline void QuerySelectFailed() {
  Line("func: %s(line:%d) QureyThread: select failed. exit\n", "thread_query", 273);
}
inline void QueryReadable() {
  Line("func: %s(line:%d) ****QureyThread***: received dns request\n", "thread_query", 282);
}

// RecvAndProcessPacketsFromLocalApps: one query taken on or refused.

inline constexpr char kIntake[] = "RecvAndProcessPacketsFromLocalApps";

inline void QuerySocketUnusable() {
  Line("func: %s(line:%d)RecvAndProcessPacketsFromLocalApps: socket fd is invalid\n", kIntake, 393);
}
inline void NoQueryReceived() {
  Line("func: %s(line:%d)RecvAndProcessPacketsFromLocalApps: recv nothing...\n", kIntake, 398);
}
inline void QueryReceived(int length, const char* from) {
  Line("func: %s(line:%d)FromAPP: received %d data from %s\n", kIntake, 412, length, from);
}
inline void QueryTooShort(const char* from) {
  Line("func: %s(line:%d)FromAPP: query too short from %s\n", kIntake, 415, from);
}
inline void QuestionCountRead(int count) {
  Line("func: %s(line:%d) pDNSHeader QuestionCount :%d\n", kIntake, 420, count);
}
inline void QuestionCountRefused(int count, const char* from) {
  Line("func: %s(line:%d)FromAPP: QuestionCount invalid: %d, from: %s\n", kIntake, 423, count,
       from);
}
inline void DomainEmpty(const char* from) {
  Line("func: %s(line:%d)FromAPP: domain is empty, from: %s\n", kIntake, 429, from);
}
inline void DomainDecoded(const char* domain) {
  Line("func: %s(line:%d) received dns request............%s\n", kIntake, 432, domain);
}
inline void RequestFiled(const char* domain, int id) {
  Line("func: %s(line:%d)FromAPP: the request domain is %s, id:%d\n", kIntake, 464, domain, id);
}

// ExtractDomain: why decoding of a question name stopped early.

inline void LabelLengthNegative(int value) {
  Line("func: %s(line:%d)ExtractDomain invalid value:%d\n", "ExtractDomain", 482, value);
}
inline void LabelOverflowsName(int chunk_len) {
  Line("func: %s(line:%d)ExtractDomain: buffer overflow when parsing qname, chunk_len: %d\n",
       "ExtractDomain", 488, chunk_len);
}
inline void DotOverflowsName(int chunk_len) {
  Line("func: %s(line:%d)ExtractDomain: buffer overflow when add suffix dot, chunk_len: %d\n",
       "ExtractDomain", 504, chunk_len);
}

// TryNextDNSQueryMethod: what happens next to a query in flight. Two of its lines have no prefix.

inline constexpr char kFallback[] = "TryNextDNSQueryMethod";

inline void NextMethodTried(int id, bool bReasonIsTimeout) {
  Line("func: %s(line:%d)TryNextDNSQueryMethod: id: %d, bReasonIsTimeout:%d\n", kFallback, 614, id,
       bReasonIsTimeout ? 1 : 0);
}
inline void RequestToAdvanceNotFound(unsigned id) {
  Line("func: %s(line:%d)TryNextDNSQueryMethod: %s: id: %u, request not found\n", kFallback, 618,
       kFallback, id);
}
inline void MethodPosition(int index, int list_size) {
  Line("func: %s(line:%d) CurrentDNSMethodIndex: %d, DnsListSize:%d\n", kFallback, 624, index,
       list_size);
}
inline void MethodType(int type) {
  Line("**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:%d(0: dns, 1:hostmap)\n",
       type);
}
inline void ForwardFailed(unsigned id, unsigned error) {
  Line("TryNextDNSQueryMethod: id: %u,sendto failed: %u\n", id, error);
}
inline void FoundInHostMap(const char* domain, const unsigned char* address, int id) {
  Line("func: %s(line:%d) find %s from hostmap, ip:%d.%d.%d.%d, req id:%d\n", kFallback, 669,
       domain, address[0], address[1], address[2], address[3], id);
}
inline void HostMapAnswerNotSent() {
  Line("func: %s(line:%d)DNS service: sendto for host map failed\n", kFallback, 673);
}
inline void MethodsExhausted() {
  Line("func: %s(line:%d) no more DNS methods, send no such name response\n", kFallback, 685);
}
inline void NoSuchNameNotSent(unsigned id) {
  Line("func: %s(line:%d)TryNextDNSQueryMethod: id: %u, sendto failed\n", kFallback, 703, id);
}

// RecvAndProcessPacketsFromDNSServer: one upstream response relayed, passed over or dropped.

inline constexpr char kRelay[] = "RecvAndProcessPacketsFromDNSServer";

inline void ResponseSocketUnusable() {
  Line("func: %s(line:%d) RecvAndProcessPacketsFromDNSServer: socket fd is invalid\n", kRelay, 308);
}
inline void NoResponseReceived() {
  Line("func: %s(line:%d) RecvAndProcessPacketsFromDNSServer: recv nothing...\n", kRelay, 314);
}
inline void ResponseReceived(int length, const char* from) {
  Line("func: %s(line:%d) FromDNSServer: recv %d data from %s\n", kRelay, 325, length, from);
}
inline void ResponseTooShort(int length, const char* from) {
  Line("func: %s(line:%d) FromDNSServer: do_answer: answer too short: %d, from: %s\n", kRelay, 327,
       length, from);
}
inline void ResponseWithoutRequest(const char* from, unsigned id) {
  Line("func: %s(line:%d) rsp from: %s, id: %u, request not found\n", kRelay, 338, from, id);
}
inline void ResponseFromWrongSource(unsigned id, int dns_index, const char* from,
                                    const char* expected) {
  Line(
      "func: %s(line:%d) id: %u, dns_index:%d current dns rsp from: %s, should from: %s, it seems "
      "error\n",
      kRelay, 352, id, dns_index, from, expected);
}
inline void RelayNotSent(unsigned id, unsigned error) {
  Line("func: %s(line:%d) id: %u: sendto failed: %u\n", kRelay, 364, id, error);
}
inline void ResponseRelayed(const char* domain, const signed char* last_four, const char* from,
                            int id) {
  Line("func: %s(line:%d) domain %s received answer %d.%d.%d.%d from %s, we have to delete id:%d\n",
       kRelay, 367, domain, last_four[0], last_four[1], last_four[2], last_four[3], from, id);
}
inline void ResponseWithoutAnswer(const char* from, unsigned id, const char* domain) {
  Line("func: %s(line:%d) rsp from: %s, id: %u, for : %s, no such name\n", kRelay, 372, from, id,
       domain);
}

}  // namespace trace
