#include <algorithm>
#include <limits>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Words.h"
#include "platform/Defaults.h"
#include "platform/FileSystem.h"
#include "platform/Pasteboard.h"
#include "platform/Workspace.h"
#include "platform/sim/SimApplication.h"
#include "platform/sim/SimEvents.h"
#include "platform/sim/SimPasteboard.h"
#include "platform/sim/SimPresenter.h"
#include "platform/sim/SimSpeech.h"
#include "platform/sim/SimWorkspace.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/TracingLog.h"
#include "platform/sim/world/Applications.h"
#include "platform/sim/world/Dock.h"
#include "platform/sim/world/Finder.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::scenario {

Outcome mismatch(std::string_view wanted, std::string_view found) {
    return failed(fmt::format("expected {}\n  found    {}", wanted, found));
}

Outcome check(bool holds, std::string_view wanted, std::string_view found) {
    return holds ? Outcome{} : mismatch(wanted, found);
}

namespace {

std::string quoted(const std::vector<std::string>& words) {
    std::vector<std::string> shown;
    for (const auto& word : words) {
        shown.push_back("\"" + word + "\"");
    }
    return shown.empty() ? "nothing" : fmt::format("{}", fmt::join(shown, " "));
}

// A word that compares one thing the simulated Mac shows with what the line wants.
Word expectation(std::vector<std::string> name, std::string usage, std::string help,
                 std::size_t minimum, std::size_t maximum,
                 std::function<Outcome(Context&, const std::vector<std::string>&)> verify) {
    name.insert(name.begin(), "expect");
    return {
        name, "expect " + usage, std::move(help),
        [minimum, maximum, verify](const Arguments& arguments) -> std::expected<Step, std::string> {
            SCENARIO_CHECK(arguments.requireCount(minimum, maximum));
            return compiledStep([verify, words = arguments.all()](Context& context) {
                return verify(context, words);
            });
        }};
}

std::vector<std::string> traceSinceMark(Context& context, const std::string& category) {
    std::vector<std::string> texts;
    const auto lines = context.mac.trace().lines();
    for (std::size_t index = context.traceMark; index < lines.size(); ++index) {
        if (lines[index].category == category) {
            texts.push_back(lines[index].text);
        }
    }
    return texts;
}

std::string describeStored(const std::optional<platform::PlistValue>& value) {
    return value ? describe(*value) : "absent";
}

void addTraceAndLogExpectations(Vocabulary& vocabulary) {
    for (const bool wanted : {true, false}) {
        vocabulary.add(expectation(
            wanted ? std::vector<std::string>{"trace"} : std::vector<std::string>{"no", "trace"},
            wanted ? "trace CATEGORY TEXT" : "no trace CATEGORY TEXT",
            wanted ? "a trace line of the category since the last mark contains the text"
                   : "no trace line of the category since the last mark contains the text",
            2, 2, [wanted](Context& context, const auto& words) {
                const auto texts = traceSinceMark(context, words[0]);
                const auto found = std::ranges::find_if(texts, [&](const std::string& text) {
                    return text.find(words[1]) != std::string::npos;
                });
                const bool present = found != texts.end();
                return check(
                    present == wanted,
                    fmt::format("{} {} line with \"{}\"", wanted ? "a" : "no", words[0], words[1]),
                    present ? "\"" + *found + "\"" : quoted(texts));
            }));
    }
    vocabulary.add(expectation({"log"}, "log TEXT",
                               "the system log has this line (prefix included)", 1, 1,
                               [](Context& context, const auto& words) {
                                   const auto lines = context.mac.log().lines().lines();
                                   return check(std::ranges::find(lines, words[0]) != lines.end(),
                                                "log line \"" + words[0] + "\"", quoted(lines));
                               }));
}

void addApplicationExpectations(Vocabulary& vocabulary) {
    vocabulary.add(expectation({"frontmost"}, "frontmost APP", "the application in front", 1, 1,
                               [](Context& context, const auto& words) {
                                   const auto front =
                                       context.mac.platform().workspace->frontmostApplication();
                                   const std::string name = front ? front->localizedName : "none";
                                   return check(name == words[0], words[0], name);
                               }));
    for (const bool wanted : {true, false}) {
        vocabulary.add(expectation(
            wanted ? std::vector<std::string>{"running"}
                   : std::vector<std::string>{"not", "running"},
            wanted ? "running APP" : "not running APP", "whether an application runs", 1, 1,
            [wanted](Context& context, const auto& words) {
                const bool running = !context.mac.applications().withName(words[0]).empty();
                return check(running == wanted, words[0] + (wanted ? " running" : " not running"),
                             running ? "running" : "not running");
            }));
    }
    vocabulary.add(expectation({"received"}, "received APP EVENT",
                               "the application received this event, as the trace writes events", 2,
                               2, [](Context& context, const auto& words) {
                                   const auto apps = context.mac.applications().withName(words[0]);
                                   std::vector<std::string> received;
                                   if (!apps.empty()) {
                                       for (const auto& event : apps.front()->receivedEvents) {
                                           received.push_back(sim::describeEvent(event));
                                       }
                                   }
                                   return check(
                                       std::ranges::find(received, words[1]) != received.end(),
                                       words[1], quoted(received));
                               }));
    vocabulary.add(expectation(
        {"received", "count"}, "received count APP N", "how many events the application received",
        2, 2, [](Context& context, const auto& words) {
            const auto apps = context.mac.applications().withName(words[0]);
            const auto count = apps.empty() ? 0u : apps.front()->receivedEvents.size();
            return check(std::to_string(count) == words[1], words[1], std::to_string(count));
        }));
    vocabulary.add(expectation(
        {"window", "of"}, "window of APP TITLE [minimised|full-screen|on-screen]",
        "an application's window and its state", 2, 3,
        [](Context& context, const auto& words) -> Outcome {
            const auto apps = context.mac.applications().withName(words[0]);
            if (apps.empty()) {
                return mismatch(words[0] + " running", "not running");
            }
            for (const auto* window : context.mac.applications().windowsOf(apps.front()->pid)) {
                if (window->title != words[1]) {
                    continue;
                }
                if (words.size() == 2) {
                    return {};
                }
                const bool holds = words[2] == "minimised"     ? window->minimized
                                   : words[2] == "full-screen" ? window->fullScreen
                                                               : window->onScreen;
                return check(holds, words[1] + " " + words[2], "not " + words[2]);
            }
            return mismatch("a window \"" + words[1] + "\"", "none");
        }));
}

void addFileExpectations(Vocabulary& vocabulary) {
    vocabulary.add(expectation(
        {"file"}, "file PATH [contents TEXT]", "a file exists (with these contents)", 1, 3,
        [](Context& context, const auto& words) -> Outcome {
            const auto path = context.expandPath(words[0]);
            const auto contents = context.mac.files().readFile(path);
            if (!contents) {
                return mismatch("file " + path, contents.error().description);
            }
            if (words.size() == 3) {
                const std::string text = toString(*contents);
                return check(text == words[2], "contents \"" + words[2] + "\"", "\"" + text + "\"");
            }
            return {};
        }));
    vocabulary.add(expectation({"folder"}, "folder PATH", "a folder exists", 1, 1,
                               [](Context& context, const auto& words) {
                                   const auto path = context.expandPath(words[0]);
                                   return check(context.mac.files().isDirectory(path),
                                                "folder " + path, "none");
                               }));
    vocabulary.add(expectation({"no", "file"}, "no file PATH", "nothing exists at the path", 1, 1,
                               [](Context& context, const auto& words) {
                                   const auto path = context.expandPath(words[0]);
                                   return check(context.mac.files().kind(path) ==
                                                    platform::FileKind::Missing,
                                                "nothing at " + path, "something");
                               }));
    vocabulary.add(expectation({"selection"}, "selection [PATH...]",
                               "Finder's selection, as its script reports it", 0, 100,
                               [](Context& context, const auto& words) {
                                   const auto wanted = context.expandPaths(words);
                                   const auto found = context.mac.finder().selection();
                                   return check(found == wanted, quoted(wanted), quoted(found));
                               }));
}

void addSystemExpectations(Vocabulary& vocabulary) {
    vocabulary.add(expectation(
        {"defaults"}, "defaults DOMAIN KEY absent|bool|int|real|string [VALUE]",
        "a stored value, written as the trace writes values (true, 20, \"Normal\")", 3, 4,
        [](Context& context, const auto& words) -> Outcome {
            const auto stored = context.mac.defaults().object(words[0], words[1]);
            const std::string found = describeStored(stored);
            if (words[2] == "absent") {
                return check(!stored, "absent", found);
            }
            if (words.size() != 4) {
                return failed("a typed value needs its VALUE");
            }
            const std::string wanted = words[2] == "string" ? "\"" + words[3] + "\"" : words[3];
            return check(found == wanted, wanted, found);
        }));
    vocabulary.add(expectation(
        {"pasteboard", "text"}, "pasteboard text TEXT", "the plain text on the pasteboard", 1, 1,
        [](Context& context, const auto& words) {
            const auto text =
                context.mac.platform().pasteboard->string(platform::pasteboard_types::kString);
            return check(text == words[0], "\"" + words[0] + "\"",
                         text ? "\"" + *text + "\"" : "none");
        }));
    vocabulary.add(expectation({"pasteboard", "files"}, "pasteboard files PATH...",
                               "the file URLs on the pasteboard", 0, 100,
                               [](Context& context, const auto& words) {
                                   const auto wanted = context.expandPaths(words);
                                   const auto found = context.mac.platform().pasteboard->fileURLs();
                                   return check(found == wanted, quoted(wanted), quoted(found));
                               }));
    vocabulary.add(expectation(
        {"pasteboard", "image"}, "pasteboard image png|tiff BYTES|none",
        "image data of that type on the pasteboard, as `copy image` makes it, or none", 2, 2,
        [](Context& context, const auto& words) -> Outcome {
            if (words[0] != "png" && words[0] != "tiff") {
                return failed("the image type is png or tiff");
            }
            const auto type = words[0] == "png" ? platform::pasteboard_types::kPNG
                                                : platform::pasteboard_types::kTIFF;
            const auto found = context.mac.platform().pasteboard->data(type);
            const std::string shown =
                found ? fmt::format("{} bytes", found->size()) : std::string("none");
            if (words[1] == "none") {
                return check(!found, "none", shown);
            }
            const auto size = parseInteger(words[1]);
            if (!size || *size < 0) {
                return failed("the size is a whole number of bytes, or none");
            }
            return check(found && *found == scenarioImage(static_cast<std::size_t>(*size)),
                         words[1] + " bytes of the scenario's image", shown);
        }));
    vocabulary.add(expectation({"change-count"}, "change-count N", "the pasteboard's change count",
                               1, 1, [](Context& context, const auto& words) {
                                   const auto count = std::to_string(
                                       context.mac.platform().pasteboard->changeCount());
                                   return check(count == words[0], words[0], count);
                               }));
    vocabulary.add(
        expectation({"dock"}, "dock magnification on|off | launches N",
                    "what the Dock read at its last start, or how often it started", 2, 2,
                    [](Context& context, const auto& words) -> Outcome {
                        const auto& dock = context.mac.dock();
                        if (words[0] == "launches") {
                            const auto count = std::to_string(dock.launchCount());
                            return check(count == words[1], words[1], count);
                        }
                        if (words[0] != "magnification") {
                            return failed("expect dock magnification on|off, or launches N");
                        }
                        const std::string found = dock.preferences().magnification ? "on" : "off";
                        return check(found == words[1], words[1], found);
                    }));
    vocabulary.add(expectation({"opened"}, "opened URL", "the program opened this URL", 1, 1,
                               [](Context& context, const auto& words) {
                                   const auto& urls = context.mac.workspace().openedURLs();
                                   return check(std::ranges::find(urls, words[0]) != urls.end(),
                                                words[0], quoted(urls));
                               }));
    vocabulary.add(expectation({"spoken"}, "spoken TEXT", "the program spoke this", 1, 1,
                               [](Context& context, const auto& words) {
                                   const auto& spoken = context.mac.speech().utterances();
                                   return check(std::ranges::find(spoken, words[0]) != spoken.end(),
                                                words[0], quoted(spoken));
                               }));
    vocabulary.add(expectation({"exit"}, "exit N", "the exit status of the last `run`", 1, 1,
                               [](Context& context, const auto& words) -> Outcome {
                                   if (!context.lastRun) {
                                       return failed("no tool was run");
                                   }
                                   const auto status = std::to_string(context.lastRun->status);
                                   return check(status == words[0], words[0], status);
                               }));
    for (const char* stream : {"output", "error"}) {
        vocabulary.add(expectation(
            {stream}, fmt::format("{} TEXT", stream),
            fmt::format("the standard {} of the last `run`, exactly (\\n for new lines)", stream),
            1, 1,
            [isOutput = std::string(stream) == "output"](Context& context,
                                                         const auto& words) -> Outcome {
                if (!context.lastRun) {
                    return failed("no tool was run");
                }
                const auto& text = isOutput ? context.lastRun->output : context.lastRun->error;
                return check(text == words[0], "\"" + words[0] + "\"", "\"" + text + "\"");
            }));
    }
    vocabulary.add(expectation(
        {"script", "result"}, "script result TEXT", "what the last `script` returned", 1, 1,
        [](Context& context, const auto& words) {
            const std::string found =
                context.lastScriptResult  ? "\"" + *context.lastScriptResult + "\""
                : context.lastScriptError ? fmt::format("error {}", context.lastScriptError->first)
                                          : "no script";
            return check(context.lastScriptResult == words[0], "\"" + words[0] + "\"", found);
        }));
    vocabulary.add(expectation(
        {"script", "error"}, "script error NUMBER", "the last `script` failed with this number", 1,
        1, [](Context& context, const auto& words) {
            const std::string found = context.lastScriptError
                                          ? std::to_string(context.lastScriptError->first)
                                          : "no error";
            return check(found == words[0], words[0], found);
        }));
    vocabulary.add(expectation({"permission"},
                               "permission accessibility|screen-recording|input-monitoring on|off",
                               "one of this program's permissions", 2, 2,
                               [](Context& context, const auto& words) -> Outcome {
                                   const auto& permissions = context.mac.permissions();
                                   const std::map<std::string, bool> states = {
                                       {"accessibility", permissions.accessibility},
                                       {"screen-recording", permissions.screenRecording},
                                       {"input-monitoring", permissions.inputMonitoring}};
                                   const auto state = states.find(words[0]);
                                   if (state == states.end()) {
                                       return failed("'" + words[0] + "' is not a permission");
                                   }
                                   const std::string found = state->second ? "on" : "off";
                                   return check(found == words[1], words[1], found);
                               }));
    vocabulary.add(expectation({"time"}, "time DURATION", "the virtual time since the start", 1, 1,
                               [](Context& context, const auto& words) -> Outcome {
                                   const auto wanted = parseDuration(words[0]);
                                   SCENARIO_CHECK(wanted);
                                   const auto elapsed = context.mac.dispatch().elapsed();
                                   return check(
                                       elapsed == *wanted, words[0],
                                       fmt::format("{:.3f}s", platform::toSeconds(elapsed)));
                               }));
}

void addProgramExpectations(Vocabulary& vocabulary) {
    vocabulary.add(expectation(
        {"program"}, "program running|stopped", "whether a process of ParvelMac runs", 1, 1,
        [](Context& context, const auto& words) -> Outcome {
            if (words[0] != "running" && words[0] != "stopped") {
                return failed("the program is running or stopped");
            }
            const std::string found = context.program.isRunning() ? "running" : "stopped";
            return check(found == words[0], words[0], found);
        }));
}

void addUserInterfaceExpectations(Vocabulary& vocabulary) {
    vocabulary.add(expectation(
        {"alert"}, "alert MESSAGE [INFORMATIVE]", "the alert on screen", 1, 2,
        [](Context& context, const auto& words) -> Outcome {
            const auto alert = context.mac.presenter().currentAlert();
            if (!alert) {
                return mismatch("alert \"" + words[0] + "\"", "no alert");
            }
            if (alert->messageText != words[0]) {
                return mismatch("\"" + words[0] + "\"", "\"" + alert->messageText + "\"");
            }
            if (words.size() == 2) {
                return check(alert->informativeText == words[1], "\"" + words[1] + "\"",
                             "\"" + alert->informativeText + "\"");
            }
            return {};
        }));
    vocabulary.add(expectation({"no", "alert"}, "no alert", "no alert is on screen", 0, 0,
                               [](Context& context, const auto&) {
                                   const auto alert = context.mac.presenter().currentAlert();
                                   return check(!alert, "no alert",
                                                alert ? "\"" + alert->messageText + "\"" : "");
                               }));
    vocabulary.add(expectation(
        {"window"}, "window NAME visible|hidden", "whether one of the program's windows shows", 2,
        2, [](Context& context, const auto& words) -> Outcome {
            if (words[1] != "visible" && words[1] != "hidden") {
                return failed("a window is visible or hidden");
            }
            auto& presenter = context.mac.presenter();
            bool visible = false;
            for (const auto& window : presenter.visibleWindows()) {
                visible = visible || window->identifier == words[0] || window->title == words[0];
            }
            return check(visible == (words[1] == "visible"), words[0] + " " + words[1],
                         visible ? "visible" : "hidden");
        }));
    vocabulary.add(expectation(
        {"control"}, "control NAME text|color|selected VALUE | on|off|enabled|disabled",
        "a control's text, colour, selected item (pop-ups, tables), state or enablement", 2, 3,
        [](Context& context, const auto& words) -> Outcome {
            const auto view = context.mac.presenter().find(words[0]);
            const std::string& what = words[1];
            if ((what == "text" || what == "color") && words.size() == 3) {
                const std::string& found = what == "text" ? view->text : view->color.name;
                return check(found == words[2], "\"" + words[2] + "\"", "\"" + found + "\"");
            }
            if (what == "selected" && words.size() == 3) {
                const auto index = view->selectedIndex;
                const bool inRange =
                    index >= 0 && static_cast<std::size_t>(index) < view->items.size();
                const std::string found =
                    inRange ? view->items[static_cast<std::size_t>(index)] : "nothing";
                return check(found == words[2], "\"" + words[2] + "\"", "\"" + found + "\"");
            }
            if (what == "on" || what == "off") {
                return check(view->isOn == (what == "on"), what, view->isOn ? "on" : "off");
            }
            if (what == "enabled" || what == "disabled") {
                return check(view->enabled == (what == "enabled"), what,
                             view->enabled ? "enabled" : "disabled");
            }
            return failed(
                "expect control NAME text|color|selected VALUE, or on|off|enabled|disabled");
        }));
    vocabulary.add(expectation(
        {"rows"}, "rows TABLE [ROW...]", "a table's rows, top to bottom (none for an empty table)",
        1, std::numeric_limits<std::size_t>::max(), [](Context& context, const auto& words) {
            const auto table = context.mac.presenter().find(words[0]);
            const std::vector<std::string> wanted(words.begin() + 1, words.end());
            return check(table->items == wanted, quoted(wanted), quoted(table->items));
        }));
    vocabulary.add(expectation(
        {"activation-policy"}, "activation-policy regular|accessory",
        "whether the program shows a Dock icon", 1, 1, [](Context& context, const auto& words) {
            const auto policy = context.mac.application().activationPolicy();
            const std::string found = policy == platform::ActivationPolicy::Regular ? "regular"
                                      : policy == platform::ActivationPolicy::Accessory
                                          ? "accessory"
                                          : "prohibited";
            return check(found == words[0], words[0], found);
        }));
    vocabulary.add(expectation({"beeps"}, "beeps N", "how often the program beeped", 1, 1,
                               [](Context& context, const auto& words) {
                                   const auto count =
                                       std::to_string(context.mac.application().beepCount());
                                   return check(count == words[0], words[0], count);
                               }));
    vocabulary.add(expectation(
        {"status-item"}, "status-item shown|absent", "whether the menu-bar item shows", 1, 1,
        [](Context& context, const auto& words) {
            const bool shown = context.mac.presenter().statusItem() != nullptr;
            return check(shown == (words[0] == "shown"), words[0], shown ? "shown" : "absent");
        }));
}

}  // namespace

void addExpectationWords(Vocabulary& vocabulary) {
    addTraceAndLogExpectations(vocabulary);
    addApplicationExpectations(vocabulary);
    addFileExpectations(vocabulary);
    addSystemExpectations(vocabulary);
    addProgramExpectations(vocabulary);
    addUserInterfaceExpectations(vocabulary);
}

}  // namespace parvel::scenario
