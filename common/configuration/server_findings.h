#pragma once

#include "common/configuration/configuration_text.h"
#include "companion/check/report.h"

namespace ctl {

/// Finds, line by line, the servers that will not be asked as their line seems to say.
void CheckServers(const ServerFileText& file, Report& report);

}  // namespace ctl
