#include "common/output/json_writer.h"

#include <cstdio>

namespace ctl {

void JsonWriter::BeginValue() {
  if (needs_comma_) text_ += ',';
  needs_comma_ = true;
}

JsonWriter& JsonWriter::Open(char bracket) {
  BeginValue();
  text_ += bracket;
  needs_comma_ = false;
  return *this;
}

JsonWriter& JsonWriter::Close(char bracket) {
  text_ += bracket;
  needs_comma_ = true;
  return *this;
}

JsonWriter& JsonWriter::Object() { return Open('{'); }
JsonWriter& JsonWriter::EndObject() { return Close('}'); }
JsonWriter& JsonWriter::Array() { return Open('['); }
JsonWriter& JsonWriter::EndArray() { return Close(']'); }

void JsonWriter::AppendString(std::string_view text) {
  text_ += '"';
  for (const char character : text) {
    if (character == '"' || character == '\\') {
      text_ += '\\';
      text_ += character;
    } else if (character >= ' ' && character <= '~') {
      text_ += character;
    } else {
      char escaped[8];
      static_cast<void>(std::snprintf(escaped, sizeof(escaped), "\\u%04x",
                                      static_cast<unsigned char>(character)));
      text_ += escaped;
    }
  }
  text_ += '"';
}

JsonWriter& JsonWriter::Key(std::string_view key) {
  BeginValue();
  AppendString(key);
  text_ += ':';
  needs_comma_ = false;
  return *this;
}

JsonWriter& JsonWriter::Text(std::string_view text) {
  BeginValue();
  AppendString(text);
  return *this;
}

JsonWriter& JsonWriter::Number(std::uint64_t number) {
  BeginValue();
  text_ += std::to_string(number);
  return *this;
}

JsonWriter& JsonWriter::Real(double number) {
  BeginValue();
  char digits[32];
  static_cast<void>(std::snprintf(digits, sizeof(digits), "%.3f", number));
  text_ += digits;
  return *this;
}

JsonWriter& JsonWriter::Truth(bool truth) {
  BeginValue();
  text_ += truth ? "true" : "false";
  return *this;
}

JsonWriter& JsonWriter::Null() {
  BeginValue();
  text_ += "null";
  return *this;
}

std::string JsonWriter::Take() {
  std::string taken;
  taken.swap(text_);
  return taken;
}

}  // namespace ctl
