#include "platform/sim/Trace.h"

#include <fmt/format.h>

#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {

void Trace::record(std::string_view category, std::string text) {
    TraceLine line{clock_.elapsed(), std::string(category), std::move(text)};
    std::function<void(const TraceLine&)> observer;
    {
        std::scoped_lock lock(mutex_);
        lines_.push_back(line);
        observer = observer_;
    }
    if (observer) {
        observer(line);
    }
}

std::vector<TraceLine> Trace::lines() const {
    std::scoped_lock lock(mutex_);
    return lines_;
}

std::vector<std::string> Trace::texts(std::string_view category) const {
    std::scoped_lock lock(mutex_);
    std::vector<std::string> texts;
    for (const auto& line : lines_) {
        if (line.category == category) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

void Trace::onLine(std::function<void(const TraceLine&)> observer) {
    std::scoped_lock lock(mutex_);
    observer_ = std::move(observer);
}

std::string Trace::format(const TraceLine& line) {
    return fmt::format("{:>10.3f}  {:<10} {}", platform::toSeconds(line.at), line.category,
                       line.text);
}

}  // namespace parvel::sim
