#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimAppleScript.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/SystemToolsFixture.h"
#include "platform/sim/Trace.h"
#include "platform/sim/tools/ShellWords.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Dock.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim::test {
namespace {

using platform::PlistDictionary;

constexpr const char* kOpen = "/usr/bin/open";
constexpr const char* kOsascript = "/usr/bin/osascript";
constexpr const char* kPluginkit = "/usr/bin/pluginkit";
constexpr const char* kFinderSync = "com.tarnby.parvelmac.findersync";

std::string frontmostName(SimulatedMac& mac) {
    const auto pid = mac.applications().frontmost();
    return pid ? mac.applications().find(*pid)->spec.name : "none";
}

TEST_F(SystemToolsTest, KillallAndPkillEndProcessesByName) {
    const auto finder = mac.finder().pid();
    const int dockLaunches = mac.dock().launchCount();
    EXPECT_EQ(run("/usr/bin/killall", {"cfprefsd"}), Outcome{});
    EXPECT_EQ(mac.dock().launchCount(), dockLaunches) << "restarting cfprefsd changes nothing";
    EXPECT_EQ(run("/usr/bin/killall", {"Nothing"}),
              exitedWith(1, "No matching processes belonging to you were found\n"));
    EXPECT_EQ(run("/usr/bin/killall", {"-9", "Dock"}).status, 1);
    EXPECT_EQ(mac.dock().launchCount(), dockLaunches);

    EXPECT_EQ(run("/usr/bin/pkill", {"-x", "Find"}), exitedWith(1, ""));
    EXPECT_EQ(run("/usr/bin/pkill", {"-x", "FinderSyncExtensionHost"}), exitedWith(1, ""))
        << "no Finder Sync extension is in use";
    EXPECT_EQ(mac.finder().pid(), finder);
    EXPECT_EQ(run("/usr/bin/pkill", {"Find"}), Outcome{}) << "a pattern without -x";
    EXPECT_NE(mac.finder().pid(), finder) << "launchd restarted Finder";
    EXPECT_EQ(run("/usr/bin/pkill", {"-q", "Finder"}).status, 2);

    mac.applications().launch({"com.example.Editor", "Editor"});
    EXPECT_EQ(run("/usr/bin/killall", {"Editor"}), Outcome{});
    EXPECT_TRUE(mac.applications().withName("Editor").empty()) << "nobody restarts it";
}

TEST_F(SystemToolsTest, OpenLaunchesOrActivatesApplicationsByName) {
    EXPECT_EQ(run(kOpen, {"-a", "Launchpad"}), Outcome{});
    EXPECT_EQ(frontmostName(mac), "Launchpad");
    const auto launchpad = mac.applications().withName("Launchpad").front()->pid;

    mac.finder().focusDesktop();
    EXPECT_EQ(run(kOpen, {"-g", "-a", "launchpad.app"}), Outcome{});
    EXPECT_EQ(frontmostName(mac), "Finder") << "-g leaves a running application behind";
    EXPECT_EQ(run(kOpen, {"-a", "Launchpad"}), Outcome{});
    EXPECT_EQ(frontmostName(mac), "Launchpad");
    EXPECT_EQ(mac.applications().withName("Launchpad").size(), 1u);
    EXPECT_EQ(run(kOpen, {"-na", "Launchpad"}), Outcome{});
    EXPECT_EQ(mac.applications().withName("Launchpad").size(), 2u) << "-n starts another one";
    EXPECT_EQ(mac.applications().withName("Launchpad").front()->pid, launchpad);

    EXPECT_EQ(run(kOpen, {"-j", "-a", "TextEdit"}), Outcome{});
    EXPECT_TRUE(mac.applications().withName("TextEdit").front()->hidden);
    EXPECT_EQ(frontmostName(mac), "Launchpad");

    EXPECT_EQ(run(kOpen, {"-a", "Nope"}),
              exitedWith(1, "Unable to find application named 'Nope'\n"));
    EXPECT_EQ(run(kOpen, {"-z", "-a", "Safari"}).status, 1);
    EXPECT_EQ(run(kOpen, {"-a"}).status, 1);
    EXPECT_TRUE(mac.applications().withName("Safari").empty());
}

TEST_F(SystemToolsTest, OpenHandsApplicationBundlesToTheHookAndURLsToTheWorkspace) {
    const std::string bundle = mac.bundle().bundlePath();
    const std::string missing = "The file " + bundle + " does not exist.\n";
    EXPECT_EQ(run(kOpen, {"-gja", bundle, "--args", "--background"}), exitedWith(1, missing))
        << "nobody handles it yet";

    std::vector<OpenRequest> requests;
    bool starts = true;
    tools.onOpenApplication([&](const OpenRequest& request) {
        requests.push_back(request);
        return starts;
    });
    EXPECT_EQ(run(kOpen, {"-gja", bundle, "--args", "--background", "-x"}), Outcome{});
    EXPECT_EQ(run(kOpen, {"-n", bundle}), Outcome{});
    EXPECT_EQ(requests,
              (std::vector<OpenRequest>{{bundle, false, true, true, {"--background", "-x"}},
                                        {bundle, true, false, false, {}}}));
    starts = false;
    EXPECT_EQ(run(kOpen, {"-a", bundle}).status, 1);
    EXPECT_EQ(run(kOpen, {"-a", "/Applications/Other.app"}),
              exitedWith(1, "The file /Applications/Other.app does not exist.\n"));
    EXPECT_EQ(requests.size(), 3u);
    EXPECT_EQ(mac.trace().texts("open").size(), 5u) << "every request is traced";

    const std::string pane = "x-apple.systempreferences:com.apple.preference.security";
    EXPECT_EQ(run(kOpen, {pane}), Outcome{});
    EXPECT_EQ(mac.workspace().openedURLs(), std::vector<std::string>{pane});
    EXPECT_EQ(run(kOpen, {"nosuchscheme:x"}).status, 1);
}

TEST_F(SystemToolsTest, OsascriptPrintsResultsAndErrorsAsTheRealToolDoes) {
    const std::string finderName = "tell application \"Finder\" to get name";
    mac.appleScript().addScript("first line\nsecond line", "com.apple.finder", "Finder",
                                [] { return ScriptResult("joined"); });
    EXPECT_EQ(run(kOsascript, {"-e", finderName}), printed("Finder\n"));
    EXPECT_EQ(run(kOsascript, {"-e", "first line", "-e", "second line"}), printed("joined\n"));
    EXPECT_EQ(run(kOsascript, {"-e", "gibberish"}),
              exitedWith(1,
                         "0:9: syntax error: Expected end of line, etc. but found unknown "
                         "token. (-2741)\n"));
    mac.permissions().automation["com.apple.finder"] = AutomationState::Denied;
    EXPECT_EQ(run(kOsascript, {"-e", finderName}),
              exitedWith(1, fmt::format("0:{}: execution error: Not authorized to send Apple "
                                        "events to Finder. (-1743)\n",
                                        finderName.size())));
    EXPECT_EQ(run(kOsascript, {"-e"}).status, 1);
    EXPECT_EQ(run(kOsascript, {"script.scpt"}).status, 1);
}

TEST_F(SystemToolsTest, AdministratorShellScriptsReachBashWithTheirPathIntact) {
    const std::string script = mac.bundle().resourcesPath() + "/Parvel's \"Setup\" \\ copy.sh";
    ASSERT_TRUE(mac.files().writeFileAtomically(script, toBytes("#!/bin/bash\n")));
    // Quoted for the shell, then as an AppleScript string, as the program builds it.
    std::string shellCommand = "/bin/bash '";
    for (const char character : script) {
        shellCommand += character == '\'' ? std::string("'\"'\"'") : std::string(1, character);
    }
    shellCommand += "'";
    std::string literal = "\"";
    for (const char character : shellCommand) {
        literal += character == '\\'  ? "\\\\"
                   : character == '"' ? "\\\""
                                      : std::string(1, character);
    }
    literal += "\"";
    const std::string appleScript = "do shell script " + literal + " with administrator privileges";

    struct Case {
        AdministratorAnswer answer;
        ToolResult scriptResult;
        Outcome expected;
    };
    const std::vector<Case> cases = {
        {AdministratorAnswer::Approve, {0, "OK\n", ""}, printed("OK\n")},
        {AdministratorAnswer::Approve,
         {3, "", "setup failed\n"},
         exitedWith(1,
                    fmt::format("0:{}: execution error: setup failed (3)\n", appleScript.size()))},
        {AdministratorAnswer::Cancel,
         {0, "OK\n", ""},
         exitedWith(
             1, fmt::format("0:{}: execution error: User canceled. (-128)\n", appleScript.size()))},
    };
    std::vector<std::string> ran;
    ToolResult answer;
    tools.addShellScriptMatcher([&](const ShellScript& shell) -> std::optional<ToolResult> {
        if (shell.path != script) {
            return std::nullopt;
        }
        ran.push_back(shell.shell + " " + shell.path);
        return answer;
    });
    int prompts = 0;
    for (const auto& [userAnswer, scriptResult, expected] : cases) {
        tools.administratorPrompt().answer = userAnswer;
        answer = scriptResult;
        EXPECT_EQ(run(kOsascript, {"-e", appleScript}), expected);
        EXPECT_EQ(tools.administratorPrompt().prompts, ++prompts);
    }
    EXPECT_EQ(ran, std::vector<std::string>(2, "/bin/bash " + script)) << "not after a cancel";
}

TEST_F(SystemToolsTest, TheRelaunchScriptOpensTheBundleOneSecondLater) {
    const std::string bundle = "/Applications/Parvel's \"Mac\".app";
    makeFolder(bundle);
    std::vector<OpenRequest> requests;
    tools.onOpenApplication([&](const OpenRequest& request) {
        requests.push_back(request);
        return true;
    });
    EXPECT_EQ(
        run("/bin/sh", {"-c", "sleep 1; /usr/bin/open -n -a \"$1\"", "parvel-relaunch", bundle}),
        Outcome{});
    mac.dispatch().advance(platform::seconds(0.9));
    EXPECT_TRUE(requests.empty());
    mac.dispatch().advance(platform::seconds(0.2));
    EXPECT_EQ(requests, (std::vector<OpenRequest>{{bundle, true, false, false, {}}}));
}

TEST_F(SystemToolsTest, ShellsRunKnownScriptsAndSimpleCommandsOnly) {
    std::vector<std::string> seen;
    tools.addShellScript("echo hello", [&](const ShellScript& script) {
        seen.push_back(script.name);
        seen.insert(seen.end(), script.arguments.begin(), script.arguments.end());
        return ToolResult{0, "hello\n", ""};
    });
    EXPECT_EQ(run("/bin/sh", {"-c", "echo hello", "greeter", "a b"}), printed("hello\n"));
    EXPECT_EQ(run("/bin/bash", {"-c", "echo hello"}), printed("hello\n"));
    EXPECT_EQ(seen, (std::vector<std::string>{"greeter", "a b", "bash"}));

    EXPECT_EQ(run("/bin/sh", {"-c", "/usr/bin/defaults write 'com.example.sh' \"a key\" -int 3"}),
              Outcome{});
    EXPECT_EQ(mac.defaults().object("com.example.sh", "a key"), platform::PlistValue(3));
    EXPECT_EQ(run("/bin/sh", {"-c", "/no/such/tool"}).status, 127);

    const Outcome unknown = run("/bin/sh", {"-c", "rm -rf \"$HOME\""});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.error.find("not known to the simulated Mac"), std::string::npos);
    EXPECT_EQ(run("/bin/bash", {"/tmp/missing.sh"}),
              exitedWith(127, "bash: /tmp/missing.sh: No such file or directory\n"));
    EXPECT_EQ(run("/bin/sh", {"-c"}).status, 2);
    EXPECT_EQ(run("/bin/sh", {"-x", "script"}).status, 2);
}

