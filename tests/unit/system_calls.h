#pragma once

#include <initializer_list>
#include <string>
#include <vector>

/// Answers of the tests' own in place of the system's, and a record of what the code asks of it.
///
/// The linker leads the calls of the whole executable through here (--wrap, see CMakeLists.txt).
/// Without a substitute they reach the system as ever. Any thread.
namespace system_calls {

enum class Call {
  kSocket,
  kBind,
  kSelect,
  kSendto,
  kRecvfrom,
  kWrite,
  kPoll,
  kPthreadCreate,
  kPthreadJoin,
  kPthreadGetattrDefault,
};

/// What a call returns instead of being made, and the errno that it leaves.
struct Answer {
  int result = 0;
  int error = 0;
  bool from_system = false;
};

/// One call that does reach the system, before the answers behind it.
inline constexpr Answer kSystem{0, 0, true};

/// The next calls of `call` get these answers, in turn; later ones reach the system again. A
/// `select` answered so finds its descriptor set empty; a `pthread_create` answered 0 hands out the
/// thread handles 1, 2, ... and starts nothing.
void Substitute(Call call, std::initializer_list<Answer> answers);

/// The service start finds its sockets, both of its threads and their end, and nothing runs.
void SubstituteThreads();

/// Forgets every answer that was not asked for.
void Reset();

/// How many mutexes have been taken since the process began, by whatever thread; not counting the
/// one in here.
int LocksTaken();

/// Writes down, while it lives, every call as one line of text, with the arguments that matter.
class Recording {
 public:
  Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;
  ~Recording();

  std::vector<std::string> Calls() const;
};

}  // namespace system_calls
