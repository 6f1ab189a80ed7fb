#include "companion/names/names_keeper.h"

#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "common/output/output.h"
#include "companion/names/host_map_making.h"

namespace ctl {
namespace {

#if defined(__APPLE__)
const timespec& ModifiedAt(const struct stat& status) { return status.st_mtimespec; }
const timespec& ChangedAt(const struct stat& status) { return status.st_ctimespec; }
#else
const timespec& ModifiedAt(const struct stat& status) { return status.st_mtim; }
const timespec& ChangedAt(const struct stat& status) { return status.st_ctim; }
#endif

std::string InNanoseconds(const timespec& time) {
  return std::to_string(time.tv_sec) + '.' + std::to_string(time.tv_nsec);
}

// What changes whenever the file at `path` does.
void AppendStamp(const std::string& path, std::string& stamp) {
  struct stat status;
  stamp += path;
  if (stat(path.c_str(), &status) == 0) {
    stamp += ' ' + std::to_string(status.st_ino) + ' ' + std::to_string(status.st_size) + ' ' +
             InNanoseconds(ModifiedAt(status)) + ' ' + InNanoseconds(ChangedAt(status));
  }
  stamp += '\n';
}

// The host map's own stamp is included, so that its removal or an edit of it is noticed.
std::string StampOf(const NamesPlaces& places) {
  std::string stamp;
  AppendStamp(places.names, stamp);
  AppendStamp(places.never_listed, stamp);
  AppendStamp(places.host_map, stamp);
  std::string problem;
  for (const std::string& list : FilesIn(places.lists, problem)) AppendStamp(list, stamp);
  return stamp;
}

bool MayWriteBeside(const std::string& path) {
  return access(path.substr(0, path.rfind('/')).c_str(), W_OK) == 0;
}

}  // namespace

void NamesKeeper::Look() {
  std::string stamp = StampOf(places_);
  const bool is_at_rest = stamp == seen_;
  seen_ = std::move(stamp);
  if (!is_at_rest || seen_ == done_ || !MayWriteBeside(places_.host_map)) return;
  done_ = seen_;
  std::vector<std::string> sentences;
  const Renewal renewal = RenewHostMap(places_, false, sentences);
  if (renewal == Renewal::kUnchanged) return;
  for (const std::string& sentence : sentences) Print(sentence + '\n');
  if (renewal == Renewal::kWritten) Print(places_.host_map + " is made again from names.\n");
  FlushOutput();
}

}  // namespace ctl
