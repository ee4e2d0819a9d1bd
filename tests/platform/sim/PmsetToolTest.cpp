#include <map>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "platform/sim/SimAppleScript.h"
#include "platform/sim/SystemToolsFixture.h"
#include "platform/sim/world/Power.h"

namespace parvel::sim::test {
namespace {

constexpr const char* kPmset = "/usr/bin/pmset";

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

std::string lowercased(std::string text) {
    for (char& character : text) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    return text;
}

// What the program reads from "pmset -g batt": the source from the first line, the rest from
// the last one.
struct BatteryReading {
    std::string source;  // "AC", "UPS" or "battery"
    int percent = -1;
    bool discharging = false;
    bool notCharging = false;
    bool charged = false;
    friend bool operator==(const BatteryReading&, const BatteryReading&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const BatteryReading& reading) {
        return stream << reading.source << " " << reading.percent << "% discharging "
                      << reading.discharging << " not-charging " << reading.notCharging
                      << " charged " << reading.charged;
    }
};

BatteryReading readBattery(const std::string& output) {
    const auto lines = linesOf(output);
    if (lines.empty()) {
        return {};
    }
    BatteryReading reading;
    const std::string first = lowercased(lines.front());
    reading.source = first.find("ac power") != std::string::npos    ? "AC"
                     : first.find("ups power") != std::string::npos ? "UPS"
                                                                    : "battery";
    const std::string& last = lines.back();
    std::smatch percent;
    if (std::regex_search(last, percent, std::regex(R"((\d+)%)"))) {
        reading.percent = std::stoi(percent[1]);
    }
    reading.discharging = last.find("discharging") != std::string::npos;
    reading.notCharging = last.find("not charging") != std::string::npos;
    reading.charged = last.find("; charged;") != std::string::npos || last.ends_with(" charged");
    return reading;
}

// "-g custom" read as the program reads it: each setting's value under its section's title.
using Sections = std::map<std::string, std::map<std::string, std::string>>;

Sections readSections(const std::string& output) {
    Sections sections;
    std::string current;
    for (const auto& line : linesOf(output)) {
        if (!line.starts_with(" ") && line.ends_with(":")) {
            current = line.substr(0, line.size() - 1);
            continue;
        }
        const auto valueStart = line.find_last_of(' ') + 1;
        const auto keyEnd = line.find_last_not_of(' ', valueStart - 1) + 1;
        sections[current][line.substr(1, keyEnd - 1)] = line.substr(valueStart);
    }
    return sections;
}

class PmsetToolTest : public SystemToolsTest {};

TEST_F(PmsetToolTest, BatteryReportsReadAsTheProgramReadsThem) {
    struct Case {
        int percent;
        PowerSource source;
        std::optional<BatteryStatus> status;
        std::optional<int> chargeLimit;
        BatteryReading expected;
    };
    const Case cases[] = {
        {85, PowerSource::Battery, {}, {}, {"battery", 85, true, false, false}},
        {80, PowerSource::Adapter, {}, {}, {"AC", 80, false, false, false}},
        {80, PowerSource::Adapter, BatteryStatus::NotCharging, {}, {"AC", 80, false, true, false}},
        {100, PowerSource::Adapter, {}, {}, {"AC", 100, false, false, true}},
        {60, PowerSource::Ups, {}, {}, {"UPS", 60, false, false, false}},
        {80, PowerSource::Adapter, {}, 80, {"AC", 80, false, true, false}},
        {91, PowerSource::Adapter, {}, 80, {"AC", 91, false, true, false}},
        {70, PowerSource::Adapter, {}, 80, {"AC", 70, false, false, false}},
        {90, PowerSource::Battery, {}, 80, {"battery", 90, true, false, false}},
        {100, PowerSource::Adapter, {}, 100, {"AC", 100, false, false, true}},
    };
    for (const auto& [percent, source, status, limit, expected] : cases) {
        SCOPED_TRACE(testing::Message() << percent << "% limit " << limit.value_or(0));
        SimulatedMac fresh;
        if (limit) {
            fresh.power().setChargeLimit(*limit);
        }
        fresh.power().setBattery(percent, source, status);
        auto child = fresh.processes().launch(
            {kPmset, {"-g", "batt"}, platform::StreamTarget::Pipe, platform::StreamTarget::Pipe});
        ASSERT_TRUE(child.has_value());
        EXPECT_EQ((*child)->waitUntilExit(), 0);
        const std::string output = (*child)->readOutput();
        EXPECT_EQ(linesOf(output).size(), 2u) << output;
        EXPECT_EQ(readBattery(output), expected) << output;
    }
}

TEST_F(PmsetToolTest, BatteryLinesHaveTheRealToolsShape) {
    const std::regex shape(
        R"(Now drawing from '(AC|Battery|UPS) Power'\n -InternalBattery-0 \(id=\d+\)\t\d{1,3}%; )"
        R"((discharging; \d+:\d\d remaining|charging; \d+:\d\d remaining|AC attached; not )"
        R"(charging|charged; 0:00 remaining) present: true\n)");
    for (const auto& [percent, source] :
         std::vector<std::pair<int, PowerSource>>{{85, PowerSource::Battery},
                                                  {3, PowerSource::Battery},
                                                  {100, PowerSource::Battery},
                                                  {0, PowerSource::Adapter},
                                                  {99, PowerSource::Adapter},
                                                  {100, PowerSource::Adapter}}) {
        mac.power().setBattery(percent, source);
        const Outcome report = run(kPmset, {"-g", "batt"});
        EXPECT_TRUE(std::regex_match(report.output, shape)) << report.output;
        EXPECT_EQ(run(kPmset, {"-g", "ps"}), report) << "-g ps is the same report";
    }
    mac.power().setBattery(85, PowerSource::Battery);
    EXPECT_EQ(run(kPmset, {"-g", "batt"}).output,
              "Now drawing from 'Battery Power'\n -InternalBattery-0 (id=4653155)\t85%; "
              "discharging; 3:10 remaining present: true\n");
}

TEST_F(PmsetToolTest, CustomSettingsListBothSourcesWithTheirOwnValues) {
    const auto settingsOf = [this] {
        const Outcome custom = run(kPmset, {"-g", "custom"});
        EXPECT_EQ(custom.status, 0);
        EXPECT_TRUE(custom.output.starts_with("Battery Power:\n")) << custom.output;
        return readSections(custom.output);
    };
    const Sections before = settingsOf();
    ASSERT_EQ(before.size(), 2u);
    for (const auto& [title, lowPower, displaySleep] :
         std::vector<std::tuple<std::string, std::string, std::string>>{{"Battery Power", "0", "2"},
                                                                        {"AC Power", "0", "10"}}) {
        ASSERT_TRUE(before.contains(title));
        EXPECT_EQ(before.at(title).at("lowpowermode"), lowPower) << title;
        EXPECT_EQ(before.at(title).at("displaysleep"), displaySleep) << title;
        EXPECT_EQ(before.at(title).at("sleep"), "1") << title;
        EXPECT_EQ(before.at(title).at("Sleep On Power Button"), "1") << title;
    }

    mac.power().setLowPowerMode({1, 0});
    mac.power().setDisplaySleepMinutes({0, 45});
    const Sections after = settingsOf();
    EXPECT_EQ(after.at("Battery Power").at("lowpowermode"), "1");
    EXPECT_EQ(after.at("AC Power").at("lowpowermode"), "0");
    EXPECT_EQ(after.at("Battery Power").at("displaysleep"), "0");
    EXPECT_EQ(after.at("AC Power").at("displaysleep"), "45");
    for (const auto& [title, settings] : after) {
        for (const auto& [key, value] : settings) {
            if (key != "lowpowermode" && key != "displaysleep") {
                EXPECT_EQ(value, before.at(title).at(key)) << title << " " << key;
            }
        }
    }
}

TEST_F(PmsetToolTest, SleepnowSharesTheSleepCountWithSystemEventsAndOddCallsFail) {
    EXPECT_EQ(run(kPmset, {"sleepnow"}), printed("Sleeping now...\n"));
    EXPECT_EQ(mac.sleepRequests(), 1);
    EXPECT_TRUE(mac.appleScript().run("tell application \"System Events\" to sleep"));
    EXPECT_EQ(mac.sleepRequests(), 2);
    EXPECT_EQ(mac.power().sleepRequests(), 2);

    for (const auto& wrong : std::vector<std::vector<std::string>>{
             {}, {"-g"}, {"-g", "bogus"}, {"sleepnow", "now"}, {"-b", "lowpowermode", "1"}}) {
        const Outcome outcome = run(kPmset, wrong);
        EXPECT_NE(outcome.status, 0);
        EXPECT_TRUE(outcome.output.empty());
        EXPECT_TRUE(outcome.error.starts_with("Usage: pmset")) << outcome.error;
    }
    EXPECT_EQ(mac.sleepRequests(), 2);
}

}  // namespace
}  // namespace parvel::sim::test
