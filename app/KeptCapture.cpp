#include "app/KeptCapture.h"

#include <utility>

namespace quibel {

KeptCapture::KeptCapture(Preferences& store)
    : preferences(store)
{
}

void KeptCapture::loadLastFailedCapture()
{
    const auto stored = preferences.data(lastFailedCaptureKey);
    if (!stored)
        return;
    lastFailedPayload = stored;
    lastCaptureFailed = true;
    shouldInterceptNextHotkey = true;
}

void KeptCapture::storeFailedCapture(const QByteArray& document)
{
    lastFailedPayload = document;
    lastCaptureFailed = true;
    shouldInterceptNextHotkey = true;
    preferences.setData(lastFailedCaptureKey, document);
}

void KeptCapture::clearLastFailedCapture()
{
    lastFailedPayload.reset();
    lastCaptureFailed = false;
    shouldInterceptNextHotkey = false;
    preferences.remove(lastFailedCaptureKey);
}

void KeptCapture::clearLastFailedCapture(const std::optional<QByteArray>& earlier)
{
    if (lastFailedPayload == earlier)
        clearLastFailedCapture();
}

bool KeptCapture::interceptHotkey()
{
    return std::exchange(shouldInterceptNextHotkey, false);
}

} // namespace quibel
