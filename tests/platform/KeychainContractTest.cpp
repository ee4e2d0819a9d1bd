#include <memory>

#include "platform/KeychainContract.h"
#include "platform/posix/SecretServiceKeychain.h"
#include "platform/sim/SimKeychain.h"
#include "support/SecretServiceSession.h"

namespace parvel::contract {
namespace {

struct SimKeychainFactory {
    static std::unique_ptr<platform::Keychain> make() {
        return std::make_unique<sim::SimKeychain>();
    }
};

// GLib keeps one session-bus connection per process, so one private Secret Service serves every
// test of the process; it stops when the process ends.
const test_support::SecretServiceSession& secretService() {
    static const auto session = [] {
        auto started = std::make_unique<test_support::SecretServiceSession>();
        started->useInThisProcess();
        return started;
    }();
    return *session;
}

struct SecretServiceKeychainFactory {
    static std::unique_ptr<platform::Keychain> make() {
        secretService();
        return std::make_unique<posix::SecretServiceKeychain>();
    }
};

using Adapters = testing::Types<SimKeychainFactory, SecretServiceKeychainFactory>;
INSTANTIATE_TYPED_TEST_SUITE_P(Keychain, KeychainContract, Adapters);

}  // namespace
}  // namespace parvel::contract
