#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <utility>

/// Layout of an answer record that names the question's own name, RFC 1035 section 4.1.3.
inline constexpr std::size_t kAnswerRecordSize = 16;
inline constexpr std::size_t kAnswerAddressOffset = 12;
inline constexpr std::size_t kAnswerAddressSize = 4;

/// A ready-made A record: a pointer to the question name, type A, class IN, a day to live and one
/// IPv4 address, in network byte order. It is appended to a query as it stands.
struct HostRespData {
  unsigned char Record[kAnswerRecordSize];

  /// The four bytes of the address in wire order.
  const unsigned char* Address() const { return Record + kAnswerAddressOffset; }
};

/// The host map: names and the answer records prepared for them.
///
/// Filled by the start-up thread before there are workers and only read afterwards, so it needs no
/// lock. Its records are freed by `Clear` alone; what is filed at exit goes with the process.
class HostTable {
 public:
  using Map = std::unordered_map<std::string, HostRespData*>;

  HostTable() = default;
  HostTable(const HostTable&) = delete;
  HostTable& operator=(const HostTable&) = delete;
  ~HostTable() = default;

  /// Files `address` under `domain`, to the letter and case as it is written: a domain with an
  /// upper-case letter is never found. For a domain listed twice the first address stays. Text that
  /// is no dotted IPv4 address gives the all-ones address 255.255.255.255.
  void Add(char* domain, const char* address);

  /// True when `name`, folded to lower case, is filed; `record` is then its record, which stays the
  /// table's. No parent domains, no wildcards. Otherwise `record` is left alone.
  bool Find(std::string name, HostRespData*& record) const;

  /// Frees every record and empties the table.
  void Clear();

  Map mapHosts;
  /// Belongs to the table; nothing reads or writes it.
  std::pair<std::string, HostRespData*> spare{std::string(), nullptr};
};
