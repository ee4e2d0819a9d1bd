#pragma once

#include <string>
#include <string_view>

#include "platform/FileSystem.h"

namespace parvel::sim {

class SystemTools;
class Trace;

// ParvelMac's own application bundle as the simulated Mac holds it: Info.plist, the menu-bar
// icon, the mode helper, the three privileged helpers, the first-run setup script and the Finder
// Sync extension — the files of the product that this program reads, runs, compares and installs.
class ProgramBundle {
  public:
    static constexpr std::string_view kSetupScript = "ParvelMacFirstRunSetup.sh";
    static constexpr std::string_view kHelperFolder = "/Library/PrivilegedHelperTools";
    // Runs unprivileged from the bundle's resources: display, keyboard and Bluetooth levels.
    static constexpr std::string_view kModeHelper = "ParvelMacModeHelper";

    struct Helper {
        std::string_view resource;       // in Contents/Resources
        std::string_view installedName;  // in /Library/PrivilegedHelperTools

        std::string installedPath() const {
            return std::string(kHelperFolder) + "/" + std::string(installedName);
        }
    };
    static constexpr Helper kChargeHelper{"ParvelMacChargeHelper",
                                          "com.tarnby.parvelmac.charge-helper"};
    static constexpr Helper kLowDataHelper{"ParvelMacLowDataHelper",
                                           "com.tarnby.parvelmac.lowdata-helper"};
    static constexpr Helper kPowerHelper{"ParvelMacPowerHelper",
                                         "com.tarnby.parvelmac.power-helper"};
    static constexpr Helper kHelpers[] = {kChargeHelper, kLowDataHelper, kPowerHelper};

    ProgramBundle(platform::FileSystem& files, Trace& trace) : files_(files), trace_(trace) {}

    // Writes a complete bundle at a path (a copy in /Applications, in ~/Downloads...).
    void install(const std::string& bundlePath) const;
    // Where a bundle keeps its mode helper.
    static std::string modeHelperPath(const std::string& bundlePath);
    // Makes the bundled setup script, run as root, do what the real one does: install the
    // helpers of the bundle it belongs to.
    void emulateSetupScript(SystemTools& tools) const;
    // Installs the bundle's helpers directly, as an earlier run of the setup script would have.
    void installHelpers(const std::string& bundlePath) const;

  private:
    platform::FileSystem& files_;
    Trace& trace_;
};

}  // namespace parvel::sim
