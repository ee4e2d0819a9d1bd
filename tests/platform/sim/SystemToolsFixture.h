#pragma once

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/PlistValue.h"
#include "platform/PlistCodec.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/tools/SystemTools.h"

namespace parvel::sim::test {

// What a tool did, as a caller sees it.
struct Outcome {
    int status = 0;
    std::string output;
    std::string error;
    friend bool operator==(const Outcome&, const Outcome&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
        return stream << "{status " << outcome.status << ", output \"" << outcome.output
                      << "\", error \"" << outcome.error << "\"}";
    }
};

inline Outcome exitedWith(int status, std::string error) {
    return {status, "", std::move(error)};
}
inline Outcome printed(std::string output) {
    return {0, std::move(output), ""};
}

// A simulated Mac with its command-line tools, run the way the program runs them.
class SystemToolsTest : public testing::Test {
  protected:
    SimulatedMac mac;
    SystemTools& tools = mac.systemTools();

    Outcome run(const std::string& path, const std::vector<std::string>& arguments) {
        auto child = mac.processes().launch(
            {path, arguments, platform::StreamTarget::Pipe, platform::StreamTarget::Pipe});
        if (!child) {
            ADD_FAILURE() << path << " did not start: " << child.error().description;
            return {-1, "", ""};
        }
        const int status = (*child)->waitUntilExit();
        std::string output = (*child)->readOutput();
        return {status, std::move(output), (*child)->readError()};
    }

    void writePlist(const std::string& path, const platform::PlistValue& value) {
        const auto encoded = platform::encodePlist(value, platform::PlistFormat::Xml);
        ASSERT_TRUE(encoded.has_value());
        makeFolder(path.substr(0, path.find_last_of('/')));
        ASSERT_TRUE(mac.files().writeFileAtomically(path, *encoded));
    }

    void makeFolder(const std::string& path) {
        ASSERT_TRUE(mac.files().createDirectories(path).has_value());
    }
};

}  // namespace parvel::sim::test
