#pragma once

#include "platform/JsonRecord.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

// The reading side of records (JsonRecord.h). The text is parsed once and poured straight into the
// record, with no document tree between: what the record does not know, and everything after a
// failure, is checked for syntax and passed over without being kept, however large or deep.
namespace quenbrook::platform {

// Why a text is no JSON form of a record.
struct JsonFailure {
    // From the outermost record to the value, as in `patch.attendeesV2[1].email`; empty for the
    // document itself.
    std::string path;
    // What is wrong with it: the rest of a sentence that begins with the key.
    std::string reason;

    // One sentence for people, in ASCII, without a full stop.
    std::string sentence() const;
};

// A number whose value is no signed 64-bit integer: it has a fractional part, or is too large.
struct JsonOtherNumber {};

using JsonScalar = std::variant<std::nullptr_t, bool, std::int64_t, JsonOtherNumber, std::string>;

enum class JsonContainer { array, object };

// Takes the parts of one array or object, in the order of the text.
class JsonSink {
  public:
    JsonSink() = default;
    JsonSink(const JsonSink&) = delete;
    JsonSink& operator=(const JsonSink&) = delete;
    virtual ~JsonSink() = default;

    // The name of the object's next part.
    virtual void key(std::string_view name) = 0;
    // The part is a scalar.
    virtual void scalar(JsonScalar&& value) = 0;
    // The part is a container: who takes its parts, or null to pass over them.
    virtual std::unique_ptr<JsonSink> open(JsonContainer container) = 0;
    // The sink given by `open` has taken its last part.
    virtual void closed() = 0;
    // There are no more parts.
    virtual void finish() = 0;
};

// Pours the document into `root` (as its one part). The failure is one of syntax: `text` (valid
// UTF-8) is not a JSON document as RFC 8259 has it.
std::optional<JsonFailure> readJsonText(std::string_view text, JsonSink& root);

JsonFailure jsonMissing(std::string_view expected);
JsonFailure jsonMismatch(const JsonScalar& found, std::string_view expected);
JsonFailure jsonMismatch(JsonContainer found, std::string_view expected);
JsonFailure within(std::string_view name, JsonFailure failure);
JsonFailure within(std::size_t index, JsonFailure failure);

template <class T>
constexpr std::string_view jsonTypeName() {
    if constexpr (isOptional<T>) {
        return jsonTypeName<typename T::value_type>();
    } else if constexpr (std::same_as<T, std::string>) {
        return "a string";
    } else if constexpr (std::same_as<T, bool>) {
        return "true or false";
    } else if constexpr (std::same_as<T, std::int64_t>) {
        return "a 64-bit integer";
    } else if constexpr (isList<T>) {
        return "an array";
    } else {
        static_assert(JsonRecord<T>);
        return "an object";
    }
}

template <class T>
std::optional<JsonFailure> readScalar(JsonScalar&& value, T& target) {
    if constexpr (isOptional<T>) {
        if (std::holds_alternative<std::nullptr_t>(value)) {
            target.reset();
            return std::nullopt;
        }
        return readScalar(std::move(value), target.emplace());
    } else {
        if constexpr (!isList<T> && !JsonRecord<T>) {
            if (T* found = std::get_if<T>(&value)) {
                target = std::move(*found);
                return std::nullopt;
            }
        }
        return jsonMismatch(value, jsonTypeName<T>());
    }
}

template <JsonRecord Record>
class JsonRecordSink;
template <class Element>
class JsonListSink;

// Null, with `failure` set, when a T is no such container. Otherwise the sink sets `failure` when
// it has finished.
template <class T>
std::unique_ptr<JsonSink> openContainer(
    JsonContainer container, T& target, std::optional<JsonFailure>& failure) {
    if constexpr (isOptional<T>) {
        return openContainer(container, target.emplace(), failure);
    } else {
        if constexpr (isList<T>) {
            if (container == JsonContainer::array) {
                return std::make_unique<JsonListSink<typename T::value_type>>(target, failure);
            }
        } else if constexpr (JsonRecord<T>) {
            if (container == JsonContainer::object) {
                return std::make_unique<JsonRecordSink<T>>(target, failure);
            }
        }
        failure = jsonMismatch(container, jsonTypeName<T>());
        return nullptr;
    }
}

// Keys may come in any order; the failure reported is that of the first field in declaration
// order. Of a key that occurs twice the last value counts.
template <JsonRecord Record>
class JsonRecordSink : public JsonSink {
  public:
    JsonRecordSink(Record& target, std::optional<JsonFailure>& failure)
        : target_(target)
        , failure_(failure) {}

