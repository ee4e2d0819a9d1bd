#include <fmt/format.h>

#include "Words.h"
#include "platform/FileSystem.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/world/Finder.h"

namespace parvel::scenario {

// Files and folders on the simulated Mac's disk, and Finder's windows, selection and renaming.
void addFinderWords(Vocabulary& vocabulary) {
    vocabulary.add(
        {{"file"},
         "file PATH [contents TEXT]",
         "create a file (and its folders)",
         [](const Arguments& arguments) -> std::expected<Step, std::string> {
             if (arguments.size() != 1 && !(arguments.size() == 3 && arguments[1] == "contents")) {
                 return failed("takes a path and optionally contents TEXT");
             }
             return compiledStep([path = arguments[0],
                                  contents = arguments.after("contents").value_or("")](
                                     Context& context) -> Outcome {
                 const std::string full = context.expandPath(path);
                 auto& files = context.mac.files();
                 const auto folder = full.substr(0, full.find_last_of('/'));
                 if (auto made = files.createDirectories(folder); !made) {
                     return failed(made.error().description);
                 }
                 if (auto written = files.writeFileAtomically(full, toBytes(contents)); !written) {
                     return failed(written.error().description);
                 }
                 context.mac.trace().record("world", fmt::format("file {}", full));
                 return {};
             });
         }});
    vocabulary.add({{"folder"},
                    "folder PATH",
                    "create a folder (and its parents)",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([path = arguments[0]](Context& context) -> Outcome {
                            if (auto made =
                                    context.mac.files().createDirectories(context.expandPath(path));
                                !made) {
                                return failed(made.error().description);
                            }
                            return {};
                        });
                    }});
    vocabulary.add({{"finder", "window"},
                    "finder window FOLDER",
                    "open a Finder window on a folder",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([path = arguments[0]](Context& context) -> Outcome {
                            context.mac.finder().openWindow(context.expandPath(path));
                            return {};
                        });
                    }});
    vocabulary.add(
        {{"finder", "select"},
         "finder select PATH...",
         "select items in the front Finder window (or on the Desktop when it has the focus)",
         [](const Arguments& arguments) -> std::expected<Step, std::string> {
             return compiledStep([paths = arguments.all()](Context& context) -> Outcome {
                 context.mac.finder().select(context.expandPaths(paths));
                 return {};
             });
         }});
    vocabulary.add({{"finder", "desktop"},
                    "finder desktop",
                    "click the Desktop: it takes the focus",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            context.mac.finder().focusDesktop();
                            return {};
                        });
                    }});
    vocabulary.add({{"finder", "rename"},
                    "finder rename PATH",
                    "start editing an item's name",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([path = arguments[0]](Context& context) -> Outcome {
                            context.mac.finder().startRenaming(context.expandPath(path));
                            return {};
                        });
                    }});
    vocabulary.add({{"finder", "done-renaming"},
                    "finder done-renaming",
                    "stop editing a name",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            context.mac.finder().finishRenaming();
                            return {};
                        });
                    }});
}

}  // namespace parvel::scenario
