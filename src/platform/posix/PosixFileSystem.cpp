#include "platform/posix/PosixFileSystem.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/UniqueFd.h"

namespace parvel::posix {

namespace {

using platform::DirectoryEntry;
using platform::FileKind;

constexpr std::size_t kBufferSize = 64 * 1024;
constexpr mode_t kPermissionBits = 07777;
// mkdir(1) semantics: the umask decides what a new folder's permissions are.
constexpr mode_t kNewFolderMode = 0777;
// Copies stay private to us until they are complete and get their final permissions.
constexpr mode_t kPrivateFolderMode = 0700;
constexpr mode_t kPrivateFileMode = 0600;
// Leaves room for the "." prefix and the random suffix within NAME_MAX.
constexpr std::size_t kTemporaryStemLength = 200;
constexpr std::size_t kFirstLinkBufferSize = 256;

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { ::closedir(directory); }
};
using UniqueDirectory = std::unique_ptr<DIR, DirectoryCloser>;

std::unexpected<Error> failure(int errnoValue) {
    return std::unexpected(posixError(errnoValue));
}

std::unexpected<Error> lastFailure() {
    return failure(errno);
}

std::unexpected<Error> failure(int errnoValue, std::string description) {
    Error error = posixError(errnoValue);
    error.description = std::move(description);
    return std::unexpected(std::move(error));
}

// Turns a system call's -1 into the errno it left behind.
Result<void> checked(int result) {
    if (result == -1) {
        return lastFailure();
    }
    return {};
}

std::optional<struct stat> statusOf(const std::string& path, bool followLinks) {
    struct stat status {};
    const int result = followLinks ? ::stat(path.c_str(), &status) : ::lstat(path.c_str(), &status);
    if (result != 0) {
        return std::nullopt;
    }
    return status;
}

FileKind kindOfMode(mode_t mode) {
    if (S_ISREG(mode)) {
        return FileKind::File;
    }
    if (S_ISDIR(mode)) {
        return FileKind::Directory;
    }
    if (S_ISLNK(mode)) {
        return FileKind::SymbolicLink;
    }
    return FileKind::Other;
}

std::string childPath(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

std::string parentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 ? std::string("/") : path.substr(0, slash);
}

// True when `path` is `folder` itself or lies somewhere inside it.
bool isWithin(const std::string& path, const std::string& folder) {
    if (folder == "/" || path == folder) {
        return true;
    }
    return path.starts_with(folder) && path[folder.size()] == '/';
}

Result<UniqueFd> openPath(const std::string& path, int flags, mode_t mode = 0) {
    UniqueFd fd(::open(path.c_str(), flags | O_CLOEXEC, mode));
    if (!fd.valid()) {
        return lastFailure();
    }
    return fd;
}

// Reads until `size` bytes arrived or the file ended; returns how many bytes were read.
Result<std::size_t> readFully(int fd, std::uint8_t* data, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::read(fd, data + done, size - done);
        if (count == 0) {
            break;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return lastFailure();
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
}

Result<void> writeAll(int fd, const std::uint8_t* data, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::write(fd, data + done, size - done);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return lastFailure();
        }
        done += static_cast<std::size_t>(count);
    }
    return {};
}

Result<void> copyContents(int from, int to) {
    std::array<std::uint8_t, kBufferSize> buffer{};
    for (;;) {
        const auto count = readFully(from, buffer.data(), buffer.size());
        if (!count) {
            return std::unexpected(count.error());
        }
        if (*count == 0) {
            return {};
        }
        if (auto written = writeAll(to, buffer.data(), *count); !written) {
            return written;
        }
    }
}

Result<std::vector<std::string>> listNames(const std::string& path) {
    const UniqueDirectory directory(::opendir(path.c_str()));
    if (!directory) {
        return lastFailure();
    }
    std::vector<std::string> names;
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(directory.get());
        if (entry == nullptr) {
            break;
        }
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
    }
    if (errno != 0) {
        return lastFailure();
    }
    std::ranges::sort(names);
    return names;
}

Result<std::string> readLink(const std::string& path) {
    std::string target(kFirstLinkBufferSize, '\0');
    for (;;) {
        const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
        if (length < 0) {
            return lastFailure();
        }
        if (static_cast<std::size_t>(length) < target.size()) {
            target.resize(static_cast<std::size_t>(length));
            return target;
        }
        target.resize(target.size() * 2);
    }
}

// A read-only folder can only be emptied once its owner unlocks it; that is fine for folders that
// are about to disappear, but removeItem leaves the user's permissions alone.
enum class FolderAccess { AsFound, Unlock };

