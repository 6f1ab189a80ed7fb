#include "page/api/why.h"

#include <cstdio>

namespace page {
namespace {

constexpr const char* kMadeUpAddress = "10.0.0.1";

std::string InMilliseconds(std::int64_t microseconds) {
  char text[32];
  static_cast<void>(
      std::snprintf(text, sizeof(text), "%.1f ms", static_cast<double>(microseconds) / 1000));
  return text;
}

std::string AfterTime(const Attempt& attempt) {
  return attempt.microseconds ? " after " + InMilliseconds(*attempt.microseconds) : "";
}

std::string SentenceOf(const Attempt& attempt) {
  switch (attempt.reaction) {
    case Reaction::kAnswered:
      return attempt.server + " answered" + AfterTime(attempt) + ", and its answer was relayed.";
    case Reaction::kEmpty:
      return attempt.server + " responded without an answer" + AfterTime(attempt) + '.';
    case Reaction::kSilent:
      return attempt.server + " did not respond.";
    case Reaction::kNotSent:
      return "The system refused to send it to " + attempt.server + '.';
  }
  return {};
}

std::string EndOf(const Query& query) {
  switch (query.outcome) {
    case Outcome::kHostMap:
      return "The host map has this name.";
    case Outcome::kAnswered:
      return {};
    case Outcome::kNoSuchName:
      if (!query.attempts.empty()) return "No server was left: the proxy said \"no such name\".";
      if (query.name.find(".in-addr.arpa") != std::string::npos) {
        return "Names with .in-addr.arpa in them are asked of no server: the proxy said \"no such "
               "name\".";
      }
      return "There was nobody to ask: the proxy said \"no such name\".";
    case Outcome::kLost:
      return "The application got nothing.";
  }
  return {};
}

}  // namespace

std::string WhyOf(const Query& query) {
  std::string why;
  for (const Attempt& attempt : query.attempts) why += SentenceOf(attempt) + ' ';
  why += EndOf(query);
  if (!why.empty() && why.back() == ' ') why.pop_back();
  return why;
}

std::string HostMapLineFor(const std::string& name) {
  if (name.find('\\') != std::string::npos) {
    return "Its name holds bytes that can't be typed: no line is offered.";
  }
  if (name.find(':') != std::string::npos) {
    return "Its name holds a colon, where a line is split: no line can hold it.";
  }
  if (name.find(".in-addr.arpa") != std::string::npos) {
    return "Names with .in-addr.arpa in them never get to the host map.";
  }
  return LowerCase(name) + ':' + kMadeUpAddress;
}

}  // namespace page
