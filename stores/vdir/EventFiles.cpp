#include "stores/vdir/EventFiles.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <system_error>
#include <utility>

namespace quenbrook::stores::vdir {
namespace {

// How often files are looked for again that other programs rename.
constexpr int mostLooks = 100;

} // namespace

bool isEventFile(const files::DirectoryEntry& entry) {
    return entry.kind == files::DirectoryEntry::Kind::file && entry.name.ends_with(eventSuffix);
}

EventFiles::EventFiles(const files::Directory& directory)
    : directory_(&directory) {
    list();
}

void EventFiles::list() {
    files::Listing listing = directory_->list();
    isSnapshot_ = listing.isSnapshot;
    unread_ = std::move(listing.entries);
    std::erase_if(unread_, [](const files::DirectoryEntry& entry) { return !isEventFile(entry); });
}

void EventFiles::sort() {
    std::sort(unread_.begin(), unread_.end(),
        [](const files::DirectoryEntry& left, const files::DirectoryEntry& right) {
            return left.name < right.name;
        });
}

std::vector<std::string> EventFiles::lookAgain(std::span<const std::string> gone) {
    std::vector<std::string> lost;
    if (isSettled_ || (isSnapshot_ && gone.empty())) {
        isSettled_ = true;
        unread_.clear();
        return lost;
    }
    for (files::DirectoryEntry& entry : unread_) {
        read_.insert(std::move(entry.name));
    }
    for (const std::string& name : gone) {
        read_.erase(name);
    }
    list();
    std::set<std::string> there;
    for (const files::DirectoryEntry& entry : unread_) {
        there.insert(entry.name);
    }
    std::erase_if(
        unread_, [&](const files::DirectoryEntry& entry) { return read_.contains(entry.name); });
    std::set_difference(
        read_.begin(), read_.end(), there.begin(), there.end(), std::back_inserter(lost));
    for (const std::string& name : lost) {
        read_.erase(name);
    }
    isSettled_ = unread_.empty() && lost.empty() && gone.empty();
    return lost;
}

void readEventFiles(std::span<EventFiles> directories, const files::ReadingThreads& threads,
    const EventFileVisit& visit, const EventFileLoss& forget) {
    for (int look = 0; look < mostLooks; ++look) {
        std::vector<files::FileToRead> files;
        std::vector<std::size_t> owners;
        for (std::size_t i = 0; i < directories.size(); ++i) {
            for (const files::DirectoryEntry& entry : directories[i].unread()) {
                files.push_back({&directories[i].directory(), &entry});
                owners.push_back(i);
            }
        }
        if (std::all_of(directories.begin(), directories.end(),
                [](const EventFiles& each) { return each.isSettled(); })) {
            return;
        }
        std::atomic<bool> isEnough = false;
        const auto visitOne = [&](std::size_t number, std::string_view text) {
            const bool isWanted = visit(owners[number], files[number].entry->name, text);
            isEnough = isEnough || !isWanted;
            return isWanted;
        };
        std::vector<std::vector<std::string>> gone(directories.size());
        for (const std::size_t number : files::readFiles(files, threads, visitOne)) {
            gone[owners[number]].push_back(files[number].entry->name);
        }
        if (isEnough) {
            return;
        }
        for (std::size_t i = 0; i < directories.size(); ++i) {
            for (const std::string& name : directories[i].lookAgain(gone[i])) {
                forget(i, name);
            }
        }
    }
    throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy));
}

} // namespace quenbrook::stores::vdir
