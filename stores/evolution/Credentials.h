#pragma once

#include "stores/evolution/Bus.h"

namespace quenbrook::stores::evolution {

// Throws BusError when the service knows that the server of an open calendar wants a password, or
// another one: a change would then wait in the service until somebody has typed it. `source` is the
// calendar's in the registry. A service that is still connecting is waited for, a second and a half
// at most and not beyond the deadline; not knowing is no error. Not thread-safe.
// Source: e-cal-meta-backend.c and e-source.c of EDS 3.46.
void checkCredentials(Bus& bus, const Target& source, Deadline deadline);

} // namespace quenbrook::stores::evolution