TEST(ShellWordsTest, SplitsOneSimpleCommandAndRefusesAnythingMore) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(ShellWords::simpleCommand("/bin/bash '/a b/it'\"'\"'s'"),
              (Words{"/bin/bash", "/a b/it's"}));
    EXPECT_EQ(ShellWords::simpleCommand("  a\t\"b \\\" \\\\ \\x\"  c\\ d ''"),
              (Words{"a", "b \" \\ \\x", "c d", ""}));
    for (const char* notSimple : {"", "   ", "a; b", "a | b", "a > f", "echo $HOME", "\"$1\"",
                                  "a `b`", "ls *.txt", "'unclosed", "\"unclosed", "a\nb", "a \\"}) {
        EXPECT_EQ(ShellWords::simpleCommand(notSimple), std::nullopt) << notSimple;
    }
}

TEST_F(SystemToolsTest, PluginkitRegistersAndElectsTheFinderSyncExtension) {
    const std::string appex = mac.bundle().builtInPlugInsPath() + "/ParvelMacFinderSync.appex";
    // The simulated bundle ships the extension; this test brings it in itself.
    ASSERT_TRUE(mac.files().removeItem(appex));
    const std::vector<std::string> match = {"-m", "-A", "-D", "-i", kFinderSync};
    EXPECT_EQ(run(kPluginkit, match), Outcome{}) << "unknown: no output";
    EXPECT_EQ(run(kPluginkit, {"-e", "use", "-i", kFinderSync}).status, 1);
    EXPECT_EQ(run(kPluginkit, {"-a", appex}).status, 1) << "no bundle there yet";

    writePlist(appex + "/Contents/Info.plist",
               PlistDictionary{{"CFBundleIdentifier", kFinderSync},
                               {"CFBundleShortVersionString", "1.0"},
                               {"NSExtension", PlistDictionary{{"NSExtensionPointIdentifier",
                                                                "com.apple.FinderSync"}}}});
    EXPECT_EQ(run(kPluginkit, {"-a", appex}), Outcome{});
    EXPECT_EQ(run(kPluginkit, match), printed(fmt::format("     {}(1.0)\n", kFinderSync)));
    EXPECT_FALSE(mac.workspace().isFinderExtensionEnabled(kFinderSync));

    EXPECT_EQ(run(kPluginkit, {"-e", "use", "-i", kFinderSync}), Outcome{});
    EXPECT_EQ(run(kPluginkit, match), printed(fmt::format("+    {}(1.0)\n", kFinderSync)));
    EXPECT_TRUE(mac.workspace().isFinderExtensionEnabled(kFinderSync));
    EXPECT_EQ(run("/usr/bin/pkill", {"-x", "FinderSyncExtensionHost"}), Outcome{});

    EXPECT_EQ(run(kPluginkit, {"-e", "ignore", "-i", kFinderSync}), Outcome{});
    EXPECT_EQ(run(kPluginkit, match), printed(fmt::format("-    {}(1.0)\n", kFinderSync)));
    EXPECT_FALSE(mac.workspace().isFinderExtensionEnabled(kFinderSync));
    for (const auto& wrongCall : std::vector<std::vector<std::string>>{
             {}, {"-e", "use"}, {"-e", "maybe", "-i", kFinderSync}, {"-a"}, {"-m", "-a", appex}}) {
        EXPECT_EQ(run(kPluginkit, wrongCall).status, 64);
    }
}

