// What an operation gives: a value, or what went wrong.
#pragma once

#include <utility>
#include <variant>

namespace quzo::platform {

template <typename T, typename Failure>
class [[nodiscard]] Result {
public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Failure fault) : content_(std::in_place_index<1>, std::move(fault)) {}

    bool ok() const { return content_.index() == 0; }
    explicit operator bool() const { return ok(); }

    // Only when ok().
    T& operator*() { return *std::get_if<0>(&content_); }
    const T& operator*() const { return *std::get_if<0>(&content_); }
    T* operator->() { return std::get_if<0>(&content_); }
    const T* operator->() const { return std::get_if<0>(&content_); }

    // Only when not ok().
    const Failure& fault() const { return *std::get_if<1>(&content_); }

private:
    std::variant<T, Failure> content_;
};

} // namespace quzo::platform
