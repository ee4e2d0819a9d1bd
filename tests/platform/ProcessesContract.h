#pragma once

#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/Processes.h"

// What every Processes adapter must do with real tools of this machine. A factory type gives
// `static std::unique_ptr<platform::Processes> make()`.
namespace parvel::contract {

using platform::LaunchRequest;
using platform::StreamTarget;

template <typename Factory>
class ProcessesContract : public testing::Test {
  protected:
    std::unique_ptr<platform::Processes> processes = Factory::make();

    struct Outcome {
        int status = 0;
        std::string output;
        std::string error;
    };

    Outcome run(LaunchRequest request) {
        auto child = processes->launch(request);
        EXPECT_TRUE(child.has_value())
            << request.executable << ": " << (child ? "" : child.error().description);
        if (!child) {
            return {-1, {}, {}};
        }
        const int status = (*child)->waitUntilExit();
        return {status, (*child)->readOutput(), (*child)->readError()};
    }

    Outcome shell(const std::string& script, StreamTarget output = StreamTarget::Pipe,
                  StreamTarget error = StreamTarget::Pipe) {
        return run({"/bin/sh", {"-c", script}, output, error});
    }
};

TYPED_TEST_SUITE_P(ProcessesContract);

TYPED_TEST_P(ProcessesContract, ReportsExitStatusesAndSignals) {
    struct Case {
        LaunchRequest request;
        int status;
    };
    const Case cases[] = {
        {{"/bin/true", {}}, 0},
        {{"/bin/false", {}}, 1},
        {{"/bin/sh", {"-c", "exit 7"}}, 7},
        {{"/bin/sh", {"-c", "kill -TERM $$"}}, 128 + 15},
    };
    for (const auto& testCase : cases) {
        auto child = this->processes->launch(testCase.request);
        ASSERT_TRUE(child.has_value());
        EXPECT_EQ((*child)->waitUntilExit(), testCase.status) << testCase.request.arguments.size();
        EXPECT_EQ((*child)->waitUntilExit(), testCase.status)
            << "waiting twice gives the same status";
    }
}

TYPED_TEST_P(ProcessesContract, RoutesEachStreamWhereAsked) {
    const std::string script = "echo out; echo err >&2; echo out2";
    const auto separate = this->shell(script);
    EXPECT_EQ(separate.output, "out\nout2\n");
    EXPECT_EQ(separate.error, "err\n");

    const auto shared = this->shell(script, StreamTarget::Pipe, StreamTarget::SameAsOutput);
    EXPECT_EQ(shared.output, "out\nerr\nout2\n");
    EXPECT_EQ(shared.error, "");

    const auto silenced = this->shell(script, StreamTarget::Null, StreamTarget::Null);
    EXPECT_EQ(silenced.status, 0);
    EXPECT_EQ(silenced.output + silenced.error, "");

    const auto errorOnly = this->shell(script, StreamTarget::Null, StreamTarget::Pipe);
    EXPECT_EQ(errorOnly.output, "");
    EXPECT_EQ(errorOnly.error, "err\n");
}

TYPED_TEST_P(ProcessesContract, ArgumentsArriveIntactWithoutAShell) {
    const std::vector<std::string> arguments = {
        "two words", "it's", "say \"hi\"", "back\\slash", "line1\nline2", "$HOME", "*", "`id`", ""};
    std::vector<std::string> shellArguments = {
        "-c", "for a in \"$@\"; do printf '[%s]' \"$a\"; done", "sh"};
    shellArguments.insert(shellArguments.end(), arguments.begin(), arguments.end());
    const auto outcome = this->run({"/bin/sh", shellArguments, StreamTarget::Pipe});
    std::string expected;
    for (const auto& argument : arguments) {
        expected += "[" + argument + "]";
    }
    EXPECT_EQ(outcome.output, expected);
}

TYPED_TEST_P(ProcessesContract, StartFailuresAreErrorsWithADescription) {
    const std::string notExecutable = "/etc/hostname";
    struct Case {
        std::string path;
        int errnoValue;
    };
    const Case cases[] = {
        {"/nonexistent/tool", ENOENT},
        {"relative/tool", ENOENT},
        {"/tmp", EACCES},
        {notExecutable, EACCES},
    };
    for (const auto& testCase : cases) {
        if (testCase.path == notExecutable && ::access(notExecutable.c_str(), X_OK) == 0) {
            continue;
        }
        const auto child = this->processes->launch({testCase.path, {}});
        ASSERT_FALSE(child.has_value()) << testCase.path;
        EXPECT_EQ(child.error().code, testCase.errnoValue) << testCase.path;
        EXPECT_FALSE(child.error().description.empty()) << testCase.path;
    }
}

TYPED_TEST_P(ProcessesContract, ToolsSeeNoInputAndNoInheritedDescriptors) {
    const auto input = this->run({"/bin/cat", {}, StreamTarget::Pipe});
    EXPECT_EQ(input.status, 0);
    EXPECT_EQ(input.output, "") << "standard input is the null device";
    const auto descriptors = this->run({"/bin/ls", {"/proc/self/fd"}, StreamTarget::Pipe});
    // 0, 1 and 2, plus the descriptor ls opens to read the folder.
    EXPECT_EQ(descriptors.output, "0\n1\n2\n3\n");
}

TYPED_TEST_P(ProcessesContract, OutputLargerThanAPipeCanBeReadBeforeWaiting) {
    auto child = this->processes->launch(
        {"/bin/sh", {"-c", "head -c 1048576 /dev/zero"}, StreamTarget::Pipe});
    ASSERT_TRUE(child.has_value());
    EXPECT_EQ((*child)->readOutput().size(), 1048576u);
    EXPECT_EQ((*child)->waitUntilExit(), 0);
}

TYPED_TEST_P(ProcessesContract, KnowsThisProcessAndItsParent) {
    EXPECT_EQ(this->processes->currentProcessId(), ::getpid());
    EXPECT_EQ(this->processes->parentProcessId(::getpid()), ::getppid());
    const auto path = this->processes->executablePath(::getpid());
    ASSERT_TRUE(path.has_value());
    EXPECT_NE(path->find("processes_tests"), std::string::npos) << *path;
    EXPECT_FALSE(this->processes->parentProcessId(-5).has_value());
}

REGISTER_TYPED_TEST_SUITE_P(ProcessesContract, ReportsExitStatusesAndSignals,
                            RoutesEachStreamWhereAsked, ArgumentsArriveIntactWithoutAShell,
                            StartFailuresAreErrorsWithADescription,
                            ToolsSeeNoInputAndNoInheritedDescriptors,
                            OutputLargerThanAPipeCanBeReadBeforeWaiting,
                            KnowsThisProcessAndItsParent);

}  // namespace parvel::contract
