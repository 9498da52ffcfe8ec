#pragma once

// The one way the core reports work that can fail: a value, or a failure made of a kind (for
// callers that act differently on different failures, such as the command line's exit statuses)
// and a sentence the user can read. Nothing in the core hands errors back through out-parameters.

#include <QString>

#include <utility>
#include <variant>

namespace qv {

template <class Kind = int>
struct Failure {
    Kind kind{};
    QString message;
};

template <class T, class Kind = int>
class [[nodiscard]] Result {
public:
    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Failure<Kind> failure) : state_(std::in_place_index<1>, std::move(failure)) {}
    static Result failed(Kind kind, QString message) { return Failure<Kind>{kind, std::move(message)}; }

    bool ok() const { return state_.index() == 0; }
    explicit operator bool() const { return ok(); }

    T& value() & { return std::get<0>(state_); }
    const T& value() const& { return std::get<0>(state_); }
    T&& value() && { return std::get<0>(std::move(state_)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    // Only for a failed result.
    const Failure<Kind>& failure() const { return std::get<1>(state_); }
    Kind kind() const { return failure().kind; }
    const QString& message() const { return failure().message; }

private:
    std::variant<T, Failure<Kind>> state_;
};

// Work that gives nothing back but can fail.
template <class Kind>
class [[nodiscard]] Result<void, Kind> {
public:
    Result() = default;
    Result(Failure<Kind> failure) : failure_(std::move(failure)), ok_(false) {}
    static Result failed(Kind kind, QString message) { return Failure<Kind>{kind, std::move(message)}; }

    bool ok() const { return ok_; }
    explicit operator bool() const { return ok_; }
    const Failure<Kind>& failure() const { return failure_; }
    Kind kind() const { return failure_.kind; }
    const QString& message() const { return failure_.message; }

private:
    Failure<Kind> failure_;
    bool ok_ = true;
};

template <class Kind = int>
using Status = Result<void, Kind>;

}  // namespace qv
