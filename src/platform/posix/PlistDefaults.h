#pragma once

#include <map>
#include <mutex>
#include <string>

#include "base/Bytes.h"
#include "platform/Defaults.h"
#include "platform/FileSystem.h"
#include "platform/Log.h"

namespace parvel::posix {

// The persistent user defaults: one binary property list per domain,
// <preferencesDirectory>/<domain>.plist, whose root dictionary holds the domain's keys.
// A domain is read on first use and cached; each change is written through at once and
// atomically, so a crash leaves either the old file or the new one. A file that cannot be read
// is logged, reads as empty, and stays on disk until the next change to its domain replaces it.
// A failed write is logged and retried by the next change or flush(); the value stays readable.
class PlistDefaults final : public platform::Defaults {
  public:
    // Files go through `files`, so that the simulated Mac keeps them inside its sandbox.
    PlistDefaults(std::string preferencesDirectory, platform::FileSystem& files,
                  platform::Log& log);

    std::optional<platform::PlistValue> object(std::string_view domain,
                                               std::string_view key) override;
    void set(std::string_view domain, std::string_view key, platform::PlistValue value) override;
    void remove(std::string_view domain, std::string_view key) override;
    platform::PlistDictionary snapshot(std::string_view domain) override;
    void flush() override;

  private:
    struct Domain {
        platform::PlistDictionary values;
        // Memory holds changes the file does not have yet.
        bool dirty = false;
    };

    // The cached domain, read on first use; nothing for a name that is not a plain file name.
    Domain* loadedDomain(std::string_view name);
    // The same, logging when a write is refused for the name.
    Domain* writableDomain(std::string_view name);
    platform::PlistDictionary load(std::string_view name);
    // Writes the domain's values through when a property list can hold them; false (logged)
    // when it cannot, and the caller then takes its change back.
    bool commit(std::string_view name, std::string_view key, Domain& domain);
    void persist(std::string_view name, Domain& domain, const Bytes& contents);
    std::string pathOf(std::string_view name) const;

    std::string directory_;
    platform::FileSystem& files_;
    platform::Log& log_;
    std::mutex mutex_;
    std::map<std::string, Domain, std::less<>> domains_;
};

}  // namespace parvel::posix
