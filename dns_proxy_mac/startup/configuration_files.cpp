#include "dns_proxy_mac/startup/configuration_files.h"

#include <cstring>
#include <fstream>

#include "dns_proxy_mac/trace/print.h"

int ReadServerFile(const char* path, ServerList& servers) {
  int dns_size = 0;
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    trace::Print<trace::kReadDnsLine>(line.c_str());
    servers.emplace_back(line.c_str());
    ++dns_size;
  }
  return dns_size;
}

int ReadHostMapFile(const char* path, HostMapList& host_map) {
  int hostmap_size = 0;
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    trace::Print<trace::kReadHostmapLine>(line.c_str());
    // Without a colon the position is the largest number there is: greater than 0, so the line is
    // taken, and one past it is 0 again, so both halves are the whole line. Existing files use it.
    const std::string::size_type colon = line.find(':');
    if (colon > 0) {
      host_map.emplace_back(line.substr(0, colon), line.substr(colon + 1));
      ++hostmap_size;
    }
  }
  return hostmap_size;
}

void ReadResolverFile(const char* path, char* first, char* second, char* third) {
  constexpr char kEntryWord[] = "nameserver";
  constexpr int kBuffers = 3;
  char* const buffers[kBuffers] = {first, second, third};
  int found = 0;
  std::ifstream file(path);
  std::string line;
  // The count is looked at after the read: one more line than needed is read and not traced.
  while (std::getline(file, line) && found <= kBuffers) {
    trace::Print<trace::kReadDnsLine>(line.c_str());
    const char* text = std::strstr(line.c_str(), kEntryWord);
    if (text == nullptr) continue;
    text += std::strlen(kEntryWord);
    text += std::strspn(text, " ");
    if (*text == 0) continue;
    ++found;
    if (found <= kBuffers) std::memcpy(buffers[found - 1], text, std::strlen(text));
  }
}

void get_localdns_dnsproxy(char* first, char* second, char* third) {
  ReadResolverFile(kResolverFile, first, second, third);
}
