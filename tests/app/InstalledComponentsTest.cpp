#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "app/InstalledComponents.h"
#include "core/ProcessRunner.h"
#include "platform/posix/PosixProcesses.h"
#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/TracingLog.h"
#include "platform/sim/tools/SystemTools.h"
#include "support/TemporaryDirectory.h"

namespace parvel {
namespace {

using Invocations = std::vector<sim::ToolArguments>;

// Reads back what `do shell script` receives, following AppleScript's own string escapes
// (\" \\ \n \t \r) rather than reversing ours; nullopt when the text is not such a script.
std::optional<std::string> shellCommandOfAdministratorScript(std::string_view script) {
    constexpr std::string_view prefix = "do shell script \"";
    constexpr std::string_view suffix = "\" with administrator privileges";
    if (!script.starts_with(prefix)) {
        return std::nullopt;
    }
    std::string command;
    std::size_t index = prefix.size();
    for (; index < script.size() && script[index] != '"'; ++index) {
        if (script[index] != '\\') {
            command += script[index];
            continue;
        }
        if (++index == script.size()) {
            return std::nullopt;
        }
        switch (script[index]) {
            case 'n':
                command += '\n';
                break;
            case 't':
                command += '\t';
                break;
            case 'r':
                command += '\r';
                break;
            case '"':
            case '\\':
                command += script[index];
                break;
            default:
                return std::nullopt;
        }
    }
    if (script.substr(index) != suffix) {
        return std::nullopt;
    }
    return command;
}

TEST(AdministratorScriptTest, HostilePathsReachBashAsOneIntactArgument) {
    const char* folders[] = {
        "it's",        "say \"hi\"",    "back\\slash", "$HOME and $(id -u)",
        "`whoami`",    "  two  spaces", "new\nline",   "a'b\"c\\d",
        "ends with '", "\\\"",          "tab\there",   "*?[glob]",
    };
    posix::PosixProcesses processes;
    const ProcessRunner runner(processes);
    const test_support::TemporaryDirectory root;
    for (const std::string folder : folders) {
        SCOPED_TRACE(folder);
        const std::string directory = root.path() + "/" + folder;
        ASSERT_EQ(::mkdir(directory.c_str(), 0755), 0);
        const std::string scriptPath = directory + "/ParvelMacFirstRunSetup.sh";
        std::ofstream(scriptPath) << "printf '%s|%s' \"$#\" \"$0\"\n";

        const auto command =
            shellCommandOfAdministratorScript(InstalledComponents::administratorScript(scriptPath));
        ASSERT_TRUE(command.has_value()) << InstalledComponents::administratorScript(scriptPath);
        EXPECT_TRUE(command->starts_with("/bin/bash '")) << *command;
        // do shell script hands its text to /bin/sh, as here.
        EXPECT_EQ(runner.processOutput("/bin/sh", {"-c", *command}),
                  (ProcessOutput{0, "0|" + scriptPath}));
    }
}

TEST(AdministratorScriptTest, EscapesBackslashesBeforeQuotes) {
    EXPECT_EQ(InstalledComponents::administratorScript("/A\\\"/s.sh"),
              "do shell script \"/bin/bash '/A\\\\\\\"/s.sh'\" with administrator privileges");
    EXPECT_EQ(InstalledComponents::administratorScript("/it's/s.sh"),
              "do shell script \"/bin/bash '/it'\\\"'\\\"'s/s.sh'\" with administrator "
              "privileges");
}

class InstalledComponentsTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    ProcessRunner runner{mac.processes()};
    std::shared_ptr<InstalledComponents> components = std::make_shared<InstalledComponents>(
        mac.bundle(), mac.files(), runner, mac.dispatch(), mac.presenter(), mac.log());
    sim::AdministratorPrompt& prompt = mac.systemTools().administratorPrompt();