Result<void> unlockFolder(const std::string& path, mode_t mode) {
    if ((mode & S_IRWXU) == S_IRWXU) {
        return {};
    }
    return checked(::chmod(path.c_str(), (mode & kPermissionBits) | S_IRWXU));
}

Result<void> removeTree(const std::string& path, FolderAccess access) {
    const auto status = statusOf(path, false);
    if (!status) {
        return lastFailure();
    }
    if (!S_ISDIR(status->st_mode)) {
        return checked(::unlink(path.c_str()));
    }
    if (access == FolderAccess::Unlock) {
        if (auto unlocked = unlockFolder(path, status->st_mode); !unlocked) {
            return unlocked;
        }
    }
    const auto names = listNames(path);
    if (!names) {
        return std::unexpected(names.error());
    }
    for (const std::string& name : *names) {
        if (auto removed = removeTree(childPath(path, name), access); !removed) {
            return removed;
        }
    }
    return checked(::rmdir(path.c_str()));
}

Result<void> copyItemTo(const std::string& from, const std::string& to);

// Each copy step below removes what it created when it fails, so a failed copy leaves nothing
// behind and never touches a destination that someone else created.
Result<void> copyRegularFile(const std::string& from, const std::string& to, mode_t mode) {
    // O_NONBLOCK keeps a FIFO swapped in after lstat from blocking the open.
    auto source = openPath(from, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!source) {
        return std::unexpected(source.error());
    }
    struct stat status {};
    if (::fstat(source->get(), &status) != 0) {
        return lastFailure();
    }
    if (!S_ISREG(status.st_mode)) {
        return failure(EAGAIN, "The item changed while it was being copied");
    }
    auto destination = openPath(to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, kPrivateFileMode);
    if (!destination) {
        return std::unexpected(destination.error());
    }
    Result<void> filled = copyContents(source->get(), destination->get());
    if (filled) {
        filled = checked(::fchmod(destination->get(), mode & kPermissionBits));
    }
    if (filled) {
        filled = checked(destination->close());
    }
    if (!filled) {
        ::unlink(to.c_str());
    }
    return filled;
}

Result<void> copyFolder(const std::string& from, const std::string& to, mode_t mode) {
    const auto names = listNames(from);
    if (!names) {
        return std::unexpected(names.error());
    }
    if (::mkdir(to.c_str(), kPrivateFolderMode) != 0) {
        return lastFailure();
    }
    Result<void> filled;
    for (const std::string& name : *names) {
        filled = copyItemTo(childPath(from, name), childPath(to, name));
        if (!filled) {
            break;
        }
    }
    // Applied last so that a read-only folder could still be filled.
    if (filled) {
        filled = checked(::chmod(to.c_str(), mode & kPermissionBits));
    }
    if (!filled) {
        // The failure to report is the copy's; a partial copy left behind is only clutter.
        (void)removeTree(to, FolderAccess::Unlock);
    }
    return filled;
}

Result<void> copySymbolicLink(const std::string& from, const std::string& to) {
    const auto target = readLink(from);
    if (!target) {
        return std::unexpected(target.error());
    }
    return checked(::symlink(target->c_str(), to.c_str()));
}

Result<void> copyItemTo(const std::string& from, const std::string& to) {
    const auto status = statusOf(from, false);
    if (!status) {
        return lastFailure();
    }
    const mode_t mode = status->st_mode;
    switch (kindOfMode(mode)) {
        case FileKind::File:
            return copyRegularFile(from, to, mode);
        case FileKind::Directory:
            return copyFolder(from, to, mode);
        case FileKind::SymbolicLink:
            return copySymbolicLink(from, to);
        case FileKind::Missing:
        case FileKind::Other:
            break;
    }
    return failure(ENOTSUP, "Special files such as sockets and devices cannot be copied");
}

Result<bool> sameTree(const std::string& original, const std::string& copy);

Result<bool> sameContents(const std::string& original, const std::string& copy) {
    auto first = openPath(original, O_RDONLY | O_NOFOLLOW);
    if (!first) {
        return std::unexpected(first.error());
    }
    auto second = openPath(copy, O_RDONLY | O_NOFOLLOW);
    if (!second) {
        return std::unexpected(second.error());
    }
    std::array<std::uint8_t, kBufferSize> left{};
    std::array<std::uint8_t, kBufferSize> right{};
    for (;;) {
        const auto leftCount = readFully(first->get(), left.data(), left.size());
        if (!leftCount) {
            return std::unexpected(leftCount.error());
        }
        const auto rightCount = readFully(second->get(), right.data(), right.size());
        if (!rightCount) {
            return std::unexpected(rightCount.error());
        }
        if (*leftCount != *rightCount ||
            !std::equal(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(*leftCount),
                        right.begin())) {
            return false;
        }
        if (*leftCount == 0) {
            return true;
        }
    }
}

