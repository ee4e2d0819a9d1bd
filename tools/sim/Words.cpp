#include "Words.h"

#include <map>

#include <fmt/format.h>

#include "platform/AppleScript.h"
#include "platform/FileSystem.h"
#include "platform/KeyCodes.h"
#include "platform/Processes.h"
#include "platform/sim/ProgramBundle.h"
#include "platform/sim/SimBundle.h"
#include "platform/sim/SimEvents.h"
#include "platform/sim/SimProcesses.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/Trace.h"
#include "platform/sim/tools/LaunchAgents.h"
#include "platform/sim/tools/SystemTools.h"

namespace parvel::scenario {

using platform::Event;
using platform::EventField;
using platform::EventType;
namespace flags = platform::event_flags;
namespace key_code = platform::key_code;

namespace {

// macOS virtual key codes by the names scenarios use.
const std::map<std::string, std::int64_t, std::less<>>& keyCodes() {
    static const std::map<std::string, std::int64_t, std::less<>> codes = {
        {"a", key_code::kA},
        {"s", key_code::kS},
        {"d", key_code::kD},
        {"f", key_code::kF},
        {"h", key_code::kH},
        {"g", key_code::kG},
        {"z", key_code::kZ},
        {"x", key_code::kX},
        {"c", key_code::kC},
        {"v", key_code::kV},
        {"b", key_code::kB},
        {"q", key_code::kQ},
        {"w", key_code::kW},
        {"e", key_code::kE},
        {"r", key_code::kR},
        {"y", key_code::kY},
        {"t", key_code::kT},
        {"1", key_code::k1},
        {"2", key_code::k2},
        {"3", key_code::k3},
        {"4", key_code::k4},
        {"6", key_code::k6},
        {"5", key_code::k5},
        {"9", key_code::k9},
        {"7", key_code::k7},
        {"8", key_code::k8},
        {"0", key_code::k0},
        {"]", key_code::kRightBracket},
        {"o", key_code::kO},
        {"u", key_code::kU},
        {"[", key_code::kLeftBracket},
        {"i", key_code::kI},
        {"p", key_code::kP},
        {"return", key_code::kReturn},
        {"l", key_code::kL},
        {"j", key_code::kJ},
        {"k", key_code::kK},
        {",", key_code::kComma},
        {"n", key_code::kN},
        {"m", key_code::kM},
        {".", key_code::kPeriod},
        {"tab", key_code::kTab},
        {"space", key_code::kSpace},
        {"delete", key_code::kDelete},
        {"escape", key_code::kEscape},
        {"left-command", key_code::kLeftCommand},
        {"left-shift", key_code::kLeftShift},
        {"caps-lock", key_code::kCapsLock},
        {"left-option", key_code::kLeftOption},
        {"left-control", key_code::kLeftControl},
        {"right-shift", key_code::kRightShift},
        {"right-option", key_code::kRightOption},
        {"right-control", key_code::kRightControl},
        {"fn", key_code::kFunction},
        {"keypad-enter", key_code::kKeypadEnter},
        {"forward-delete", key_code::kForwardDelete},
        {"left", key_code::kLeftArrow},
        {"right", key_code::kRightArrow},
        {"down", key_code::kDownArrow},
        {"up", key_code::kUpArrow},
        {"f1", key_code::kF1},
        {"f2", key_code::kF2},
        {"f3", key_code::kF3},
        {"f4", key_code::kF4},
        {"f5", key_code::kF5},
        {"f6", key_code::kF6},
        {"f7", key_code::kF7},
        {"f8", key_code::kF8},
        {"f9", key_code::kF9},
        {"f10", key_code::kF10},
        {"f11", key_code::kF11},
        {"f12", key_code::kF12}};
    return codes;
}

const std::map<std::string, platform::EventFlags, std::less<>>& modifierFlags() {
    static const std::map<std::string, platform::EventFlags, std::less<>> modifiers = {
        {"cmd", flags::kCommand},        {"command", flags::kCommand}, {"shift", flags::kShift},
        {"ctrl", flags::kControl},       {"control", flags::kControl}, {"opt", flags::kAlternate},
        {"option", flags::kAlternate},   {"alt", flags::kAlternate},   {"fn", flags::kSecondaryFn},
        {"capslock", flags::kAlphaShift}};
    return modifiers;
}

// The flag a held modifier key sets, for flags-changed events.
const std::map<std::string, platform::EventFlags, std::less<>>& modifierKeyFlags() {
    static const std::map<std::string, platform::EventFlags, std::less<>> modifiers = {
        {"left-command", flags::kCommand},
        {"left-shift", flags::kShift},
        {"right-shift", flags::kShift},
        {"left-control", flags::kControl},
        {"right-control", flags::kControl},
        {"left-option", flags::kAlternate | flags::kDeviceLeftAlternate},
        {"right-option", flags::kAlternate},
        {"caps-lock", flags::kAlphaShift},
        {"fn", flags::kSecondaryFn}};
    return modifiers;
}

struct Chord {
    std::int64_t keyCode = 0;
    platform::EventFlags flags = 0;
    std::string characters;
};

// "cmd+shift+x" → key code 7 with Command and Shift.
std::expected<Chord, std::string> parseChord(std::string_view text) {
    Chord chord;
    std::size_t start = 0;
    while (true) {
        const std::size_t plus = text.find('+', start);
        const std::string_view part =
            text.substr(start, plus == std::string_view::npos ? plus : plus - start);
        if (plus == std::string_view::npos || part.empty()) {
            const auto key = keyCodes().find(part.empty() ? "+" : part);
            if (key == keyCodes().end()) {
                return failed(fmt::format("'{}' is not a key name", part));
            }
            chord.keyCode = key->second;
            chord.characters = part.size() == 1 ? std::string(part) : "";
            return chord;
        }
        const auto modifier = modifierFlags().find(part);
        if (modifier == modifierFlags().end()) {
            return failed(
                fmt::format("'{}' is not a modifier (cmd, shift, ctrl, opt, fn, capslock)", part));
        }
        chord.flags |= modifier->second;
        start = plus + 1;
    }
}

Event keyEvent(EventType type, const Chord& chord, bool repeat = false) {
    Event event;
    event.type = type;
    event.flags = chord.flags;
    event.characters = chord.characters;
    event.setField(EventField::KeyboardEventKeycode, chord.keyCode);
    event.setField(EventField::KeyboardEventAutorepeat, repeat ? 1 : 0);
    return event;
}

void inject(Context& context, Event event) {
    context.onMain([&context, event] { context.mac.events().inject(event); });
}

}  // namespace

void addTimeWords(Vocabulary& vocabulary) {
    vocabulary.add({{"advance"},
                    "advance DURATION",
                    "let virtual time pass (2.5s, 150ms, 60m, 1h)",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        const auto duration = parseDuration(arguments[0]);
                        SCENARIO_CHECK(duration);
                        return compiledStep([duration = *duration](Context& context) -> Outcome {
                            context.mac.dispatch().advance(duration);
                            return {};
                        });
                    }});
    vocabulary.add({{"note"},
                    "note TEXT",
                    "write a line of narration into the trace",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([text = arguments[0]](Context& context) -> Outcome {
                            context.mac.trace().record("note", text);
                            return {};
                        });
                    }});
    vocabulary.add({{"mark"},
                    "mark",
                    "later `expect trace` lines look only at what follows",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            context.traceMark = context.mac.trace().lines().size();
                            return {};
                        });
                    }});
}

