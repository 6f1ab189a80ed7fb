#pragma once

#include <string>
#include <vector>

namespace ctl {

/// The folder that the entry at `path` is in.
std::string FolderOf(const std::string& path);

/// `path` and the folders above it that do not exist, the outermost first.
std::vector<std::string> MissingFolders(const std::string& path);

/// Whether there is an entry at `path`, be it a symbolic link that leads nowhere.
bool IsThere(const std::string& path);

/// Has the entries of a folder, as they are now, reach the disk.
void SyncFolder(const std::string& folder);

/// Gives a file that is there another content, in its place. Empty when done; otherwise why not.
std::string WriteInPlace(const std::string& path, const std::string& text);

}  // namespace ctl
