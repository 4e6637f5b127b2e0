#include "platform/evolution/RangeReading.h"

#include "platform/evolution/Queries.h"
#include "platform/evolution/Zones.h"

#include <utility>

namespace quenbrook::platform::evolution {

RangeReading::RangeReading(FactoryCalendar& calendar, Instant start, Instant end)
    : calendar_(calendar)
    , range_(start, end)
    , narrowQueries_(rangeQueries(start, end)) {
    calendar_.open();
    calendar_.whenSettled([this] { begin(); });
}

RangeReading::~RangeReading() {
    if (!isDone_) {
        calendar_.whenSettled(nullptr);
    }
}

bool RangeReading::isAnswered(const Outcome& outcome) const {
    const auto* error = std::get_if<BusError>(&outcome);
    // A server that is away must not hide what other calendars have; but of a service that died
    // nobody knows what it would have told.
    if (error && error->isSilence() && !calendar_.source().isRemote) {
        throw *error;
    }
    return error == nullptr;
}

void RangeReading::begin() {
    if (!calendar_.isOpen()) {
        isDone_ = true;
        isAnswered(*calendar_.error());
    } else if (narrowQueries_.empty()) {
        ask({everything});
    } else {
        askForRevision([this](std::string revision) {
            revision_ = std::move(revision);
            ask(std::move(narrowQueries_));
        });
    }
}

void RangeReading::askForRevision(std::function<void(std::string)> take) {
    revisionCall_ =
        calendar_.requestProperty("Revision", [this, take = std::move(take)](Outcome outcome) {
            std::string revision;
            if (isAnswered(outcome)) {
                revision = std::get<Message>(outcome).readVariantString().value_or("");
            }
            take(std::move(revision));
        });
}

void RangeReading::ask(std::vector<std::string> queries) {
    queries_.clear();
    for (std::string& text : queries) {
        queries_.push_back({std::move(text), std::nullopt, {}});
    }
    unanswered_ = queries_.size();
    for (Query& query : queries_) {
        query.pending = calendar_.send(
            "GetObjectList",
            [this, &query](Outcome outcome) { takeAnswer(query, std::move(outcome)); }, query.text);
    }
}

void RangeReading::takeAnswer(Query& query, Outcome outcome) {
    if (isAnswered(outcome)) {
        query.answer = std::move(std::get<Message>(outcome));
    }
    --unanswered_;
    if (unanswered_ > 0) {
        return;
    }
    if (queries_.size() == 1) {
        takeAll();
        return;
    }
    askForRevision([this](const std::string& revision) {
        if (revision == revision_) {
            takeAll();
        } else {
            ask({everything});
        }
    });
}

void RangeReading::takeAll() {
    for (Query& query : queries_) {
        if (query.answer) {
            query.answer->readStrings([&](std::string_view each) { components_.add(each); });
        }
    }
    queries_.clear();
    askForZones();
}

void RangeReading::askForZones() {
    const auto names = zonesToFetch(components_);
    unanswered_ = names.size();
    for (const std::string& name : names) {
        zones_.push_back(calendar_.send(
            "GetTimezone", [this](Outcome outcome) { takeZone(std::move(outcome)); }, name));
    }
    if (names.empty()) {
        expand();
    }
}

void RangeReading::takeZone(Outcome outcome) {
    if (isAnswered(outcome)) {
        components_.add(std::get<Message>(outcome).readString());
    }
    --unanswered_;
    if (unanswered_ == 0) {
        expand();
    }
}

void RangeReading::expand() {
    events_ = range_.eventsIn(components_.stream());
    isDone_ = true;
}

} // namespace quenbrook::platform::evolution
