// Compiled by tests of its own, one definition at a time.

#include "dns_proxy_mac/trace/print.h"

void PrintALine() {
#if defined(VALUES_ITS_OWN)
  trace::Print<trace::kRequestToAdvanceNotFound>(7U);
  trace::Print<trace::kBindFailed>("127.0.0.1", 53);
#elif defined(VALUES_MISSING)
  trace::Print<trace::kBindFailed>("127.0.0.1");
#elif defined(VALUES_SUPERFLUOUS)
  trace::Print<trace::kBindFailed>("127.0.0.1", 53, 53);
#elif defined(VALUES_NUMBER_FOR_TEXT)
  trace::Print<trace::kBindFailed>(53, 53);
#elif defined(VALUES_TEXT_FOR_NUMBER)
  trace::Print<trace::kBindFailed>("127.0.0.1", "53");
#elif defined(VALUES_SIGNED_FOR_UNSIGNED)
  trace::Print<trace::kRequestToAdvanceNotFound>(-7);
#elif defined(VALUES_TOO_WIDE)
  trace::Print<trace::kBindFailed>("127.0.0.1", 53L);
#endif
}
