#include <memory>
#include <string>
#include <vector>

#include "platform/DefaultsContract.h"
#include "platform/posix/PlistDefaults.h"
#include "platform/posix/PosixFileSystem.h"
#include "platform/sim/MemoryDefaults.h"
#include "platform/sim/MemoryLog.h"

namespace parvel::contract {
namespace {

struct MemoryDefaultsFactory {
    static std::unique_ptr<platform::Defaults> make() {
        return std::make_unique<sim::MemoryDefaults>();
    }
};

struct PlistDefaultsFactory {
    TemporaryDirectory directory;
    posix::PosixFileSystem files;
    sim::MemoryLog log;

    std::unique_ptr<platform::Defaults> make() {
        return std::make_unique<posix::PlistDefaults>(directory.path(), files, log);
    }
    // Nothing in the contract is a failure worth logging.
    ~PlistDefaultsFactory() { EXPECT_EQ(log.lines(), std::vector<std::string>{}); }
};

using Adapters = testing::Types<MemoryDefaultsFactory, PlistDefaultsFactory>;
INSTANTIATE_TYPED_TEST_SUITE_P(Defaults, DefaultsContract, Adapters);

}  // namespace
}  // namespace parvel::contract
