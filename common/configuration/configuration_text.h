#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "dns_proxy_mac/startup/configuration_files.h"

namespace ctl {

/// What keeps a file from being read.
enum class Access {
  kRead,       ///< nothing
  kMissing,    ///< there is no such file
  kDirectory,  ///< it is a directory
  kNotAFile,   ///< it is a pipe, a device or the like
  kRefused,    ///< the system refuses to open or read it
  kNotText,    ///< it is read, but holds something other than text
  kChanging    ///< it was written to while it was read
};

/// One of the two files, whole. `lines` point into `bytes` and have no line ends. There are as many
/// as the proxy reads.
struct FileText {
  FileText() = default;
  FileText(const FileText&) = delete;
  FileText& operator=(const FileText&) = delete;

  Access access = Access::kMissing;
  std::string reason;  ///< why it is not read, as a clause
  std::string bytes;
  std::vector<std::string_view> lines;
};

/// Reads the file as it is. One that is no text, or can't be read, has no lines.
void ReadText(const std::string& path, FileText& text);

/// Sets what keeps the file from being read; all but kRead leave it without bytes and lines.
void Settle(Access access, FileText& text);

/// Whether it is known what the proxy makes of the file: the proxy reads it, or treats it as empty.
bool IsReadByProxy(const FileText& text);

/// Whether the proxy makes no entry of this line of the host map.
bool IsSkippedByProxy(std::string_view line);

/// The server file, and what the proxy's own reader makes of it: one entry for each line.
struct ServerFileText {
  FileText text;
  ServerList servers;
};

/// The host map file and what the proxy's own reader makes of it: an entry for every line but those
/// that begin with a colon, in the same order.
struct HostMapFileText {
  FileText text;
  HostMapList entries;
};

/// Both read a file twice: as it is, then by the proxy's reader, whose trace is discarded. Neither
/// waits for the writer of a pipe. A file that can't be read has no lines and no entries.
void ReadServers(const std::string& path, ServerFileText& file);
void ReadHostMap(const std::string& path, HostMapFileText& file);

/// From here on the proxy's libraries print no trace, because this process prints its results on
/// standard output.
void SilenceTrace();

}  // namespace ctl
