#pragma once

/// Lets the proxy's trace be formatted as ever but written nowhere, into a buffer that is empty
/// now, so that what an input reaches does not depend on those before it. For the start of each
/// input.
void QuietTrace();
