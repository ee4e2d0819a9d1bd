#include "platform/sim/tools/DoShellScript.h"

#include <algorithm>
#include <expected>

#include <fmt/format.h>

#include "base/Text.h"
#include "platform/sim/Trace.h"

namespace parvel::sim {

using platform::AppleScriptError;

namespace {

constexpr std::string_view kCommandPrefix = "do shell script ";
constexpr std::string_view kAdministratorClause = "with administrator privileges";
constexpr std::string_view kShell = "/bin/sh";
constexpr int kUserCanceled = -128;
constexpr int kSyntaxError = -2741;
constexpr int kShellCouldNotStart = 127;
constexpr std::string_view kNonZeroStatus = "The command exited with a non-zero status.";

struct Literal {
    std::string value;
    std::size_t length = 0;  // characters of source it took, quotes included
};

std::optional<char> escaped(char character) {
    switch (character) {
        case '\\':
        case '"':
            return character;
        case 'n':
            return '\n';
        case 't':
            return '\t';
        case 'r':
            return '\r';
        default:
            return std::nullopt;
    }
}

// Reads the string literal at the start of `source`, which begins with a double quote.
[[nodiscard]] std::expected<Literal, AppleScriptError> readLiteral(std::string_view source) {
    Literal literal;
    for (std::size_t at = 1; at < source.size(); ++at) {
        if (source[at] == '"') {
            literal.length = at + 1;
            return literal;
        }
        if (source[at] != '\\') {
            literal.value += source[at];
            continue;
        }
        const auto character = at + 1 < source.size() ? escaped(source[at + 1]) : std::nullopt;
        if (!character) {
            return std::unexpected(
                AppleScriptError{"Expected “\"” but found unknown token.", kSyntaxError});
        }
        literal.value += *character;
        ++at;
    }
    return std::unexpected(
        AppleScriptError{"Expected “\"” but found end of script.", kSyntaxError});
}

// The command's output as `do shell script` returns it.
std::string resultText(std::string output) {
    if (output.ends_with('\n')) {
        output.pop_back();
    }
    std::ranges::replace(output, '\n', '\r');
    return output;
}

}  // namespace

std::optional<ScriptResult> DoShellScript::handle(std::string_view source) {
    std::string_view text = trimmedWhitespace(source);
    if (!text.starts_with(kCommandPrefix) || !text.substr(kCommandPrefix.size()).starts_with('"')) {
        return std::nullopt;
    }
    text.remove_prefix(kCommandPrefix.size());
    const auto literal = readLiteral(text);
    if (!literal) {
        return std::unexpected(literal.error());
    }
    const std::string_view clause = trimmedWhitespace(text.substr(literal->length));
    if (!clause.empty() && clause != kAdministratorClause) {
        return std::nullopt;
    }
    return run(literal->value, !clause.empty());
}

bool DoShellScript::approvedByAdministrator() {
    ++prompt_.prompts;
    const bool approved = prompt_.answer == AdministratorAnswer::Approve;
    trace_.record("privacy",
                  fmt::format("asked for an administrator password to run a shell script: {}",
                              approved ? "approved" : "cancelled"));
    return approved;
}

ScriptResult DoShellScript::run(const std::string& command, bool withAdministratorPrivileges) {
    if (withAdministratorPrivileges && !approvedByAdministrator()) {
        return std::unexpected(AppleScriptError{"User canceled.", kUserCanceled});
    }
    auto child = processes_.launch({std::string(kShell),
                                    {"-c", command},
                                    platform::StreamTarget::Pipe,
                                    platform::StreamTarget::Pipe});
    if (!child) {
        return std::unexpected(AppleScriptError{fmt::format("sh: {}", child.error().description),
                                                kShellCouldNotStart});
    }
    const int status = (*child)->waitUntilExit();
    std::string output = (*child)->readOutput();
    const std::string error = (*child)->readError();
    if (status != 0) {
        const std::string_view message = trimmedWhitespace(error);
        return std::unexpected(
            AppleScriptError{std::string(message.empty() ? kNonZeroStatus : message), status});
    }
    return resultText(std::move(output));
}

}  // namespace parvel::sim
