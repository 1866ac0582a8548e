#pragma once

#include "platform/ScreenCapture.h"
#include "platform/x11/XcbWindowList.h"

#include <QObject>

namespace quibel {

/// Pictures of X11 windows and of the areas of the root window that the screens show.
class XcbScreenCapture final : public ScreenCapture
{
public:
    XcbScreenCapture(XcbConnection& connection, Screens& screensToShow);

    void shareableContent(std::function<void(std::optional<ShareableContent>)> completion) override;

    [[nodiscard]] std::unique_ptr<CaptureStream>
    makeStream(const ContentFilter& filter, const StreamConfiguration& configuration) override;

private:
    XcbWindowList windows;
    Screens& screens;
    QObject context;
};

} // namespace quibel
