#pragma once

#include <cstdint>
#include <expected>
#include <string>

namespace parvel {

// A failure reported by the platform: the domain it came from, a code within that domain and a
// fixed English description meant for people (what an alert or a log line shows).
struct Error {
    std::string domain;
    std::int64_t code = 0;
    std::string description;

    friend bool operator==(const Error&, const Error&) = default;
};

template <typename T>
using Result = std::expected<T, Error>;

// The error domain of POSIX errno values; the description is strerror's text.
inline constexpr std::string_view kPosixErrorDomain = "NSPOSIXErrorDomain";

// Builds an error from an errno value.
Error posixError(int errnoValue);

}  // namespace parvel
