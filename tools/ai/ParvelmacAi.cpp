// parvelmac-ai: the Ask AI action for a system without App Intents. Asks a question with the
// application's own settings and stored API key, stores API keys in the Secret Service and
// changes the Ask AI settings, so that nobody needs the settings window for it.

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <termios.h>
#include <unistd.h>

#include "ai/AskAIIntent.h"
#include "base/Utf8.h"
#include "core/SettingsKeys.h"
#include "platform/posix/HostPlatform.h"
#include "platform/posix/PosixProcessInfo.h"

namespace {

namespace keys = parvel::settings_keys;
using parvel::AIProvider;

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

constexpr std::string_view kPreferencesVariable = "PARVELMAC_PREFERENCES";
constexpr std::string_view kWhitespace = " \t\n\r\v\f";

constexpr const char* kFooter = R"(Exit status:
  0  done
  1  the question, the key or the setting failed; the reason is on standard error
  2  wrong usage

Environment:
  PARVELMAC_PREFERENCES          preferences folder, unless --preferences is given
  PARVELMAC_OPENAI_BASE_URL      send OpenAI requests to another server (logged when used)
  PARVELMAC_GEMINI_BASE_URL      the same for Google Gemini
  PARVELMAC_OPENROUTER_BASE_URL  the same for OpenRouter)";

// Everything the tool needs, wired as the application wires it, on the given preferences folder.
using parvel::platform::need;

struct Services {
    explicit Services(const std::string& preferencesFolder)
        : host(preferencesFolder),
          settings(need(host.platform().defaults, "defaults")),
          keys(need(host.platform().keychain, "keychain")),
          service(settings, keys, need(host.platform().http, "http"),
                  need(host.platform().processInfo, "process info"),
                  need(host.platform().log, "log")) {
        // The same first-launch registration as the application's, so a fresh account gets the
        // same defaults whichever runs first.
        settings.initializeDefaults();
    }

    parvel::posix::HostPlatform host;
    parvel::SettingsStore settings;
    parvel::KeychainStore keys;
    parvel::ChatGPTService service;
};

std::string lowercase(std::string_view text) {
    std::string result(text);
    for (auto& c : result) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return result;
}

std::string_view shortName(AIProvider provider) {
    switch (provider) {
        case AIProvider::openRouter:
            return "openrouter";
        case AIProvider::gemini:
            return "gemini";
        case AIProvider::openAI:
            return "openai";
    }
    return "gemini";
}

// A provider by its short name or its title, in any letter case.
std::optional<AIProvider> providerNamed(std::string_view name) {
    const auto wanted = lowercase(name);
    for (const auto provider : parvel::kAllAIProviders) {
        if (wanted == shortName(provider) || wanted == lowercase(rawValue(provider))) {
            return provider;
        }
    }
    return std::nullopt;
}

int unknownProvider(std::string_view name) {
    fmt::print(stderr, "Unknown AI provider \u201c{}\u201d: use openai, gemini or openrouter.\n",
               name);
    return kExitUsage;
}

// --preferences, then PARVELMAC_PREFERENCES, then the XDG configuration folder.
std::string preferencesFolder(const std::string& option,
                              const parvel::platform::ProcessInfo& processInfo) {
    std::string folder = option;
    if (folder.empty()) {
        folder = processInfo.environmentValue(kPreferencesVariable).value_or("");
    }
    if (folder.empty()) {
        const auto configHome = processInfo.environmentValue("XDG_CONFIG_HOME");
        const std::string base = configHome && configHome->starts_with('/')
                                     ? *configHome
                                     : processInfo.homeDirectory() + "/.config";
        folder = base + "/parvelmac/Preferences";
    }
    return std::filesystem::absolute(folder).lexically_normal().string();
}

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kWhitespace);
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(kWhitespace) - first + 1));
}

struct TerminalRestorer {
    termios saved;
    void operator()(const termios*) const { ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved); }
};

// The key comes from standard input, never from the command line where other users and the
// shell's history could see it. At a terminal: one line, not echoed.
std::string readKey() {
    termios saved{};
    if (::isatty(STDIN_FILENO) == 0 || ::tcgetattr(STDIN_FILENO, &saved) != 0) {
        return std::string(std::istreambuf_iterator<char>(std::cin),
                           std::istreambuf_iterator<char>());
    }
    fmt::print(stderr, "Paste the API key, then press Return: ");
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    const std::unique_ptr<const termios, TerminalRestorer> restore(&saved, TerminalRestorer{saved});
    std::string line;
    std::getline(std::cin, line);
    fmt::print(stderr, "\n");
    return line;
}

int ask(Services& services, const std::vector<std::string>& words) {
    const std::string question = fmt::format("{}", fmt::join(words, " "));
    const auto action = parvel::AskAIIntent(services.service).description();
    const auto result = action.perform({question});
    if (!result) {
        fmt::print(stderr, "{}\n", result.error());
        return kExitFailure;
    }
    fmt::print("{}\n{}\n", result->value, result->supportingText);
    return kExitSuccess;
}

