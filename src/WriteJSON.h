#pragma once

#include "platform/JsonWriter.h"
#include "src/ErrorCodes.h"
#include "src/Streams.h"

#include <concepts>
#include <new>
#include <stdexcept>
#include <string>

namespace quenbrook {

// What `encode` gives, as one line. The only way for encoding to fail is for want of memory; throws
// unknown then.
template <std::invocable Encode>
std::string lineOf(const Encode& encode) {
    try {
        std::string line = encode();
        line.push_back('\n');
        return line;
    } catch (const std::bad_alloc&) {
        throw QuenbrookError(ErrorCase::unknown, "JSON encode failed: not enough memory");
    } catch (const std::length_error&) {
        throw QuenbrookError(ErrorCase::unknown, "JSON encode failed: the answer is too long");
    }
}

// A record as one line of compact JSON with sorted keys, ended by a line feed.
template <platform::JsonRecord Record>
std::string jsonLine(const Record& record) {
    return lineOf([&record] { return platform::encodeJson(record); });
}

// Writes an answer to standard output. Throws unknown, and has written nothing, when it cannot be
// encoded.
template <platform::JsonRecord Record>
void writeJSON(const Streams& streams, const Record& record) {
    streams.writeOutput(jsonLine(record));
}

} // namespace quenbrook
