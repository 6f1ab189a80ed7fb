#pragma once

namespace ctl {

/// Prints in a dozen lines how the proxy is. kOk when it runs, both workers live and it answers.
int RunStatus();

}  // namespace ctl
