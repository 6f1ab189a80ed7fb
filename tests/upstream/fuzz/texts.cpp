// Every text that is read from a file that others write: none may be more than refused.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "common/upstream/server_list.h"
#include "common/upstream/state_text.h"
#include "upstream/servers/records.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const upstream::ServerList list = upstream::ReadServerList(text);
  if (list.complaint.empty() == list.entries.empty()) std::abort();
  for (const upstream::ServerList::Entry& entry : list.entries) {
    if (!entry.is_network && upstream::IsOwn(entry.address)) std::abort();
  }
  if (upstream::Servers(list, {}).size() > 3) std::abort();
  upstream::ReadResolverFile(text);
  upstream::ReadAssignments(text);
  upstream::ReadLeases(text, 0);
  upstream::ReadDictionaries(text);
  if (const auto state = upstream::ReadState(text)) upstream::StateText(*state);
  return 0;
}
