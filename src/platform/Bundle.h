#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace parvel::platform {

// The application bundle (NSBundle.mainBundle): where it is, its Info.plist and resources.
class Bundle {
  public:
    virtual ~Bundle() = default;

    // The bundle's path, standardised ("/Applications/ParvelMac.app").
    virtual std::string bundlePath() const = 0;
    // "com.tarnby.parvelmac".
    virtual std::string bundleIdentifier() const = 0;
    // A string value of Info.plist ("CFBundleShortVersionString", "ParvelMacUpdateURL").
    virtual std::optional<std::string> infoString(std::string_view key) const = 0;
    // The path of a resource by name and extension (empty extension for none), if it exists.
    virtual std::optional<std::string> resourcePath(std::string_view name,
                                                    std::string_view extension) const = 0;
    // The built-in plug-ins folder (Contents/PlugIns).
    virtual std::string builtInPlugInsPath() const = 0;
};

}  // namespace parvel::platform
