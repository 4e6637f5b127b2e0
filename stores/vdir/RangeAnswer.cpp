#include "stores/vdir/RangeAnswer.h"

#include <iterator>
#include <utility>

namespace quenbrook::stores::vdir {
namespace {

using icalendar::FoundInstance;

bool isNoFirst(const FoundInstance& occurrence) {
    return !occurrence.isFirst;
}

bool isLarge(const FoundInstance& occurrence) {
    return occurrence.event->isLarge();
}

} // namespace

std::vector<FileKey> SharedLimit::add(const FileKey& key, std::int64_t amount) {
    if (isBeyond(key)) {
        return {key};
    }
    amounts_.emplace(key, amount);
    sum_ += amount;
    std::vector<FileKey> beyond;
    while (sum_ > limit_) {
        const auto last = std::prev(amounts_.end());
        sum_ -= last->second;
        firstBeyond_ = last->first;
        beyond.push_back(last->first);
        amounts_.erase(last);
    }
    return beyond;
}

void SharedLimit::remove(const FileKey& key) {
    const auto found = amounts_.find(key);
    if (found != amounts_.end()) {
        sum_ -= found->second;
        amounts_.erase(found);
    }
}

RangeAnswer::RangeAnswer(const RangeLimits& limits)
    : size_(static_cast<std::int64_t>(limits.size))
    , largeSize_(static_cast<std::int64_t>(limits.size))
    , costlySize_(static_cast<std::int64_t>(limits.size))
    , costlySteps_(limits.steps) {}

void RangeAnswer::add(
    FileKey key, icalendar::FoundInstances found, std::vector<FoundInstance> firsts) {
    const bool isCostly = found.steps >= icalendar::RangeQuery::modestSteps;
    if (found.instances.empty() && !isCostly) {
        return;
    }
    std::int64_t size = 0;
    std::int64_t largeSize = 0;
    for (const FoundInstance& occurrence : found.instances) {
        const auto sizeOfOne = static_cast<std::int64_t>(occurrence.event->size);
        size += occurrence.isFirst ? 0 : sizeOfOne;
        largeSize += occurrence.isFirst && isLarge(occurrence) ? sizeOfOne : 0;
    }
    files_.emplace(key, std::move(found.instances));
    if (isCostly) {
        std::erase_if(firsts, isLarge);
        firsts_.emplace(key, std::move(firsts));
        fallBack(costlySteps_.add(key, found.steps));
        fallBack(costlySize_.add(key, size + largeSize));
    } else if (size + largeSize > 0) {
        drop(size_.add(key, size), isNoFirst);
        drop(largeSize_.add(key, largeSize), isLarge);
    }
}

void RangeAnswer::remove(const FileKey& key) {
    for (SharedLimit* const limit : {&size_, &costlySize_, &costlySteps_, &largeSize_}) {
        limit->remove(key);
    }
    files_.erase(key);
    firsts_.erase(key);
}

std::map<FileKey, std::vector<FoundInstance>> RangeAnswer::take() {
    return std::exchange(files_, {});
}

void RangeAnswer::fallBack(const std::vector<FileKey>& beyond) {
    for (const FileKey& key : beyond) {
        if (auto firsts = firsts_.extract(key)) {
            files_.at(key) = std::move(firsts.mapped());
        }
    }
}

void RangeAnswer::drop(
    const std::vector<FileKey>& beyond, bool (*isDropped)(const FoundInstance&)) {
    for (const FileKey& key : beyond) {
        std::vector<FoundInstance>& occurrences = files_.at(key);
        std::erase_if(occurrences, isDropped);
        occurrences.shrink_to_fit();
    }
}

} // namespace quenbrook::stores::vdir