int saveKey(Services& services, const std::string& providerName) {
    std::optional<AIProvider> provider = parvel::requestProvider(
        services.settings.stringOr(keys::aiProviderKey, rawValue(AIProvider::gemini)));
    if (!providerName.empty()) {
        provider = providerNamed(providerName);
        if (!provider) {
            return unknownProvider(providerName);
        }
    }
    const auto key = trimmed(readKey());
    if (key.empty()) {
        fmt::print(stderr, "Enter an API key first.\n");
        return kExitFailure;
    }
    if (!parvel::isValidUtf8(key)) {
        fmt::print(stderr, "The API key must be UTF-8 text.\n");
        return kExitFailure;
    }
    const auto saved = services.keys.saveAPIKey(key, *provider);
    if (!saved) {
        fmt::print(stderr, "Could not save API key: {}\n", saved.error().description);
        return kExitFailure;
    }
    fmt::print("API key saved securely in Keychain.\n");
    return kExitSuccess;
}

void printSettings(const parvel::SettingsStore& settings, const std::string& folder) {
    const auto onOff = [&](std::string_view key, bool fallback) {
        return settings.boolOr(key, fallback) ? "on" : "off";
    };
    fmt::print("Ask AI:          {}\n", onOff(keys::siriChatGPTEnabledKey, false));
    fmt::print("AI provider:     {}\n",
               settings.stringOr(keys::aiProviderKey, rawValue(AIProvider::gemini)));
    fmt::print("Model:           {}\n", settings.string(keys::chatGPTModelKey));
    fmt::print("Speak responses: {}\n", onOff(keys::speakChatGPTResponsesKey, true));
    fmt::print("Preferences:     {}\n", folder);
}

void setEnabled(parvel::SettingsStore& settings, bool enabled) {
    settings.set(keys::siriChatGPTEnabledKey, enabled);
    fmt::print("Ask AI is {}.\n", enabled ? "on" : "off");
}

// As the settings window does, a provider change keeps the stored model only when the new
// provider offers it, so requests never go out with another provider's model.
int setProvider(parvel::SettingsStore& settings, const std::string& name) {
    const auto provider = providerNamed(name);
    if (!provider) {
        return unknownProvider(name);
    }
    const auto offered = parvel::models(*provider);
    std::string model = settings.string(keys::chatGPTModelKey);
    if (std::ranges::find(offered, model) == offered.end()) {
        model = parvel::defaultModel(*provider);
    }
    settings.set(keys::aiProviderKey, std::string(rawValue(*provider)));
    settings.set(keys::chatGPTModelKey, model);
    fmt::print("AI provider: {}, model {}.\n", rawValue(*provider), model);
    return kExitSuccess;
}

int setModel(parvel::SettingsStore& settings, const std::string& model) {
    if (trimmed(model).empty()) {
        fmt::print(stderr, "Enter a model name.\n");
        return kExitUsage;
    }
    settings.set(keys::chatGPTModelKey, model);
    fmt::print("Model: {}.\n", model);
    return kExitSuccess;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Ask AI from the command line, with ParvelMac's settings and stored API keys"};
    app.footer(kFooter);
    app.require_subcommand(1);
    std::string preferencesOption;
    app.add_option("--preferences", preferencesOption,
                   "preferences folder (default $XDG_CONFIG_HOME/parvelmac/Preferences)");

    auto* askCommand = app.add_subcommand("ask", "ask the selected AI provider a question");
    std::vector<std::string> questionWords;
    askCommand->add_option("question", questionWords, "the question (words are joined by blanks)")
        ->required();

    auto* keyCommand = app.add_subcommand("key", "manage the stored API keys");
    keyCommand->require_subcommand(1);
    auto* keySet = keyCommand->add_subcommand(
        "set", "store an API key read from standard input (trimmed), replacing the old one");
    std::string keyProvider;
    keySet->add_option("--provider", keyProvider,
                       "openai, gemini or openrouter (default: the selected provider)");

    auto* settingsCommand = app.add_subcommand("settings", "show or change the Ask AI settings");
    settingsCommand->require_subcommand(1);
    auto* show = settingsCommand->add_subcommand("show", "print the current settings");
    auto* enable = settingsCommand->add_subcommand("enable", "switch Ask AI on");
    auto* disable = settingsCommand->add_subcommand("disable", "switch Ask AI off");
    auto* provider = settingsCommand->add_subcommand("provider", "select the AI provider");
    std::string providerName;
    provider->add_option("name", providerName, "openai, gemini, openrouter or a provider title")
        ->required();
    auto* model = settingsCommand->add_subcommand("model", "select the model to ask");
    std::string modelName;
    model->add_option("name", modelName, "the model name sent to the provider")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error);
        return code == static_cast<int>(CLI::ExitCodes::Success) ? kExitSuccess : kExitUsage;
    }

    try {
        const parvel::posix::PosixProcessInfo processInfo;
        const auto folder = preferencesFolder(preferencesOption, processInfo);
        Services services(folder);
        int status = kExitSuccess;
        if (askCommand->parsed()) {
            status = ask(services, questionWords);
        } else if (keySet->parsed()) {
            status = saveKey(services, keyProvider);
        } else if (show->parsed()) {
            printSettings(services.settings, folder);
        } else if (enable->parsed() || disable->parsed()) {
            setEnabled(services.settings, enable->parsed());
        } else if (provider->parsed()) {
            status = setProvider(services.settings, providerName);
        } else if (model->parsed()) {
            status = setModel(services.settings, modelName);
        }
        services.settings.flush();
        return status;
    } catch (const std::exception& error) {
        fmt::print(stderr, "parvelmac-ai: {}\n", error.what());
        return kExitFailure;
    }
}
