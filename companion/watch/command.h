#pragma once

namespace ctl {

/// Looks at the proxy once a second, in the tables of processes and sockets alone, and ends it with
/// SIGTERM when its query thread has ended, after one line on standard output. Whoever started the
/// proxy starts it again. Returns only, with kNo, when it may not end the proxy.
int RunWatch();

}  // namespace ctl
