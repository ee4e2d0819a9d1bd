#include <fmt/format.h>

#include "Words.h"
#include "platform/Workspace.h"
#include "platform/sim/SimulatedMac.h"
#include "platform/sim/world/Applications.h"

namespace parvel::scenario {

namespace {

sim::SimApp* appNamed(Context& context, const std::string& name) {
    const auto matches = context.mac.applications().withName(name);
    return matches.empty() ? nullptr : context.mac.applications().find(matches.front()->pid);
}

std::expected<sim::SimApp*, std::string> requireApp(Context& context, const std::string& name) {
    if (sim::SimApp* app = appNamed(context, name)) {
        return app;
    }
    return failed(fmt::format("no running application named \"{}\"", name));
}

}  // namespace

// Other applications: launching them, what the user and the system do to them, their windows.
void addApplicationWords(Vocabulary& vocabulary) {
    vocabulary.add({{"launch", "app"},
                    "launch app NAME [id BUNDLE-ID] [accessory|background] [refuses-to-quit] "
                    "[quits-after DURATION]",
                    "start another application; a regular one comes to the front",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        if (arguments.size() < 1) {
                            return failed("needs the application's name");
                        }
                        sim::AppSpec spec{.bundleIdentifier = arguments.after("id").value_or(
                                              "com.example." + arguments[0]),
                                          .name = arguments[0]};
                        if (arguments.has("accessory")) {
                            spec.policy = platform::ActivationPolicy::Accessory;
                        }
                        if (arguments.has("background")) {
                            spec.policy = platform::ActivationPolicy::Prohibited;
                        }
                        if (arguments.has("refuses-to-quit")) {
                            spec.quitBehaviour = sim::QuitBehaviour::Refuse;
                        }
                        if (const auto delay = arguments.after("quits-after")) {
                            const auto duration = parseDuration(*delay);
                            SCENARIO_CHECK(duration);
                            spec.quitBehaviour = sim::QuitBehaviour::QuitAfterDelay;
                            spec.quitDelay = *duration;
                        }
                        return compiledStep([spec](Context& context) -> Outcome {
                            context.mac.applications().launch(spec);
                            return {};
                        });
                    }});
    for (const char* verb : {"activate", "hide", "quit", "kill"}) {
        vocabulary.add({{verb, "app"},
                        fmt::format("{} app NAME", verb),
                        fmt::format("{} an application as the user or the system would", verb),
                        [verb = std::string(verb)](
                            const Arguments& arguments) -> std::expected<Step, std::string> {
                            SCENARIO_CHECK(arguments.requireCount(1, 1));
                            return compiledStep(
                                [verb, name = arguments[0]](Context& context) -> Outcome {
                                    const auto app = requireApp(context, name);
                                    SCENARIO_CHECK(app);
                                    auto& apps = context.mac.applications();
                                    const auto pid = (*app)->pid;
                                    if (verb == "activate") {
                                        apps.activate(pid);
                                    } else if (verb == "hide") {
                                        apps.hide(pid);
                                    } else if (verb == "quit") {
                                        apps.requestQuit(pid);
                                    } else {
                                        apps.kill(pid);
                                    }
                                    return {};
                                });
                        }});
    }
    vocabulary.add({{"window"},
                    "window APP TITLE [at X,Y] [size WxH] [minimised]",
                    "open a window of a running application",
                    [](const Arguments& arguments) -> std::expected<Step, std::string> {
                        if (arguments.size() < 2) {
                            return failed("needs the application and the title");
                        }
                        sim::WindowSpec spec{.title = arguments[1]};
                        if (const auto at = arguments.after("at")) {
                            const auto point = parsePoint(*at);
                            SCENARIO_CHECK(point);
                            spec.frame.origin = *point;
                        }
                        if (const auto size = arguments.after("size")) {
                            const auto parsed = parseSize(*size);
                            SCENARIO_CHECK(parsed);
                            spec.frame.size = *parsed;
                        }
                        spec.minimized = arguments.has("minimised");
                        return compiledStep(
                            [app = arguments[0], spec](Context& context) -> Outcome {
                                const auto owner = requireApp(context, app);
                                SCENARIO_CHECK(owner);
                                context.mac.applications().openWindow((*owner)->pid, spec);
                                return {};
                            });
                    }});
}

}  // namespace parvel::scenario
