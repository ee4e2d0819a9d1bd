#pragma once

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/Processes.h"

// What every Processes adapter must do, whatever machine its tools live on. The tests run a probe
// tool the factory puts on its machine:
//   probe STATUS MESSAGE [ARGUMENT...]
// writes "[ARGUMENT]" for each argument to standard output, then MESSAGE to standard error, and
// exits with STATUS. A factory type gives:
//   platform::Processes& processes();
//   std::string placeProbe(ProbeFile);  // the absolute path of a probe, or of a file where one
//                                       // is missing or not executable
//   std::string programName();          // the file name of this process's executable
namespace parvel::contract {

using platform::LaunchRequest;
using platform::StreamTarget;

enum class ProbeFile { Executable, NotExecutable, Missing };

// The probe's outcome for its arguments, for factories that emulate it.
struct ProbeOutcome {
    int status = 0;
    std::string output;
    std::string error;
};

inline ProbeOutcome probeOutcome(const std::vector<std::string>& arguments) {
    ProbeOutcome outcome;
    if (arguments.size() < 2) {
        return {2, "", "usage: probe STATUS MESSAGE [ARGUMENT...]"};
    }
    outcome.status = std::stoi(arguments[0]);
    outcome.error = arguments[1];
    for (auto argument = arguments.begin() + 2; argument != arguments.end(); ++argument) {
        outcome.output += "[" + *argument + "]";
    }
    return outcome;
}

template <typename Factory>
class ProcessesContract : public testing::Test {
  protected:
    Factory factory;
    platform::Processes& processes = factory.processes();
    const std::string probe = factory.placeProbe(ProbeFile::Executable);

