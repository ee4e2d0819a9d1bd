#pragma once

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/Processes.h"

// What a Processes adapter that starts the real programs of this machine must do beyond the
// common contract: signals, pipes, descriptors and the kernel's process table. A factory type
// gives `static std::unique_ptr<platform::Processes> make()`.
namespace parvel::contract {

template <typename Factory>
class HostProcessesContract : public testing::Test {
  protected:
    std::unique_ptr<platform::Processes> processes = Factory::make();

    std::string outputOf(platform::LaunchRequest request) {
        request.output = platform::StreamTarget::Pipe;
        auto child = processes->launch(request);
        EXPECT_TRUE(child.has_value()) << request.executable;
        if (!child) {
            return {};
        }
        std::string output = (*child)->readOutput();
        EXPECT_EQ((*child)->waitUntilExit(), 0) << request.executable;
        return output;
    }
};

TYPED_TEST_SUITE_P(HostProcessesContract);

TYPED_TEST_P(HostProcessesContract, AToolEndedBySignalNReports128PlusN) {
    for (const auto& [signal, status] : {std::pair{"TERM", 128 + 15}, std::pair{"KILL", 128 + 9}}) {
        auto child =
            this->processes->launch({"/bin/sh", {"-c", std::string("kill -") + signal + " $$"}});
        ASSERT_TRUE(child.has_value());
        EXPECT_EQ((*child)->waitUntilExit(), status) << signal;
    }
}

TYPED_TEST_P(HostProcessesContract, ToolsSeeNoInputAndNoInheritedDescriptors) {
    EXPECT_EQ(this->outputOf({"/bin/cat", {}}), "") << "standard input is the null device";
    // 0, 1 and 2, plus the descriptor ls opens to read the folder.
    EXPECT_EQ(this->outputOf({"/bin/ls", {"/proc/self/fd"}}), "0\n1\n2\n3\n");
}

TYPED_TEST_P(HostProcessesContract, OutputLargerThanAPipeCanBeReadBeforeWaiting) {
    auto child = this->processes->launch(
        {"/bin/sh", {"-c", "head -c 1048576 /dev/zero"}, platform::StreamTarget::Pipe});
    ASSERT_TRUE(child.has_value());
    EXPECT_EQ((*child)->readOutput().size(), 1048576u);
    EXPECT_EQ((*child)->waitUntilExit(), 0);
}

TYPED_TEST_P(HostProcessesContract, StreamsInterleaveInTheOrderWritten) {
    const auto shared = this->processes->launch({"/bin/sh",
                                                 {"-c", "echo out; echo err >&2; echo out2"},
                                                 platform::StreamTarget::Pipe,
                                                 platform::StreamTarget::SameAsOutput});
    ASSERT_TRUE(shared.has_value());
    EXPECT_EQ((*shared)->readOutput(), "out\nerr\nout2\n");
    EXPECT_EQ((*shared)->waitUntilExit(), 0);
}

TYPED_TEST_P(HostProcessesContract, FoldersAndPlainFilesDoNotStart) {
    const std::string notExecutable = "/etc/hostname";
    for (const std::string& path : {std::string("/tmp"), notExecutable}) {
        if (path == notExecutable && ::access(notExecutable.c_str(), X_OK) == 0) {
            continue;
        }
        const auto child = this->processes->launch({path, {}});
        ASSERT_FALSE(child.has_value()) << path;
        EXPECT_EQ(child.error().code, EACCES) << path;
    }
}

TYPED_TEST_P(HostProcessesContract, KnowsThisProcessAndItsChildrenAsTheKernelDoes) {
    EXPECT_EQ(this->processes->currentProcessId(), ::getpid());
    EXPECT_EQ(this->processes->parentProcessId(::getpid()), ::getppid());
    const std::string sleeper = "/bin/sleep";
    auto child = this->processes->launch({sleeper, {"0.3"}});
    ASSERT_TRUE(child.has_value());
    const auto pid = (*child)->processId();
    EXPECT_EQ(this->processes->parentProcessId(pid), ::getpid());
    EXPECT_EQ(this->processes->executablePath(pid), std::filesystem::canonical(sleeper).string())
        << "the kernel's path, links resolved";
    EXPECT_EQ((*child)->waitUntilExit(), 0);
}

REGISTER_TYPED_TEST_SUITE_P(HostProcessesContract, AToolEndedBySignalNReports128PlusN,
                            ToolsSeeNoInputAndNoInheritedDescriptors,
                            OutputLargerThanAPipeCanBeReadBeforeWaiting,
                            StreamsInterleaveInTheOrderWritten, FoldersAndPlainFilesDoNotStart,
                            KnowsThisProcessAndItsChildrenAsTheKernelDoes);

}  // namespace parvel::contract
