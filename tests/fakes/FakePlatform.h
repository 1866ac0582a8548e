#pragma once

#include "platform/Platform.h"
#include "tests/fakes/FakeAppearance.h"
#include "tests/fakes/FakeConnectivity.h"
#include "tests/fakes/FakeHotKeyService.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePanelWindows.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeScreenCapture.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeSecretItems.h"
#include "tests/fakes/FakeStatusArea.h"
#include "tests/fakes/FakeWorkspace.h"
#include "tests/fakes/Journal.h"

namespace quibel {

/// A whole desktop of fakes.
struct FakePlatform
{
    FakePlatform()
    {
        workspace.journal = &journal;
        hotKeys.journal = &journal;
        preferences.journal = &journal;
        session.journal = &journal;
        panelWindows.journal = &journal;
        statusArea.journal = &journal;
    }
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;
    ~FakePlatform() = default;

    [[nodiscard]] Platform ports()
    {
        return { .workspace = workspace,
                 .screens = screens,
                 .hotKeys = hotKeys,
                 .secretItems = secretItems,
                 .screenCapture = screenCapture,
                 .preferences = preferences,
                 .session = session,
                 .connectivity = connectivity,
                 .panelWindows = panelWindows,
                 .statusArea = statusArea,
                 .appearance = appearance,
                 .environment = environment,
                 .standardOutput = [this](const QByteArray& text) { output += text; },
                 .terminate = [this] { terminated = true; } };
    }

    Journal journal;
    FakeWorkspace workspace;
    FakeScreens screens;
    FakeHotKeyService hotKeys;
    FakeSecretItems secretItems;
    FakeScreenCapture screenCapture;
    FakePreferences preferences;
    FakeHttpSession session;
    FakeConnectivity connectivity;
    FakePanelWindows panelWindows;
    FakeStatusArea statusArea;
    FakeAppearance appearance;
    QProcessEnvironment environment;
    QByteArray output; ///< All that went to standard output.
    bool terminated = false;
};

} // namespace quibel
