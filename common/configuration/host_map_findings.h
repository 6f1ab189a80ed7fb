#pragma once

#include "common/configuration/configuration_text.h"
#include "common/configuration/method_list.h"
#include "companion/check/report.h"

namespace ctl {

/// Finds, line by line, the entries that will not be found, or not be answered with the address
/// that their line seems to give. `list` decides about reverse names.
void CheckHostMap(const HostMapFileText& file, const MethodList& list, Report& report);

}  // namespace ctl
