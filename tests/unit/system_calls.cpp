#include "tests/unit/system_calls.h"

#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <utility>

#include "dns_proxy_mac/startup/service.h"
#include "tests/unit/wire.h"

namespace system_calls {
namespace {

struct State {
  std::mutex mutex;
  std::map<Call, std::deque<Answer>> answers;
  std::uintptr_t last_handle = 0;
  pthread_t joined = 0;
  bool recording = false;
  std::vector<std::string> calls;
};

// Never destroyed: a worker that outlives main comes here during exit.
State& TheState() {
  static State& state = *new State;
  return state;
}

// The answer that waits for `call`, with errno set; none when the system is to be asked.
std::optional<int> NextAnswer(Call call) {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  std::deque<Answer>& waiting = state.answers[call];
  if (waiting.empty()) return std::nullopt;
  const Answer answer = waiting.front();
  waiting.pop_front();
  if (answer.from_system) return std::nullopt;
  if (answer.error != 0) errno = answer.error;
  return answer.result;
}

pthread_t NextHandle() {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  return reinterpret_cast<pthread_t>(
      ++state.last_handle);  // a number on Linux, an address on macOS
}

template <typename... Parts>
void Record(const Parts&... parts) {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  if (!state.recording) return;
  const int error = errno;
  std::ostringstream line;
  (line << ... << parts);
  state.calls.push_back(line.str());
  errno = error;
}

// The second join of a thread, which the libraries answer with an error. clang's thread sanitizer
// aborts on it instead, so there it is answered here.
bool IsSecondJoin([[maybe_unused]] pthread_t handle) {
#if defined(__clang__) && defined(__has_feature)
#if __has_feature(thread_sanitizer)
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  return std::exchange(state.joined, handle) == handle;
#endif
#endif
  return false;
}

const char* NameOfBody(void* (*body)(void*)) {
  if (body == thread_answer) return "thread_answer";
  return body == thread_query ? "thread_query" : "another";
}

}  // namespace

void Substitute(Call call, std::initializer_list<Answer> answers) {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.answers[call].insert(state.answers[call].end(), answers);
}

void SubstituteThreads() {
  Substitute(Call::kPthreadCreate, {{0}, {0}});
  Substitute(Call::kPthreadJoin, {{0}, {ESRCH}});
}

std::atomic<int> g_LocksTaken{0};

int LocksTaken() { return g_LocksTaken; }

void Reset() {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.answers.clear();
  state.last_handle = 0;
}

Recording::Recording() {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.calls.clear();
  state.recording = true;
}

Recording::~Recording() {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  state.recording = false;
}

std::vector<std::string> Recording::Calls() const {
  State& state = TheState();
  const std::lock_guard<std::mutex> lock(state.mutex);
  return state.calls;
}

}  // namespace system_calls

using system_calls::Call;
using system_calls::IsSecondJoin;
using system_calls::NextAnswer;
using system_calls::Record;

// The names are the linker's.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier)
extern "C" {

int __real_socket(int domain, int type, int protocol);
int __real_bind(int sock, const sockaddr* address, socklen_t length);
int __real_close(int descriptor);
int __real_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeout);
ssize_t __real_sendto(int sock, const void* data, std::size_t length, int flags, const sockaddr* to,
                      socklen_t to_length);
ssize_t __real_recvfrom(int sock, void* data, std::size_t capacity, int flags, sockaddr* from,
                        socklen_t* from_length);
ssize_t __real_write(int descriptor, const void* data, std::size_t length);
int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);
int __real_pthread_join(pthread_t handle, void** result);
#if !defined(__APPLE__)
int __real_pthread_getattr_default_np(pthread_attr_t* attributes);
#endif

int __wrap_socket(int domain, int type, int protocol) {
  Record("socket ", domain, ' ', type, ' ', protocol);
  const auto answer = NextAnswer(Call::kSocket);
  return answer ? *answer : __real_socket(domain, type, protocol);
}

int __wrap_bind(int sock, const sockaddr* address, socklen_t length) {
  Record("bind ", sock, " to ", WireAt(address, length));
  const auto answer = NextAnswer(Call::kBind);
  return answer ? *answer : __real_bind(sock, address, length);
}

int __wrap_close(int descriptor) {
  Record("close ", descriptor);
  return __real_close(descriptor);
}

int __wrap_select(int count, fd_set* read, fd_set* write, fd_set* except, timeval* timeout) {
  const bool at_once = timeout != nullptr && timeout->tv_sec == 0 && timeout->tv_usec == 0;
  Record("select up to ", count, write == nullptr ? "" : " for writing",
         except == nullptr ? "" : " for exceptions",
         timeout == nullptr ? ", no timeout" : (at_once ? ", at once" : ", some timeout"));
  if (const auto answer = NextAnswer(Call::kSelect)) {
    FD_ZERO(read);
    return *answer;
  }
  return __real_select(count, read, write, except, timeout);
}

ssize_t __wrap_sendto(int sock, const void* data, std::size_t length, int flags, const sockaddr* to,
                      socklen_t to_length) {
  Record("sendto ", sock, ": ", length, " bytes, flags ", flags, ", to ", WireAt(to, to_length));
  const auto answer = NextAnswer(Call::kSendto);
  return answer ? *answer : __real_sendto(sock, data, length, flags, to, to_length);
}

ssize_t __wrap_recvfrom(int sock, void* data, std::size_t capacity, int flags, sockaddr* from,
                        socklen_t* from_length) {
  Record("recvfrom ", sock, ": up to ", capacity, " bytes, flags ", flags, ", address of ",
         *from_length, " bytes");
  const auto answer = NextAnswer(Call::kRecvfrom);
  return answer ? *answer : __real_recvfrom(sock, data, capacity, flags, from, from_length);
}

ssize_t __wrap_write(int descriptor, const void* data, std::size_t length) {
  Record("write ", descriptor, ": ", length, " bytes");
  const auto answer = NextAnswer(Call::kWrite);
  return answer ? *answer : __real_write(descriptor, data, length);
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
  Record("poll ", count == 0 ? -1 : descriptors->fd, ": up to ", timeout, " ms");
  const auto answer = NextAnswer(Call::kPoll);
  return answer ? *answer : __real_poll(descriptors, count, timeout);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  if (mutex != system_calls::TheState().mutex.native_handle()) ++system_calls::g_LocksTaken;
  return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
  Record("pthread_create ", system_calls::NameOfBody(body),
         attributes == nullptr ? ", default attributes" : ", attributes",
         argument == nullptr ? ", no argument" : ", an argument");
  const auto answer = NextAnswer(Call::kPthreadCreate);
  if (!answer) return __real_pthread_create(handle, attributes, body, argument);
  if (*answer == 0) *handle = system_calls::NextHandle();
  return *answer;
}

int __wrap_pthread_join(pthread_t handle, void** result) {
  const auto answer = NextAnswer(Call::kPthreadJoin);
  if (!answer) return IsSecondJoin(handle) ? ESRCH : __real_pthread_join(handle, result);
  Record("pthread_join ", reinterpret_cast<std::uintptr_t>(handle));
  return *answer;
}

#if !defined(__APPLE__)
int __wrap_pthread_getattr_default_np(pthread_attr_t* attributes) {
  const auto answer = NextAnswer(Call::kPthreadGetattrDefault);
  return answer ? *answer : __real_pthread_getattr_default_np(attributes);
}
#endif

}  // extern "C"
// NOLINTEND(clang-diagnostic-reserved-identifier)
