#include "platform/sim/MemoryDefaults.h"

namespace parvel::sim {

std::optional<platform::PlistValue> MemoryDefaults::object(std::string_view domain,
                                                           std::string_view key) {
    std::scoped_lock lock(mutex_);
    const auto found = domains_.find(domain);
    if (found == domains_.end()) {
        return std::nullopt;
    }
    const auto entry = found->second.find(key);
    if (entry == found->second.end()) {
        return std::nullopt;
    }
    return entry->second;
}

void MemoryDefaults::set(std::string_view domain, std::string_view key,
                         platform::PlistValue value) {
    std::scoped_lock lock(mutex_);
    auto found = domains_.find(domain);
    if (found == domains_.end()) {
        found = domains_.emplace(std::string(domain), platform::PlistDictionary{}).first;
    }
    found->second.insert_or_assign(std::string(key), std::move(value));
}

void MemoryDefaults::remove(std::string_view domain, std::string_view key) {
    std::scoped_lock lock(mutex_);
    const auto found = domains_.find(domain);
    if (found == domains_.end()) {
        return;
    }
    const auto entry = found->second.find(key);
    if (entry != found->second.end()) {
        found->second.erase(entry);
    }
}

platform::PlistDictionary MemoryDefaults::snapshot(std::string_view domain) {
    std::scoped_lock lock(mutex_);
    const auto found = domains_.find(domain);
    return found == domains_.end() ? platform::PlistDictionary{} : found->second;
}

void MemoryDefaults::flush() {
    std::scoped_lock lock(mutex_);
    ++flushCount_;
}

int MemoryDefaults::flushCount() const {
    std::scoped_lock lock(mutex_);
    return flushCount_;
}

}  // namespace parvel::sim
