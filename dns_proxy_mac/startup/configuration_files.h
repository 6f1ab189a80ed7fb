#pragma once

#include <string>
#include <utility>
#include <vector>

/// Upstream server addresses as text, in file order.
using ServerList = std::vector<std::string>;

/// Pairs of a domain and its address text, in file order.
using HostMapList = std::vector<std::pair<std::string, std::string>>;

inline constexpr char kServerFile[] = "/var/log/Varnok/dns";
inline constexpr char kHostMapFile[] = "/var/log/Varnok/hostmap";

// Both readers trace every line that they read, take lines as they are (no trimming, comments or
// checks; a carriage return stays) and append to the caller's list. A file that can't be read is an
// empty one. They return how many entries they appended.

/// One server a line, up to the line's first NUL. An empty line is an empty entry.
int ReadServerFile(const char* path, ServerList& servers);

/// One pair a line, split at the first colon. A line that begins with a colon is left out; a line
/// without one gives a pair of the whole line twice, an empty line a pair of two empty texts.
int ReadHostMapFile(const char* path, HostMapList& host_map);
