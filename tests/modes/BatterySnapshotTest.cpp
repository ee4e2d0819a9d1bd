#include <gtest/gtest.h>

#include "modes/BatteryCareController.h"
#include "modes/BatterySnapshot.h"

namespace parvel {
namespace {

constexpr const char* kOnAdapter = "Now drawing from 'AC Power'\n";
constexpr const char* kOnBattery = "Now drawing from 'Battery Power'\n";
constexpr const char* kOnUps = "Now drawing from 'UPS Power'\n";

std::string output(const char* source, const std::string& batteryLine) {
    return source + (" -InternalBattery-0 (id=4653155)\t" + batteryLine + "\n");
}

TEST(BatterySnapshotTest, ReadsSourceFromTheFirstLineAndTheBatteryFromTheLast) {
    struct Case {
        std::string text;
        BatterySnapshot expected;
    };
    const Case cases[] = {
        {output(kOnBattery, "85%; discharging; 3:10 remaining present: true"),
         {85, false, false, false}},
        {output(kOnAdapter, "80%; AC attached; not charging present: true"),
         {80, true, true, false}},
        {output(kOnAdapter, "100%; charged; 0:00 remaining present: true"),
         {100, true, false, true}},
        {output(kOnUps, "64%; charging; 1:05 remaining present: true"), {64, true, false, false}},
        // 100 % counts as full unless the battery is discharging.
        {output(kOnAdapter, "100%; finishing charge; present: true"), {100, true, false, true}},
        {output(kOnBattery, "100%; discharging; 9:00 remaining present: true"),
         {100, false, false, false}},
        {output(kOnAdapter, "97%; AC attached; charged"), {97, true, false, true}},
        // Upper case is read the same; blank lines are skipped.
        {"NOW DRAWING FROM 'AC POWER'\n\n -InternalBattery-0\t55%; CHARGING\n\n",
         {55, true, false, false}},
        {output(kOnAdapter, "no percentage here"), {0, true, false, false}},
        {output(kOnAdapter, "99999999999999%; charging"), {99999999999999, true, false, true}},
        {output(kOnAdapter, "99999999999999999999%; charging"), {0, true, false, false}},
        {"", {}},
        {"garbage", {0, false, false, false}},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(parseBatterySnapshot(text), expected) << text;
    }
}

TEST(BatterySnapshotTest, StatusLineKeepsTheOrderInWhichStatesAreTested) {
    const std::pair<std::string, std::string> cases[] = {
        // "discharging" contains "charging", so a battery in use reads as charging.
        {output(kOnBattery, "85%; discharging; 3:10 remaining present: true"),
         "Battery: 85% \u2022 Charging"},
        {output(kOnAdapter, "80%; AC attached; not charging present: true"),
         "Battery: 80% \u2022 Not charging"},
        {output(kOnAdapter, "100%; charged; 0:00 remaining present: true"),
         "Battery: 100% \u2022 Connected"},
        {output(kOnAdapter, "AC attached; NOT CHARGING"), "Battery: \u2014 \u2022 Not charging"},
        {"", "Battery: \u2014 \u2022 Connected"},
        {output(kOnAdapter, "id 12, 40%; charging"), "Battery: 40% \u2022 Charging"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(batteryStatusLine(text), expected) << text;
    }
}

TEST(BatterySnapshotTest, ChargeLimitsSnapToFivesAndTheHelperStopsThreeBelow) {
    const std::tuple<int, int, int> cases[] = {
        // percent, displayed limit, helper target
        {0, 80, 77},     {49, 50, 50},    {52, 50, 50}, {53, 55, 52}, {87, 85, 82},   {88, 90, 87},
        {120, 100, 100}, {100, 100, 100}, {-7, 50, 50}, {97, 95, 92}, {98, 100, 100},
    };
    for (const auto& [percent, limit, target] : cases) {
        EXPECT_EQ(normalizedChargeLimit(percent), limit) << percent;
        EXPECT_EQ(chargeHelperTarget(percent), target) << percent;
    }
}

}  // namespace
}  // namespace parvel
