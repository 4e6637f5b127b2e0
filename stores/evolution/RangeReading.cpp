#include "stores/evolution/RangeReading.h"

#include "icalendar/YearlyRules.h"
#include "stores/evolution/Queries.h"
#include "stores/evolution/Zones.h"

#include <utility>

namespace quenbrook::stores::evolution {

RangeReading::RangeReading(FactoryCalendar& calendar, model::Instant start, model::Instant end)
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

void RangeReading::takeFailure(BusError error) {
    revisionCall_ = PendingCall();
    queries_.clear();
    zones_.clear();
    components_ = icalendar::StreamAssembly();
    if (calendar_.reopenAfter(error)) {
        calendar_.whenSettled([this] { begin(); });
        return;
    }
    error_ = std::move(error);
    isDone_ = true;
}

void RangeReading::begin() {
    if (!calendar_.isOpen()) {
        isDone_ = true;
    } else if (narrowQueries_.empty()) {
        ask({everyEvent});
    } else {
        askForRevision([this](std::string revision) {
            revision_ = std::move(revision);
            ask(narrowQueries_);
        });
    }
}

void RangeReading::askForRevision(std::function<void(std::string)> take) {
    revisionCall_ =
        calendar_.requestProperty("Revision", [this, take = std::move(take)](Outcome outcome) {
            if (const auto* error = std::get_if<BusError>(&outcome)) {
                takeFailure(*error);
                return;
            }
            take(std::string(std::get<Message>(outcome).readVariantString().value_or("")));
        });
}

void RangeReading::ask(const std::vector<std::string>& queries) {
    queries_ = std::vector<Query>(queries.size());
    unanswered_ = queries.size();
    for (std::size_t i = 0; i < queries.size(); ++i) {
        Query& query = queries_[i];
        query.pending = calendar_.send(
            "GetObjectList",
            [this, &query](Outcome outcome) { takeAnswer(query, std::move(outcome)); }, queries[i]);
    }
}

void RangeReading::takeAnswer(Query& query, Outcome outcome) {
    if (const auto* error = std::get_if<BusError>(&outcome)) {
        takeFailure(*error);
        return;
    }
    query.answer = std::move(std::get<Message>(outcome));
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
            ask({everyEvent});
        }
    });
}

void RangeReading::takeAll() {
    const bool areBirthdays = calendar_.source().isBirthdays;
    isEmpty_ = true;
    const auto add = [&](std::string_view each) {
        isEmpty_ = false;
        if (areBirthdays) {
            components_.add(icalendar::withYearlyRulesInMonthOfStart(each));
        } else {
            components_.add(each);
        }
    };
    for (Query& query : queries_) {
        query.answer->readStrings(add);
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
    if (const auto* error = std::get_if<BusError>(&outcome); error == nullptr) {
        components_.add(std::get<Message>(outcome).readString());
    } else if (error->isUnanswered()) {
        takeFailure(*error);
        return;
    }
    // Otherwise it is a zone that nobody knows.
    --unanswered_;
    if (unanswered_ == 0) {
        expand();
    }
}

void RangeReading::expand() {
    events_ = range_.eventsIn(components_.stream());
    isDone_ = true;
}

} // namespace quenbrook::stores::evolution
