#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

/// Writes JSON (RFC 8259) piece by piece into a text, commas included. The caller opens and closes
/// what it begins in the right order; inside an object every value has a key before it.
class JsonWriter {
 public:
  JsonWriter& Object();
  JsonWriter& EndObject();
  JsonWriter& Array();
  JsonWriter& EndArray();
  JsonWriter& Key(std::string_view key);

  /// Any bytes give valid JSON, a byte beyond printable ASCII as the character of its number. Text
  /// that others wrote goes through `Shown` first, as in every other report.
  JsonWriter& Text(std::string_view text);
  JsonWriter& Number(std::uint64_t number);
  JsonWriter& Real(double number);
  JsonWriter& Truth(bool truth);
  JsonWriter& Null();

  /// What was written since the last call, for output in parts.
  std::string Take();

 private:
  void BeginValue();
  JsonWriter& Open(char bracket);
  JsonWriter& Close(char bracket);
  void AppendString(std::string_view text);

  std::string text_;
  bool needs_comma_ = false;
};

}  // namespace ctl
