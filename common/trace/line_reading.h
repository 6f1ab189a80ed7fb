#pragma once

#include <string_view>

#include "common/trace/event.h"

namespace ctl {

/// Takes a line of the trace, without its line end, apart. False for a line that the proxy does not
/// print; `event` is then not to be used.
bool ReadTraceLine(std::string_view line, Event& event);

}  // namespace ctl
