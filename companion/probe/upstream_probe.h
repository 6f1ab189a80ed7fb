#pragma once

namespace ctl {

/// Asks each configured server directly, all of them at once, and prints a line for each: which
/// answer, how fast, or what becomes of queries that come to it. kOk when every one answers.
int ProbeUpstreams(int timeout_ms);

}  // namespace ctl
