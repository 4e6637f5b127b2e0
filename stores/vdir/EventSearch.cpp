#include "stores/vdir/EventSearch.h"

#include "files/FileReader.h"
#include "stores/vdir/EventFiles.h"

#include <map>
#include <mutex>
#include <utility>

namespace quenbrook::stores::vdir {
namespace {

// Whether this text, which comes from a request, can be part of a file's name and of nothing else.
bool isPlainName(std::string_view text) {
    constexpr std::string_view allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_@.";
    return !text.empty() && text.front() != '.' &&
           text.find_first_not_of(allowed) == std::string_view::npos;
}

std::optional<SearchResult> searchInFile(
    const files::Directory& directory, const std::string& name, std::string_view uid) {
    const files::DirectoryEntry entry{name, files::DirectoryEntry::Kind::file, true};
    files::FileReader reader;
    const auto text = reader.read(directory, entry);
    auto found = text ? icalendar::findEvent(*text, uid) : std::nullopt;
    return found ? std::optional(SearchResult{std::move(*found), name}) : std::nullopt;
}

std::optional<SearchResult> searchInAll(
    const files::Directory& directory, std::string_view uid, const files::ReadingThreads& threads) {
    EventFiles files(directory);
    files.sort();
    std::mutex finding;
    std::map<std::string, icalendar::FoundEvent> found;
    readEventFiles(
        {&files, 1}, threads,
        [&](std::size_t, const std::string& name, std::string_view text) {
            auto event = icalendar::findEvent(text, uid);
            const std::lock_guard lock(finding);
            if (event) {
                found.emplace(name, std::move(*event));
            }
            return found.empty() || name < found.begin()->first;
        },
        [](std::size_t, const std::string&) {});
    return found.empty() ? std::nullopt
                         : std::optional(SearchResult{
                               std::move(found.begin()->second), found.begin()->first});
}

} // namespace

// A file named after the UID, as nearly all are, is looked at before the directory is listed: a
// listing of 10,000 names takes longer than all the rest.
std::optional<SearchResult> searchEvent(
    const files::Directory& directory, std::string_view uid, const files::ReadingThreads& threads) {
    auto found = isPlainName(uid)
                     ? searchInFile(directory, std::string(uid) + std::string(eventSuffix), uid)
                     : std::nullopt;
    return found ? std::move(found) : searchInAll(directory, uid, threads);
}

} // namespace quenbrook::stores::vdir
