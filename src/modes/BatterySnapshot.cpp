#include "modes/BatterySnapshot.h"

#include <cctype>
#include <charconv>
#include <optional>

#include "base/Text.h"

namespace parvel {

namespace {

constexpr std::string_view kUnknownPercent = "\u2014";

bool isDigit(char character) {
    return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

// The first run of digits directly followed by "%", with the sign (what "\d+%" matches first).
std::optional<std::string_view> firstPercentText(std::string_view line) {
    for (std::size_t start = 0; start < line.size();) {
        if (!isDigit(line[start])) {
            ++start;
            continue;
        }
        std::size_t end = start;
        while (end < line.size() && isDigit(line[end])) {
            ++end;
        }
        if (end < line.size() && line[end] == '%') {
            return line.substr(start, end - start + 1);
        }
        start = end;
    }
    return std::nullopt;
}

std::int64_t percentageIn(std::string_view line) {
    const auto text = firstPercentText(line);
    if (!text) {
        return 0;
    }
    std::int64_t value = 0;
    const auto digits = text->substr(0, text->size() - 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc{} ? value : 0;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace

BatterySnapshot parseBatterySnapshot(std::string_view pmsetOutput) {
    const auto lines = nonEmptyLines(pmsetOutput);
    if (lines.empty()) {
        return {};
    }
    const std::string first = asciiLowercased(lines.front());
    const std::string last = asciiLowercased(lines.back());
    BatterySnapshot snapshot;
    snapshot.percentage = percentageIn(last);
    snapshot.onExternalPower = contains(first, "ac power") || contains(first, "ups power");
    snapshot.isNotCharging = contains(last, "not charging");
    snapshot.isFullyCharged = contains(last, "; charged;") || last.ends_with(" charged") ||
                              (snapshot.percentage >= 100 && !contains(last, "discharging"));
    return snapshot;
}

std::string batteryStatusLine(std::string_view pmsetOutput) {
    const auto lines = nonEmptyLines(pmsetOutput);
    const std::string_view line = lines.empty() ? std::string_view{} : lines.back();
    const std::string lowered = asciiLowercased(line);
    std::string_view state = "Connected";
    if (contains(lowered, "charging") && !contains(lowered, "not charging")) {
        state = "Charging";
    } else if (contains(lowered, "not charging")) {
        state = "Not charging";
    } else if (contains(lowered, "discharging")) {
        state = "On battery";
    }
    const auto percent = firstPercentText(line);
    return "Battery: " + std::string(percent.value_or(kUnknownPercent)) + " \u2022 " +
           std::string(state);
}

}  // namespace parvel