void addInputWords(Vocabulary& vocabulary) {
    vocabulary.add({{"press"},
                    "press KEYS [repeat N]",
                    "press and release a key with modifiers (cmd+shift+x, delete, return); "
                    "repeat N sends N auto-repeat key-downs before the release",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        if (arguments.size() != 1 &&
                            !(arguments.size() == 3 && arguments[1] == "repeat")) {
                            return failed("takes the keys and optionally repeat N");
                        }
                        const auto chord = parseChord(arguments[0]);
                        SCENARIO_CHECK(chord);
                        std::int64_t repeats = 0;
                        if (const auto count = arguments.after("repeat")) {
                            const auto parsed = parseInteger(*count);
                            if (!parsed || *parsed < 0) {
                                return failed("repeat takes a whole number");
                            }
                            repeats = *parsed;
                        }
                        return compiledStep([chord = *chord, repeats](Context& context) -> Outcome {
                            inject(context, keyEvent(EventType::KeyDown, chord));
                            for (std::int64_t index = 0; index < repeats; ++index) {
                                context.mac.dispatch().advance(platform::seconds(0.05));
                                inject(context, keyEvent(EventType::KeyDown, chord, true));
                            }
                            inject(context, keyEvent(EventType::KeyUp, chord));
                            return {};
                        });
                    }});
    for (const bool holding : {true, false}) {
        vocabulary.add(
            {{holding ? "hold" : "release"},
             holding ? "hold MODIFIER-KEY" : "release MODIFIER-KEY",
             "press or release a modifier key alone (left-option, right-command...): a "
             "flags-changed event",
             [holding](const Arguments& arguments) -> std::expected<Step, std::string> {
                 SCENARIO_CHECK(arguments.requireCount(1, 1));
                 const auto flag = modifierKeyFlags().find(arguments[0]);
                 if (flag == modifierKeyFlags().end()) {
                     return failed(fmt::format("'{}' is not a modifier key", arguments[0]));
                 }
                 Chord chord{keyCodes().find(arguments[0])->second, holding ? flag->second : 0, ""};
                 return compiledStep([chord](Context& context) -> Outcome {
                     inject(context, keyEvent(EventType::FlagsChanged, chord));
                     return {};
                 });
             }});
    }
    const std::pair<const char*, EventType> mouseActions[] = {{"down", EventType::LeftMouseDown},
                                                              {"up", EventType::LeftMouseUp},
                                                              {"drag", EventType::LeftMouseDragged},
                                                              {"move", EventType::MouseMoved}};
    for (const auto& [action, type] : mouseActions) {
        vocabulary.add({{"mouse", action},
                        fmt::format("mouse {} X,Y [button N]", action),
                        "a mouse event at a point of the screen (top-left origin); buttons 2 and "
                        "above are the other buttons",
                        [type](const Arguments& arguments) -> std::expected<Step, std::string> {
                            if (arguments.size() != 1 && arguments.size() != 3) {
                                return failed("takes a point and optionally button N");
                            }
                            const auto point = parsePoint(arguments[0]);
                            SCENARIO_CHECK(point);
                            std::int64_t button = 0;
                            if (const auto number = arguments.after("button")) {
                                const auto parsed = parseInteger(*number);
                                if (!parsed || *parsed < 0) {
                                    return failed("button takes a whole number");
                                }
                                button = *parsed;
                            }
                            Event event;
                            event.type = type;
                            if (button >= 2) {
                                event.type =
                                    type == EventType::LeftMouseDown ? EventType::OtherMouseDown
                                    : type == EventType::LeftMouseUp ? EventType::OtherMouseUp
                                    : type == EventType::LeftMouseDragged
                                        ? EventType::OtherMouseDragged
                                        : type;
                            }
                            event.location = *point;
                            event.setField(EventField::MouseEventButtonNumber, button);
                            return compiledStep([event](Context& context) -> Outcome {
                                inject(context, event);
                                return {};
                            });
                        }});
    }
    vocabulary.add({{"scroll"},
                    "scroll DX,DY [continuous]",
                    "a scroll-wheel event (lines, or pixels when continuous)",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 2));
                        const auto delta = parsePoint(arguments[0]);
                        SCENARIO_CHECK(delta);
                        Event event;
                        event.type = EventType::ScrollWheel;
                        event.setField(EventField::ScrollWheelEventDeltaAxis1,
                                       static_cast<std::int64_t>(delta->y));
                        event.setField(EventField::ScrollWheelEventDeltaAxis2,
                                       static_cast<std::int64_t>(delta->x));
                        event.setField(EventField::ScrollWheelEventIsContinuous,
                                       arguments.has("continuous") ? 1 : 0);
                        return compiledStep([event](Context& context) -> Outcome {
                            inject(context, event);
                            return {};
                        });
                    }});
    for (const char* reason : {"timeout", "user-input"}) {
        vocabulary.add({{"disable-taps", reason},
                        fmt::format("disable-taps {}", reason),
                        "the system turns the event taps off",
                        [timeout = std::string(reason) == "timeout"](
                            const Arguments& arguments) -> std::expected<Step, std::string> {
                            SCENARIO_CHECK(arguments.requireCount(0, 0));
                            return compiledStep([timeout](Context& context) -> Outcome {
                                context.onMain([&context, timeout] {
                                    context.mac.events().disableTaps(
                                        timeout ? EventType::TapDisabledByTimeout
                                                : EventType::TapDisabledByUserInput);
                                });
                                return {};
                            });
                        }});
    }
}

