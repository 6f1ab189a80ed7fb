#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <string>

inline constexpr std::uint16_t kProxyPort = 53;

/// A datagram as bytes.
using Message = std::string;

/// What becomes of a query; the first label of its name says it, so that the fake servers know.
enum class Path : std::uint8_t {
  kDirect,     ///< server A answers at once
  kReordered,  ///< server A answers later, in another order
  kTwice,      ///< server A answers, and answers again
  kForeign,    ///< a stranger answers first, then server A
  kSecond,     ///< server A has no answer, server B has
  kNobody,     ///< neither has one: the proxy answers "no such name"
  kHostMap,    ///< the proxy answers from the host map
  kReverse,    ///< a reverse name: the proxy answers "no such name"
  kStuck,      ///< server A answers only when it is asked again, because the ids have come round
};
inline constexpr int kPaths = 9;

/// The address that every host-map name has, and the one that a stranger's answer carries.
inline constexpr char kHostMapName[] = "mapped.stress";
inline constexpr char kHostMapAddress[] = "10.1.2.3";

/// A query with id `id` for query number `number` on its path.
Message MakeQuery(std::uint16_t id, Path path, std::uint32_t number);

/// The path that the name in `query` asks for.
Path PathOf(const Message& query);

/// `query` turned into a response without answers.
Message EmptyResponse(const Message& query);

/// `query` turned into a response with one A record whose address is made from the name and `salt`.
Message Answer(const Message& query, std::uint8_t salt);

/// Whether `response` is what the asker of `query` is to get: its own id and question, and the end
/// that the path promises.
bool IsRightResponse(const Message& query, Path path, const Message& response);

/// Salts that tell who answered.
inline constexpr std::uint8_t kSaltA = 0xA0;
inline constexpr std::uint8_t kSaltB = 0xB0;
inline constexpr std::uint8_t kSaltStranger = 0xEE;

sockaddr_in Address(const char* ip, std::uint16_t port);
/// A UDP socket bound on `ip`:`port`; ends the program with a sentence when that fails.
int BoundSocket(const char* ip, std::uint16_t port);
/// Whether nobody holds `ip`:`port`.
bool IsFree(const char* ip, std::uint16_t port);
/// The next datagram within `milliseconds`, and who sent it; false when none came.
bool Receive(int sock, int milliseconds, Message& message, sockaddr_in& from);
void Send(int sock, const Message& message, const sockaddr_in& to);
