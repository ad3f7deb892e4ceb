#include "session/screenlist.h"

#include <algorithm>

#include "support/log.h"

namespace session {
namespace {

Rectangle unionOf(const struScreensMsg& screens) {
    if (screens.count == 0) {
        return {0, 0, 1, 1};
    }
    Rectangle all = rectangleOf(screens.screens[0]);
    for (int i = 1; i != screens.count; ++i) {
        const Rectangle one = rectangleOf(screens.screens[i]);
        const int right = std::max(all.x + all.w, one.x + one.w);
        const int bottom = std::max(all.y + all.h, one.y + one.h);
        all.x = std::min(all.x, one.x);
        all.y = std::min(all.y, one.y);
        all.w = right - all.x;
        all.h = bottom - all.y;
    }
    return all;
}

}  // namespace

ScreenList listScreens(const Collaborators& collaborators) {
    ScreenList list;
    list.screens = collaborators.screens();
    list.desktop = unionOf(list.screens);
    if (list.screens.count == 0) {
        HV_WARN("no screen was found, so there is nothing to send; connect a display");
    }
    list.adaptors = collaborators.adaptors();
    return list;
}

std::string screenLabel(const ScreenList& list, const struScreenItem& screen) {
    for (const auto& adaptor : list.adaptors) {
        for (const auto& output : adaptor.outputs) {
            if (output.left == screen.x && output.top == screen.y && !output.label.empty()) {
                return output.label;
            }
        }
    }
    return {};
}

}  // namespace session
