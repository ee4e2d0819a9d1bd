#include <string>
#include <vector>

#include "platform/sim/SystemToolsFixture.h"
#include "platform/sim/world/Applications.h"

namespace parvel::sim::test {
namespace {

using platform::PlistArray;
using platform::PlistDictionary;
using platform::PlistValue;

constexpr const char* kLaunchctl = "/bin/launchctl";
constexpr const char* kLabel = "com.tarnby.parvelmac.login";

class LaunchctlToolTest : public SystemToolsTest {
  protected:
    const std::string domain = "gui/501";
    const std::string service = domain + "/" + kLabel;
    const std::string agents = mac.homeDirectory() + "/Library/LaunchAgents";
    const std::string loginPlist = agents + "/" + kLabel + ".plist";
    std::vector<OpenRequest> opened;

    void SetUp() override {
        tools.onOpenApplication([this](const OpenRequest& request) {
            opened.push_back(request);
            return true;
        });
    }

    static PlistDictionary agent(std::string label, PlistArray arguments, bool runAtLoad) {
        return {{"Label", std::move(label)},
                {"ProgramArguments", std::move(arguments)},
                {"RunAtLoad", runAtLoad}};
    }
    void writeLoginAgent() {
        writePlist(loginPlist, agent(kLabel,
                                     {"/usr/bin/open", "-gja", "/Applications/ParvelMac.app",
                                      "--args", "--background"},
                                     true));
    }
    bool runs(const char* name) { return !mac.applications().withName(name).empty(); }
};

TEST_F(LaunchctlToolTest, BootstrapLoadsTheAgentAndRunsItsProgramAtLoad) {
    writeLoginAgent();
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, loginPlist}), Outcome{});
    EXPECT_TRUE(tools.launchAgents().isLoaded(kLabel));
    EXPECT_EQ(opened, (std::vector<OpenRequest>{
                          {"/Applications/ParvelMac.app", false, true, true, {"--background"}}}));
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, loginPlist}),
              exitedWith(5, "Bootstrap failed: 5: Input/output error\n"))
        << "already loaded";
    EXPECT_EQ(opened.size(), 1u);
}

TEST_F(LaunchctlToolTest, BootstrapRejectsPropertyListsLaunchdCannotUse) {
    const std::vector<std::pair<std::string, PlistValue>> malformed = {
        {"not a dictionary", PlistArray{"Label", kLabel}},
        {"no label", PlistDictionary{{"ProgramArguments", PlistArray{"/usr/bin/true"}}}},
        {"label not a string", PlistDictionary{{"Label", 7}, {"Program", "/usr/bin/true"}}},
        {"no program", PlistDictionary{{"Label", kLabel}, {"RunAtLoad", true}}},
        {"arguments not strings",
         PlistDictionary{{"Label", kLabel}, {"ProgramArguments", PlistArray{"/usr/bin/open", 1}}}},
    };
    for (const auto& [why, contents] : malformed) {
        SCOPED_TRACE(why);
        writePlist(loginPlist, contents);
        EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, loginPlist}),
                  exitedWith(5, "Bootstrap failed: 5: Input/output error\n"));
    }
    ASSERT_TRUE(mac.files().writeFileAtomically(loginPlist, toBytes("<plist><dict>")));
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, loginPlist}).status, 5) << "garbled bytes";
    EXPECT_FALSE(tools.launchAgents().isLoaded(kLabel));
    EXPECT_TRUE(opened.empty());
}

TEST_F(LaunchctlToolTest, BootoutDisableAndEnableFollowLaunchdsRules) {
    const Outcome notLoaded = exitedWith(3, "Boot-out failed: 3: No such process\n");
    const Outcome refused = exitedWith(5, "Bootstrap failed: 5: Input/output error\n");
    const std::string missing = agents + "/missing.plist";
    writeLoginAgent();

    EXPECT_EQ(run(kLaunchctl, {"bootout", domain, loginPlist}), notLoaded);
    EXPECT_EQ(run(kLaunchctl, {"bootout", domain, missing}),
              exitedWith(2, "Boot-out failed: 2: No such file or directory\n"));
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, missing}),
              exitedWith(2, "Bootstrap failed: 2: No such file or directory\n"));
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, loginPlist}), Outcome{});
    EXPECT_EQ(run(kLaunchctl, {"bootout", service}), Outcome{});
    EXPECT_EQ(run(kLaunchctl, {"bootout", service}), notLoaded);

    EXPECT_EQ(run(kLaunchctl, {"disable", service}), Outcome{});
    EXPECT_TRUE(tools.launchAgents().isDisabled(kLabel));
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, loginPlist}), refused) << "disabled";
    EXPECT_EQ(run(kLaunchctl, {"enable", service}), Outcome{});
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", domain, loginPlist}), Outcome{});
    EXPECT_EQ(run(kLaunchctl, {"bootout", domain, loginPlist}), Outcome{});
    EXPECT_FALSE(tools.launchAgents().isLoaded(kLabel));
}

TEST_F(LaunchctlToolTest, RefusesAnotherUsersDomainAndMalformedTargets) {
    writeLoginAgent();
    EXPECT_EQ(run(kLaunchctl, {"bootstrap", "gui/502", loginPlist}),
              exitedWith(1, "Bootstrap failed: 1: Operation not permitted\n"));
    EXPECT_EQ(run(kLaunchctl, {"bootout", "gui/0/" + std::string(kLabel)}).status, 1);
    EXPECT_EQ(run(kLaunchctl, {"disable", "gui/502/" + std::string(kLabel)}).status, 1);
    EXPECT_FALSE(tools.launchAgents().isDisabled(kLabel));
    for (const auto& wrongCall :
         std::vector<std::vector<std::string>>{{},
                                               {"load", loginPlist},
                                               {"bootstrap", "gui/abc", loginPlist},
                                               {"bootstrap", service, loginPlist},
                                               {"bootstrap", domain},
                                               {"enable", domain},
                                               {"disable", "gui/501/"},
                                               {"bootout", "system", loginPlist}}) {
        EXPECT_EQ(run(kLaunchctl, wrongCall).status, 64);
    }
    EXPECT_FALSE(tools.launchAgents().isLoaded(kLabel));
}

TEST_F(LaunchctlToolTest, LoginLoadsEveryEnabledAgentAndRunsTheRunAtLoadOnes) {
    writePlist(agents + "/a.plist", agent("a", {"/usr/bin/open", "-a", "TextEdit"}, true));
    writePlist(agents + "/b.plist", agent("b", {"/usr/bin/open", "-a", "Calculator"}, false));
    writePlist(agents + "/c.plist", agent("c", {"/usr/bin/open", "-a", "Notes"}, true));
    ASSERT_EQ(run(kLaunchctl, {"disable", domain + "/c"}), Outcome{});

    tools.launchAgents().login();
    EXPECT_TRUE(runs("TextEdit"));
    EXPECT_FALSE(runs("Calculator"));
    EXPECT_FALSE(runs("Notes"));
    EXPECT_TRUE(tools.launchAgents().isLoaded("b"));
    EXPECT_FALSE(tools.launchAgents().isLoaded("c"));
}

}  // namespace
}  // namespace parvel::sim::test
