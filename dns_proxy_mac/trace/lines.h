#pragma once

/// Every line that the proxy can print, whole: a printed line is found by searching for its text
/// here.
///
/// A line number belongs to its message and stays with it wherever the code moves. The texts are an
/// interface, blanks and misspellings included: people and tools read the trace by them. %s is a
/// text up to its first NUL, %d an int, %u an unsigned.
namespace trace {

// main: the two files, then how the service went.
inline constexpr char kReadDnsLine[] = "read dns: %s\n";
inline constexpr char kReadHostmapLine[] = "read hostmap: %s\n";
inline constexpr char kConfigurationCounts[] = "dnsproxy: dns_size:%d, hostmap_size:%d\n";
inline constexpr char kNothingConfigured[] = "func: main(line:79) StartDnsSrv failed\n";
inline constexpr char kServiceStartFailed[] = "func: main(line:86) StartDnsSrv failed\n";
inline constexpr char kServiceEnded[] = "func: main(line:90) StartDnsSrv success\n";

// StartDnsSrv: sockets, method list, threads.
inline constexpr char kSocketInvalid[] = "func: StartDnsSrv(line:103) socket invalid\n";
inline constexpr char kBindFailed[] = "func: StartDnsSrv(line:115) bind %s:%d failed\n";
inline constexpr char kBindSucceeded[] = "func: StartDnsSrv(line:118) bind %s:%d success\n";
inline constexpr char kHostMapPairAdded[] = "func: StartDnsSrv(line:124) Add host map: %s -> %s\n";
inline constexpr char kServerAdded[] = "func: StartDnsSrv(line:136) Add KQ DNS to list: %s\n";
inline constexpr char kAnswerThreadNotCreated[] =
    "func: StartDnsSrv(line:151) pthread_create g_thread_answer failed\n";
inline constexpr char kAnswerThreadCreated[] =
    "func: StartDnsSrv(line:154) pthread_create g_thread_answer success\n";
inline constexpr char kQueryThreadNotCreated[] =
    "func: StartDnsSrv(line:158) pthread_create thread_query failed\n";
inline constexpr char kQueryThreadCreated[] =
    "func: StartDnsSrv(line:161) pthread_create thread_query success\n";

// thread_answer: the wait for upstream responses.
inline constexpr char kAnswerSocketInvalid[] =
    "func: thread_answer(line:222) Socket SockToDNSServers is invalid, AnswerThread exit\n";
inline constexpr char kAnswerSelectFailed[] =
    "func: thread_answer(line:230) AnswerThread: select failed. exit.\n";
inline constexpr char kAnswerSelectTimedOut[] =
    "func: thread_answer(line:235) AnswerThread: select timeout.\n";
inline constexpr char kResponseReadable[] =
    "func: thread_answer(line:239) AnswerThread: received dns response.\n";
inline constexpr char kRelayEnded[] =
    "func: thread_answer(line:245) RecvAndProcessPacketsFromDNSServer failed, exit.\n";

// thread_query: the wait for applications' queries.
inline constexpr char kQuerySocketInvalid[] =
    "func: thread_query(line:264) Socket SockToClientApps is invalid, QueryThread exit\n";
inline constexpr char kQuerySelectFailed[] =
    "func: thread_query(line:273) QureyThread: select failed. exit\n";
inline constexpr char kQueryReadable[] =
    "func: thread_query(line:282) ****QureyThread***: received dns request\n";

// RecvAndProcessPacketsFromDNSServer: one upstream response relayed, passed over or dropped.
inline constexpr char kResponseSocketUnusable[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:308) RecvAndProcessPacketsFromDNSServer: socket "
    "fd is invalid\n";
inline constexpr char kNoResponseReceived[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:314) RecvAndProcessPacketsFromDNSServer: recv "
    "nothing...\n";
inline constexpr char kResponseReceived[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:325) FromDNSServer: recv %d data from %s\n";
inline constexpr char kResponseTooShort[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:327) FromDNSServer: do_answer: answer too "
    "short: %d, from: %s\n";
inline constexpr char kResponseWithoutRequest[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:338) rsp from: %s, id: %u, request not found\n";
inline constexpr char kResponseFromWrongSource[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:352) id: %u, dns_index:%d current dns rsp from: "
    "%s, should from: %s, it seems error\n";
inline constexpr char kRelayNotSent[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:364) id: %u: sendto failed: %u\n";
inline constexpr char kResponseRelayed[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:367) domain %s received answer %d.%d.%d.%d from "
    "%s, we have to delete id:%d\n";
inline constexpr char kResponseWithoutAnswer[] =
    "func: RecvAndProcessPacketsFromDNSServer(line:372) rsp from: %s, id: %u, for : %s, no such "
    "name\n";

// RecvAndProcessPacketsFromLocalApps: one query accepted or refused.
inline constexpr char kQuerySocketUnusable[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:393)RecvAndProcessPacketsFromLocalApps: socket "
    "fd is invalid\n";
inline constexpr char kNoQueryReceived[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:398)RecvAndProcessPacketsFromLocalApps: recv "
    "nothing...\n";
inline constexpr char kQueryReceived[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:412)FromAPP: received %d data from %s\n";
inline constexpr char kQueryTooShort[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:415)FromAPP: query too short from %s\n";
inline constexpr char kQuestionCountRead[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:420) pDNSHeader QuestionCount :%d\n";
inline constexpr char kQuestionCountRefused[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:423)FromAPP: QuestionCount invalid: %d, from: "
    "%s\n";
inline constexpr char kDomainEmpty[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:429)FromAPP: domain is empty, from: %s\n";
inline constexpr char kDomainDecoded[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:432) received dns request............%s\n";
inline constexpr char kRequestFiled[] =
    "func: RecvAndProcessPacketsFromLocalApps(line:464)FromAPP: the request domain is %s, id:%d\n";

// ExtractDomain: why decoding of a question name stopped early.
inline constexpr char kLabelLengthNegative[] =
    "func: ExtractDomain(line:482)ExtractDomain invalid value:%d\n";
inline constexpr char kLabelOverflowsName[] =
    "func: ExtractDomain(line:488)ExtractDomain: buffer overflow when parsing qname, chunk_len: "
    "%d\n";
inline constexpr char kDotOverflowsName[] =
    "func: ExtractDomain(line:504)ExtractDomain: buffer overflow when add suffix dot, chunk_len: "
    "%d\n";

// TryNextDNSQueryMethod: what happens next to a query in flight. Two of its lines have no prefix.
inline constexpr char kNextMethodTried[] =
    "func: TryNextDNSQueryMethod(line:614)TryNextDNSQueryMethod: id: %d, bReasonIsTimeout:%d\n";
inline constexpr char kRequestToAdvanceNotFound[] =
    "func: TryNextDNSQueryMethod(line:618)TryNextDNSQueryMethod: TryNextDNSQueryMethod: id: %u, "
    "request not found\n";
inline constexpr char kMethodPosition[] =
    "func: TryNextDNSQueryMethod(line:624) CurrentDNSMethodIndex: %d, DnsListSize:%d\n";
inline constexpr char kMethodType[] =
    "**********hostmap****TryNextDNSQueryMethod: iCurrentDNSMethodType:%d(0: dns, 1:hostmap)\n";
inline constexpr char kForwardFailed[] = "TryNextDNSQueryMethod: id: %u,sendto failed: %u\n";
inline constexpr char kFoundInHostMap[] =
    "func: TryNextDNSQueryMethod(line:669) find %s from hostmap, ip:%d.%d.%d.%d, req id:%d\n";
inline constexpr char kHostMapAnswerNotSent[] =
    "func: TryNextDNSQueryMethod(line:673)DNS service: sendto for host map failed\n";
inline constexpr char kMethodsExhausted[] =
    "func: TryNextDNSQueryMethod(line:685) no more DNS methods, send no such name response\n";
inline constexpr char kNoSuchNameNotSent[] =
    "func: TryNextDNSQueryMethod(line:703)TryNextDNSQueryMethod: id: %u, sendto failed\n";

}  // namespace trace
