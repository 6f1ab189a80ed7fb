#pragma once

#include <cstdint>

#include "page/http/request.h"

namespace page {

/// What keeps other sites, in the browser of a user of this host, from reading the page: a name of
/// theirs that resolves to this host (the Host field tells), a request from a page of theirs
/// (Origin and Sec-Fetch-Site tell), and methods that change something.
///
/// 0 when `request` may be answered by the page at `port`, or the HTTP status that refuses it.
int RefusalOf(const Request& request, std::uint16_t port);

}  // namespace page
