#include <string>

#include <gtest/gtest.h>

#include "base/Bytes.h"
#include "core/InstalledHelper.h"
#include "core/ProcessRunner.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"

namespace parvel {
namespace {

constexpr std::string_view kHelper = "/Library/PrivilegedHelperTools/com.example.helper";
constexpr HelperCommand kCommand{kHelper, kLowDataHelperSuccessMarker, "Not installed.",
                                 "Nothing said."};

// A helper installed as an executable file of the simulated Mac, answering with `reply`.
class InstalledHelperTest : public testing::Test {
  protected:
    sim::SimulatedMac mac;
    ProcessRunner runner{mac.processes()};

    void install(sim::ToolResult reply) {
        ASSERT_TRUE(mac.files().createDirectories("/Library/PrivilegedHelperTools"));
        ASSERT_TRUE(mac.files().writeFileAtomically(kHelper, Bytes{'#'}, 0755));
        mac.processes().addInstalledProgram(std::string(kHelper),
                                            [reply](const sim::ToolArguments&) { return reply; });
    }
    Result<void> run(const HelperCommand& command = kCommand) {
        return runHelper(runner, mac.files(), command, {"set", "1"});
    }
};

TEST_F(InstalledHelperTest, SuccessNeedsTheExitStatusAndTheMarker) {
    const struct {
        const char* name;
        sim::ToolResult reply;
        std::string failure;  // empty: success
    } cases[] = {
        {"marker", {0, "OK|lowdata=1\n", ""}, ""},
        {"marker on standard error", {0, "", "OK|\n"}, ""},
        {"marker without its bar", {0, "OK\n", ""}, "OK"},
        {"silent", {0, "", ""}, "Nothing said."},
        {"refused with the marker", {1, "OK|\n", ""}, "OK|"},
        {"refused in words",
         {2, "  No Wi-Fi network is connected.\n", ""},
         "No Wi-Fi network is connected."},
    };
    for (const auto& [name, reply, failure] : cases) {
        SCOPED_TRACE(name);
        install(reply);
        const auto ran = run();
        if (failure.empty()) {
            EXPECT_TRUE(ran.has_value()) << ran.error().description;
            continue;
        }
        ASSERT_FALSE(ran.has_value());
        EXPECT_EQ(ran.error().description, failure);
        EXPECT_FALSE(isHelperMissing(ran.error()));
    }
}

TEST_F(InstalledHelperTest, WithoutAMarkerTheExitStatusDecides) {
    constexpr HelperCommand statusOnly{kHelper, kExitStatusOnly};
    install({0, "", ""});
    EXPECT_TRUE(run(statusOnly).has_value());
    install({1, "", ""});
    const auto refused = run(statusOnly);
    ASSERT_FALSE(refused.has_value());
    EXPECT_EQ(refused.error().description, "The helper did not report success.");
}

TEST_F(InstalledHelperTest, AMissingOrNonExecutableHelperIsNotRun) {
    const auto missing = run();
    ASSERT_FALSE(missing.has_value());
    EXPECT_TRUE(isHelperMissing(missing.error()));
    EXPECT_EQ(missing.error().description, "Not installed.");

    install({0, "OK|\n", ""});
    ASSERT_TRUE(mac.files().setPermissions(kHelper, 0644));
    const auto notExecutable = run();
    ASSERT_FALSE(notExecutable.has_value());
    EXPECT_TRUE(isHelperMissing(notExecutable.error()));
    EXPECT_TRUE(mac.processes().invocations().empty());
}

}  // namespace
}  // namespace parvel
