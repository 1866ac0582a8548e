#include "account/APIKeyPanelController.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePanelWindows.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeSecretItems.h"
#include "tests/fakes/FakeWorkspace.h"

#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

/// The key panel where no base URL can be formed.
class UnconfiguredKeyPanelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cannotConnectAndSavesNothing()
    {
        FakePreferences preferences;
        FakeSecretItems secretItems;
        FakeHttpSession session;
        FakePanelWindows windows;
        FakeWorkspace workspace;
        FakeScreens screens;
        ProjectStore store({ .defaults = preferences,
                             .secretItems = secretItems,
                             .session = session,
                             .environment = QProcessEnvironment(),
                             .standardOutput = {} });
        KeychainService keychain = makeAgentKeychain(secretItems);
        APIKeyPanelController controller(store, keychain, windows, workspace, screens);
        controller.show();
        QWidget* const panel = QApplication::topLevelWidgets().constFirst()->window();
        auto* const save = panel->findChild<QPushButton*>(u"saveButton"_s);
        const auto* const error = panel->findChild<QLabel*>(u"errorLabel"_s);
        QCOMPARE(panel->findChild<QLabel*>(u"hintLabel"_s)->text(), QString());

        panel->findChild<QLineEdit*>(u"keyField"_s)->setText(u"sk_1"_s);
        save->click();
        QTRY_COMPARE(error->text(), u"Unable to connect."_s);
        QVERIFY(save->isEnabled());
        QVERIFY(panel->isVisible());
        QVERIFY(session.requests.empty());
        QVERIFY(secretItems.items.empty());
    }
};

} // namespace quibel

QTEST_MAIN(quibel::UnconfiguredKeyPanelTest)
#include "UnconfiguredKeyPanelTest.moc"