    ProbeOutcome run(LaunchRequest request) {
        auto child = processes.launch(request);
        EXPECT_TRUE(child.has_value())
            << request.executable << ": " << (child ? "" : child.error().description);
        if (!child) {
            return {-1, {}, {}};
        }
        const int status = (*child)->waitUntilExit();
        return {status, (*child)->readOutput(), (*child)->readError()};
    }
    LaunchRequest probeRequest(std::vector<std::string> arguments,
                               StreamTarget output = StreamTarget::Pipe,
                               StreamTarget error = StreamTarget::Pipe) const {
        return {probe, std::move(arguments), output, error};
    }
};

TYPED_TEST_SUITE_P(ProcessesContract);

TYPED_TEST_P(ProcessesContract, ReportsTheToolsExitStatus) {
    for (const int status : {0, 1, 7, 255}) {
        auto child = this->processes.launch(this->probeRequest({std::to_string(status), ""}));
        ASSERT_TRUE(child.has_value());
        EXPECT_EQ((*child)->waitUntilExit(), status);
        EXPECT_EQ((*child)->waitUntilExit(), status) << "waiting twice gives the same status";
    }
}

TYPED_TEST_P(ProcessesContract, EachStartedToolIsAProcessOfItsOwn) {
    auto first = this->processes.launch(this->probeRequest({"0", ""}));
    auto second = this->processes.launch(this->probeRequest({"0", ""}));
    ASSERT_TRUE(first.has_value() && second.has_value());
    const auto own = this->processes.currentProcessId();
    EXPECT_NE((*first)->processId(), (*second)->processId());
    EXPECT_NE((*first)->processId(), own);
    EXPECT_GT((*first)->processId(), 0);
    EXPECT_EQ((*first)->waitUntilExit(), 0);
    EXPECT_EQ((*second)->waitUntilExit(), 0);
}

TYPED_TEST_P(ProcessesContract, RoutesEachStreamWhereAsked) {
    struct Case {
        StreamTarget output;
        StreamTarget error;
        std::string readOutput;
        std::string readError;
    };
    const Case cases[] = {
        {StreamTarget::Pipe, StreamTarget::Pipe, "[out]", "err"},
        {StreamTarget::Pipe, StreamTarget::SameAsOutput, "[out]err", ""},
        {StreamTarget::Pipe, StreamTarget::Null, "[out]", ""},
        {StreamTarget::Null, StreamTarget::Pipe, "", "err"},
        {StreamTarget::Null, StreamTarget::SameAsOutput, "", ""},
        {StreamTarget::Null, StreamTarget::Null, "", ""},
    };
    for (const auto& testCase : cases) {
        const auto outcome =
            this->run(this->probeRequest({"3", "err", "out"}, testCase.output, testCase.error));
        SCOPED_TRACE(testing::Message() << int(testCase.output) << "/" << int(testCase.error));
        EXPECT_EQ(outcome.status, 3);
        EXPECT_EQ(outcome.output, testCase.readOutput);
        EXPECT_EQ(outcome.error, testCase.readError);
    }
}

TYPED_TEST_P(ProcessesContract, StreamsAreReadToTheirEndOnce) {
    auto child = this->processes.launch(this->probeRequest({"0", "err", "a", "b"}));
    ASSERT_TRUE(child.has_value());
    EXPECT_EQ((*child)->readOutput(), "[a][b]");
    EXPECT_EQ((*child)->readError(), "err");
    EXPECT_EQ((*child)->waitUntilExit(), 0);
    EXPECT_EQ((*child)->readOutput(), "") << "what was read is gone";
    EXPECT_EQ((*child)->readError(), "");
}

TYPED_TEST_P(ProcessesContract, ArgumentsArriveIntactWithoutAShell) {
    const std::vector<std::string> arguments = {
        "two words", "it's", "say \"hi\"", "back\\slash", "line1\nline2", "$HOME",
        "*",         "`id`", "",           "-n",          "Grüße 🔑",      "a;b|c&d"};
    std::vector<std::string> probeArguments = {"0", ""};
    probeArguments.insert(probeArguments.end(), arguments.begin(), arguments.end());
    std::string expected;
    for (const auto& argument : arguments) {
        expected += "[" + argument + "]";
    }
    EXPECT_EQ(this->run(this->probeRequest(probeArguments)).output, expected);
}

TYPED_TEST_P(ProcessesContract, StartFailuresAreErrorsWithADescription) {
    struct Case {
        std::string path;
        int errnoValue;
    };
    const Case cases[] = {
        {this->factory.placeProbe(ProbeFile::Missing), ENOENT},
        {this->factory.placeProbe(ProbeFile::NotExecutable), EACCES},
        {"relative/probe", ENOENT},
        {"", ENOENT},
    };
    for (const auto& testCase : cases) {
        const auto child = this->processes.launch({testCase.path, {"0", ""}});
        ASSERT_FALSE(child.has_value()) << testCase.path;
        EXPECT_EQ(child.error().code, testCase.errnoValue) << testCase.path;
        EXPECT_FALSE(child.error().description.empty()) << testCase.path;
    }
}

TYPED_TEST_P(ProcessesContract, KnowsThisProcessButNoProcessThatDoesNotExist) {
    auto& table = this->processes;
    const auto own = table.currentProcessId();
    const auto path = table.executablePath(own);
    ASSERT_TRUE(path.has_value());
    EXPECT_TRUE(path->starts_with("/")) << *path;
    EXPECT_EQ(path->substr(path->rfind('/') + 1), this->factory.programName());
    const auto parent = table.parentProcessId(own);
    ASSERT_TRUE(parent.has_value());
    EXPECT_NE(*parent, own);
    for (const platform::ProcessId missing : {-5, 0x3FFFFFFF}) {
        EXPECT_EQ(table.parentProcessId(missing), std::nullopt) << missing;
        EXPECT_EQ(table.executablePath(missing), std::nullopt) << missing;
        EXPECT_EQ(table.responsibleProcessId(missing), std::nullopt) << missing;
    }
}

REGISTER_TYPED_TEST_SUITE_P(ProcessesContract, ReportsTheToolsExitStatus,
                            EachStartedToolIsAProcessOfItsOwn, RoutesEachStreamWhereAsked,
                            StreamsAreReadToTheirEndOnce, ArgumentsArriveIntactWithoutAShell,
                            StartFailuresAreErrorsWithADescription,
                            KnowsThisProcessButNoProcessThatDoesNotExist);

}  // namespace parvel::contract
