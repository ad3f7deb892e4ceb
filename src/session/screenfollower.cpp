#include "session/screenfollower.h"

#include <algorithm>
#include <utility>

#include "support/log.h"

namespace session {
namespace {

/// -1: it is gone.
int indexOf(const ScreenList& list, const Target& target) {
    if (target.output.empty()) {
        return target.screenIndex < list.screens.count ? target.screenIndex : -1;
    }
    for (int i = 0; i != list.screens.count; ++i) {
        if (findOutputDeviceName(list.adaptors, list.screens.screens[i]) == target.output) {
            return i;
        }
    }
    return -1;
}

}  // namespace

ScreenFollower::Change ScreenFollower::follow(const ScreenList& list, Target& target) {
    const int index = indexOf(list, target);
    if (index < 0) {
        if (std::exchange(m_gone, true)) {
            return Change::None;
        }
        HV_WARN(
            "screen {} (\"{}\") is gone, switched off or disconnected; nothing is sent until it is "
            "back or another one is chosen",
            target.screenIndex, target.output);
        return Change::Gone;
    }
    const Rectangle before = rectangleOf(std::exchange(target.screen, list.screens.screens[index]));
    const Rectangle now = rectangleOf(target.screen);
    target.screenIndex = index;
    target.output = findOutputDeviceName(list.adaptors, target.screen);
    const bool returned = std::exchange(m_gone, false);
    if (!returned && before == now) {
        return Change::None;  // Another screen has changed.
    }
    target.region = regionOn(now, before, target.region);
    const Rectangle& region = target.region;
    HV_INFO("screen {} (\"{}\") {} {}x{} at {},{}; the region becomes {}x{} at {},{}", index,
            target.output, returned ? "is back with" : "has changed to", now.w, now.h, now.x, now.y,
            region.w, region.h, region.x, region.y);
    return Change::New;
}

Rectangle ScreenFollower::regionOn(const Rectangle& now, const Rectangle& before,
                                   const Rectangle& region) {
    if (region != m_last) {
        m_chosen = {region.x - before.x, region.y - before.y, region.w, region.h};
        m_chosenScreen = {0, 0, before.w, before.h};
    }
    m_last = now;
    if (m_chosen != m_chosenScreen) {
        const int x = moveInside(m_chosen.x, m_chosen.w, 0, now.w);
        const int y = moveInside(m_chosen.y, m_chosen.h, 0, now.h);
        m_last = {now.x + x, now.y + y, std::min(m_chosen.w, now.w - x),
                  std::min(m_chosen.h, now.h - y)};
    }
    return m_last;
}

}  // namespace session
