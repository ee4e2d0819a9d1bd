#include "platform/PlistValue.h"

#include <fmt/format.h>

namespace parvel::platform {

std::string_view describe(PlistType type) {
    switch (type) {
        case PlistType::Bool:
            return "Bool";
        case PlistType::Integer:
            return "Integer";
        case PlistType::Real:
            return "Real";
        case PlistType::String:
            return "String";
        case PlistType::Date:
            return "Date";
        case PlistType::Data:
            return "Data";
        case PlistType::Array:
            return "Array";
        case PlistType::Dictionary:
            return "Dictionary";
    }
    return "Unknown";
}

PlistValue PlistValue::stringArray(const std::vector<std::string>& strings) {
    return PlistValue(PlistArray(strings.begin(), strings.end()));
}

std::optional<double> PlistValue::asNumber() const {
    if (const auto* real = std::get_if<double>(&storage_)) {
        return *real;
    }
    if (const auto* integer = std::get_if<std::int64_t>(&storage_)) {
        return static_cast<double>(*integer);
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> PlistValue::asStringArray() const {
    const auto* array = asArray();
    if (array == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> strings;
    strings.reserve(array->size());
    for (const auto& element : *array) {
        auto string = element.asString();
        if (!string) {
            return std::nullopt;
        }
        strings.push_back(std::move(*string));
    }
    return strings;
}

std::string describe(const PlistValue& value) {
    struct Describer {
        std::string operator()(bool flag) const { return flag ? "true" : "false"; }
        std::string operator()(std::int64_t number) const { return fmt::format("{}", number); }
        std::string operator()(double number) const { return fmt::format("{}", number); }
        std::string operator()(const std::string& text) const {
            return fmt::format("\"{}\"", text);
        }
        std::string operator()(const PlistDate& date) const {
            return fmt::format("<date {}>", date.secondsSinceReferenceDate);
        }
        std::string operator()(const Bytes& data) const {
            return fmt::format("<{} bytes>", data.size());
        }
        std::string operator()(const PlistArray& array) const {
            std::string text = "(";
            for (std::size_t index = 0; index < array.size(); ++index) {
                text += (index == 0 ? "" : ", ") + describe(array[index]);
            }
            return text + ")";
        }
        std::string operator()(const PlistDictionary& dictionary) const {
            std::string text = "{";
            bool first = true;
            for (const auto& [key, element] : dictionary) {
                text += fmt::format("{}{} = {}", first ? "" : "; ", key, describe(element));
                first = false;
            }
            return text + "}";
        }
    };
    return std::visit(Describer{}, value.storage());
}

}  // namespace parvel::platform
