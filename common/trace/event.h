#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace ctl {

/// What a line of the trace tells. Lines that only lead up to another one are kPassing.
enum class EventKind : std::uint8_t {
  kPassing,
  kConfigurationLine,    ///< name: the line
  kConfigurationCounts,  ///< numbers: servers, host map entries
  kNotStarted,
  kServiceEnded,
  kServing,  ///< both workers have been created
  kBindFailed,
  kServerAdded,    ///< name: its text
  kHostMapAdded,   ///< name, address
  kQueryDatagram,  ///< numbers: length; address
  kQueryTooShort,
  kQuestionCountRefused,  ///< numbers: count
  kDomainEmpty,
  kQueryReceiveFailed,
  kQueryWaitFailed,
  kNameCutShort,
  kRequestFiled,    ///< name; numbers: id
  kAdvanced,        ///< numbers: id, then 0
  kPosition,        ///< numbers: position in the method list, its length
  kMethod,          ///< numbers: 0 for a server, 1 for the host map
  kForwardFailed,   ///< numbers: id, error
  kFoundInHostMap,  ///< name; numbers: four bytes of the address, id
  kExhausted,
  kAnswerNotSent,
  kResponseDatagram,  ///< numbers: length; address
  kResponseTooShort,  ///< numbers: length; address
  kResponseReceiveFailed,
  kResponseWaitFailed,
  kRelayEnded,
  kUnknownResponse,  ///< address; numbers: id
  kWrongSource,      ///< address, expected; numbers: id, position
  kRelayed,          ///< name, address; numbers: the last four bytes, id
  kWithoutAnswer,    ///< address, name; numbers: id
};

/// One line, taken apart. The texts point into the line.
struct Event {
  EventKind kind = EventKind::kPassing;
  std::string_view name;
  std::string_view address;
  std::string_view expected;
  std::array<std::int64_t, 6> numbers{};
  std::size_t number_count = 0;

  /// The last number of the line: the id, where it has one.
  std::uint16_t LastNumberAsId() const {
    return static_cast<std::uint16_t>(numbers[number_count == 0 ? 0 : number_count - 1]);
  }
};

}  // namespace ctl