TEST_F(SystemToolsTest, TccutilResetsThisProgramsPermissions) {
    struct Case {
        std::string service;
        bool Permissions::*permission;
    };
    for (const auto& [service, permission] :
         std::vector<Case>{{"Accessibility", &Permissions::accessibility},
                           {"ScreenCapture", &Permissions::screenRecording},
                           {"ListenEvent", &Permissions::inputMonitoring}}) {
        SCOPED_TRACE(service);
        mac.permissions() = Permissions{};
        EXPECT_EQ(
            run("/usr/bin/tccutil", {"reset", service, "com.example.other"}),
            printed("Successfully reset " + service + " approval status for com.example.other\n"));
        EXPECT_TRUE(mac.permissions().*permission) << "another application's answer";
        EXPECT_EQ(run("/usr/bin/tccutil", {"reset", service, "com.tarnby.parvelmac"}),
                  printed("Successfully reset " + service +
                          " approval status for com.tarnby.parvelmac\n"));
        EXPECT_FALSE(mac.permissions().*permission);
        EXPECT_EQ(mac.permissions().accessibility + mac.permissions().screenRecording +
                      mac.permissions().inputMonitoring,
                  2)
            << "the others are untouched";
    }
    mac.permissions().automation["com.apple.finder"] = AutomationState::Allowed;
    EXPECT_EQ(run("/usr/bin/tccutil", {"reset", "AppleEvents"}),
              printed("Successfully reset AppleEvents\n"));
    EXPECT_TRUE(mac.permissions().automation.empty());
    EXPECT_EQ(run("/usr/bin/tccutil", {"reset", "Bogus", "com.tarnby.parvelmac"}),
              exitedWith(1, "tccutil: Failed to reset Bogus\n"));
    EXPECT_EQ(run("/usr/bin/tccutil", {"Accessibility"}).status, 1);
}

TEST(SystemToolsLifetimeTest, ToolsFailToStartOnceTheyAreGone) {
    SimulatedMac mac;
    {
        SystemTools tools{mac};
        ASSERT_TRUE(mac.processes().launch({"/usr/bin/killall", {"cfprefsd"}}).has_value());
    }
    EXPECT_FALSE(mac.processes().launch({"/usr/bin/killall", {"cfprefsd"}}).has_value());
    EXPECT_FALSE(
        mac.processes()
            .launch({ProgramBundle::modeHelperPath(mac.bundle().bundlePath()), {"display-get"}})
            .has_value());
    EXPECT_FALSE(mac.appleScript().run("do shell script \"/usr/bin/true\"").has_value());
}

}  // namespace
}  // namespace parvel::sim::test
