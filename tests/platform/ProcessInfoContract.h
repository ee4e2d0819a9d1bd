#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/FileSystem.h"
#include "platform/ProcessInfo.h"
#include "platform/Processes.h"

// What every ProcessInfo adapter must tell about this process and its user. A factory type gives
// the adapter and what else its machine knows:
//   platform::ProcessInfo& processInfo();
//   platform::Processes& processes();     // the same machine's process table
//   platform::FileSystem& files();        // the same machine's files
//   void setEnvironmentValue(const std::string& name, const std::string& value);
//   unsigned loggedInUserId();            // the user as the machine's own records tell it
namespace parvel::contract {

template <typename Factory>
class ProcessInfoContract : public testing::Test {
  protected:
    Factory factory;
    platform::ProcessInfo& processInfo = factory.processInfo();
};

TYPED_TEST_SUITE_P(ProcessInfoContract);

TYPED_TEST_P(ProcessInfoContract, TheFirstArgumentIsThisProgram) {
    const auto arguments = this->processInfo.arguments();
    ASSERT_FALSE(arguments.empty());
    auto& processes = this->factory.processes();
    const auto executable = processes.executablePath(processes.currentProcessId());
    ASSERT_TRUE(executable.has_value());
    const auto nameOf = [](const std::string& path) { return path.substr(path.rfind('/') + 1); };
    EXPECT_EQ(nameOf(arguments.front()), nameOf(*executable));
}

TYPED_TEST_P(ProcessInfoContract, EnvironmentValuesReadBackExactly) {
    struct Case {
        std::string name;
        std::string value;
    };
    const Case cases[] = {
        {"PARVELMAC_CONTRACT_PLAIN", "value"},
        {"PARVELMAC_CONTRACT_EMPTY", ""},
        {"PARVELMAC_CONTRACT_SPACES", " a = b ; c "},
        {"PARVELMAC_CONTRACT_UNICODE", "Grüße 🔑"},
        {"PARVELMAC_CONTRACT_PATH", "/usr/bin:/bin:/usr/sbin"},
    };
    for (const auto& [name, value] : cases) {
        this->factory.setEnvironmentValue(name, value);
    }
    for (const auto& [name, value] : cases) {
        EXPECT_EQ(this->processInfo.environmentValue(name), value) << name;
    }
    for (const auto missing : {"PARVELMAC_CONTRACT_UNSET", "parvelmac_contract_plain",
                               "PARVELMAC_CONTRACT_PLAI", "PARVELMAC_CONTRACT_PLAIN "}) {
        EXPECT_EQ(this->processInfo.environmentValue(missing), std::nullopt) << missing;
    }
}

TYPED_TEST_P(ProcessInfoContract, TheUserIsTheOneLoggedIn) {
    EXPECT_EQ(this->processInfo.userId(), this->factory.loggedInUserId());
}

TYPED_TEST_P(ProcessInfoContract, TheUsersFoldersExistAndTakeFiles) {
    auto& files = this->factory.files();
    for (const auto& folder :
         {this->processInfo.homeDirectory(), this->processInfo.temporaryDirectory()}) {
        SCOPED_TRACE(folder);
        ASSERT_TRUE(folder.starts_with("/"));
        EXPECT_TRUE(files.isDirectory(folder));
    }
    const std::string probe = this->processInfo.temporaryDirectory() + "/parvelmac-contract-" +
                              std::to_string(this->factory.processes().currentProcessId());
    ASSERT_TRUE(files.writeFileAtomically(probe, toBytes("written")).has_value());
    EXPECT_EQ(files.readFile(probe), toBytes("written"));
    EXPECT_TRUE(files.removeItem(probe).has_value());
}

TYPED_TEST_P(ProcessInfoContract, TheSystemVersionIsKnown) {
    const auto version = this->processInfo.operatingSystemVersion();
    EXPECT_GT(version.major, 0);
    EXPECT_GE(version.minor, 0);
    EXPECT_GE(version.patch, 0);
}

REGISTER_TYPED_TEST_SUITE_P(ProcessInfoContract, TheFirstArgumentIsThisProgram,
                            EnvironmentValuesReadBackExactly, TheUserIsTheOneLoggedIn,
                            TheUsersFoldersExistAndTakeFiles, TheSystemVersionIsKnown);

}  // namespace parvel::contract
