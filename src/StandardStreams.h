#pragma once

#include "src/Streams.h"

#include <string>
#include <string_view>

// The streams of the process. Interrupted calls are taken up again, and a descriptor that some
// other program left non-blocking is waited for.
namespace quenbrook {

// Everything up to the end of the file. Returns an empty text when a read fails: half a request
// must never be acted on.
std::string readAll(int descriptor);

// Gives up silently when a write fails.
void writeAll(int descriptor, std::string_view text);

// Opens the null device for each of the descriptors 0 to 2 that is closed, so that no file opened
// later is taken for a standard stream. Returns false when that cannot be done.
bool openMissingStandardStreams();

Streams standardStreams();

} // namespace quenbrook
