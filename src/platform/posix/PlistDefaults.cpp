#include "platform/posix/PlistDefaults.h"

#include <cerrno>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "base/Error.h"
#include "platform/PlistCodec.h"

namespace parvel::posix {
namespace {

using platform::decodePlist;
using platform::encodePlist;
using platform::kPlistErrorDomain;
using platform::PlistDictionary;
using platform::PlistErrorCode;
using platform::PlistFormat;
using platform::PlistValue;

constexpr std::string_view kFileExtension = ".plist";
// Preferences are the user's own business.
constexpr std::uint32_t kPreferencesFileMode = 0600;

// A domain names a file directly inside the preferences directory, never a path out of it or a
// hidden file (temporary files are hidden, so they never collide with a domain).
bool isPlainFileName(std::string_view name) {
    return !name.empty() && !name.starts_with('.') && name.find('/') == std::string_view::npos &&
           name.find('\0') == std::string_view::npos;
}

Result<PlistDictionary> readDomainFile(const platform::FileSystem& files, const std::string& path) {
    const auto contents = files.readFile(path);
    if (!contents) {
        // No file yet, or nothing at the directory's path that could hold one.
        if (contents.error().code == ENOENT || contents.error().code == ENOTDIR) {
            return PlistDictionary{};
        }
        return std::unexpected(contents.error());
    }
    const auto root = decodePlist(*contents);
    if (!root) {
        return std::unexpected(root.error());
    }
    if (const auto* dictionary = root->asDictionary()) {
        return *dictionary;
    }
    return std::unexpected(Error{std::string(kPlistErrorDomain),
                                 static_cast<std::int64_t>(PlistErrorCode::Invalid),
                                 "The preferences file does not hold a dictionary."});
}

}  // namespace

PlistDefaults::PlistDefaults(std::string preferencesDirectory, platform::FileSystem& files,
                             platform::Log& log)
    : directory_(std::move(preferencesDirectory)), files_(files), log_(log) {}

std::optional<PlistValue> PlistDefaults::object(std::string_view domain, std::string_view key) {
    std::scoped_lock lock(mutex_);
    const Domain* loaded = loadedDomain(domain);
    if (loaded == nullptr) {
        return std::nullopt;
    }
    const auto entry = loaded->values.find(key);
    if (entry == loaded->values.end()) {
        return std::nullopt;
    }
    return entry->second;
}

void PlistDefaults::set(std::string_view domain, std::string_view key, PlistValue value) {
    std::scoped_lock lock(mutex_);
    Domain* loaded = writableDomain(domain);
    if (loaded == nullptr) {
        return;
    }
    auto entry = loaded->values.find(key);
    if (entry != loaded->values.end() && entry->second == value) {
        return;
    }
    // The new value goes in place and the old one aside, so that a large value (the clipboard
    // history) is never copied with the rest of the domain; a failed encode puts it back.
    std::optional<PlistValue> previous;
    if (entry != loaded->values.end()) {
        previous = std::exchange(entry->second, std::move(value));
    } else {
        entry = loaded->values.emplace(std::string(key), std::move(value)).first;
    }
    if (!commit(domain, key, *loaded)) {
        if (previous) {
            entry->second = std::move(*previous);
        } else {
            loaded->values.erase(entry);
        }
    }
}

void PlistDefaults::remove(std::string_view domain, std::string_view key) {
    std::scoped_lock lock(mutex_);
    Domain* loaded = writableDomain(domain);
    if (loaded == nullptr) {
        return;
    }
    const auto entry = loaded->values.find(key);
    if (entry == loaded->values.end()) {
        return;
    }
    PlistValue removed = std::move(entry->second);
    loaded->values.erase(entry);
    if (!commit(domain, key, *loaded)) {
        loaded->values.emplace(std::string(key), std::move(removed));
    }
}

PlistDictionary PlistDefaults::snapshot(std::string_view domain) {
    std::scoped_lock lock(mutex_);
    const Domain* loaded = loadedDomain(domain);
    return loaded == nullptr ? PlistDictionary{} : loaded->values;
}

void PlistDefaults::flush() {
    std::scoped_lock lock(mutex_);
    for (auto& [name, domain] : domains_) {
        if (!domain.dirty) {
            continue;
        }
        // Values only enter memory once they have encoded, so they encode again.
        if (const auto contents = encodePlist(domain.values, PlistFormat::Binary)) {
            persist(name, domain, *contents);
        }
    }
}

PlistDefaults::Domain* PlistDefaults::loadedDomain(std::string_view name) {
    if (!isPlainFileName(name)) {
        return nullptr;
    }
    auto found = domains_.find(name);
    if (found == domains_.end()) {
        found = domains_.emplace(std::string(name), Domain{load(name)}).first;
    }
    return &found->second;
}

PlistDefaults::Domain* PlistDefaults::writableDomain(std::string_view name) {
    Domain* domain = loadedDomain(name);
    if (domain == nullptr) {
        log_.write(
            fmt::format("refused to write preferences domain {:?}: not a plain file name", name));
    }
    return domain;
}

PlistDictionary PlistDefaults::load(std::string_view name) {
    const std::string path = pathOf(name);
    auto values = readDomainFile(files_, path);
    if (!values) {
        log_.write(fmt::format("could not read preferences file {}: {}", path,
                               values.error().description));
        return {};
    }
    return std::move(*values);
}

bool PlistDefaults::commit(std::string_view name, std::string_view key, Domain& domain) {
    const auto contents = encodePlist(domain.values, PlistFormat::Binary);
    if (!contents) {
        log_.write(fmt::format("could not store key {:?} in preferences domain {}: {}", key, name,
                               contents.error().description));
        return false;
    }
    domain.dirty = true;
    persist(name, domain, *contents);
    return true;
}

void PlistDefaults::persist(std::string_view name, Domain& domain, const Bytes& contents) {
    auto written = files_.createDirectories(directory_);
    if (written) {
        written = files_.writeFileAtomically(pathOf(name), contents, kPreferencesFileMode);
    }
    if (!written) {
        log_.write(fmt::format("could not write preferences file {}: {}", pathOf(name),
                               written.error().description));
        return;
    }
    domain.dirty = false;
}

std::string PlistDefaults::pathOf(std::string_view name) const {
    return fmt::format("{}/{}{}", directory_, name, kFileExtension);
}

}  // namespace parvel::posix
