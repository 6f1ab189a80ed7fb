#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The bytes of one fuzz input, taken from the front. Behind their end every number reads as zero
/// and every text as empty, so there is no bad input. The bytes stay the caller's.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : bytes_(reinterpret_cast<const char*>(data), size) {}

  bool Empty() const { return bytes_.empty(); }

  std::uint8_t Byte() {
    if (Empty()) return 0;
    const auto byte = static_cast<std::uint8_t>(bytes_.front());
    bytes_.remove_prefix(1);
    return byte;
  }

  /// Two bytes in network order.
  std::uint16_t Uint16() {
    const unsigned high = Byte();
    return static_cast<std::uint16_t>(high << 8 | Byte());
  }

  std::string Rest() { return Take(bytes_.size()); }

  /// A length in two bytes, then the datagram. A length of zero stands for everything that is left;
  /// a datagram longer than what is left is filled up, so that a short input can hold a huge one.
  std::string Datagram() {
    const std::size_t length = Uint16();
    if (length == 0) return Rest();
    std::string datagram = Take(length);
    datagram.resize(length, kFilling);
    return datagram;
  }

 private:
  static constexpr char kFilling = '\x25';

  std::string Take(std::size_t size) {
    const std::string front(bytes_.substr(0, size));
    bytes_.remove_prefix(front.size());
    return front;
  }

  std::string_view bytes_;
};
