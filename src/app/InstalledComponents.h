#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "core/InstalledHelperPaths.h"
#include "core/ProcessRunner.h"
#include "platform/Bundle.h"
#include "platform/Dispatch.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"
#include "platform/Presenter.h"

namespace parvel {

// What ParvelMac keeps in step with its bundle outside it: the three privileged helpers (compared
// byte for byte with the bundled copies at every interactive launch of the copy in /Applications,
// and reinstalled through the bundled setup script when any differs) and the registration of its
// Finder Sync extension with the system's plug-in registry. Its work runs on a global queue, so
// it is held by shared ownership and that work keeps it alive while it runs.
class InstalledComponents : public std::enable_shared_from_this<InstalledComponents> {
  public:
    static constexpr std::string_view kRequiredBundlePath = "/Applications/ParvelMac.app";
    static constexpr std::string_view kFinderSyncIdentifier = "com.tarnby.parvelmac.findersync";

    InstalledComponents(const platform::Bundle& bundle, platform::FileSystem& files,
                        const ProcessRunner& runner, platform::Dispatch& dispatch,
                        platform::Presenter& presenter, platform::Log& log);

    // Does the work below on a global utility queue, so that the administrator prompt and the
    // Finder restart never block the main thread; a refused installation is reported by an alert
    // on the main queue.
    void bootstrapDragInstalledComponentsIfNeeded();
    // True when the bundled helper and the installed one hold exactly the same bytes.
    bool bundledHelperMatchesInstalled(std::string_view resourceName,
                                       std::string_view installedPath) const;
    // Runs the bundled setup script as an administrator (one password prompt); true when it
    // succeeded.
    bool installPrivilegedHelpersFromBundle() const;
    // Makes sure the system knows and uses the Finder Sync extension of this bundle.
    void ensureFinderSyncRegistered() const;

    // The AppleScript that runs a shell script as an administrator: the path quoted for the
    // shell, that command quoted as an AppleScript string literal.
    static std::string administratorScript(std::string_view scriptPath);

  private:
    void bootstrap();
    bool helpersMatchInstalled() const;
    void reportSetupNotCompleted();

    const platform::Bundle& bundle_;
    platform::FileSystem& files_;
    const ProcessRunner& runner_;
    platform::Dispatch& dispatch_;
    platform::Presenter& presenter_;
    platform::Log& log_;
};

}  // namespace parvel
