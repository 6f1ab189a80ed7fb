#pragma once

#include <string_view>

namespace upstream {

/// One sentence for people, on standard error, where the service manager keeps it.
void Say(std::string_view sentence);

}  // namespace upstream
