#pragma once

/// Lets the proxy's trace be formatted as ever but written nowhere, once and for all.
void QuietTrace();
