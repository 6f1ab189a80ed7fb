#pragma once

#include <optional>
#include <string>

namespace ctl {

/// The user that the service runs as, where it does not run as root.
inline constexpr char kServiceUser[] = "_dns_proxy_mac";

/// What keeps a user from reading a file.
struct AccessObstacle {
  std::string path;  ///< of the file itself, or of the first folder that may not be passed
  bool is_folder;
};

/// What keeps `user` from reading the file at `path`, a full path. It is found by trying, as that
/// user. Nothing when the user may read it, when there is no such file or user, and when this
/// process may not become another user.
std::optional<AccessObstacle> WhatKeepsFromReading(const char* user, const std::string& path);

}  // namespace ctl
