#pragma once

#include "src/ErrorCodes.h"
#include "src/Streams.h"
#include "json/JsonWriter.h"

#include <concepts>
#include <new>
#include <stdexcept>
#include <string>

namespace quenbrook {

// Calls `encode`, which encodes something of an answer. The only way for that to fail is for want
// of memory; throws unknown then.
template <std::invocable Encode>
auto encoding(const Encode& encode) {
    try {
        return encode();
    } catch (const std::bad_alloc&) {
        throw QuenbrookError(ErrorCase::unknown, "JSON encode failed: not enough memory");
    } catch (const std::length_error&) {
        throw QuenbrookError(ErrorCase::unknown, "JSON encode failed: the answer is too long");
    }
}

// What `encode` gives, as one line.
template <std::invocable Encode>
std::string lineOf(const Encode& encode) {
    return encoding([&encode] {
        std::string line = encode();
        line.push_back('\n');
        return line;
    });
}

// A record as one line of compact JSON with sorted keys, ended by a line feed.
template <json::JsonRecord Record>
std::string jsonLine(const Record& record) {
    return lineOf([&record] { return json::encodeJson(record); });
}

// Writes an answer to standard output. Throws unknown, and has written nothing, when it cannot be
// encoded.
template <json::JsonRecord Record>
void writeJSON(const Streams& streams, const Record& record) {
    streams.writeOutput(jsonLine(record));
}

} // namespace quenbrook
