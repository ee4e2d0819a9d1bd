#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace parvel::test_support {

// A unique folder on the real disk, removed with everything in it (read-only parts included).
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(const std::string& parent = "/tmp") {
        std::string pattern = parent + "/parvel-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("mkdtemp failed in " + parent);
        }
        path_ = pattern;
    }
    ~TemporaryDirectory() {
        unlock(path_);
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }

  private:
    static void unlock(const std::filesystem::path& folder) {
        std::error_code ignored;
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
        // Error codes throughout: this runs in a destructor.
        for (std::filesystem::directory_iterator entry(folder, ignored), end; entry != end;
             entry.increment(ignored)) {
            if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
                unlock(entry->path());
            }
        }
    }

    std::string path_;
};

}  // namespace parvel::test_support
