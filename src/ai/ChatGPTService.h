#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ai/AIProvider.h"
#include "ai/ChatGPTError.h"
#include "ai/KeychainStore.h"
#include "base/Error.h"
#include "core/SettingsStore.h"
#include "platform/Http.h"
#include "platform/Log.h"
#include "platform/ProcessInfo.h"
#include "platform/Time.h"

namespace parvel {

// Answers one plain-text question with one plain-text answer from the AI provider chosen in the
// settings: one request, no history, no retries. Holds no state; every call reads the switch,
// provider, model and key afresh, so a change applies to the next call. Safe to call from several
// threads at once.
class ChatGPTService {
  public:
    static constexpr platform::Duration kRequestTimeout = platform::seconds(90);
    static constexpr std::int64_t kMaxOutputTokens = 1200;

    // `timeout` bounds each request; tests shorten it.
    ChatGPTService(const SettingsStore& settings, const KeychainStore& keys, platform::Http& http,
                   const platform::ProcessInfo& processInfo, platform::Log& log,
                   platform::Duration timeout = kRequestTimeout);

    // Blocks the calling thread until the answer or a failure, so callers run it off the main
    // thread. The question goes out unchanged. Failures: the ChatGPTError cases (see
    // ChatGPTError.h), the HTTP client's transport errors as they come, and the json_error ones
    // for an answer that is not JSON or a question that cannot be written as JSON.
    Result<std::string> ask(std::string_view question) const;

  private:
    Result<platform::HttpRequest> makeRequest(AIProvider provider, const std::string& key,
                                              const std::string& model,
                                              std::string_view question) const;

    const SettingsStore& settings_;
    const KeychainStore& keys_;
    platform::Http& http_;
    const platform::ProcessInfo& processInfo_;
    platform::Log& log_;
    platform::Duration timeout_;
};

}  // namespace parvel