Result<bool> sameFolders(const std::string& original, const std::string& copy) {
    const auto originalNames = listNames(original);
    if (!originalNames) {
        return std::unexpected(originalNames.error());
    }
    const auto copyNames = listNames(copy);
    if (!copyNames) {
        return std::unexpected(copyNames.error());
    }
    if (*originalNames != *copyNames) {
        return false;
    }
    for (const std::string& name : *originalNames) {
        const auto same = sameTree(childPath(original, name), childPath(copy, name));
        if (!same || !*same) {
            return same;
        }
    }
    return true;
}

// Compares two trees by shape, link targets, file sizes and bytes.
Result<bool> sameTree(const std::string& original, const std::string& copy) {
    const auto originalStatus = statusOf(original, false);
    if (!originalStatus) {
        return lastFailure();
    }
    const auto copyStatus = statusOf(copy, false);
    if (!copyStatus) {
        return lastFailure();
    }
    const FileKind kind = kindOfMode(originalStatus->st_mode);
    if (kind != kindOfMode(copyStatus->st_mode)) {
        return false;
    }
    switch (kind) {
        case FileKind::File:
            if (originalStatus->st_size != copyStatus->st_size) {
                return false;
            }
            return sameContents(original, copy);
        case FileKind::Directory:
            return sameFolders(original, copy);
        case FileKind::SymbolicLink: {
            const auto originalTarget = readLink(original);
            const auto copyTarget = readLink(copy);
            return originalTarget && copyTarget && *originalTarget == *copyTarget;
        }
        case FileKind::Missing:
        case FileKind::Other:
            break;
    }
    return false;
}

bool mayEffectively(const std::string& path, int accessMode) {
    return ::faccessat(AT_FDCWD, path.c_str(), accessMode, AT_EACCESS) == 0;
}

Result<void> checkFoldersRemovable(const std::string& path) {
    const auto status = statusOf(path, false);
    if (!status) {
        return lastFailure();
    }
    if (!S_ISDIR(status->st_mode)) {
        return {};
    }
    const bool unlockable = status->st_uid == ::geteuid();
    if (!unlockable && !mayEffectively(path, R_OK | W_OK | X_OK)) {
        return lastFailure();
    }
    const auto names = listNames(path);
    if (!names) {
        return std::unexpected(names.error());
    }
    for (const std::string& name : *names) {
        if (auto removable = checkFoldersRemovable(childPath(path, name)); !removable) {
            return removable;
        }
    }
    return {};
}

// Whether the original can be deleted once it is copied: its parent and each of its folders must
// let us remove entries, if need be after unlocking a folder of our own. Checked up front so that
// a move which cannot finish fails before it starts instead of leaving half an original behind.
Result<void> checkRemovable(const std::string& path) {
    if (!mayEffectively(parentOf(path), W_OK | X_OK)) {
        return lastFailure();
    }
    return checkFoldersRemovable(path);
}

// Copies the item whole, checks the copy, and only then removes the original.
Result<void> moveByCopying(const std::string& from, const std::string& to) {
    if (auto removable = checkRemovable(from); !removable) {
        return removable;
    }
    if (auto copied = copyItemTo(from, to); !copied) {
        return copied;
    }
    const auto same = sameTree(from, to);
    if (!same || !*same) {
        // The original is still in place; the mismatch is what is reported, not the clean-up.
        (void)removeTree(to, FolderAccess::Unlock);
        if (!same) {
            return std::unexpected(same.error());
        }
        return failure(EIO, "The copy does not match the original");
    }
    // Should this still fail part-way, the verified copy at `to` holds everything.
    return removeTree(from, FolderAccess::Unlock);
}

// Hard links never replace an existing name, which makes link + unlink a safe move for files.
Result<void> moveFileByLinking(const std::string& from, const std::string& to) {
    if (::link(from.c_str(), to.c_str()) != 0) {
        const int linkError = errno;
        const bool linksUnavailable =
            linkError == EXDEV || linkError == EPERM || linkError == ENOTSUP || linkError == EMLINK;
        return linksUnavailable ? moveByCopying(from, to) : failure(linkError);
    }
    if (::unlink(from.c_str()) != 0) {
        const int unlinkError = errno;
        ::unlink(to.c_str());
        return failure(unlinkError);
    }
    return {};
}

