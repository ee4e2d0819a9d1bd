#pragma once

#include <cstdint>
#include <expected>
#include <string>
#include <type_traits>

namespace parvel {

// A failure reported by the platform: the domain it came from, a code within that domain and a
// fixed English description meant for people (what an alert or a log line shows).
struct Error {
    std::string domain;
    std::int64_t code = 0;
    std::string description;

    friend bool operator==(const Error&, const Error&) = default;
};

// A value, or the Error that kept it from being made. It is a class rather than an alias of
// std::expected only so that it can be [[nodiscard]]: GCC warns neither about a dropped
// std::expected nor about the dropped result of a [[nodiscard]] virtual function, so a failure
// nobody looks at would compile silently. A result ignored on purpose is cast to void, with a
// comment saying why.
template <typename T>
class [[nodiscard]] Result : public std::expected<T, Error> {
    using Expected = std::expected<T, Error>;

  public:
    using Expected::Expected;

    // std::expected compares a left side it takes as a std::expected, which a Result only
    // converts to; these take a Result as it is, so that no comparison is ambiguous.
    friend bool operator==(const Result& a, const Result& b) {
        return static_cast<const Expected&>(a) == static_cast<const Expected&>(b);
    }
    template <typename E>
    friend bool operator==(const Result& a, const std::unexpected<E>& failure) {
        return static_cast<const Expected&>(a) == failure;
    }
    template <typename U>
    requires(!std::is_void_v<T> && !std::is_base_of_v<Expected, U>) friend bool operator==(
        const Result& a, const U& value) {
        return static_cast<const Expected&>(a) == value;
    }
};

// The error domain of POSIX errno values; the description is strerror's text.
inline constexpr std::string_view kPosixErrorDomain = "NSPOSIXErrorDomain";

// Builds an error from an errno value.
Error posixError(int errnoValue);

}  // namespace parvel