    void key(std::string_view name) override {
        const auto& names = fieldNames<Record>;
        current_ =
            static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    }

    void scalar(JsonScalar&& value) override {
        withCurrentField(
            [&](auto& target, Part& part) { part.failure = readScalar(std::move(value), target); });
    }

    std::unique_ptr<JsonSink> open(JsonContainer container) override {
        std::unique_ptr<JsonSink> sink;
        withCurrentField([&](auto& target, Part& part) {
            sink = openContainer(container, target, part.failure);
        });
        return sink;
    }

    void closed() override {}

    void finish() override { finishUntilOneFails(std::make_index_sequence<fieldCount<Record>>{}); }

  private:
    struct Part {
        bool present = false;
        std::optional<JsonFailure> failure;
    };

    template <class Visit>
    void withCurrentField(const Visit& visit) {
        visitCurrentAmong(visit, std::make_index_sequence<fieldCount<Record>>{});
    }

    template <class Visit, std::size_t... I>
    void visitCurrentAmong(const Visit& visit, std::index_sequence<I...>) {
        ((current_ == I ? visitField<I>(visit) : void()), ...);
    }

    template <std::size_t... I>
    void finishUntilOneFails(std::index_sequence<I...>) {
        (finishField<I>() || ...);
    }

    template <std::size_t Index, class Visit>
    void visitField(const Visit& visit) {
        auto& target = target_.*std::get<Index>(recordFields<Record>).member;
        target = {};
        parts_[Index].present = true;
        parts_[Index].failure.reset();
        visit(target, parts_[Index]);
    }

    // Whether this field fails the record.
    template <std::size_t Index>
    bool finishField() {
        constexpr auto& field = std::get<Index>(recordFields<Record>);
        using Value = std::remove_cvref_t<decltype(target_.*field.member)>;
        Part& part = parts_[Index];
        if (!part.present && !isOptional<Value>) {
            part.failure = jsonMissing(jsonTypeName<Value>());
        }
        if (part.failure) {
            failure_ = within(field.name, std::move(*part.failure));
        }
        return part.failure.has_value();
    }

    Record& target_;
    std::optional<JsonFailure>& failure_;
    std::array<Part, fieldCount<Record>> parts_{};
    std::size_t current_ = fieldCount<Record>;
};

template <class Element>
class JsonListSink : public JsonSink {
  public:
    JsonListSink(std::vector<Element>& target, std::optional<JsonFailure>& failure)
        : target_(target)
        , failure_(failure) {}

    void key(std::string_view) override {}

    void scalar(JsonScalar&& value) override {
        if (!failure_) {
            partFailure_ = readScalar(std::move(value), target_.emplace_back());
            closed();
        }
    }

    std::unique_ptr<JsonSink> open(JsonContainer container) override {
        if (failure_) {
            return nullptr;
        }
        std::unique_ptr<JsonSink> sink =
            openContainer(container, target_.emplace_back(), partFailure_);
        closed();
        return sink;
    }

    void closed() override {
        if (partFailure_) {
            failure_ = within(target_.size() - 1, std::move(*partFailure_));
            partFailure_.reset();
        }
    }

    void finish() override {}

  private:
    std::vector<Element>& target_;
    std::optional<JsonFailure>& failure_;
    std::optional<JsonFailure> partFailure_;
};

// Takes the document itself.
template <JsonRecord Record>
class JsonDocumentSink : public JsonSink {
  public:
    JsonDocumentSink(Record& target, std::optional<JsonFailure>& failure)
        : target_(target)
        , failure_(failure) {}

    void key(std::string_view) override {}
    void scalar(JsonScalar&& value) override { failure_ = readScalar(std::move(value), target_); }
    std::unique_ptr<JsonSink> open(JsonContainer container) override {
        return openContainer(container, target_, failure_);
    }
    void closed() override {}
    void finish() override {}

  private:
    Record& target_;
    std::optional<JsonFailure>& failure_;
};

template <JsonRecord Record>
std::variant<Record, JsonFailure> decodeJson(std::string_view text) {
    Record record;
    std::optional<JsonFailure> failure;
    JsonDocumentSink<Record> document(record, failure);
    if (auto syntaxFailure = readJsonText(text, document)) {
        return std::move(*syntaxFailure);
    }
    if (failure) {
        return std::move(*failure);
    }
    return record;
}

} // namespace quenbrook::platform
