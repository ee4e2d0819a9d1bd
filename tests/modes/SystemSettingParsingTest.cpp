#include <gtest/gtest.h>

#include "modes/SystemSettingActuators.h"

namespace parvel {
namespace {

using Pair = std::optional<PowerSourcePair>;

constexpr const char* kBothSections =
    "System-wide power settings:\n"
    "Currently in use:\n"
    " lowpowermode         1\n"
    " displaysleep         99\n"
    "Battery Power:\n"
    " lowpowermode         1\n"
    " displaysleep         2\n"
    " sleep                1\n"
    "AC Power:\n"
    " displaysleep\t\t10\n"
    " LowPowerMode         0\n";

TEST(SystemSettingParsingTest, PowerSettingsNeedBothSections) {
    struct Case {
        std::string text;
        Pair lowPower;
        Pair displaySleep;
    };
    const Case cases[] = {
        {kBothSections, PowerSourcePair{1, 0}, PowerSourcePair{2, 10}},
        {"Battery Power:\n lowpowermode 1\n displaysleep 5\n", std::nullopt, std::nullopt},
        // A Low Power Mode of 2 is not a state; display sleep takes any value of 0 or more.
        {"Battery Power:\n lowpowermode 2\n displaysleep 0\nAC Power:\n lowpowermode 1\n"
         " displaysleep 180\n",
         std::nullopt, PowerSourcePair{0, 180}},
        {"Battery Power:\n lowpowermode x\n displaysleep -1\nAC Power:\n lowpowermode 0\n"
         " displaysleep 3\n",
         std::nullopt, std::nullopt},
        // The later line of a section wins.
        {"AC Power:\n lowpowermode 0\n lowpowermode 1\nBattery Power:\n lowpowermode 0\n",
         PowerSourcePair{0, 1}, std::nullopt},
        {"", std::nullopt, std::nullopt},
    };
    for (const auto& [text, lowPower, displaySleep] : cases) {
        EXPECT_EQ(parseLowPowerModeState(text), lowPower) << text;
        EXPECT_EQ(parseDisplaySleepState(text), displaySleep) << text;
    }
}

TEST(SystemSettingParsingTest, DefaultsValuesReadAsTheDockWritesThem) {
    const std::pair<const char*, std::optional<bool>> bools[] = {
        {"YES", true},       {"true", true},     {"1", true},
        {"No", false},       {"FALSE", false},   {"0", false},
        {"2", std::nullopt}, {"", std::nullopt}, {"truthy", std::nullopt},
    };
    for (const auto& [text, expected] : bools) {
        EXPECT_EQ(parseDefaultsBool(text), expected) << text;
    }
    const std::pair<const char*, std::optional<int>> ints[] = {
        {"48", 48},
        {"-3", -3},
        {"64.5", 65},
        {"63.4", 63},
        {"-2.5", -3},
        {"1e2", 100},
        {"abc", std::nullopt},
        {"", std::nullopt},
        {"48px", std::nullopt},
        {"1e300", std::nullopt},
        {"nan", std::nullopt},
    };
    for (const auto& [text, expected] : ints) {
        EXPECT_EQ(parseDefaultsInt(text), expected) << text;
    }
}

}  // namespace
}  // namespace parvel
