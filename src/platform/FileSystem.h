#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/Bytes.h"
#include "base/Error.h"

namespace parvel::platform {

// The kind of a directory entry; symbolic links are reported as links, not followed.
enum class FileKind { Missing, File, Directory, SymbolicLink, Other };

struct DirectoryEntry {
    std::string name;
    FileKind kind = FileKind::Missing;
};

// The file-system service. Paths are absolute POSIX paths as the program sees them; an adapter
// may root them elsewhere (the simulated Mac keeps its files in a sandbox folder).
class FileSystem {
  public:
    virtual ~FileSystem() = default;

    // What is at a path, without following a final symbolic link.
    virtual FileKind kind(std::string_view path) const = 0;
    // True when something exists at the path, following symbolic links (fileExistsAtPath:).
    virtual bool exists(std::string_view path) const = 0;
    // True for an existing directory, following symbolic links.
    virtual bool isDirectory(std::string_view path) const = 0;
    // True for a regular file this process may execute (isExecutableFileAtPath:).
    virtual bool isExecutable(std::string_view path) const = 0;

    // The whole contents of a file.
    virtual Result<Bytes> readFile(std::string_view path) const = 0;
    // Replaces a file atomically (temporary file, fsync, rename) with `contents` and `mode`.
    virtual Result<void> writeFileAtomically(std::string_view path, const Bytes& contents,
                                             std::uint32_t mode = 0644) = 0;
    // Sets the POSIX permission bits of an existing item.
    virtual Result<void> setPermissions(std::string_view path, std::uint32_t mode) = 0;

    // Creates one directory; fails when the parent is missing or the path exists.
    virtual Result<void> createDirectory(std::string_view path) = 0;
    // Creates a directory and any missing parents; succeeds when it already exists.
    virtual Result<void> createDirectories(std::string_view path) = 0;
    // The entries of a directory, sorted by name.
    virtual Result<std::vector<DirectoryEntry>> listDirectory(std::string_view path) const = 0;

    // Moves an item; never replaces an existing destination. Across file systems the item is
    // copied whole, verified, and only then removed from its source.
    virtual Result<void> moveItem(std::string_view from, std::string_view to) = 0;
    // Copies an item; folders are copied with their whole tree, symbolic links as links,
    // permissions kept. Never replaces an existing destination.
    virtual Result<void> copyItem(std::string_view from, std::string_view to) = 0;
    // Removes a file, a link or a whole folder tree.
    virtual Result<void> removeItem(std::string_view path) = 0;
};

}  // namespace parvel::platform
