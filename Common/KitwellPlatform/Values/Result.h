#pragma once

#include <cassert>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Why an operation failed. `domain` says whose code it is: kSystemErrorDomain for an errno value, else the
// name of the format or service.
struct Error {
    std::string domain;
    std::int64_t code = 0;
    std::string description;
};

inline constexpr std::string_view kSystemErrorDomain = "system";

// The error for an errno value; `doing` names the operation and what it was done to ("open /a/b").
PLATFORM_API Error systemError(std::string_view doing, int errnoValue);

// Whether the system found nothing under the path, or something where nothing should be.
PLATFORM_API bool isNoSuchFile(const Error& error);
PLATFORM_API bool isFileExists(const Error& error);

// A value, or the reason why there is none. Reading the side that is not there is a programming error.
template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : state_(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return state_.index() == 0; }
    T& value() & {
        assert(*this);
        return *std::get_if<0>(&state_);
    }
    const T& value() const& {
        assert(*this);
        return *std::get_if<0>(&state_);
    }
    T&& value() && {
        assert(*this);
        return std::move(*std::get_if<0>(&state_));
    }
    const Error& error() const {
        assert(!*this);
        return *std::get_if<1>(&state_);
    }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T&& operator*() && { return std::move(*this).value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

private:
    std::variant<T, Error> state_;
};

template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : error_(std::move(error)) {}

    explicit operator bool() const { return !error_; }
    const Error& error() const {
        assert(error_);
        return *error_;
    }

private:
    std::optional<Error> error_;
};

} // namespace kitwell::platform
