#include "platform/sim/RecordingDefaults.h"

namespace parvel::sim {

std::optional<platform::PlistValue> RecordingDefaults::object(std::string_view domain,
                                                              std::string_view key) {
    return inner_.object(domain, key);
}

void RecordingDefaults::set(std::string_view domain, std::string_view key,
                            platform::PlistValue value) {
    inner_.set(domain, key, value);
    record({std::string(domain), std::string(key), std::move(value)});
}

void RecordingDefaults::remove(std::string_view domain, std::string_view key) {
    inner_.remove(domain, key);
    record({std::string(domain), std::string(key), std::nullopt});
}

platform::PlistDictionary RecordingDefaults::snapshot(std::string_view domain) {
    return inner_.snapshot(domain);
}

void RecordingDefaults::flush() {
    inner_.flush();
}

std::vector<DefaultsChange> RecordingDefaults::changes() const {
    std::scoped_lock lock(mutex_);
    return changes_;
}

void RecordingDefaults::clearChanges() {
    std::scoped_lock lock(mutex_);
    changes_.clear();
}

void RecordingDefaults::onChange(std::function<void(const DefaultsChange&)> observer) {
    std::scoped_lock lock(mutex_);
    observer_ = std::move(observer);
}

void RecordingDefaults::record(DefaultsChange change) {
    std::function<void(const DefaultsChange&)> observer;
    {
        std::scoped_lock lock(mutex_);
        changes_.push_back(change);
        observer = observer_;
    }
    if (observer) {
        observer(change);
    }
}

}  // namespace parvel::sim
