#pragma once

#include <string>

/// The path of a file with the given content that exists in memory alone, until the next call.
std::string FileInMemory(const std::string& content);