void addProgramWords(Vocabulary& vocabulary) {
    vocabulary.add({{"launch", "parvelmac"},
                    "launch parvelmac [ARGUMENTS...]",
                    "start ParvelMac with command-line arguments (--background...)",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        return compiledStep([words = arguments.all()](Context& context) -> Outcome {
                            if (context.program.isRunning()) {
                                return failed("ParvelMac is already running");
                            }
                            context.program.launch(words);
                            return {};
                        });
                    }});
    vocabulary.add({{"quit", "parvelmac"},
                    "quit parvelmac",
                    "quit ParvelMac as its Quit command does",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            if (!context.program.isRunning()) {
                                return failed("ParvelMac is not running");
                            }
                            context.program.quit();
                            return {};
                        });
                    }});
    vocabulary.add({{"reopen", "parvelmac"},
                    "reopen parvelmac",
                    "open the running ParvelMac again from Finder or the Dock",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            if (!context.program.isRunning()) {
                                return failed("ParvelMac is not running");
                            }
                            context.program.reopen();
                            return {};
                        });
                    }});
}

void addToolWords(Vocabulary& vocabulary) {
    vocabulary.add({{"run"},
                    "run PATH [ARGUMENTS...]",
                    "run a command-line tool on the simulated Mac as the program would, and keep "
                    "its exit status and output for `expect exit` and `expect output`",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        if (arguments.size() == 0) {
                            return failed("needs the tool's path");
                        }
                        return compiledStep([words = arguments.all()](Context& context) -> Outcome {
                            platform::LaunchRequest request{words.front(),
                                                            {words.begin() + 1, words.end()},
                                                            platform::StreamTarget::Pipe,
                                                            platform::StreamTarget::Pipe};
                            auto child = context.mac.processes().launch(request);
                            if (!child) {
                                context.lastRun = ToolRun{-1, "", child.error().description};
                            } else {
                                const int status = (*child)->waitUntilExit();
                                context.lastRun =
                                    ToolRun{status, (*child)->readOutput(), (*child)->readError()};
                            }
                            context.mac.trace().record(
                                "tool", fmt::format("exit {}{}", context.lastRun->status,
                                                    context.lastRun->output.empty()
                                                        ? ""
                                                        : ", output: " + context.lastRun->output));
                            return {};
                        });
                    }});
    vocabulary.add(
        {{"script"},
         "script TEXT",
         "send an AppleScript as the program would; keeps the result for `expect script`",
         [](const Arguments& arguments) -> std::expected<Step, std::string> {
             SCENARIO_CHECK(arguments.requireCount(1, 1));
             return compiledStep([source = arguments[0]](Context& context) -> Outcome {
                 const auto result = context.mac.platform().appleScript->run(source);
                 context.lastScriptResult.reset();
                 context.lastScriptError.reset();
                 if (result) {
                     context.lastScriptResult = *result;
                 } else {
                     context.lastScriptError =
                         std::pair{result.error().number, result.error().message};
                 }
                 return {};
             });
         }});
}

