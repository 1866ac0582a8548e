#include "inbox/agent/AgentDocuments.h"
#include "inbox/agent/PngPicture.h"
#include "tests/inbox/fuzz/FuzzInput.h"

#include <variant>

using namespace quibel::inbox;
using namespace quibel::inbox::testing;

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const auto decoded = decodeScreenshot(toInput(bytes, size));
    if (const auto* error = std::get_if<DocumentError>(&decoded)) {
        require(!error->message.isEmpty());
        return 0;
    }
    const auto& screenshot = std::get<ScreenshotDocument>(decoded);
    require(!screenshot.captureType.isEmpty());
    for (const auto& count : { screenshot.width, screenshot.height, screenshot.byteSize })
        require(!count || *count >= 1);
    (void)checkPng(screenshot.picture);
    return 0;
}
