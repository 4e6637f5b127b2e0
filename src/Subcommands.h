#pragma once

#include "src/EventStoreClient.h"
#include "src/Streams.h"

#include <span>
#include <string>
#include <string_view>

namespace quenbrook {

struct Subcommand {
    // Matched exactly, with the whole first argument.
    std::string_view word;
    // Carries out the word with the text of standard input and writes the answer.
    void (*serve)(EventStoreClient& client, std::string_view input, const Streams& streams);
};

// The complete table.
std::span<const Subcommand> subcommands();

// Returns null when there is no such word.
const Subcommand* findSubcommand(std::string_view word);

// What an unknown word is reported as: of its first 64 user-perceived characters those that are
// ASCII and no line breaks. `word` may be any bytes.
std::string subcommandEcho(std::string_view word);

} // namespace quenbrook
