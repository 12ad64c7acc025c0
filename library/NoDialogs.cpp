// In the place of the dialogs of core: within an application, a failed assertion is logged and nothing else.

#include "core/Debugger.h"
#include "core/MessageDialog.h"

namespace base::core {

bool isDebuggerAttached() {
    return false;
}

bool isDebuggerKnown() {
    return false;
}

void showDebuggerDialog() {}

int32_t showMessageDialog(const String&, const String&, const std::vector<String>&, int32_t defaultButton,
                          int32_t, int32_t) {
    return defaultButton;
}

} // namespace base::core
