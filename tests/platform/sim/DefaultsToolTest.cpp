#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/sim/SystemToolsFixture.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Dock.h"

namespace parvel::sim::test {
namespace {

using platform::PlistArray;
using platform::PlistDate;
using platform::PlistDictionary;
using platform::PlistValue;

constexpr const char* kDefaults = "/usr/bin/defaults";
constexpr const char* kDomain = "com.example.tools";

using DefaultsToolTest = SystemToolsTest;

TEST_F(DefaultsToolTest, WritesEachTypeAndReadsItBackAsTheRealToolPrintsIt) {
    struct Case {
        std::vector<std::string> typeAndValue;
        PlistValue stored;
        std::string printed;
    };
    const std::vector<Case> cases = {
        {{"-bool", "TRUE"}, true, "1\n"},
        {{"-bool", "no"}, false, "0\n"},
        {{"-boolean", "1"}, true, "1\n"},
        {{"-int", "-12"}, std::int64_t{-12}, "-12\n"},
        {{"-integer", "48"}, std::int64_t{48}, "48\n"},
        {{"-float", "0.001"}, 0.001, "0.001\n"},
        {{"-float", "0"}, 0.0, "0\n"},
        {{"-float", "1.5"}, 1.5, "1.5\n"},
        {{"-string", "scale"}, "scale", "scale\n"},
        {{"two words"}, "two words", "two words\n"},
    };
    for (const auto& [typeAndValue, stored, printed] : cases) {
        SCOPED_TRACE(typeAndValue.front());
        std::vector<std::string> write = {"write", kDomain, "key"};
        write.insert(write.end(), typeAndValue.begin(), typeAndValue.end());
        EXPECT_EQ(run(kDefaults, write), Outcome{});
        EXPECT_EQ(mac.defaults().object(kDomain, "key"), stored);
        EXPECT_EQ(run(kDefaults, {"read", kDomain, "key"}), test::printed(printed));
    }
}

TEST_F(DefaultsToolTest, RefusesValuesThatDoNotFitTheirTypeAndChangesNothing) {
    struct Case {
        std::string flag;
        std::string value;
        std::string namedInMessage;
    };
    for (const auto& [flag, value, namedInMessage] : std::vector<Case>{{"-bool", "maybe", "maybe"},
                                                                       {"-int", "1.5", "1.5"},
                                                                       {"-int", "12abc", "12abc"},
                                                                       {"-float", "abc", "abc"},
                                                                       {"-float", "nan", "nan"},
                                                                       {"-array", "x", "-array"}}) {
        SCOPED_TRACE(flag + " " + value);
        const Outcome outcome = run(kDefaults, {"write", kDomain, "key", flag, value});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_NE(outcome.error.find(namedInMessage), std::string::npos) << outcome.error;
        EXPECT_FALSE(mac.defaults().object(kDomain, "key").has_value());
    }
}

TEST_F(DefaultsToolTest, ReportsMissingKeysAndDomainsWithTheRealMessages) {
    mac.defaults().set(kDomain, "present", 1);
    const std::string missingPair =
        "The domain/default pair of (com.example.tools, absent) does not exist\n";
    EXPECT_EQ(run(kDefaults, {"read", kDomain, "absent"}), exitedWith(1, missingPair));
    EXPECT_EQ(run(kDefaults, {"delete", kDomain, "absent"}), exitedWith(1, missingPair));
    EXPECT_EQ(run(kDefaults, {"read", "-g", "absent"}),
              exitedWith(1,
                         "The domain/default pair of (kCFPreferencesAnyApplication, absent) "
                         "does not exist\n"));
    EXPECT_EQ(run(kDefaults, {"read", "com.example.none"}),
              exitedWith(1, "Domain com.example.none does not exist\n"));
    EXPECT_EQ(run(kDefaults, {"delete", "com.example.none"}),
              exitedWith(1,
                         "Domain (com.example.none) not found.\nDefaults have not been "
                         "changed.\n"));
    for (const auto& wrongCall : std::vector<std::vector<std::string>>{
             {}, {"read"}, {"write", kDomain, "key"}, {"erase", kDomain}, {"-currentHost"}}) {
        EXPECT_EQ(run(kDefaults, wrongCall).status, 255);
    }
}

TEST_F(DefaultsToolTest, DeletesOneKeyOrAWholeDomain) {
    mac.defaults().set(kDomain, "a", 1);
    mac.defaults().set(kDomain, "b", 2);
    EXPECT_EQ(run(kDefaults, {"delete", kDomain, "a"}), Outcome{});
    EXPECT_EQ(mac.defaults().snapshot(kDomain), (PlistDictionary{{"b", 2}}));
    EXPECT_EQ(run(kDefaults, {"delete", kDomain}), Outcome{});
    EXPECT_TRUE(mac.defaults().snapshot(kDomain).empty());
}

TEST_F(DefaultsToolTest, CurrentHostAndGlobalDomainNamesReachTheirOwnDomains) {
    const std::string key = "com.apple.mouse.tapBehavior";
    EXPECT_EQ(run(kDefaults, {"-currentHost", "write", "NSGlobalDomain", key, "-int", "1"}),
              Outcome{});
    EXPECT_EQ(run(kDefaults, {"write", "-g", key, "-int", "0"}), Outcome{});
    EXPECT_EQ(mac.defaults().object("ByHost.NSGlobalDomain", key), PlistValue(1));
    EXPECT_EQ(mac.defaults().object("NSGlobalDomain", key), PlistValue(0));
    EXPECT_EQ(run(kDefaults, {"-currentHost", "read", "-globalDomain", key}), printed("1\n"));
    EXPECT_EQ(run(kDefaults, {"read", "NSGlobalDomain", key}), printed("0\n"));
    EXPECT_EQ(run(kDefaults, {"-currentHost", "delete", "-g", key}), Outcome{});
    EXPECT_EQ(run(kDefaults, {"read", "-g", key}), printed("0\n"));
}

TEST_F(DefaultsToolTest, PrintsCollectionsDatesAndDataInTheOldStyleFormat) {
    const PlistDictionary nested{{"count", 3},
                                 {"tile-data", PlistDictionary{{"file-label", "Safari"}}}};
    mac.defaults().set(kDomain, "apps", PlistArray{"Safari", "en-US", ""});
    mac.defaults().set(kDomain, "blob", Bytes{1, 2, 3, 4});
    mac.defaults().set(kDomain, "flag", true);
    mac.defaults().set(kDomain, "nested", nested);
    mac.defaults().set(kDomain, "offset", -2);
    mac.defaults().set(kDomain, "ratio", 0.5);
    mac.defaults().set(kDomain, "title", "caf\u00e9 \"quoted\"");
    mac.defaults().set(kDomain, "when", PlistDate{0});
    EXPECT_EQ(run(kDefaults, {"read", kDomain}).output,
              "{\n"
              "    apps =     (\n"
              "        Safari,\n"
              "        \"en-US\",\n"
              "        \"\"\n"
              "    );\n"
              "    blob = {length = 4, bytes = 0x01020304};\n"
              "    flag = 1;\n"
              "    nested =     {\n"
              "        count = 3;\n"
              "        \"tile-data\" =         {\n"
              "            \"file-label\" = Safari;\n"
              "        };\n"
              "    };\n"
              "    offset = \"-2\";\n"
              "    ratio = \"0.5\";\n"
              "    title = \"caf\\U00e9 \\\"quoted\\\"\";\n"
              "    when = \"2001-01-01 00:00:00 +0000\";\n"
              "}\n");

    Bytes longData(30);
    for (std::size_t index = 0; index < longData.size(); ++index) {
        longData[index] = static_cast<std::uint8_t>(index);
    }
    mac.defaults().set(kDomain, "long", longData);
    mac.defaults().set(kDomain, "list", PlistArray{PlistDictionary{{"a", 1}}});
    EXPECT_EQ(run(kDefaults, {"read", kDomain, "long"}).output,
              "{length = 30, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 16171819 "
              "1a1b1c1d }\n");
    EXPECT_EQ(run(kDefaults, {"read", kDomain, "when"}).output, "2001-01-01 00:00:00 +0000\n");
    EXPECT_EQ(run(kDefaults, {"read", kDomain, "list"}).output,
              "(\n        {\n        a = 1;\n    }\n)\n");
}

TEST_F(DefaultsToolTest, InjectedWriteFailuresRefuseChangesToThatDomainOnly) {
    const std::string trackpad = "com.apple.AppleMultitouchTrackpad";
    tools.failDefaultsWrites(trackpad, 1, "Could not write domain " + trackpad + "; exiting\n");
    tools.failDefaultsWrites("ByHost.NSGlobalDomain", 4);
    mac.defaults().set(trackpad, "Dragging", false);

    EXPECT_EQ(run(kDefaults, {"write", trackpad, "Clicking", "-bool", "true"}),
              exitedWith(1, "Could not write domain " + trackpad + "; exiting\n"));
    EXPECT_EQ(run(kDefaults, {"delete", trackpad, "Dragging"}).status, 1);
    EXPECT_EQ(run(kDefaults, {"-currentHost", "write", "-g", "k", "-int", "1"}), exitedWith(4, ""));
    EXPECT_EQ(run(kDefaults, {"write", "-g", "k", "-int", "1"}), Outcome{});
    EXPECT_EQ(mac.defaults().snapshot(trackpad), (PlistDictionary{{"Dragging", false}}));

    tools.restoreDefaultsWrites(trackpad);
    EXPECT_EQ(run(kDefaults, {"write", trackpad, "Clicking", "-bool", "true"}), Outcome{});
    EXPECT_EQ(mac.defaults().object(trackpad, "Clicking"), PlistValue(true));
}

TEST_F(DefaultsToolTest, KillingTheDockMakesItReadTheNewPreferences) {
    const int launchesBefore = mac.dock().launchCount();
    const auto dockBefore = mac.dock().pid();
    EXPECT_EQ(run(kDefaults, {"write", "com.apple.dock", "magnification", "-bool", "true"}),
              Outcome{});
    EXPECT_FALSE(mac.dock().preferences().magnification) << "the running Dock read it at launch";
    EXPECT_EQ(run("/usr/bin/killall", {"Dock"}), Outcome{});
    EXPECT_TRUE(mac.dock().preferences().magnification);

    EXPECT_EQ(run(kDefaults, {"write", "com.apple.dock", "magnification", "-bool", "false"}),
              Outcome{});
    EXPECT_EQ(run("/usr/bin/killall", {"Dock"}), Outcome{});
    EXPECT_FALSE(mac.dock().preferences().magnification);
    EXPECT_EQ(mac.dock().launchCount(), launchesBefore + 2);
    EXPECT_NE(mac.dock().pid(), dockBefore);
    EXPECT_EQ(mac.applications().withName("Dock").size(), 1u) << "launchd restarted it once";
    EXPECT_EQ(run(kDefaults, {"read", "com.apple.dock", "magnification"}), printed("0\n"));
}

}  // namespace
}  // namespace parvel::sim::test
