#pragma once

#include <string_view>

namespace ctl {

/// False for a program, a picture, an archive, UTF-16 text and the like: when a quarter of the
/// first 64 KB is neither text in ASCII or UTF-8 nor a tab or line end. A few odd bytes are text.
bool LooksLikeText(std::string_view bytes);

}  // namespace ctl