// mkdir claims the name atomically; rename may then replace only our own placeholder, and only
// while it is still empty.
Result<void> moveFolderOntoPlaceholder(const std::string& from, const std::string& to) {
    if (::mkdir(to.c_str(), kPrivateFolderMode) != 0) {
        return lastFailure();
    }
    if (::rename(from.c_str(), to.c_str()) != 0) {
        const int renameError = errno;
        ::rmdir(to.c_str());
        return renameError == EXDEV ? moveByCopying(from, to) : failure(renameError);
    }
    return {};
}

Result<void> syncFolder(const std::string& path) {
    auto folder = openPath(path, O_RDONLY | O_DIRECTORY);
    if (!folder) {
        return std::unexpected(folder.error());
    }
    return checked(::fsync(folder->get()));
}

Result<void> fillTemporaryFile(UniqueFd& file, const Bytes& contents, std::uint32_t mode) {
    if (auto written = writeAll(file.get(), contents.data(), contents.size()); !written) {
        return written;
    }
    // fchmod, unlike open's mode, is not narrowed by the umask.
    if (auto changed = checked(::fchmod(file.get(), static_cast<mode_t>(mode) & kPermissionBits));
        !changed) {
        return changed;
    }
    if (auto synced = checked(::fsync(file.get())); !synced) {
        return synced;
    }
    return checked(file.close());
}

std::unexpected<Error> invalidPath(std::string description) {
    return failure(EINVAL, std::move(description));
}

}  // namespace

PosixFileSystem::PosixFileSystem(std::string root)
    : PosixFileSystem(std::move(root), &PosixFileSystem::renameWithoutReplacing) {}

PosixFileSystem::PosixFileSystem(std::string root, RenameFunction renameWithoutReplacing)
    : root_(std::move(root)), rename_(std::move(renameWithoutReplacing)) {
    while (root_.ends_with('/')) {
        root_.pop_back();
    }
}

int PosixFileSystem::renameWithoutReplacing(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        return errno;
    }
    return 0;
}

Result<std::string> PosixFileSystem::resolve(std::string_view path) const {
    if (path.find('\0') != std::string_view::npos) {
        return invalidPath("The path contains a NUL character");
    }
    if (!path.starts_with('/')) {
        return invalidPath("The path is not absolute");
    }
    std::vector<std::string_view> components;
    std::size_t start = 0;
    while (start < path.size()) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view component = path.substr(start, end - start);
        start = end + 1;
        if (component.empty() || component == ".") {
            continue;
        }
        if (component == "..") {
            if (components.empty()) {
                return invalidPath("The path leads outside its root folder");
            }
            components.pop_back();
            continue;
        }
        components.push_back(component);
    }
    std::string resolved = root_;
    for (const std::string_view component : components) {
        resolved += '/';
        resolved += component;
    }
    return resolved.empty() ? std::string("/") : resolved;
}

FileKind PosixFileSystem::kind(std::string_view path) const {
    const auto resolved = resolve(path);
    if (!resolved) {
        return FileKind::Missing;
    }
    const auto status = statusOf(*resolved, false);
    return status ? kindOfMode(status->st_mode) : FileKind::Missing;
}

bool PosixFileSystem::exists(std::string_view path) const {
    const auto resolved = resolve(path);
    return resolved && statusOf(*resolved, true).has_value();
}

bool PosixFileSystem::isDirectory(std::string_view path) const {
    const auto resolved = resolve(path);
    if (!resolved) {
        return false;
    }
    const auto status = statusOf(*resolved, true);
    return status && S_ISDIR(status->st_mode);
}

bool PosixFileSystem::isExecutable(std::string_view path) const {
    const auto resolved = resolve(path);
    if (!resolved) {
        return false;
    }
    const auto status = statusOf(*resolved, true);
    return status && S_ISREG(status->st_mode) && ::access(resolved->c_str(), X_OK) == 0;
}

Result<Bytes> PosixFileSystem::readFile(std::string_view path) const {
    const auto resolved = resolve(path);
    if (!resolved) {
        return std::unexpected(resolved.error());
    }
    auto file = openPath(*resolved, O_RDONLY);
    if (!file) {
        return std::unexpected(file.error());
    }
    Bytes contents;
    std::size_t used = 0;
    for (;;) {
        contents.resize(used + kBufferSize);
        const auto count = readFully(file->get(), contents.data() + used, kBufferSize);
        if (!count) {
            return std::unexpected(count.error());
        }
        used += *count;
        if (*count < kBufferSize) {
            contents.resize(used);
            return contents;
        }
    }
}

