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
inline constexpr char kResolverFile[] = "/etc/resolv.conf";

// Every reader traces the lines that it reads and takes them as they are: no trimming, comments or
// checks; a carriage return stays. A file that can't be read is an empty one. The first two append
// to the caller's list and return how many entries they appended.

/// One server a line, up to the line's first NUL. An empty line is an empty entry.
int ReadServerFile(const char* path, ServerList& servers);

/// One pair a line, split at the first colon. A line that begins with a colon is left out; a line
/// without one gives a pair of the whole line twice, an empty line a pair of two empty texts.
int ReadHostMapFile(const char* path, HostMapList& host_map);

/// Copies the addresses of the first three "nameserver" entries of a resolver file into `first`,
/// `second` and `third`. An entry is what follows the word wherever it stands in a line, a
/// commented one too, and the blanks (not tabs) behind it.
///
/// The caller owns the buffers, has cleared them (no NUL is written) and has made them as large as
/// the longest line. They stay as they were where there is no entry.
void ReadResolverFile(const char* path, char* first, char* second, char* third);

/// The same for the host's own resolver file. Not used by the running service.
void get_localdns_dnsproxy(char* first, char* second, char* third);
