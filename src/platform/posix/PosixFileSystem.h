#pragma once

#include <functional>
#include <string>

#include "platform/FileSystem.h"

namespace parvel::posix {

// The file system of the machine the program runs on. Every path is resolved under a root folder:
// "/" for the real disk, a sandbox folder for the simulated Mac.
class PosixFileSystem final : public platform::FileSystem {
  public:
    // Renames `from` to `to` unless `to` exists, returning 0 or an errno value. Replaceable so
    // that tests can drive the cross-device and the no-kernel-support paths of moveItem.
    using RenameFunction = std::function<int(const std::string& from, const std::string& to)>;

    explicit PosixFileSystem(std::string root = "/");
    PosixFileSystem(std::string root, RenameFunction renameWithoutReplacing);

    // The kernel's atomic rename that fails with EEXIST instead of replacing (RENAME_NOREPLACE).
    static int renameWithoutReplacing(const std::string& from, const std::string& to);

    platform::FileKind kind(std::string_view path) const override;
    bool exists(std::string_view path) const override;
    bool isDirectory(std::string_view path) const override;
    bool isExecutable(std::string_view path) const override;

    Result<Bytes> readFile(std::string_view path) const override;
    Result<void> writeFileAtomically(std::string_view path, const Bytes& contents,
                                     std::uint32_t mode = 0644) override;
    Result<void> setPermissions(std::string_view path, std::uint32_t mode) override;

    Result<void> createDirectory(std::string_view path) override;
    Result<void> createDirectories(std::string_view path) override;
    Result<std::vector<platform::DirectoryEntry>> listDirectory(
        std::string_view path) const override;

    Result<void> moveItem(std::string_view from, std::string_view to) override;
    Result<void> copyItem(std::string_view from, std::string_view to) override;
    Result<void> removeItem(std::string_view path) override;

  private:
    // The real path of a program path, or EINVAL for a relative path or one that climbs out.
    Result<std::string> resolve(std::string_view path) const;

    std::string root_;
    RenameFunction rename_;
};

}  // namespace parvel::posix