void addProgramBundleWords(Vocabulary& vocabulary) {
    vocabulary.add(
        {{"bundle", "at"},
         "bundle at PATH",
         "ParvelMac's bundle is at PATH (a copy in ~/Downloads...); set it before launching",
         [](const Arguments& arguments) -> std::expected<Step, std::string> {
             SCENARIO_CHECK(arguments.requireCount(1, 1));
             return compiledStep([path = arguments[0]](Context& context) -> Outcome {
                 const std::string full = context.expandPath(path);
                 sim::ProgramBundle(context.mac.files(), context.mac.trace()).install(full);
                 context.mac.bundle().setBundlePath(full);
                 return {};
             });
         }});
    vocabulary.add({{"helpers", "installed"},
                    "helpers installed",
                    "the bundle's privileged helpers are installed already, as an earlier run did",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            sim::ProgramBundle(context.mac.files(), context.mac.trace())
                                .installHelpers(context.mac.bundle().bundlePath());
                            return {};
                        });
                    }});
    vocabulary.add({{"helper", "changed"},
                    "helper changed INSTALLED-NAME",
                    "the last byte of an installed helper differs from the bundled copy",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([name = arguments[0]](Context& context) -> Outcome {
                            const std::string path =
                                std::string(sim::ProgramBundle::kHelperFolder) + "/" + name;
                            auto bytes = context.mac.files().readFile(path);
                            if (!bytes || bytes->empty()) {
                                return failed("no installed helper at " + path);
                            }
                            bytes->back() = static_cast<std::uint8_t>(bytes->back() ^ 0x01);
                            if (auto written =
                                    context.mac.files().writeFileAtomically(path, *bytes, 0755);
                                !written) {
                                return failed(written.error().description);
                            }
                            return {};
                        });
                    }});
    vocabulary.add({{"remove"},
                    "remove PATH",
                    "delete a file or folder",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        return compiledStep([path = arguments[0]](Context& context) -> Outcome {
                            if (auto removed =
                                    context.mac.files().removeItem(context.expandPath(path));
                                !removed) {
                                return failed(removed.error().description);
                            }
                            return {};
                        });
                    }});
}

