#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"
#include "platform/FileSystem.h"
#include "platform/Processes.h"

namespace parvel::sim {

class Trace;

// A launch agent as launchd loaded it from its property list.
struct LaunchAgent {
    std::string label;
    std::string plistPath;
    std::string program;                        // "Program", or the first program argument
    std::vector<std::string> programArguments;  // argv, its first element included
    bool runAtLoad = false;
};

// The user's launch agents in launchd's gui/<uid> domain: the services loaded by label and the
// labels disabled by override (which survive logins, as launchd keeps them on disk). Property
// lists are read for real from the sandbox. Failures are errno values, as launchctl reports them:
// ENOENT for a missing property list, EIO for one launchd refuses (malformed, already loaded,
// disabled), ESRCH for a service that is not loaded.
class LaunchAgents {
  public:
    LaunchAgents(platform::FileSystem& files, platform::Processes& processes, Trace& trace,
                 std::string agentsFolder)
        : files_(files),
          processes_(processes),
          trace_(trace),
          agentsFolder_(std::move(agentsFolder)) {}

    // Loads the agent a property list describes; one with RunAtLoad starts at once.
    Result<void> bootstrap(const std::string& plistPath);
    // Unloads the agent a property list names.
    Result<void> bootoutPlist(const std::string& plistPath);
    // Unloads a service by label.
    Result<void> bootout(std::string_view label);
    // Unloads every service of the domain.
    void bootoutAll();
    // Sets the disabled override of a label, loaded or not (a loaded service keeps running).
    void setEnabled(const std::string& label, bool enabled);

    bool isLoaded(std::string_view label) const { return loaded_.contains(label); }
    bool isDisabled(std::string_view label) const { return disabled_.contains(label); }
    const LaunchAgent* loaded(std::string_view label) const;

    // What a new login session does: every service is unloaded, then each property list in the
    // agents folder whose label is not disabled is loaded, the RunAtLoad ones started.
    void login();

  private:
    Result<LaunchAgent> readAgent(const std::string& plistPath) const;
    void start(const LaunchAgent& agent);

    platform::FileSystem& files_;
    platform::Processes& processes_;
    Trace& trace_;
    std::string agentsFolder_;
    std::map<std::string, LaunchAgent, std::less<>> loaded_;
    std::set<std::string, std::less<>> disabled_;
};

}  // namespace parvel::sim
