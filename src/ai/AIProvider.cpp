#include "ai/AIProvider.h"

#include <array>

#include <fmt/format.h>

namespace parvel {

namespace {

constexpr std::array<std::string_view, 1> kOpenRouterModels{"openrouter/free"};
constexpr std::array<std::string_view, 2> kGeminiModels{"gemini-3.5-flash-lite",
                                                        "gemini-3.8-flash"};
constexpr std::array<std::string_view, 1> kOpenAIModels{"gpt-5.6-luna"};

std::string withoutTrailingSlashes(std::string url) {
    while (url.ends_with('/')) {
        url.pop_back();
    }
    return url;
}

}  // namespace

std::string_view rawValue(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "OpenRouter (Free models)";
        case AIProvider::gemini:
            return "Google Gemini (Free tier)";
        case AIProvider::openAI:
            return "OpenAI";
    }
    return "Google Gemini (Free tier)";
}

std::optional<AIProvider> aiProviderFromRawValue(std::string_view raw) {
    for (const auto provider : kAllAIProviders) {
        if (rawValue(provider) == raw) {
            return provider;
        }
    }
    return std::nullopt;
}

AIProvider requestProvider(std::string_view storedValue) {
    return aiProviderFromRawValue(storedValue).value_or(AIProvider::gemini);
}

AIProvider keyPageProvider(std::string_view title) {
    return aiProviderFromRawValue(title).value_or(AIProvider::openRouter);
}

std::span<const std::string_view> models(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return kOpenRouterModels;
        case AIProvider::gemini:
            return kGeminiModels;
        case AIProvider::openAI:
            return kOpenAIModels;
    }
    return kGeminiModels;
}

std::string_view defaultModel(AIProvider provider) {
    return models(provider).front();
}

std::string_view apiKeyPageURL(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "https://openrouter.ai/settings/keys";
        case AIProvider::gemini:
            return "https://aistudio.google.com/app/apikey";
        case AIProvider::openAI:
            return "https://platform.openai.com/api-keys";
    }
    return "https://openrouter.ai/settings/keys";
}

std::string_view publicBaseURL(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "https://openrouter.ai";
        case AIProvider::gemini:
            return "https://generativelanguage.googleapis.com";
        case AIProvider::openAI:
            return "https://api.openai.com";
    }
    return "https://generativelanguage.googleapis.com";
}

std::string_view baseURLEnvironmentVariable(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "PARVELMAC_OPENROUTER_BASE_URL";
        case AIProvider::gemini:
            return "PARVELMAC_GEMINI_BASE_URL";
        case AIProvider::openAI:
            return "PARVELMAC_OPENAI_BASE_URL";
    }
    return "PARVELMAC_GEMINI_BASE_URL";
}

std::string apiBaseURL(AIProvider provider, const platform::ProcessInfo& processInfo,
                       platform::Log& log) {
    const auto variable = baseURLEnvironmentVariable(provider);
    const auto override = processInfo.environmentValue(variable);
    if (!override || override->empty()) {
        return std::string(publicBaseURL(provider));
    }
    auto url = withoutTrailingSlashes(*override);
    log.write(fmt::format("{} requests go to {} ({} is set)", rawValue(provider), url, variable));
    return url;
}

}  // namespace parvel
