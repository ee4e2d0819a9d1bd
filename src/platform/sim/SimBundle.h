#pragma once

#include <string>

#include "platform/Bundle.h"
#include "platform/FileSystem.h"

namespace parvel::sim {

// The application bundle on the simulated Mac: a folder in the sandbox with
// Contents/Info.plist, Contents/Resources and Contents/PlugIns, read for real.
class SimBundle final : public platform::Bundle {
  public:
    static constexpr std::string_view kBundleIdentifier = "com.tarnby.parvelmac";

    SimBundle(platform::FileSystem& files, std::string bundlePath)
        : files_(files), path_(std::move(bundlePath)) {}

    std::string bundlePath() const override { return path_; }
    std::string bundleIdentifier() const override { return std::string(kBundleIdentifier); }
    std::optional<std::string> infoString(std::string_view key) const override;
    std::optional<std::string> resourcePath(std::string_view name,
                                            std::string_view extension) const override;
    std::string builtInPlugInsPath() const override { return path_ + "/Contents/PlugIns"; }

    // Moves the bundle's notion of where it lives (a copy started from ~/Downloads).
    void setBundlePath(std::string path) { path_ = std::move(path); }
    std::string infoPlistPath() const { return path_ + "/Contents/Info.plist"; }
    std::string resourcesPath() const { return path_ + "/Contents/Resources"; }

  private:
    platform::FileSystem& files_;
    std::string path_;
};

}  // namespace parvel::sim
