#pragma once

#include <string_view>

namespace page {

/// A file of web/ as it was when the program was built.
struct Resource {
  std::string_view path;  ///< of its address
  const char* type;
  std::string_view bytes;
};

/// Null when there is none at this path.
const Resource* FindResource(std::string_view path);

}  // namespace page
