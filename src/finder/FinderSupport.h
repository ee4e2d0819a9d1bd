#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Accessibility.h"
#include "platform/AppleScript.h"
#include "platform/ProcessInfo.h"
#include "platform/Workspace.h"

namespace parvel {

// Which files the user has selected in Finder (or on the Desktop) right now, and the folder Finder
// would paste into. The selection comes from Finder's script interface when Automation allows it,
// otherwise from a bounded walk of Finder's accessibility tree. Items are file paths without a
// trailing "/", in order of first appearance, each standardized path only once. Keeps no state.
class FinderSupport {
  public:
    struct Services {
        platform::AppleScript& appleScript;
        platform::Accessibility& accessibility;
        platform::Workspace& workspace;
        const platform::ProcessInfo& processInfo;
    };

    static constexpr std::string_view kFinderIdentifier = "com.apple.finder";
    static constexpr std::string_view kSelectionScript =
        "tell application \"Finder\"\n"
        "  set outText to \"\"\n"
        "  try\n"
        "    set selectedAliases to selection as alias list\n"
        "    repeat with anAlias in selectedAliases\n"
        "      set outText to outText & POSIX path of anAlias & linefeed\n"
        "    end repeat\n"
        "  end try\n"
        "  return outText\n"
        "end tell";
    static constexpr std::string_view kCurrentDirectoryScript =
        "tell application \"Finder\"\n"
        "  try\n"
        "    -- Finder's insertion location follows the active folder context and also\n"
        "    -- resolves to Desktop when the Desktop itself owns the Finder focus.\n"
        "    return POSIX path of (insertion location as alias)\n"
        "  end try\n"
        "  try\n"
        "    if (count of Finder windows) > 0 then\n"
        "      return POSIX path of (target of front Finder window as alias)\n"
        "    end if\n"
        "  end try\n"
        "  return POSIX path of (desktop as alias)\n"
        "end tell";
    // Each Finder window and this many levels below it are searched for selected items.
    static constexpr int kWindowSearchDepth = 7;

    explicit FinderSupport(Services services) : services_(services) {}

    // The script's answer, else the window walk's.
    std::vector<std::string> selectedURLs();
    // Finder's own answer; empty when the script fails or nothing is selected.
    std::vector<std::string> selectedURLsViaScript();
    // Selected items found below every Finder window.
    std::vector<std::string> selectedURLsViaAccessibility();
    // Finder's insertion location; the user's Desktop when Finder cannot say.
    std::string currentDirectory();

    // The running Finder's application element, if Accessibility is allowed and Finder runs.
    std::optional<platform::AXElement> finderApplicationElement();
    // The path of an element's "AXURL" when it is a file URL (a URL or a string that parses as
    // one).
    std::optional<std::string> fileURL(const platform::AXElement& element);
    // An attribute holding a list of elements; empty when it cannot be read or is no list.
    std::vector<platform::AXElement> elements(const platform::AXElement& element,
                                              std::string_view attribute);
    bool isSelected(const platform::AXElement& element);

    // Keeps the first of paths whose standardized forms are equal, in order.
    static std::vector<std::string> dedupe(const std::vector<std::string>& paths);
    // "/a/b/" → "/a/b", as a file URL's path reads.
    static std::string withoutTrailingSlash(std::string path);

  private:
    std::vector<std::string> selectedFileURLsRecursively(const platform::AXElement& element,
                                                         int depth);

    Services services_;
};

}  // namespace parvel
