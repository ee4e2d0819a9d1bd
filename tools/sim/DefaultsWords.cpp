#include <fmt/format.h>

#include "Words.h"
#include "platform/Defaults.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel::scenario {

namespace {

// A typed literal of the language: "bool true", "int 20", "real 0.5", "string Normal".
std::expected<platform::PlistValue, std::string> parseValue(const std::string& type,
                                                            const std::string& text) {
    if (type == "bool") {
        const auto value = parseSwitch(text);
        return value ? std::expected<platform::PlistValue, std::string>(*value)
                     : std::unexpected(value.error());
    }
    if (type == "int") {
        const auto value = parseInteger(text);
        return value ? std::expected<platform::PlistValue, std::string>(*value)
                     : std::unexpected(value.error());
    }
    if (type == "real") {
        const auto value = parseNumber(text);
        return value ? std::expected<platform::PlistValue, std::string>(*value)
                     : std::unexpected(value.error());
    }
    if (type == "string") {
        return platform::PlistValue(text);
    }
    return failed(fmt::format("'{}' is not a value type (bool, int, real, string)", type));
}

}  // namespace

// Values stored in a defaults domain directly, as another program would.
void addDefaultsWords(Vocabulary& vocabulary) {
    vocabulary.add({{"defaults", "set"},
                    "defaults set DOMAIN KEY bool|int|real|string VALUE",
                    "store a value in a defaults domain directly",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(4, 4));
                        const auto value = parseValue(arguments[2], arguments[3]);
                        SCENARIO_CHECK(value);
                        return compiledStep([domain = arguments[0], key = arguments[1],
                                             value = *value](Context& context) -> Outcome {
                            context.mac.defaults().set(domain, key, value);
                            return {};
                        });
                    }});
    vocabulary.add({{"defaults", "remove"},
                    "defaults remove DOMAIN KEY",
                    "remove a key directly",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(2, 2));
                        return compiledStep([domain = arguments[0],
                                             key = arguments[1]](Context& context) -> Outcome {
                            context.mac.defaults().remove(domain, key);
                            return {};
                        });
                    }});
}

}  // namespace parvel::scenario
