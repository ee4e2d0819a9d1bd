#include "platform/sim/tools/DefaultsTool.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <expected>
#include <set>

#include <fmt/format.h>

#include "base/Text.h"
#include "platform/sim/tools/DefaultsFormat.h"
#include "platform/sim/tools/ToolResults.h"

namespace parvel::sim {

using platform::PlistValue;

namespace {

constexpr std::string_view kCurrentHostFlag = "-currentHost";
// How the real tool names the global domain in its messages.
constexpr std::string_view kGlobalDomainShown = "kCFPreferencesAnyApplication";
constexpr int kFailureStatus = 1;
constexpr int kUsageStatus = 255;
constexpr std::string_view kUsage =
    "Command line interface to a user's defaults.\n"
    "Syntax:\n"
    "\n"
    "'defaults' [-currentHost] followed by one of the following:\n"
    "\n"
    "  read <domain>                        shows defaults for given domain\n"
    "  read <domain> <key>                  shows defaults for given domain, key\n"
    "  write <domain> <key> <value>         writes key for domain\n"
    "  delete <domain>                      deletes domain\n"
    "  delete <domain> <key>                deletes key in domain\n"
    "\n"
    "<value> is one of:\n"
    "  <value_rep>\n"
    "  -string <string_value>\n"
    "  -int[eger] <integer_value>\n"
    "  -float  <floating-point_value>\n"
    "  -bool[ean] (true | false | yes | no | 1 | 0)\n";

const std::set<std::string_view> kGlobalDomainNames = {DefaultsTool::kGlobalDomain, "-g",
                                                       "-globalDomain"};
const std::set<std::string_view> kTrueWords = {"true", "yes", "1"};
const std::set<std::string_view> kFalseWords = {"false", "no", "0"};

using Parsed = std::expected<PlistValue, std::string>;

[[nodiscard]] Parsed parseBool(std::string_view text) {
    const std::string word = asciiLowercased(text);
    if (kTrueWords.contains(word)) {
        return PlistValue(true);
    }
    if (kFalseWords.contains(word)) {
        return PlistValue(false);
    }
    return std::unexpected(
        fmt::format("Value {:?} is not a boolean: -bool takes true, false, yes, no, 1 or 0", text));
}

template <typename Number>
bool parseWhole(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

[[nodiscard]] Parsed parseInteger(std::string_view text) {
    std::int64_t number = 0;
    if (!parseWhole(text, number)) {
        return std::unexpected(fmt::format("Value {:?} is not an integer", text));
    }
    return PlistValue(number);
}

[[nodiscard]] Parsed parseReal(std::string_view text) {
    double number = 0;
    if (!parseWhole(text, number) || !std::isfinite(number)) {
        return std::unexpected(fmt::format("Value {:?} is not a floating-point number", text));
    }
    return PlistValue(number);
}

[[nodiscard]] Parsed parseString(std::string_view text) {
    return PlistValue(text);
}

[[nodiscard]] Parsed parseTyped(std::string_view flag, std::string_view text) {
    using Parser = Parsed (*)(std::string_view);
    static const std::map<std::string_view, Parser> parsers = {
        {"-bool", parseBool},       {"-boolean", parseBool}, {"-int", parseInteger},
        {"-integer", parseInteger}, {"-float", parseReal},   {"-string", parseString}};
    const auto parser = parsers.find(flag);
    if (parser == parsers.end()) {
        return std::unexpected(
            fmt::format("Unsupported value type {}; leaving defaults unchanged", flag));
    }
    return parser->second(text);
}

std::string missingPair(std::string_view domain, std::string_view key) {
    return fmt::format("The domain/default pair of ({}, {}) does not exist", domain, key);
}

}  // namespace

ToolResult DefaultsTool::run(const ToolArguments& arguments) {
    std::span<const std::string> rest(arguments);
    const bool currentHost = !rest.empty() && rest.front() == kCurrentHostFlag;
    if (currentHost) {
        rest = rest.subspan(1);
    }
    if (rest.size() < 2) {
        return {kUsageStatus, "", std::string(kUsage)};
    }
    const std::string& verb = rest[0];
    const std::string& domain = rest[1];
    if (domain.find('/') != std::string::npos) {
        return failedWith(kFailureStatus,
                          fmt::format("defaults: {} is a path; only domain names are modelled on "
                                      "the simulated Mac",
                                      domain));
    }
    const Target target = targetOf(domain, currentHost);
    const auto operands = rest.subspan(2);
    if (verb == "read" && operands.size() <= 1) {
        return read(target, operands);
    }
    if (verb == "write" && (operands.size() == 2 || operands.size() == 3)) {
        return write(target, operands);
    }
    if (verb == "delete" && operands.size() <= 1) {
        return remove(target, operands);
    }
    return {kUsageStatus, "", std::string(kUsage)};
}

void DefaultsTool::failWrites(std::string domain, int status, std::string error) {
    writeFailures_[std::move(domain)] = ToolResult{status, "", std::move(error)};
}

void DefaultsTool::restoreWrites(std::string_view domain) {
    if (const auto found = writeFailures_.find(domain); found != writeFailures_.end()) {
        writeFailures_.erase(found);
    }
}

DefaultsTool::Target DefaultsTool::targetOf(std::string_view domain, bool currentHost) {
    const bool global = kGlobalDomainNames.contains(domain);
    const std::string name = global ? std::string(kGlobalDomain) : std::string(domain);
    return {currentHost ? std::string(kByHostPrefix) + name : name,
            global ? std::string(kGlobalDomainShown) : name};
}

ToolResult DefaultsTool::read(const Target& target, std::span<const std::string> keys) {
    if (keys.empty()) {
        const auto values = defaults_.snapshot(target.domain);
        if (values.empty()) {
            return failedWith(kFailureStatus,
                              fmt::format("Domain {} does not exist", target.shown));
        }
        return printedLine(defaultsReadText(PlistValue(values)));
    }
    const auto value = defaults_.object(target.domain, keys.front());
    if (!value) {
        return failedWith(kFailureStatus, missingPair(target.shown, keys.front()));
    }
    return printedLine(defaultsReadText(*value));
}

ToolResult DefaultsTool::write(const Target& target, std::span<const std::string> operands) {
    const std::string& key = operands[0];
    Parsed value =
        operands.size() == 2 ? parseString(operands[1]) : parseTyped(operands[1], operands[2]);
    if (!value) {
        return failedWith(kFailureStatus, value.error());
    }
    if (const auto failure = writeFailures_.find(target.domain); failure != writeFailures_.end()) {
        return failure->second;
    }
    defaults_.set(target.domain, key, std::move(*value));
    return succeeded();
}

ToolResult DefaultsTool::remove(const Target& target, std::span<const std::string> keys) {
    const auto values = defaults_.snapshot(target.domain);
    if (values.empty()) {
        return failedWith(
            kFailureStatus,
            fmt::format("Domain ({}) not found.\nDefaults have not been changed.", target.shown));
    }
    if (!keys.empty() && !values.contains(keys.front())) {
        return failedWith(kFailureStatus, missingPair(target.shown, keys.front()));
    }
    if (const auto failure = writeFailures_.find(target.domain); failure != writeFailures_.end()) {
        return failure->second;
    }
    if (!keys.empty()) {
        defaults_.remove(target.domain, keys.front());
        return succeeded();
    }
    for (const auto& [key, value] : values) {
        defaults_.remove(target.domain, key);
    }
    return succeeded();
}

}  // namespace parvel::sim
