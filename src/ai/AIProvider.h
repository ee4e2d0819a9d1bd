#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/Log.h"
#include "platform/ProcessInfo.h"

namespace parvel {

// The hosted language models Ask AI can use. The raw value is both the title in the provider menu
// and what the settings store keeps under "aiProvider".
enum class AIProvider { openRouter, gemini, openAI };

inline constexpr AIProvider kAllAIProviders[] = {AIProvider::openRouter, AIProvider::gemini,
                                                 AIProvider::openAI};

std::string_view rawValue(AIProvider provider);
// The provider whose raw value is exactly `raw`, if any.
std::optional<AIProvider> aiProviderFromRawValue(std::string_view raw);

// The provider a request goes to: a stored value that matches no provider means Gemini, the
// provider of a fresh install.
AIProvider requestProvider(std::string_view storedValue);
// The provider whose key page a menu title opens: an unknown title opens OpenRouter's, the first
// provider of the menu.
AIProvider keyPageProvider(std::string_view title);

// The models the settings offer for a provider, in menu order, and the one chosen by default.
std::span<const std::string_view> models(AIProvider provider);
std::string_view defaultModel(AIProvider provider);

// The web page where the user creates an API key for the provider.
std::string_view apiKeyPageURL(AIProvider provider);

// The provider's public API host, e.g. "https://api.openai.com".
std::string_view publicBaseURL(AIProvider provider);
// The environment variable that points a provider's requests elsewhere (a proxy, a test server).
std::string_view baseURLEnvironmentVariable(AIProvider provider);
// Where requests to the provider go: the override from the environment when one is set, logged
// every time so that a redirected key never goes unnoticed, otherwise the public host. Never ends
// with "/".
std::string apiBaseURL(AIProvider provider, const platform::ProcessInfo& processInfo,
                       platform::Log& log);

}  // namespace parvel
