#pragma once

#include <string>

namespace upstream {

/// macOS: what the configuration store holds of every network service's servers, those that the
/// network has given, whatever the host was told to use in their place. Empty when the program
/// `scutil` cannot be run or takes longer than half a second.
std::string AskScutil(const char* program = "/usr/sbin/scutil");

}  // namespace upstream
