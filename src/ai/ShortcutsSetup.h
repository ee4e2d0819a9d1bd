#pragma once

#include "platform/Presenter.h"
#include "platform/Workspace.h"

namespace parvel {

// Explains how to reach Ask AI from Siri and Shortcuts and, if the user agrees, opens Shortcuts
// on a new shortcut. Main thread only: the alert is modal.
void openShortcutsSetup(platform::Presenter& presenter, platform::Workspace& workspace);

}  // namespace parvel
