#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "base/Error.h"

namespace parvel {

// The Ask AI service's own failures. They travel as Errors in their own domain, so that one
// Result carries them side by side with the HTTP client's transport errors and the JSON errors,
// each keeping its domain and code; the code tells the cases apart and the description is the
// fixed text a person sees.
enum class ChatGPTError : std::int64_t {
    server = 0,  // the provider answered with a status outside 200...299
    disabled = 1,
    noAPIKey = 2,
    invalidResponse = 3,
};

inline constexpr std::string_view kChatGPTErrorDomain = "com.tarnby.parvelmac.ChatGPTError";

inline Error makeChatGPTError(ChatGPTError kind, std::string description) {
    return Error{std::string(kChatGPTErrorDomain), static_cast<std::int64_t>(kind),
                 std::move(description)};
}

// The message is the description, e.g. "OpenAI request failed with HTTP 401."
inline Error serverError(std::string message) {
    return makeChatGPTError(ChatGPTError::server, std::move(message));
}

inline Error disabledError() {
    return makeChatGPTError(ChatGPTError::disabled, "Siri + ChatGPT is disabled in ParvelMac.");
}

inline Error noAPIKeyError() {
    return makeChatGPTError(ChatGPTError::noAPIKey,
                            "No API key is saved for the selected AI provider.");
}

inline Error invalidResponseError() {
    return makeChatGPTError(ChatGPTError::invalidResponse,
                            "The AI provider returned a response ParvelMac could not read.");
}

inline bool isChatGPTError(const Error& error, ChatGPTError kind) {
    return error.domain == kChatGPTErrorDomain && error.code == static_cast<std::int64_t>(kind);
}

// The JSON reader's and writer's failures, which reach the caller unchanged: the domain and codes
// of the system's JSON serialiser.
namespace json_error {
inline constexpr std::string_view kDomain = "NSCocoaErrorDomain";
inline constexpr std::int64_t kUnreadable = 3840;
inline constexpr std::int64_t kUnwritable = 3851;
}  // namespace json_error

}  // namespace parvel
