#include "Scenario.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/Dispatch.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"

namespace parvel::scenario {

namespace {

[[nodiscard]] std::expected<double, std::string> parseDouble(std::string_view text) {
    double value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (status != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) {
        return failed(fmt::format("'{}' is not a number", text));
    }
    return value;
}

// Two numbers joined by a separator: "10,20" or "800x600".
[[nodiscard]] std::expected<std::pair<double, double>, std::string> parsePair(
    std::string_view text, char separator, std::string_view what) {
    const auto split = text.find(separator);
    if (split == std::string_view::npos) {
        return failed(fmt::format("'{}' is not {}", text, what));
    }
    const auto first = parseDouble(text.substr(0, split));
    const auto second = parseDouble(text.substr(split + 1));
    if (!first || !second) {
        return failed(fmt::format("'{}' is not {}", text, what));
    }
    return std::pair{*first, *second};
}

// Names what the line starts with and, when that begins some command, what may follow it.
std::string unknownCommand(const std::vector<std::string>& words, const Vocabulary& vocabulary) {
    std::vector<std::string> continuations;
    for (const auto& word : vocabulary.words()) {
        if (word.name.size() > 1 && word.name.front() == words.front() &&
            std::ranges::find(continuations, word.name[1]) == continuations.end()) {
            continuations.push_back(word.name[1]);
        }
    }
    if (continuations.empty()) {
        return fmt::format("unknown command '{}'", words.front());
    }
    std::ranges::sort(continuations);
    return fmt::format("unknown command '{}{}'; '{}' is followed by one of: {}", words.front(),
                       words.size() > 1 ? " " + words[1] : "", words.front(),
                       fmt::join(continuations, ", "));
}

}  // namespace

std::string Context::expandPath(std::string_view path) const {
    if (path == "~") {
        return mac.homeDirectory();
    }
    if (path.starts_with("~/")) {
        return mac.homeDirectory() + std::string(path.substr(1));
    }
    return std::string(path);
}

std::vector<std::string> Context::expandPaths(const std::vector<std::string>& paths) const {
    std::vector<std::string> expanded;
    expanded.reserve(paths.size());
    for (const auto& path : paths) {
        expanded.push_back(expandPath(path));
    }
    return expanded;
}

void Context::onMain(std::function<void()> work) {
    mac.dispatch().main().async(std::move(work));
    mac.dispatch().runDue();
}

std::expected<void, std::string> Arguments::requireCount(std::size_t minimum,
                                                         std::size_t maximum) const {
    if (words_.size() < minimum || words_.size() > maximum) {
        return failed(minimum == maximum ? fmt::format("takes {} argument{}, not {}", minimum,
                                                       minimum == 1 ? "" : "s", words_.size())
                                         : fmt::format("takes {} to {} arguments, not {}", minimum,
                                                       maximum, words_.size()));
    }
    return {};
}

std::optional<std::string> Arguments::after(std::string_view keyword) const {
    const auto found = std::ranges::find(words_, keyword);
    if (found == words_.end() || found + 1 == words_.end()) {
        return std::nullopt;
    }
    return *(found + 1);
}

bool Arguments::has(std::string_view keyword) const {
    return std::ranges::find(words_, keyword) != words_.end();
}

std::expected<platform::Duration, std::string> parseDuration(std::string_view text) {
    constexpr std::pair<std::string_view, double> kUnits[] = {
        {"ms", 0.001}, {"s", 1.0}, {"m", 60.0}, {"h", 3600.0}};
    for (const auto& [suffix, seconds] : kUnits) {
        if (!text.ends_with(suffix)) {
            continue;
        }
        const auto number = parseDouble(text.substr(0, text.size() - suffix.size()));
        if (number && *number >= 0) {
            return platform::seconds(*number * seconds);
        }
        break;
    }
    return failed(fmt::format("'{}' is not a duration (e.g. 2.5s, 150ms, 60m, 1h)", text));
}

std::expected<double, std::string> parseNumber(std::string_view text) {
    return parseDouble(text);
}

std::expected<std::int64_t, std::string> parseInteger(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (status != std::errc{} || end != text.data() + text.size()) {
        return failed(fmt::format("'{}' is not a whole number", text));
    }
    return value;
}

std::expected<bool, std::string> parseSwitch(std::string_view text) {
    if (text == "on" || text == "yes" || text == "true") {
        return true;
    }
    if (text == "off" || text == "no" || text == "false") {
        return false;
    }
    return failed(fmt::format("'{}' is not on or off", text));
}

std::expected<platform::Point, std::string> parsePoint(std::string_view text) {
    const auto pair = parsePair(text, ',', "a point (x,y)");
    if (!pair) {
        return std::unexpected(pair.error());
    }
    return platform::Point{pair->first, pair->second};
}

std::expected<platform::Size, std::string> parseSize(std::string_view text) {
    const auto pair = parsePair(text, 'x', "a size (WxH)");
    if (!pair) {
        return std::unexpected(pair.error());
    }
    return platform::Size{pair->first, pair->second};
}

std::optional<std::pair<const Word*, std::size_t>> Vocabulary::match(
    const std::vector<std::string>& line) const {
    const Word* best = nullptr;
    for (const auto& word : words_) {
        const bool fits = word.name.size() <= line.size() &&
                          std::equal(word.name.begin(), word.name.end(), line.begin());
        if (fits && (best == nullptr || word.name.size() > best->name.size())) {
            best = &word;
        }
    }
    if (best == nullptr) {
        return std::nullopt;
    }
    return std::pair{best, best->name.size()};
}

std::expected<std::vector<std::string>, std::string> tokenize(std::string_view line) {
    std::vector<std::string> words;
    std::size_t index = 0;
    while (index < line.size()) {
        const char character = line[index];
        if (character == ' ' || character == '\t' || character == '\r') {
            ++index;
            continue;
        }
        if (character == '#') {
            break;
        }
        std::string word;
        if (character != '"') {
            while (index < line.size() && line[index] != ' ' && line[index] != '\t' &&
                   line[index] != '\r') {
                word += line[index++];
            }
            words.push_back(std::move(word));
            continue;
        }
        ++index;
        bool closed = false;
        while (index < line.size()) {
            const char inside = line[index++];
            if (inside == '"') {
                closed = true;
                break;
            }
            if (inside != '\\') {
                word += inside;
                continue;
            }
            if (index == line.size()) {
                break;
            }
            const char escaped = line[index++];
            switch (escaped) {
                case 'n':
                    word += '\n';
                    break;
                case 't':
                    word += '\t';
                    break;
                case '"':
                case '\\':
                    word += escaped;
                    break;
                default:
                    return failed(fmt::format("unknown escape \\{} in a quoted word", escaped));
            }
        }
        if (!closed) {
            return failed("a quoted word is not closed");
        }
        words.push_back(std::move(word));
    }
    return words;
}

std::expected<std::vector<CompiledLine>, std::vector<LineError>> compile(
    std::string_view text, const Vocabulary& vocabulary) {
    std::vector<CompiledLine> lines;
    std::vector<LineError> errors;
    int number = 0;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string_view source = text.substr(start, end - start);
        start = end + 1;
        ++number;
        const auto words = tokenize(source);
        if (!words) {
            errors.push_back({number, words.error()});
            continue;
        }
        if (words->empty()) {
            continue;
        }
        const auto matched = vocabulary.match(*words);
        if (!matched) {
            errors.push_back({number, unknownCommand(*words, vocabulary)});
            continue;
        }
        const auto& [word, taken] = *matched;
        auto step = word->compile(
            Arguments({words->begin() + static_cast<std::ptrdiff_t>(taken), words->end()}));
        if (!step) {
            errors.push_back({number, fmt::format("{}: {} (usage: {})", fmt::join(word->name, " "),
                                                  step.error(), word->usage)});
            continue;
        }
        lines.push_back({number, std::string(source), std::move(*step)});
    }
    if (!errors.empty()) {
        return std::unexpected(std::move(errors));
    }
    return lines;
}

bool run(const std::vector<CompiledLine>& lines, Context& context, std::string_view scenarioName) {
    for (const auto& line : lines) {
        context.mac.trace().record("scenario", fmt::format("> {}", line.source));
        Outcome outcome;
        try {
            outcome = line.step(context);
        } catch (const std::exception& failure) {
            outcome = failed(failure.what());
        }
        if (!outcome) {
            context.out << fmt::format("{}:{}: {}\n  {}\n", scenarioName, line.number, line.source,
                                       outcome.error());
            return false;
        }
    }
    return true;
}

}  // namespace parvel::scenario
