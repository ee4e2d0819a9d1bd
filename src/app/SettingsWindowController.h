#pragma once

#include <functional>
#include <string_view>

#include "base/Lifetime.h"
#include "core/ProcessRunner.h"
#include "core/SettingsStore.h"
#include "platform/Accessibility.h"
#include "platform/Events.h"
#include "platform/Presenter.h"
#include "platform/WindowServer.h"
#include "platform/Workspace.h"
#include "ui/Window.h"

namespace parvel {

// The single settings window: a sidebar of sections and the page of the one selected. It reads
// the settings store to set its controls and reports changes through its on… callbacks, which
// the application delegate wires once. The Permissions page shows Start at Login and the state
// of each permission with a way to grant it; the other pages fill in with their features.
class SettingsWindowController {
  public:
    enum class Section {
        general,
        battery,
        desktopDock,
        keyboard,
        productivity,
        audio,
        ai,
        permissions
    };

    struct SectionInfo {
        Section section;
        std::string_view title;
        std::string_view subtitle;
        std::string_view symbol;
    };

    struct Services {
        const SettingsStore& settings;
        platform::Presenter& presenter;
        platform::Accessibility& accessibility;
        platform::WindowServer& windowServer;
        platform::Events& events;
        platform::Workspace& workspace;
        const ProcessRunner& runner;
    };

    explicit SettingsWindowController(Services services);

    // The sidebar's sections, in order.
    static const std::vector<SectionInfo>& sidebarSections();
    // A raw value beyond the last section names the last one.
    static Section sectionFromRawValue(int raw);

    void select(Section section);
    void show(Section section) { select(section); }
    Section selectedSection() const { return selectedSection_; }
    // Re-reads the permissions into the Permissions page.
    void refreshPermissionStatus();
    // After the window came to the front: brings the page's live state up to date.
    void prepareForPresentation();

    const ui::WindowPtr& window() const { return window_; }

    std::function<void(bool)> onStartAtLoginChanged;
    std::function<void()> onWindowClosed;

  private:
    void buildWindow();
    void buildPage();
    ui::ViewPtr permissionsPage();
    ui::ViewPtr row(const std::string& title, const std::string& detail,
                    std::vector<ui::ViewPtr> controls);
    void openAccessibilitySettings();

    Services services_;
    Section selectedSection_ = Section::general;
    ui::WindowPtr window_;
    ui::ViewPtr sidebar_;
    ui::ViewPtr page_;
    ui::ViewPtr startAtLoginSwitch_;
    ui::ViewPtr accessibilityStatus_;
    ui::ViewPtr screenRecordingStatus_;
    ui::ViewPtr inputMonitoringStatus_;
    ui::ViewPtr finderExtensionStatus_;
    Lifetime lifetime_;
};

}  // namespace parvel
