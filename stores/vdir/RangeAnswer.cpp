#include "stores/vdir/RangeAnswer.h"

#include <algorithm>
#include <optional>

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

} // namespace

void RangeAnswer::add(
    FileKey key, icalendar::FoundInstances found, std::vector<FoundInstance> firsts) {
    const bool isCostly = found.steps >= icalendar::RangeQuery::modestSteps;
    if (found.instances.empty() && !isCostly) {
        return;
    }
    File file{std::move(found.instances), std::move(firsts), isCostly};
    file.steps = isCostly ? found.steps : 0;
    for (const FoundInstance& occurrence : file.occurrences) {
        file.added += occurrence.isFirst ? 0 : sizeOf(occurrence);
    }
    Kind& kind = kindOf(file);
    if (isBeyond(kind, key)) {
        reduce(file);
    }
    kind.added += file.added;
    kind.steps += file.steps;
    files_.emplace(std::move(key), std::move(file));
    while (kind.added > limits_.size || kind.steps > limits_.steps) {
        const auto last = std::find_if(files_.rbegin(), files_.rend(), [&](const auto& each) {
            return each.second.isCostly == isCostly &&
                   (each.second.added > 0 || each.second.steps > 0);
        });
        kind.added -= last->second.added;
        kind.steps -= last->second.steps;
        reduce(last->second);
        kind.firstReduced = last->first;
    }
}

void RangeAnswer::remove(const FileKey& key) {
    const auto found = files_.find(key);
    if (found != files_.end()) {
        Kind& kind = kindOf(found->second);
        kind.added -= found->second.added;
        kind.steps -= found->second.steps;
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
    if (file.isCostly) {
        file.occurrences = std::move(file.firsts);
    } else {
        std::erase_if(
            file.occurrences, [](const FoundInstance& occurrence) { return !occurrence.isFirst; });
    }
    file.occurrences.shrink_to_fit();
    file.added = 0;
    file.steps = 0;
}

} // namespace quenbrook::stores::vdir