    void moveBundleTo(const std::string& path) {
        sim::ProgramBundle(mac.files(), mac.trace()).install(path);
        mac.bundle().setBundlePath(path);
    }
    void installHelpers() {
        sim::ProgramBundle(mac.files(), mac.trace()).installHelpers(mac.bundle().bundlePath());
    }
    bool helpersMatch() {
        for (const auto& helper : sim::ProgramBundle::kHelpers) {
            const std::string installed = std::string(sim::ProgramBundle::kHelperFolder) + "/" +
                                          std::string(helper.installedName);
            if (!components->bundledHelperMatchesInstalled(helper.resource, installed)) {
                return false;
            }
        }
        return true;
    }
    void bootstrap() {
        components->bootstrapDragInstalledComponentsIfNeeded();
        mac.dispatch().runDue();
    }
    Invocations invocationsSince(std::size_t start) {
        const auto& all = mac.processes().invocations();
        return {all.begin() + static_cast<std::ptrdiff_t>(start), all.end()};
    }
};

TEST_F(InstalledComponentsTest, HelpersMatchOnlyWhenEveryByteIsEqual) {
    installHelpers();
    const std::string installed(installedChargeHelperPath);
    const auto bundled = *mac.bundle().resourcePath("ParvelMacChargeHelper", "");
    const Bytes original = *mac.files().readFile(bundled);

    struct Case {
        const char* name;
        std::optional<Bytes> installedBytes;  // nullopt: no installed file
        bool matches;
    };
    Bytes lastByteFlipped = original;
    lastByteFlipped.back() ^= 0x01;
    const Bytes truncated(original.begin(), original.end() - 1);
    Bytes longer = original;
    longer.push_back(0);
    const Case cases[] = {
        {"identical", original, true},          {"last byte differs", lastByteFlipped, false},
        {"shorter", truncated, false},          {"longer", longer, false},
        {"not installed", std::nullopt, false},
    };
    for (const auto& [name, installedBytes, matches] : cases) {
        SCOPED_TRACE(name);
        (void)mac.files().removeItem(installed);
        if (installedBytes) {
            ASSERT_TRUE(mac.files().writeFileAtomically(installed, *installedBytes, 0755));
        }
        EXPECT_EQ(components->bundledHelperMatchesInstalled("ParvelMacChargeHelper", installed),
                  matches);
    }
    EXPECT_FALSE(components->bundledHelperMatchesInstalled("NoSuchHelper", installed));
}

TEST_F(InstalledComponentsTest, TheSetupScriptInstallsHelpersFromAPathWithQuotes) {
    moveBundleTo("/Users/me/It's \"odd\" \\ here/ParvelMac.app");
    ASSERT_FALSE(helpersMatch());
    EXPECT_TRUE(components->installPrivilegedHelpersFromBundle());
    EXPECT_EQ(prompt.prompts, 1);
    EXPECT_TRUE(helpersMatch());
}

TEST_F(InstalledComponentsTest, RefusedOrImpossibleInstallationsReportFalse) {
    prompt.answer = sim::AdministratorAnswer::Cancel;
    EXPECT_FALSE(components->installPrivilegedHelpersFromBundle());
    EXPECT_FALSE(helpersMatch());

    ASSERT_TRUE(mac.files().removeItem(mac.bundle().resourcesPath() + "/" +
                                       std::string(sim::ProgramBundle::kSetupScript)));
    EXPECT_FALSE(components->installPrivilegedHelpersFromBundle());
    EXPECT_TRUE(
        mac.log().lines().contains("ParvelMac: embedded first-run setup script is missing"));
    EXPECT_EQ(prompt.prompts, 1) << "no prompt without a script";
}

TEST_F(InstalledComponentsTest, ADeclinedPromptIsReportedOnTheMainQueue) {
    prompt.answer = sim::AdministratorAnswer::Cancel;
    bootstrap();

    const auto alert = mac.presenter().currentAlert();
    ASSERT_TRUE(alert.has_value());
    EXPECT_EQ(alert->messageText, "ParvelMac setup was not completed");
    EXPECT_EQ(alert->informativeText,
              "ParvelMac needs administrator approval once to install its battery, power and Low "
              "Data Mode helpers. You can quit and reopen ParvelMac to try again.");
    mac.presenter().answerAlert("OK");
    EXPECT_TRUE(mac.systemTools().plugIns().finderSyncInUse())
        << "the Finder extension is registered all the same";
}

TEST_F(InstalledComponentsTest, OnlyTheCopyInApplicationsInstallsHelpers) {
    const struct {
        const char* bundlePath;
        int prompts;
    } cases[] = {
        {"/Users/me/Downloads/ParvelMac.app", 0},
        {"/Applications/../Applications/ParvelMac.app", 1},
        {"/Applications/ParvelMac.app", 0},  // installed by the case before
    };
    for (const auto& [bundlePath, prompts] : cases) {
        SCOPED_TRACE(bundlePath);
        moveBundleTo(bundlePath);
        prompt.prompts = 0;
        bootstrap();
        EXPECT_EQ(prompt.prompts, prompts);
        EXPECT_TRUE(mac.systemTools().plugIns().finderSyncInUse());
    }
}

class FinderSyncRegistrationTest : public InstalledComponentsTest {
  protected:
    const std::string extension = mac.bundle().builtInPlugInsPath() + "/ParvelMacFinderSync.appex";
    const std::string identifier{InstalledComponents::kFinderSyncIdentifier};
    const sim::ToolArguments query = {"/usr/bin/pluginkit", "-m", "-A", "-D", "-i", identifier};
    const sim::ToolArguments use = {"/usr/bin/pluginkit", "-e", "use", "-i", identifier};
    static constexpr const char* kLsregister =
        "/System/Library/Frameworks/CoreServices.framework/Frameworks/LaunchServices.framework/"
        "Support/lsregister";

    Invocations registrationCalls() {
        const auto start = mac.processes().invocations().size();
        components->ensureFinderSyncRegistered();
        return invocationsSince(start);
    }
    Invocations firstRegistration(std::vector<sim::ToolArguments> beforeAdding) const {
        Invocations calls{query};
        calls.insert(calls.end(), beforeAdding.begin(), beforeAdding.end());
        calls.push_back({"/usr/bin/pluginkit", "-a", extension});
        calls.push_back(use);
        calls.push_back({"/usr/bin/pkill", "-x", "FinderSyncExtensionHost"});
        calls.push_back({"/usr/bin/killall", "Finder"});
        return calls;
    }
};

TEST_F(FinderSyncRegistrationTest, AnUnknownExtensionIsAddedAndFinderRestarted) {
    EXPECT_EQ(registrationCalls(), firstRegistration({}));
    EXPECT_TRUE(mac.systemTools().plugIns().finderSyncInUse());
    EXPECT_EQ(registrationCalls(), (Invocations{query, use})) << "known from now on";
}

TEST_F(FinderSyncRegistrationTest, LaunchServicesRegistersTheBundleFirstWhereItsToolExists) {
    const std::string tool(kLsregister);
    ASSERT_TRUE(mac.files().createDirectories(tool.substr(0, tool.rfind('/'))));
    ASSERT_TRUE(mac.files().writeFileAtomically(tool, Bytes{'#'}, 0755));
    EXPECT_EQ(registrationCalls(), firstRegistration({{tool, "-f", mac.bundle().bundlePath()}}));
}

TEST_F(FinderSyncRegistrationTest, ABundleWithoutTheExtensionRunsNothing) {
    ASSERT_TRUE(mac.files().removeItem(extension));
    EXPECT_TRUE(registrationCalls().empty());
}

}  // namespace
}  // namespace parvel
