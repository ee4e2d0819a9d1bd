#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "core/ProcessRunner.h"
#include "platform/posix/PosixProcesses.h"
#include "support/TemporaryDirectory.h"

namespace parvel {
namespace {

class ProcessRunnerTest : public testing::Test {
  protected:
    posix::PosixProcesses processes;
    ProcessRunner runner{processes};
};

// Stdout and stderr written in an order that tells the three runners apart.
constexpr const char* kBothStreams = "echo err >&2; echo out; exit 3";

TEST_F(ProcessRunnerTest, RunProcessGivesTheExitStatusOnly) {
    EXPECT_EQ(runner.runProcess("/bin/true", {}), 0);
    EXPECT_EQ(runner.runProcess("/bin/false", {}), 1);
    EXPECT_EQ(runner.runProcess("/bin/sh", {"-c", kBothStreams}), 3);
    EXPECT_EQ(runner.runProcess("/no/such/tool", {}), -1);
}

TEST_F(ProcessRunnerTest, ProcessOutputSharesOnePipeInWritingOrder) {
    EXPECT_EQ(runner.processOutput("/bin/sh", {"-c", kBothStreams}),
              (ProcessOutput{3, "err\nout\n"}));
    EXPECT_EQ(runner.processOutput("/bin/sh", {"-c", "printf 'caf\\303\\251'"}),
              (ProcessOutput{0, "café"}));
    EXPECT_EQ(runner.processOutput("/bin/sh", {"-c", "printf 'ok\\377'"}), (ProcessOutput{0, ""}))
        << "output that is not UTF-8 reads as empty";
    const auto missing = runner.processOutput("/no/such/tool", {});
    EXPECT_EQ(missing.status, -1);
    EXPECT_EQ(missing.text, "No such file or directory");
}

TEST_F(ProcessRunnerTest, StandardOutputDropsStandardError) {
    EXPECT_EQ(runner.standardOutput("/bin/sh", {"-c", kBothStreams}), (ProcessOutput{3, "out\n"}));
    EXPECT_EQ(runner.standardOutput("/no/such/tool", {}), (ProcessOutput{-1, ""}));
}

TEST_F(ProcessRunnerTest, RunInstalledHelperPutsStandardOutputFirst) {
    EXPECT_EQ(runner.runInstalledHelper("/bin/sh", {"-c", kBothStreams}),
              (HelperResult{false, "out\nerr\n"}));
    EXPECT_EQ(runner.runInstalledHelper("/bin/sh", {"-c", "echo 'OK|wifi'"}),
              (HelperResult{true, "OK|wifi\n"}));
    EXPECT_EQ(runner.runInstalledHelper("/bin/sh", {"-c", "printf '\\377' >&2; echo OK"}),
              (HelperResult{true, "OK\n"}))
        << "each stream is decoded on its own";
    EXPECT_EQ(runner.runInstalledHelper("/no/such/helper", {}),
              (HelperResult{false, "No such file or directory"}));
}

TEST_F(ProcessRunnerTest, LaunchDetachedDoesNotWait) {
    const test_support::TemporaryDirectory folder;
    const std::string marker = folder.path() + "/done";
    ASSERT_TRUE(runner.launchDetached("/bin/sh", {"-c", "sleep 0.3; touch \"$1\"", "sh", marker}));
    EXPECT_FALSE(std::ifstream(marker).good()) << "returned before the child finished";
    for (int attempt = 0; attempt < 100 && !std::ifstream(marker).good(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(std::ifstream(marker).good());
    EXPECT_FALSE(runner.launchDetached("/no/such/tool", {}).has_value());
}

}  // namespace
}  // namespace parvel
