#include "input/KeyRemapRule.h"

#include <nlohmann/json.hpp>

namespace parvel {

using nlohmann::json;

namespace {

std::optional<KeyRemapRule> decodeRule(const json& item) {
    if (!item.is_object()) {
        return std::nullopt;
    }
    const auto source = item.find("sourceKeyCode");
    const auto destination = item.find("destinationKeyCode");
    if (source == item.end() || destination == item.end() || !source->is_number_integer() ||
        !destination->is_number_integer()) {
        return std::nullopt;
    }
    KeyRemapRule rule{source->get<std::int64_t>(), destination->get<std::int64_t>(), std::nullopt};
    if (const auto bundle = item.find("bundleID"); bundle != item.end() && !bundle->is_null()) {
        if (!bundle->is_string()) {
            return std::nullopt;
        }
        rule.bundleID = bundle->get<std::string>();
    }
    return rule;
}

}  // namespace

std::vector<KeyRemapRule> decodeKeyRemapRules(const Bytes& bytes) {
    const json root = json::parse(bytes.begin(), bytes.end(), nullptr, false);
    if (!root.is_array()) {
        return {};
    }
    std::vector<KeyRemapRule> rules;
    for (const auto& item : root) {
        auto rule = decodeRule(item);
        if (!rule) {
            return {};
        }
        rules.push_back(std::move(*rule));
    }
    return rules;
}

Bytes encodeKeyRemapRules(const std::vector<KeyRemapRule>& rules) {
    json root = json::array();
    for (const auto& rule : rules) {
        json item = {{"sourceKeyCode", rule.sourceKeyCode},
                     {"destinationKeyCode", rule.destinationKeyCode}};
        if (rule.bundleID) {
            item["bundleID"] = *rule.bundleID;
        }
        root.push_back(std::move(item));
    }
    const std::string text = root.dump();
    return Bytes(text.begin(), text.end());
}

}  // namespace parvel
