#include "app/CompositionRoot.h"

#include "platform/Application.h"

namespace parvel {

int CompositionRoot::run() {
    platform::need(platform_.application, "application").run(delegate_);
    return 0;
}

}  // namespace parvel
