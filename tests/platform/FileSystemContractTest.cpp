#include <stdexcept>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/FileSystemContract.h"
#include "platform/posix/PosixFileSystem.h"

namespace parvel::contract {
namespace {

constexpr std::uint32_t kPermissionBits = 07777;

enum class Rooting { RealRoot, Sandbox };

// With the real root, program paths are real paths; with a sandbox root, as the simulated Mac
// uses, "/scratch" lives inside the sandbox folder.
template <Rooting rooting>
class DiskFactory {
  public:
    DiskFactory()
        : fileSystem_(kSandboxed ? folder_.path() : "/"),
          scratch_(kSandboxed ? "/scratch" : folder_.path()) {
        if (kSandboxed && ::mkdir((folder_.path() + scratch_).c_str(), 0700) != 0) {
            throw std::runtime_error("cannot create the scratch folder");
        }
    }

    platform::FileSystem& fileSystem() { return fileSystem_; }
    std::string scratch() const { return scratch_; }

    void createSymbolicLink(const std::string& path, const std::string& target) {
        if (::symlink(target.c_str(), realPath(path).c_str()) != 0) {
            throw std::runtime_error("symlink failed: " + path);
        }
    }
    std::uint32_t permissions(const std::string& path) const {
        struct stat status {};
        if (::lstat(realPath(path).c_str(), &status) != 0) {
            return 0;
        }
        return status.st_mode & kPermissionBits;
    }

  private:
    static constexpr bool kSandboxed = rooting == Rooting::Sandbox;

    std::string realPath(const std::string& path) const {
        return kSandboxed ? folder_.path() + path : path;
    }

    TemporaryDirectory folder_;
    posix::PosixFileSystem fileSystem_;
    std::string scratch_;
};

struct RealRoot : DiskFactory<Rooting::RealRoot> {};
struct SandboxRoot : DiskFactory<Rooting::Sandbox> {};

using PosixFactories = ::testing::Types<RealRoot, SandboxRoot>;
INSTANTIATE_TYPED_TEST_SUITE_P(PosixFileSystem, FileSystemContract, PosixFactories);

}  // namespace
}  // namespace parvel::contract
