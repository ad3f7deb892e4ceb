#include "session/displaylock.h"

#include <windows.h>

#include <utility>

#include "support/log.h"
#include "support/windows/systemcall.h"

namespace session {

void DisplayLock::hold(bool on) {
    if (std::exchange(m_held, on) == on) {
        return;
    }
    const EXECUTION_STATE state =
        on ? ES_CONTINUOUS | ES_SYSTEM_REQUIRED | ES_DISPLAY_REQUIRED : ES_CONTINUOUS;
    if (SetThreadExecutionState(state) == 0 && on) {
        HV_WARN(
            "the display may go to sleep while a source is live: SetThreadExecutionState failed");
    }
}

void keepTimersExact() {
    const auto setInformation = support::systemCall<decltype(&SetProcessInformation)>(
        L"kernel32.dll", "SetProcessInformation");
    if (setInformation == nullptr) {
        return;
    }
    // One call each: Windows 10 knows only the first and refuses both in one.
    constexpr ULONG kExecutionSpeed = 1;
    constexpr ULONG kIgnoreTimerResolution = 4;
    for (const ULONG which : {kExecutionSpeed, kIgnoreTimerResolution}) {
        // Version, what is controlled, and what of that is throttled: nothing.
        PROCESS_POWER_THROTTLING_STATE state = {1, which, 0};
        (void)setInformation(GetCurrentProcess(), ProcessPowerThrottling, &state, sizeof(state));
    }
}

}  // namespace session
