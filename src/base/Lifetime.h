#pragma once

#include <atomic>
#include <memory>
#include <utility>

namespace parvel {

// Lets callbacks handed to timers, queues and other services outlive their owner safely: a
// guarded callback does nothing once the owner's Lifetime has ended. The owner declares its
// Lifetime as its last member so that it ends first, before anything the callbacks touch.
//
// For owners whose callbacks run on the thread that destroys them (the main thread, for UI and
// controllers): the guard only checks a flag and never waits, so a callback may block in a
// modal loop while other callbacks of the same owner run, and may end its own owner's lifetime.
// An owner whose callbacks run on other queues keeps itself alive instead, with shared
// ownership (weak_from_this) that each callback locks for as long as it runs.
class Lifetime {
  public:
    Lifetime() : alive_(std::make_shared<std::atomic<bool>>(true)) {}
    ~Lifetime() { end(); }

    Lifetime(const Lifetime&) = delete;
    Lifetime& operator=(const Lifetime&) = delete;

    // Ends the lifetime early; guarded callbacks do nothing from here on.
    void end() { alive_->store(false); }

    // Wraps a callable so that it runs only while the lifetime lasts.
    template <typename F>
    auto guard(F function) const {
        return [alive = alive_, function = std::move(function)](auto&&... arguments) mutable {
            if (alive->load()) {
                function(std::forward<decltype(arguments)>(arguments)...);
            }
        };
    }

  private:
    std::shared_ptr<std::atomic<bool>> alive_;
};

}  // namespace parvel
