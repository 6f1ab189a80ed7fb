#pragma once

inline constexpr char kResolverFile[] = "/etc/resolv.conf";

/// Copies the addresses of the first three "nameserver" entries of the host's resolver file into
/// `first`, `second` and `third`, and traces every line that it reads. An entry is what follows the
/// word wherever it stands in a line, a commented one too, and the blanks (not tabs) behind it.
///
/// The caller owns the buffers, has cleared them (no NUL is written) and has made them as large as
/// the longest line. They stay as they were where there is no entry or no file. Not used by the
/// running service.
void get_localdns_dnsproxy(char* first, char* second, char* third);

/// The same for the resolver file at `path`.
void ReadResolverFile(const char* path, char* first, char* second, char* third);
