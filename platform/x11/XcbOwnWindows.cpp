#include "platform/x11/XcbOwnWindows.h"

#include <QGuiApplication>
#include <QWindow>

#include <algorithm>

namespace quibel {

const QWindow* ownWindow(xcb_window_t window)
{
    const auto own = QGuiApplication::topLevelWindows();
    const auto found = std::ranges::find_if(own, [window](const QWindow* each) {
        return each->handle() != nullptr && each->winId() == window;
    });
    return found == own.end() ? nullptr : *found;
}

} // namespace quibel
