#include "stores/vdir/RangeAnswer.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_set>

namespace quenbrook::stores::vdir {
namespace {

using icalendar::FoundInstance;

constexpr std::size_t sizeOfValue = 256;

std::size_t sizeOf(const std::optional<std::string>& text) {
    return text ? text->size() : 0;
}

// About what it takes to hand an occurrence out.
std::size_t sizeOf(const FoundInstance& occurrence) {
    const model::Event& event = occurrence.event->event;
    std::size_t size = sizeOf(event.title) + sizeOf(event.location) + sizeOf(event.notes) +
                       sizeOfValue * (1 + event.participants.size() + event.recurrenceRules.size());
    for (const model::Participant& participant : event.participants) {
        size += participant.url.size() + sizeOf(participant.name);
    }
    return size;
}

// Hands over every occurrence of which one of the same event came before.
template <class Occurrences, class Take>
void forEachRepetition(Occurrences& occurrences, Take take) {
    std::unordered_set<std::string_view> seen;
    for (auto& occurrence : occurrences) {
        if (!seen.insert(occurrence.event->key.uid).second) {
            take(occurrence);
        }
    }
}

} // namespace

void RangeAnswer::add(FileKey key, std::vector<FoundInstance> occurrences) {
    if (occurrences.empty()) {
        return;
    }
    File file{std::move(occurrences)};
    if (file.occurrences.size() > 1) {
        forEachRepetition(file.occurrences,
            [&](const FoundInstance& occurrence) { file.added += sizeOf(occurrence); });
    }
    if (firstReduced_ && key > *firstReduced_) {
        reduce(file);
    }
    added_ += file.added;
    files_.emplace(std::move(key), std::move(file));
    while (added_ > limit_) {
        const auto last = std::find_if(
            files_.rbegin(), files_.rend(), [](const auto& each) { return each.second.added > 0; });
        added_ -= last->second.added;
        reduce(last->second);
        firstReduced_ = last->first;
    }
}

void RangeAnswer::remove(const FileKey& key) {
    const auto found = files_.find(key);
    if (found != files_.end()) {
        added_ -= found->second.added;
        files_.erase(found);
    }
}

std::map<FileKey, std::vector<FoundInstance>> RangeAnswer::take() {
    std::map<FileKey, std::vector<FoundInstance>> all;
    for (auto& [key, file] : files_) {
        all.emplace_hint(all.end(), key, std::move(file.occurrences));
    }
    files_.clear();
    return all;
}

void RangeAnswer::reduce(File& file) {
    forEachRepetition(
        file.occurrences, [](FoundInstance& occurrence) { occurrence.event.reset(); });
    std::erase_if(
        file.occurrences, [](const FoundInstance& occurrence) { return !occurrence.event; });
    file.occurrences.shrink_to_fit();
    file.added = 0;
}

} // namespace quenbrook::stores::vdir
