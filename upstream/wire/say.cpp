#include "upstream/wire/say.h"

#include <cstdio>

namespace upstream {

void Say(std::string_view sentence) {
  static_cast<void>(std::fprintf(stderr, "dns_proxy_upstream: %.*s\n",
                                 static_cast<int>(sentence.size()), sentence.data()));
}

}  // namespace upstream
