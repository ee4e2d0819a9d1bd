#include "ai/ChatGPTService.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/SettingsKeys.h"

namespace parvel {

namespace keys = settings_keys;
using nlohmann::json;

namespace {

constexpr std::string_view kJSONContentType = "application/json";
constexpr std::string_view kAppTitle = "ParvelMac";
constexpr std::string_view kUnwritableQuestion =
    "The question could not be sent because it is not valid UTF-8 text.";

std::string_view failurePrefix(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "OpenRouter request failed with HTTP ";
        case AIProvider::gemini:
            return "Gemini request failed with HTTP ";
        case AIProvider::openAI:
            return "OpenAI request failed with HTTP ";
    }
    return "Gemini request failed with HTTP ";
}

// Gemini puts the model into the path as it stands, so only characters that cannot change the
// URL's meaning ('/', '?', '#', spaces...) are accepted there.
bool isPathSafe(std::string_view model) {
    return !model.empty() && std::ranges::all_of(model, [](char c) {
        const bool letterOrDigit =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        return letterOrDigit || c == '-' || c == '.' || c == '_' || c == '~';
    });
}

Result<std::string> geminiPath(const std::string& model) {
    if (!isPathSafe(model)) {
        return std::unexpected(
            Error{std::string(platform::kURLErrorDomain), platform::url_error::kBadURL,
                  fmt::format("The model name \u201c{}\u201d cannot be part of a Gemini request.",
                              model)});
    }
    return "/v1beta/models/" + model + ":generateContent";
}

Result<std::string> endpointPath(AIProvider provider, const std::string& model) {
    switch (provider) {
        case AIProvider::openRouter:
            return "/api/v1/chat/completions";
        case AIProvider::gemini:
            return geminiPath(model);
        case AIProvider::openAI:
            return "/v1/responses";
    }
    return geminiPath(model);
}

platform::HttpHeaders requestHeaders(AIProvider provider, const std::string& key) {
    platform::HttpHeaders headers{{"Content-Type", std::string(kJSONContentType)}};
    switch (provider) {
        case AIProvider::openRouter:
            headers.emplace_back("Authorization", "Bearer " + key);
            headers.emplace_back("X-Title", std::string(kAppTitle));
            break;
        case AIProvider::gemini:
            headers.emplace_back("x-goog-api-key", key);
            break;
        case AIProvider::openAI:
            headers.emplace_back("Authorization", "Bearer " + key);
            break;
    }
    return headers;
}

json openAIBody(const std::string& model, const std::string& question) {
    return {{"model", model},
            {"input", question},
            {"max_output_tokens", ChatGPTService::kMaxOutputTokens}};
}

json geminiBody(const std::string& question) {
    return {{"contents", json::array({{{"parts", json::array({{{"text", question}}})}}})},
            {"generationConfig", {{"maxOutputTokens", ChatGPTService::kMaxOutputTokens}}}};
}

json openRouterBody(const std::string& model, const std::string& question) {
    return {{"model", model},
            {"messages", json::array({{{"role", "user"}, {"content", question}}})},
            {"max_tokens", ChatGPTService::kMaxOutputTokens}};
}

json requestBody(AIProvider provider, const std::string& model, const std::string& question) {
    switch (provider) {
        case AIProvider::openRouter:
            return openRouterBody(model, question);
        case AIProvider::gemini:
            return geminiBody(question);
        case AIProvider::openAI:
            return openAIBody(model, question);
    }
    return geminiBody(question);
}

// Compact JSON; the writer refuses strings that are not UTF-8.
Result<std::string> serialise(const json& body) {
    try {
        return body.dump();
    } catch (const json::type_error&) {
        return std::unexpected(Error{std::string(json_error::kDomain), json_error::kUnwritable,
                                     std::string(kUnwritableQuestion)});
    }
}

Result<json> parse(const std::string& body) {
    try {
        return json::parse(body);
    } catch (const json::parse_error& error) {
        return std::unexpected(
            Error{std::string(json_error::kDomain), json_error::kUnreadable,
                  fmt::format("The AI provider's answer is not valid JSON (error at byte {}).",
                              error.byte)});
    }
}

const json* member(const json& object, const char* name) {
    if (!object.is_object()) {
        return nullptr;
    }
    const auto found = object.find(name);
    return found == object.end() ? nullptr : &*found;
}

const json* arrayMember(const json& object, const char* name) {
    const auto* value = member(object, name);
    return value != nullptr && value->is_array() ? value : nullptr;
}

const json* objectMember(const json& object, const char* name) {
    const auto* value = member(object, name);
    return value != nullptr && value->is_object() ? value : nullptr;
}

const std::string* stringMember(const json& object, const char* name) {
    const auto* value = member(object, name);
    return value != nullptr ? value->get_ptr<const std::string*>() : nullptr;
}

// The first non-empty "output_text" of any output item; reasoning items carry no content.
std::optional<std::string> openAIAnswer(const json& root) {
    const auto* output = arrayMember(root, "output");
    if (output == nullptr) {
        return std::nullopt;
    }
    for (const auto& item : *output) {
        const auto* content = arrayMember(item, "content");
        if (content == nullptr) {
            continue;
        }
        for (const auto& entry : *content) {
            const auto* type = stringMember(entry, "type");
            const auto* text = stringMember(entry, "text");
            if (type != nullptr && *type == "output_text" && text != nullptr && !text->empty()) {
                return *text;
            }
        }
    }
    return std::nullopt;
}

// Every text part of the first candidate, one per line.
std::optional<std::string> geminiAnswer(const json& root) {
    const auto* candidates = arrayMember(root, "candidates");
    if (candidates == nullptr || candidates->empty()) {
        return std::nullopt;
    }
    const auto* content = objectMember(candidates->front(), "content");
    const auto* parts = content != nullptr ? arrayMember(*content, "parts") : nullptr;
    if (parts == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    for (const auto& part : *parts) {
        if (const auto* text = stringMember(part, "text")) {
            texts.push_back(*text);
        }
    }
    return fmt::format("{}", fmt::join(texts, "\n"));
}

std::optional<std::string> openRouterAnswer(const json& root) {
    const auto* choices = arrayMember(root, "choices");
    if (choices == nullptr || choices->empty()) {
        return std::nullopt;
    }
    const auto* message = objectMember(choices->front(), "message");
    const auto* content = message != nullptr ? stringMember(*message, "content") : nullptr;
    return content != nullptr ? std::optional(*content) : std::nullopt;
}

std::optional<std::string> extractAnswer(AIProvider provider, const json& root) {
    switch (provider) {
        case AIProvider::openRouter:
            return openRouterAnswer(root);
        case AIProvider::gemini:
            return geminiAnswer(root);
        case AIProvider::openAI:
            return openAIAnswer(root);
    }
    return std::nullopt;
}

Result<std::string> answerFrom(AIProvider provider, const platform::HttpResponse& response) {
    if (!response.isHTTP) {
        return std::unexpected(invalidResponseError());
    }
    if (response.statusCode < 200 || response.statusCode > 299) {
        return std::unexpected(
            serverError(fmt::format("{}{}.", failurePrefix(provider), response.statusCode)));
    }
    const auto root = parse(response.body);
    if (!root) {
        return std::unexpected(root.error());
    }
    if (!root->is_object()) {
        return std::unexpected(invalidResponseError());
    }
    auto answer = extractAnswer(provider, *root);
    if (!answer || answer->empty()) {
        return std::unexpected(invalidResponseError());
    }
    return std::move(*answer);
}

}  // namespace

ChatGPTService::ChatGPTService(const SettingsStore& settings, const KeychainStore& keys,
                               platform::Http& http, const platform::ProcessInfo& processInfo,
                               platform::Log& log, platform::Duration timeout)
    : settings_(settings),
      keys_(keys),
      http_(http),
      processInfo_(processInfo),
      log_(log),
      timeout_(timeout) {}

Result<std::string> ChatGPTService::ask(std::string_view question) const {
    // The switch gates everything: while it is off no key is read and nothing is sent.
    if (!settings_.boolOr(keys::siriChatGPTEnabledKey, false)) {
        return std::unexpected(disabledError());
    }
    const auto provider =
        requestProvider(settings_.stringOr(keys::aiProviderKey, rawValue(AIProvider::gemini)));
    const auto key = keys_.loadAPIKey(provider);
    if (!key || key->empty()) {
        return std::unexpected(noAPIKeyError());
    }
    const auto model = settings_.stringOr(keys::chatGPTModelKey, defaultModel(provider));
    const auto request = makeRequest(provider, *key, model, question);
    if (!request) {
        return std::unexpected(request.error());
    }
    const auto response = http_.send(*request);
    if (!response) {
        return std::unexpected(response.error());
    }
    return answerFrom(provider, *response);
}

Result<platform::HttpRequest> ChatGPTService::makeRequest(AIProvider provider,
                                                          const std::string& key,
                                                          const std::string& model,
                                                          std::string_view question) const {
    const auto path = endpointPath(provider, model);
    if (!path) {
        return std::unexpected(path.error());
    }
    auto body = serialise(requestBody(provider, model, std::string(question)));
    if (!body) {
        return std::unexpected(body.error());
    }
    platform::HttpRequest request;
    request.method = "POST";
    request.url = apiBaseURL(provider, processInfo_, log_) + *path;
    request.headers = requestHeaders(provider, key);
    request.body = std::move(*body);
    request.timeout = timeout_;
    return request;
}

}  // namespace parvel