void addSystemWords(Vocabulary& vocabulary) {
    vocabulary.add({{"administrator"},
                    "administrator approve|cancel",
                    "how the user answers the next requests for an administrator's password",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(1, 1));
                        if (arguments[0] != "approve" && arguments[0] != "cancel") {
                            return failed("the answer is approve or cancel");
                        }
                        return compiledStep(
                            [approve = arguments[0] == "approve"](Context& context) -> Outcome {
                                context.mac.systemTools().administratorPrompt().answer =
                                    approve ? sim::AdministratorAnswer::Approve
                                            : sim::AdministratorAnswer::Cancel;
                                return {};
                            });
                    }});
    vocabulary.add({{"login"},
                    "login",
                    "a new login session starts the user's launch agents",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        SCENARIO_CHECK(arguments.requireCount(0, 0));
                        return compiledStep([](Context& context) -> Outcome {
                            context.onMain(
                                [&context] { context.mac.systemTools().launchAgents().login(); });
                            return {};
                        });
                    }});
    vocabulary.add(
        {{"defaults", "fail"},
         "defaults fail DOMAIN STATUS [ERROR-TEXT]",
         "make `defaults write` and `defaults delete` on a domain fail",
         [](const Arguments& arguments) -> std::expected<Step, std::string> {
             SCENARIO_CHECK(arguments.requireCount(2, 3));
             const auto status = parseInteger(arguments[1]);
             SCENARIO_CHECK(status);
             return compiledStep(
                 [domain = arguments[0], status = static_cast<int>(*status),
                  text = arguments.size() == 3 ? arguments[2] : ""](Context& context) -> Outcome {
                     context.mac.systemTools().failDefaultsWrites(domain, status, text);
                     return {};
                 });
         }});
}

Vocabulary standardVocabulary() {
    Vocabulary vocabulary;
    addTimeWords(vocabulary);
    addApplicationWords(vocabulary);
    addFinderWords(vocabulary);
    addPasteboardWords(vocabulary);
    addPrivacyWords(vocabulary);
    addDefaultsWords(vocabulary);
    addNetworkWords(vocabulary);
    addSleepWords(vocabulary);
    addInputWords(vocabulary);
    addProgramWords(vocabulary);
    addToolWords(vocabulary);
    addSystemWords(vocabulary);
    addProgramBundleWords(vocabulary);
    addPowerWords(vocabulary);
    addUserInterfaceWords(vocabulary);
    addExpectationWords(vocabulary);
    addPowerExpectations(vocabulary);
    return vocabulary;
}

}  // namespace parvel::scenario