Result<void> PosixFileSystem::writeFileAtomically(std::string_view path, const Bytes& contents,
                                                  std::uint32_t mode) {
    const auto target = resolve(path);
    if (!target) {
        return std::unexpected(target.error());
    }
    const std::size_t slash = target->rfind('/');
    const std::string name = target->substr(slash + 1, kTemporaryStemLength);
    std::string temporary = target->substr(0, slash + 1) + "." + name + ".XXXXXX";
    UniqueFd file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.valid()) {
        return lastFailure();
    }
    Result<void> written = fillTemporaryFile(file, contents, mode);
    if (written) {
        written = checked(::rename(temporary.c_str(), target->c_str()));
    }
    if (!written) {
        ::unlink(temporary.c_str());
        return written;
    }
    // Best effort: the new contents are in place either way, and some file systems cannot sync
    // a folder at all.
    (void)syncFolder(parentOf(*target));
    return {};
}

Result<void> PosixFileSystem::setPermissions(std::string_view path, std::uint32_t mode) {
    const auto resolved = resolve(path);
    if (!resolved) {
        return std::unexpected(resolved.error());
    }
    return checked(::chmod(resolved->c_str(), static_cast<mode_t>(mode) & kPermissionBits));
}

Result<void> PosixFileSystem::createDirectory(std::string_view path) {
    const auto resolved = resolve(path);
    if (!resolved) {
        return std::unexpected(resolved.error());
    }
    return checked(::mkdir(resolved->c_str(), kNewFolderMode));
}

Result<void> PosixFileSystem::createDirectories(std::string_view path) {
    const auto resolved = resolve(path);
    if (!resolved) {
        return std::unexpected(resolved.error());
    }
    // Components above the root are not ours to create.
    std::size_t slash = root_.size();
    while (slash != std::string::npos) {
        slash = resolved->find('/', slash + 1);
        const std::string prefix = resolved->substr(0, slash);
        if (::mkdir(prefix.c_str(), kNewFolderMode) == 0) {
            continue;
        }
        if (errno != EEXIST) {
            return lastFailure();
        }
        const auto status = statusOf(prefix, true);
        if (!status || !S_ISDIR(status->st_mode)) {
            return failure(ENOTDIR);
        }
    }
    return {};
}

Result<std::vector<DirectoryEntry>> PosixFileSystem::listDirectory(std::string_view path) const {
    const auto resolved = resolve(path);
    if (!resolved) {
        return std::unexpected(resolved.error());
    }
    const auto names = listNames(*resolved);
    if (!names) {
        return std::unexpected(names.error());
    }
    std::vector<DirectoryEntry> entries;
    entries.reserve(names->size());
    for (const std::string& name : *names) {
        // An entry removed since the listing was read is simply no longer there.
        if (const auto status = statusOf(childPath(*resolved, name), false)) {
            entries.push_back({name, kindOfMode(status->st_mode)});
        }
    }
    return entries;
}

Result<void> PosixFileSystem::moveItem(std::string_view from, std::string_view to) {
    const auto source = resolve(from);
    if (!source) {
        return std::unexpected(source.error());
    }
    const auto destination = resolve(to);
    if (!destination) {
        return std::unexpected(destination.error());
    }
    if (isWithin(*destination, *source)) {
        return invalidPath("An item cannot be moved onto or into itself");
    }
    const auto status = statusOf(*source, false);
    if (!status) {
        return lastFailure();
    }
    const int renameError = rename_(*source, *destination);
    switch (renameError) {
        case 0:
            return {};
        case EXDEV:
            return moveByCopying(*source, *destination);
        // The kernel or the file system cannot rename without replacing.
        case EINVAL:
        case ENOSYS:
        case ENOTSUP:
            return S_ISDIR(status->st_mode) ? moveFolderOntoPlaceholder(*source, *destination)
                                            : moveFileByLinking(*source, *destination);
        default:
            return failure(renameError);
    }
}

Result<void> PosixFileSystem::copyItem(std::string_view from, std::string_view to) {
    const auto source = resolve(from);
    if (!source) {
        return std::unexpected(source.error());
    }
    const auto destination = resolve(to);
    if (!destination) {
        return std::unexpected(destination.error());
    }
    if (*destination != *source && isWithin(*destination, *source)) {
        return invalidPath("A folder cannot be copied into itself");
    }
    return copyItemTo(*source, *destination);
}

Result<void> PosixFileSystem::removeItem(std::string_view path) {
    const auto resolved = resolve(path);
    if (!resolved) {
        return std::unexpected(resolved.error());
    }
    if (*resolved == (root_.empty() ? "/" : root_)) {
        return failure(EPERM, "The root folder cannot be removed");
    }
    return removeTree(*resolved, FolderAccess::AsFound);
}

}  // namespace parvel::posix
