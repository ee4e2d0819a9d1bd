#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace parvel {

// Lets callbacks handed to timers, queues and other services outlive their owner safely: a
// guarded callback does nothing once the owner's Lifetime is gone. The owner declares its
// Lifetime as its last member so that it ends first, before anything the callbacks touch.
//
// Ending the lifetime waits for a guarded callback that is running on another thread, so that
// the owner is never destroyed under it; a callback may end its own owner's lifetime.
class Lifetime {
  public:
    Lifetime() : state_(std::make_shared<State>()) {}
    ~Lifetime() { end(); }

    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    // Ends the lifetime early; guarded callbacks do nothing from here on.
    void end() {
        std::scoped_lock lock(state_->mutex);
        state_->alive = false;
    }

    // Wraps a callable so that it runs only while the lifetime lasts.
    template <typename F>
    auto guard(F function) const {
        return [weak = std::weak_ptr<State>(state_),
                function = std::move(function)](auto&&... arguments) mutable {
            const auto state = weak.lock();
            if (!state) {
                return;
            }
            std::scoped_lock lock(state->mutex);
            if (state->alive) {
                function(std::forward<decltype(arguments)>(arguments)...);
            }
        };
    }

  private:
    struct State {
        std::recursive_mutex mutex;
        bool alive = true;
    };
    std::shared_ptr<State> state_;
};

}  // namespace parvel
