#include "dns_proxy_mac/startup/resolver_file_reader.h"

#include <cstring>
#include <fstream>
#include <string>

#include "dns_proxy_mac/trace/print.h"

namespace {

constexpr char kEntryWord[] = "nameserver";
constexpr int kBuffers = 3;

// What follows the word and the blanks behind it; empty when the line holds no entry.
const char* EntryText(const char* line) {
  const char* word = std::strstr(line, kEntryWord);
  if (word == nullptr) return "";
  const char* text = word + std::strlen(kEntryWord);
  return text + std::strspn(text, " ");
}

}  // namespace

void get_localdns_dnsproxy(char* first, char* second, char* third) {
  ReadResolverFile(kResolverFile, first, second, third);
}

void ReadResolverFile(const char* path, char* first, char* second, char* third) {
  char* const buffers[kBuffers] = {first, second, third};
  int found = 0;
  std::ifstream file(path);
  std::string line;
  // The count is looked at after the read: one more line than needed is read and not traced.
  while (std::getline(file, line) && found <= kBuffers) {
    trace::Print<trace::kReadDnsLine>(line.c_str());
    const char* text = EntryText(line.c_str());
    if (*text == 0) continue;
    ++found;
    if (found <= kBuffers) std::memcpy(buffers[found - 1], text, std::strlen(text));
  }
}
