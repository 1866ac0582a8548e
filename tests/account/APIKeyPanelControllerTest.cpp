#include "account/APIKeyPanelController.h"
#include "tests/account/CapturedOutput.h"
#include "tests/account/StoredKey.h"
#include "tests/fakes/FakeHttpSession.h"
#include "tests/fakes/FakePanelWindows.h"
#include "tests/fakes/FakePreferences.h"
#include "tests/fakes/FakeScreens.h"
#include "tests/fakes/FakeSecretItems.h"
#include "tests/fakes/FakeWorkspace.h"
#include "tests/panels/Announcements.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QDropEvent>
#include <QLayout>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <cmath>

namespace quibel {

using namespace Qt::StringLiterals;
using testing::Announcements;

namespace {

constexpr auto twoProjects = R"([{"id":"2","name":"b"},{"id":"1","name":"a"}])";

Screen makeScreen(const QRect& visibleFrame)
{
    return { .displayID = 1,
             .frame = visibleFrame.adjusted(-10, -30, 10, 10),
             .visibleFrame = visibleFrame,
             .pixelFrame = visibleFrame };
}

double luminance(const QColor& color)
{
    const auto linear = [](double share) {
        return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF())
        + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& a, const QColor& b)
{
    const double first = luminance(a) + 0.05;
    const double second = luminance(b) + 0.05;
    return std::max(first, second) / std::min(first, second);
}

double contrastOf(const QLabel* label)
{
    return contrast(label->palette().color(QPalette::WindowText),
                    label->palette().color(QPalette::Window));
}

} // namespace

class APIKeyPanelControllerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        preferences.emplace();
        preferences->setText(u"quibel.apiBaseURL"_s, u"https://h.example"_s);
        secretItems.emplace();
        session.emplace();
        output.clear();
        panelWindows.emplace();
        workspace.emplace();
        screens.emplace();
        screens->mainScreen = makeScreen({ 100, 50, 1000, 700 });
        store = std::make_unique<ProjectStore>(ProjectStore::Surroundings {
            .defaults = *preferences,
            .secretItems = *secretItems,
            .session = *session,
            .environment = QProcessEnvironment(),
            .standardOutput = [this](const QByteArray& text) { output += text; } });
        keychain = std::make_unique<KeychainService>(*secretItems, u"QuibelDesktop"_s, u"apiKey"_s);
        controller = std::make_unique<APIKeyPanelController>(
            *store, *keychain, *panelWindows, *workspace, *screens);
    }

    void cleanup()
    {
        controller.reset();
        QVERIFY(!panel());
        QApplication::setPalette(QPalette());
    }

    // Building and presenting

    void buildsThePanelOnFirstUseOnly()
    {
        QVERIFY(!panel());
        controller->show();
        const QWidget* first = panel();
        QVERIFY(first);
        controller->show();
        QCOMPARE(panel(), first);
        QCOMPARE(panelWindows->calls.count(u"prepare"_s), 1);
        QCOMPARE(panelWindows->kind, PanelKind::dialog);
    }

    void looksAsIntended()
    {
        controller->show();
        QCOMPARE(panel()->windowTitle(), u"Connect Quibel"_s);
        QVERIFY(panel()->windowFlags().testFlag(Qt::WindowTitleHint));
        QVERIFY(panel()->windowFlags().testFlag(Qt::WindowCloseButtonHint));
        QVERIFY(!panel()->windowFlags().testAnyFlags(Qt::WindowMinMaxButtonsHint));
        QVERIFY(panel()->width() >= 360);
        QVERIFY(panel()->height() >= 140);
        QCOMPARE(panel()->minimumSize(), panel()->maximumSize());
        QCOMPARE(panel()->layout()->contentsMargins(), QMargins(16, 16, 16, 16));
        QCOMPARE(panel()->layout()->spacing(), 8);
        QCOMPARE(keyField()->placeholderText(), u"sk_..."_s);
        QCOMPARE(keyField()->echoMode(), QLineEdit::Password);
        QCOMPARE(keyField()->accessibleName(), u"API Key"_s);
        QCOMPARE(saveButton()->text(), u"Save"_s);
        QCOMPARE(label("hintLabel")->text(), u"Generate an API key at h.example/settings"_s);
        QCOMPARE(errorText(), u""_s);
    }

    void stacksItsPartsFromTopToBottomAtTheLeadingEdge()
    {
        controller->show();
        const auto titles = panel()->findChildren<QLabel*>(QString());
        const auto title = std::ranges::find(titles, u"API Key"_s, &QLabel::text);
        QVERIFY(title != titles.end());
        int bottom = 0;
        for (const QWidget* part : std::initializer_list<QWidget*> {
                 *title, keyField(), label("hintLabel"), label("errorLabel"), saveButton() }) {
            QCOMPARE(part->x(), 16);
            QVERIFY(part->y() >= bottom);
            bottom = part->geometry().bottom();
        }
        QCOMPARE(keyField()->width(), panel()->width() - 32);
        QCOMPARE((*title)->y(), 16);
        QCOMPARE(bottom + 1, panel()->height() - 16);
    }

    void namesTheSettingsPageOfTheService_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("page");
        QTest::newRow("host") << u"https://h.example"_s << u"h.example/settings"_s;
        QTest::newRow("path") << u"https://h.example/team?x=1"_s << u"h.example/settings"_s;
        QTest::newRow("port") << u"http://127.0.0.1:8787/"_s << u"127.0.0.1:8787/settings"_s;
        QTest::newRow("IPv6") << u"http://[::1]:8787"_s << u"[::1]:8787/settings"_s;
        QTest::newRow("default port, https")
            << u"https://h.example:443"_s << u"h.example/settings"_s;
        QTest::newRow("default port, http") << u"http://h.example:80"_s << u"h.example/settings"_s;
        QTest::newRow("the other's port")
            << u"https://h.example:80"_s << u"h.example:80/settings"_s;
        QTest::newRow("user") << u"https://me:pw@h.example"_s << u"h.example/settings"_s;
    }

    void namesTheSettingsPageOfTheService()
    {
        QFETCH(const QString, base);
        QFETCH(const QString, page);
        preferences->setText(u"quibel.apiBaseURL"_s, base);
        controller->show();
        QCOMPARE(label("hintLabel")->text(), u"Generate an API key at "_s + page);
    }

    void namesTheSettingsPageAnewAtEachShowing()
    {
        controller->show();
        preferences->setText(u"quibel.apiBaseURL"_s, u"https://other.example"_s);
        controller->show();
        QCOMPARE(label("hintLabel")->text(), u"Generate an API key at other.example/settings"_s);
    }

    void namesNoSettingsPageWithoutAHost_data()
    {
        QTest::addColumn<QString>("base");
        QTest::newRow("no authority") << u"https:"_s;
        QTest::newRow("empty authority") << u"https:///team"_s;
        QTest::newRow("host taken for a scheme") << u"localhost:8787"_s;
        QTest::newRow("path") << u"h.example"_s;
    }

    void namesNoSettingsPageWithoutAHost()
    {
        QFETCH(const QString, base);
        controller->show();
        const QSize size = panel()->size();
        const QRect hint = label("hintLabel")->geometry();
        preferences->setText(u"quibel.apiBaseURL"_s, base);
        controller->show();
        QCOMPARE(store->apiBaseURL(), QUrl(base));
        QCOMPARE(label("hintLabel")->text(), u""_s);
        QVERIFY(!label("hintLabel")->isVisible());
        QCOMPARE(panel()->size(), size);
        QCOMPARE(label("hintLabel")->y(), hint.y());
        QCOMPARE(label("hintLabel")->height(), hint.height());

        preferences->setText(u"quibel.apiBaseURL"_s, u"https://h.example"_s);
        controller->show();
        QVERIFY(label("hintLabel")->isVisible());
    }

    void printsHintAndErrorSmallAndLegible_data()
    {
        QTest::addColumn<QPalette>("palette");
        QTest::newRow("light") << QPalette(QColor(0xffefefef));
        QTest::newRow("dark") << QPalette(QColor(0xff2b2b2b));
    }

    void printsHintAndErrorSmallAndLegible()
    {
        QFETCH(const QPalette, palette);
        controller->show();
        QApplication::setPalette(palette);
        QTRY_COMPARE(panel()->palette().color(QPalette::Window), palette.color(QPalette::Window));
        const double regular = QFontInfo(QApplication::font()).pointSizeF();
        for (const QLabel* part : { label("hintLabel"), label("errorLabel") }) {
            QCOMPARE(part->palette().color(QPalette::Window), palette.color(QPalette::Window));
            QVERIFY(contrastOf(part) >= 4.5);
            QVERIFY(qAbs(part->font().pointSizeF() - regular * 11 / 13) < 0.5);
        }
        const QPalette field = keyField()->palette();
        QCOMPARE(field.color(QPalette::PlaceholderText).alpha(), 255);
        QVERIFY(contrast(field.color(QPalette::PlaceholderText), field.color(QPalette::Base))
                >= 4.5);
        QVERIFY(contrast(field.color(QPalette::Text), field.color(QPalette::Base)) >= 4.5);
        const QColor error = label("errorLabel")->palette().color(QPalette::WindowText);
        QVERIFY2(error.red() > error.green() + 60 && error.red() > error.blue() + 60,
                 qPrintable(error.name()));
    }

    void growsForALargeFont()
    {
        const QFont regular = QApplication::font();
        QFont large = regular;
        large.setPointSizeF(24);
        QApplication::setFont(large);
        controller->show();
        const QSize hint = panel()->sizeHint();
        const QSize size = panel()->size();
        QApplication::setFont(regular);
        QVERIFY(size.height() > 140);
        QVERIFY(size.height() >= hint.height() && size.width() >= hint.width());
    }

    void hasRoomForAnErrorFromTheStart()
    {
        controller->show();
        const QSize hint = panel()->sizeHint();
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QVERIFY(!errorText().isEmpty());
        QCOMPARE(panel()->sizeHint(), hint);
    }

    void presentsThePanelReadyForTheKey()
    {
        controller->show();
        QCOMPARE(panelWindows->calls,
                 QStringList({ u"prepare"_s, u"place"_s, u"makeKeyAndOrderFront"_s }));
        QVERIFY(panel()->isVisible());
        QTRY_VERIFY(keyField()->hasFocus());
    }

    void showsEmptiedAgain()
    {
        controller->show();
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QCOMPARE(errorText(), u"API key is required."_s);
        keyField()->setText(u"sk_1"_s);
        saveButton()->setFocus();
        controller->show();
        QCOMPARE(errorText(), u""_s);
        QCOMPARE(keyField()->text(), u""_s);
        QTRY_VERIFY(keyField()->hasFocus());
    }

    void centresOnTheMainScreen()
    {
        controller->show();
        const QSize size = panel()->size();
        const QPoint expected(100 + (1000 - size.width()) / 2, 50 + (700 - size.height()) / 2);
        QVERIFY(panelWindows->origin);
        QCOMPARE(*panelWindows->origin, expected);
    }

    void centresOnTheScreenInUse_data()
    {
        using Windows = std::vector<WindowInfo>;
        QTest::addColumn<std::optional<WindowNumber>>("keyWindow");
        QTest::addColumn<std::optional<Windows>>("windows");
        QTest::addColumn<QPoint>("pointer");
        QTest::addColumn<int>("screen");
        const auto window = [](WindowNumber number, const std::optional<QRectF>& bounds) {
            return WindowInfo {
                .number = number, .ownerProcess = {}, .name = {}, .layer = 0, .bounds = bounds
            };
        };
        const Windows all { window(7, QRectF(1100, 100, 500, 300)),
                            window(8, QRectF(100, 100, 500, 300)),
                            window(9, QRectF(900, 100, 500, 300)),
                            window(10, QRectF(-5000, 100, 500, 300)) };
        const Windows unplaced { window(7, {}) };
        const QPoint first(500, 400);
        const QPoint second(2500, 400);
        const QPoint nowhere(9000, 9000);
        const auto row
            = [](const char* name,
                 std::optional<WindowNumber> keyWindow,
                 const std::optional<Windows>& windows,
                 QPoint pointer,
                 int screen) { QTest::newRow(name) << keyWindow << windows << pointer << screen; };
        row("the key window's", 7, all, first, 1);
        row("not the front window's", 8, all, second, 0);
        row("of most of the key window", 9, all, first, 1);
        row("key window out of sight", 10, all, second, 1);
        row("key window not listed", 11, all, second, 1);
        row("key window without a place", 7, unplaced, first, 0);
        row("no list", 7, {}, second, 1);
        row("no key window", {}, all, second, 1);
        row("neither key window nor pointer", {}, all, nowhere, 0);
    }

    void centresOnTheScreenInUse()
    {
        QFETCH(const std::optional<WindowNumber>, keyWindow);
        QFETCH(const std::optional<std::vector<WindowInfo>>, windows);
        QFETCH(const QPoint, pointer);
        QFETCH(const int, screen);
        const std::vector<Screen> both { makeScreen({ 10, 30, 980, 760 }),
                                         makeScreen({ 1010, 30, 1980, 1160 }) };
        screens->screens = both;
        screens->mainScreen = both.front();
        screens->pointer = pointer;
        workspace->windows = windows;
        if (keyWindow)
            workspace->frontmost = RunningApplication { .localizedName = {},
                                                        .bundleIdentifier = {},
                                                        .processIdentifier = {},
                                                        .keyWindow = *keyWindow };
        controller->show();
        const QRect visible = both.at(static_cast<std::size_t>(screen)).visibleFrame;
        const QSize free = visible.size() - panel()->size();
        QCOMPARE(panelWindows->origin,
                 std::optional(visible.topLeft() + QPoint(free.width() / 2, free.height() / 2)));
    }

    void centresEachTime()
    {
        controller->show();
        const std::optional<QPoint> first = panelWindows->origin;
        QVERIFY(first);
        panel()->move(7, 7);
        panelWindows->origin.reset();
        controller->show();
        QCOMPARE(panelWindows->origin, first);
    }

    void leavesThePositionWithoutAScreen()
    {
        screens->mainScreen.reset();
        controller->show();
        QVERIFY(!panelWindows->calls.contains(u"place"_s));
        QVERIFY(panel()->isVisible());
    }

    // Hiding

    void hidesOnEscapeAndComesBackEmpty()
    {
        controller->show();
        QTRY_VERIFY(keyField()->hasFocus());
        QTest::keyClicks(keyField(), u"sk_1"_s);
        QTest::keyClick(keyField(), Qt::Key_Escape);
        QVERIFY(!panel()->isVisible());
        QCOMPARE(panelWindows->calls.back(), u"orderOut"_s);
        panelWindows->origin.reset();
        controller->show();
        QVERIFY(panel()->isVisible());
        QCOMPARE(keyField()->text(), u""_s);
        QVERIFY(panelWindows->origin);
    }

    void hidesOnEscapeInTheButton()
    {
        controller->show();
        saveButton()->setFocus();
        QTest::keyClick(saveButton(), Qt::Key_Escape);
        QVERIFY(!panel()->isVisible());
    }

    void staysOnOtherKeys()
    {
        controller->show();
        QTest::keyClick(keyField(), Qt::Key_F1);
        QTest::keyClick(saveButton(), Qt::Key_Up);
        QVERIFY(panel()->isVisible());
    }

    void hidesOnItsCloseButtonAndKeepsItsWindow()
    {
        controller->show();
        QVERIFY(panelWindows->panel->close());
        QVERIFY(!panel()->isVisible());
        QVERIFY(panelWindows->panel->handle());
        controller->show();
        QVERIFY(panel()->isVisible());
        QCOMPARE(panelWindows->calls.count(u"prepare"_s), 1);
    }

    void doesNotEndTheProgramWhenClosed()
    {
        QSignalSpy lastWindowClosed(qApp, &QGuiApplication::lastWindowClosed);
        controller->show();
        QVERIFY(panelWindows->panel->close());
        QCoreApplication::processEvents();
        QVERIFY(lastWindowClosed.isEmpty());
    }

    void doesNotKeepTheProgramFromQuitting()
    {
        controller->show();
        QEvent quit(QEvent::Quit);
        QCoreApplication::sendEvent(qApp, &quit);
        QVERIFY(quit.isAccepted());
    }

    // Checking and saving

    void requiresAKey_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << u""_s;
        QTest::newRow("blanks") << u"  \t\u00a0 "_s;
        QTest::newRow("line end") << u"\r\n"_s;
    }

    void requiresAKey()
    {
        QFETCH(const QString, text);
        controller->show();
        keyField()->setText(text);
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QCOMPARE(errorText(), u"API key is required."_s);
        QVERIFY(saveButton()->isEnabled());
        QVERIFY(session->requests.empty());
    }

    void sendsAndStoresAPastedKeyWithoutItsLineEnd()
    {
        QGuiApplication::clipboard()->setText(u" \tsk_1\n"_s);
        controller->show();
        keyField()->paste();
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QCOMPARE(session->requests.size(), std::size_t(1));
        const std::vector<std::pair<QByteArray, QByteArray>> headers { { "Authorization",
                                                                         "Bearer sk_1" } };
        QCOMPARE(session->requests.front().headers, headers);
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_COMPARE(storedKey(*keychain), u"sk_1"_s);
    }

    void savesOnReturnInTheKeyField_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("Return") << Qt::Key_Return;
        QTest::newRow("Enter") << Qt::Key_Enter;
    }

    void savesOnReturnInTheKeyField()
    {
        QFETCH(const Qt::Key, key);
        controller->show();
        QTest::keyClicks(keyField(), u"sk_1"_s);
        QTest::keyClick(keyField(), key);
        QCOMPARE(session->requests.size(), std::size_t(1));
        QTest::keyClick(keyField(), key);
        QCOMPARE(session->requests.size(), std::size_t(1));
    }

    void blocksSaveWhileACheckRuns_data() { addAnswers(); }

    void blocksSaveWhileACheckRuns()
    {
        QFETCH(const HttpOutcome, outcome);
        press(u"sk_1"_s);
        QVERIFY(!saveButton()->isEnabled());
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QCOMPARE(session->requests.size(), std::size_t(1));
        session->answerNext(outcome);
        QTRY_VERIFY(saveButton()->isEnabled());
    }

    void saysHowACheckEnded_data() { addAnswers(); }

    void saysHowACheckEnded()
    {
        QFETCH(const HttpOutcome, outcome);
        QFETCH(const QString, error);
        press(u"sk_1"_s);
        session->answerNext(outcome);
        QTRY_COMPARE(errorText(), error);
        QTRY_COMPARE(panel()->isVisible(), !error.isEmpty());
        QCOMPARE(storedKey(*keychain).has_value(), error.isEmpty());
    }

    void tellsAssistiveToolsOfEachError()
    {
        const Announcements announcements;
        controller->show();
        QCOMPARE(announcements.heard(), QStringList());
        QVERIFY(!label("errorLabel")->isVisible());
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QVERIFY(label("errorLabel")->isVisible());
        press(u"sk_1"_s);
        QVERIFY(!label("errorLabel")->isVisible());
        session->answerNext(FakeHttpSession::success(401, {}));
        const QString required = u"API key is required."_s;
        QTRY_COMPARE(announcements.heard(),
                     QStringList({ required, required, u"Invalid API key."_s }));
        controller->show();
        QCOMPARE(announcements.heard().size(), 3);
    }

    void namesEveryPartForAssistiveTools()
    {
        controller->show();
        auto* dialog = QAccessible::queryAccessibleInterface(panel());
        QCOMPARE(dialog->role(), QAccessible::Dialog);
        QCOMPARE(dialog->text(QAccessible::Name), u"Connect Quibel"_s);
        QStringList parts;
        for (int index = 0; index < dialog->childCount(); ++index)
            parts << dialog->child(index)->text(QAccessible::Name);
        QCOMPARE(parts,
                 QStringList({ u"API Key"_s,
                               u"API Key"_s,
                               u"Generate an API key at h.example/settings"_s,
                               u"Save"_s }));
        QVERIFY(QAccessible::queryAccessibleInterface(keyField())->state().passwordEdit == 1U);
    }

    void takesAKeyThatIsDraggedIn()
    {
        controller->show();
        QMimeData key;
        key.setText(u"\r\n sk_1\n"_s);
        QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &key, Qt::LeftButton, Qt::NoModifier);
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &key, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(keyField(), &enter);
        QVERIFY(enter.isAccepted());
        QCoreApplication::sendEvent(keyField(), &drop);
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QCOMPARE(session->requests.size(), std::size_t(1));
        QCOMPARE(session->requests.front().headers.front().second, "Bearer sk_1"_ba);
    }

    void clearsAnOldErrorWhileItChecksAgain()
    {
        press(u"sk_1"_s);
        session->answerNext(FakeHttpSession::success(500, {}));
        QTRY_COMPARE(errorText(), u"Unable to connect."_s);
        QTest::mouseClick(saveButton(), Qt::LeftButton);
        QCOMPARE(errorText(), u""_s);
        QCOMPARE(session->requests.size(), std::size_t(2));
    }

    void installsTheListOfAnAcceptedKeyAndFetchesOnceMore()
    {
        int authorized = 0;
        store->onAuthorized = [&authorized] { ++authorized; };
        press(u"sk_1"_s);
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_VERIFY(!panel()->isVisible());
        QCOMPARE(panelWindows->calls.back(), u"orderOut"_s);
        QCOMPARE(storedKey(*keychain), u"sk_1"_s);
        QCOMPARE(authorized, 1);
        QCOMPARE(store->projects().size(), std::size_t(2));
        QCOMPARE(store->projects().front().name, u"a"_s);
        QVERIFY(store->didAttemptFetch);
        QCOMPARE(errorText(), u""_s);
        QVERIFY(output.isEmpty());

        QCOMPARE(session->requests.size(), std::size_t(2));
        QCOMPARE(session->requests[0], session->requests[1]);
        session->answerNext(FakeHttpSession::success(200, R"([{"id":"3","name":"c"}])"));
        QTRY_COMPARE(authorized, 2);
        QCOMPARE(store->projects().front().id, u"3"_s);
        QCOMPARE(output, "Loaded 1 projects from API\n"_ba);
    }

    void keepsTheNewAccountWhenTheFormerKeyIsRejectedLate()
    {
        QVERIFY(saved(*keychain, u"former"_s));
        store->fetchProjects(u"former"_s);
        press(u"sk_1"_s);
        session->answer(1, FakeHttpSession::success(200, twoProjects));
        QTRY_COMPARE(storedKey(*keychain), u"sk_1"_s);
        int signOuts = 0;
        store->onUnauthorized = [&signOuts] { ++signOuts; };
        session->answer(0, FakeHttpSession::success(401, {}));
        for (int turn = 0; turn < 3; ++turn)
            QCoreApplication::processEvents();
        QCOMPARE(signOuts, 0);
        QCOMPARE(storedKey(*keychain), u"sk_1"_s);
        QCOMPARE(store->projects().size(), std::size_t(2));
    }

    void isDoneBeforeASlowStoreAnswers()
    {
        secretItems->slow = true;
        press(u"sk_1"_s);
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_VERIFY(!panel()->isVisible());
        QCOMPARE(store->projects().size(), std::size_t(2));
        QCOMPARE(session->requests.size(), std::size_t(1));
        QVERIFY(secretItems->answerLate());
        QCOMPARE(session->requests.size(), std::size_t(2));
        QCOMPARE(session->requests[0], session->requests[1]);
    }

    void acceptsAKeyOfAnAccountWithoutProjects()
    {
        int authorized = 0;
        store->onAuthorized = [&authorized] { ++authorized; };
        press(u"sk_1"_s);
        session->answerNext(FakeHttpSession::success(200, "[]"));
        QTRY_VERIFY(!panel()->isVisible());
        QCOMPARE(authorized, 1);
        QCOMPARE(storedKey(*keychain), u"sk_1"_s);
    }

    void staysOpenWhenTheKeyCannotBeStored()
    {
        int authorized = 0;
        store->onAuthorized = [&authorized] { ++authorized; };
        secretItems->available = false;
        press(u"sk_1"_s);
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_COMPARE(errorText(), u"Unable to save API key."_s);
        QVERIFY(saveButton()->isEnabled());
        QVERIFY(panel()->isVisible());
        QVERIFY(store->projects().empty());
        QVERIFY(!store->didAttemptFetch);
        QCOMPARE(authorized, 0);
        QCOMPARE(session->requests.size(), std::size_t(1));
    }

    void savesWhenTheUserHasUnlockedTheKeyRing_data()
    {
        QTest::addColumn<bool>("unlocks");
        QTest::addColumn<QString>("error");
        QTest::newRow("unlocked") << true << u""_s;
        QTest::newRow("refused") << false << u"Unable to save API key."_s;
    }

    void savesWhenTheUserHasUnlockedTheKeyRing()
    {
        QFETCH(const bool, unlocks);
        QFETCH(const QString, error);
        secretItems->locked = true;
        press(u"sk_1"_s);
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_VERIFY(secretItems->calls.contains(u"unlock"_s));
        QVERIFY(!saveButton()->isEnabled());
        secretItems->answerPrompts(unlocks);
        QCOMPARE(errorText(), error);
        QVERIFY(saveButton()->isEnabled());
        QCOMPARE(panel()->isVisible(), !unlocks);
        QCOMPARE(storedKey(*keychain).has_value(), unlocks);
    }

    void waitsNoLongerForTheKeyRingWhenShownAgain_data()
    {
        QTest::addColumn<bool>("unlocks");
        QTest::newRow("unlocked") << true;
        QTest::newRow("refused") << false;
    }

    void waitsNoLongerForTheKeyRingWhenShownAgain()
    {
        QFETCH(const bool, unlocks);
        waitForTheKeyRingWith(u"sk_1"_s);
        QTest::keyClick(keyField(), Qt::Key_Escape);
        controller->show();
        QVERIFY(saveButton()->isEnabled());
        QTest::keyClicks(keyField(), u"sk_2"_s);
        secretItems->answerPrompts(unlocks);
        QCOMPARE(storedKey(*keychain).has_value(), unlocks);
        QCOMPARE(store->projects().size(), std::size_t(unlocks ? 2 : 0));
        QVERIFY(panel()->isVisible());
        QCOMPARE(keyField()->text(), u"sk_2"_s);
        QCOMPARE(errorText(), u""_s);
        QVERIFY(saveButton()->isEnabled());
    }

    void letsTheLatestKeyCountWhenTheKeyRingIsUnlocked()
    {
        waitForTheKeyRingWith(u"sk_1"_s);
        waitForTheKeyRingWith(u"sk_2"_s);
        QVERIFY(!saveButton()->isEnabled());
        secretItems->answerPrompts(true);
        QCOMPARE(storedKey(*keychain), u"sk_2"_s);
        QCOMPARE(secretItems->calls.count(u"update"_s), 0);
        QVERIFY(!panel()->isVisible());
        QVERIFY(saveButton()->isEnabled());
    }

    void losesTheFormerKeyToARejectedOne()
    {
        QVERIFY(saved(*keychain, u"old"_s));
        QStringList events;
        store->onUnauthorized = [&events] { events << u"signed out, "_s + errorText(); };
        press(u"wrong"_s);
        session->answerNext(FakeHttpSession::success(401, {}));
        QTRY_COMPARE(errorText(), u"Invalid API key."_s);
        QCOMPARE(storedKey(*keychain), std::nullopt);
        QCOMPARE(events, QStringList { u"signed out, "_s });
    }

    void signsNothingOutWhenTheServiceForbids()
    {
        QVERIFY(saved(*keychain, u"old"_s));
        press(u"new"_s);
        session->answerNext(FakeHttpSession::success(403, {}));
        QTRY_COMPARE(errorText(), u"Unable to connect."_s);
        QCOMPARE(storedKey(*keychain), u"old"_s);
    }

    void savesAnAcceptedKeyThoughThePanelWasClosed()
    {
        press(u"sk_1"_s);
        panelWindows->panel->close();
        QVERIFY(!panel()->isVisible());
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_COMPARE(storedKey(*keychain), u"sk_1"_s);
        QCOMPARE(store->projects().size(), std::size_t(2));
        QVERIFY(!panel()->isVisible());
    }

    void savesTheKeyThatWasCheckedNotTheOneTypedMeanwhile()
    {
        press(u"sk_1"_s);
        keyField()->setText(u"sk_2"_s);
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_COMPARE(storedKey(*keychain), u"sk_1"_s);
    }

    void keepsSaveBlockedWhenShownAgainDuringACheck()
    {
        press(u"sk_1"_s);
        QTest::keyClick(keyField(), Qt::Key_Escape);
        controller->show();
        QVERIFY(!saveButton()->isEnabled());
    }

    void dropsAnAnswerThatComesAfterItsEnd()
    {
        press(u"sk_1"_s);
        controller.reset();
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        for (int turn = 0; turn < 3; ++turn)
            QCoreApplication::processEvents();
        QCOMPARE(storedKey(*keychain), std::nullopt);
    }

    void neverPrintsTheKey()
    {
        CapturedOutput standardOutput(stdout);
        CapturedOutput standardError(stderr);
        for (const int status : { 500, 401, 200 }) {
            press(u"sk_secret"_s);
            session->answerNext(FakeHttpSession::success(status, twoProjects));
            QTRY_VERIFY(saveButton()->isEnabled());
        }
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_COMPARE(output, "Loaded 2 projects from API\n"_ba);
        QVERIFY(!(standardOutput.text() + standardError.text()).contains("sk_secret"));
    }

private:
    static void addAnswers()
    {
        QTest::addColumn<HttpOutcome>("outcome");
        QTest::addColumn<QString>("error");
        const QString unable = u"Unable to connect."_s;
        const auto answer = [](const char* name, int status, const QString& error) {
            QTest::newRow(name) << FakeHttpSession::success(status, twoProjects) << error;
        };
        const auto failure = [&unable](const char* name, TransportErrorCode code) {
            QTest::newRow(name) << FakeHttpSession::failure(code) << unable;
        };
        answer("accepted", 200, u""_s);
        answer("401", 401, u"Invalid API key."_s);
        answer("403", 403, unable);
        answer("500", 500, unable);
        failure("offline", TransportErrorCode::notConnectedToInternet);
        failure("TLS", TransportErrorCode::secureConnectionFailed);
        failure("refused", TransportErrorCode::requestRefused);
        QTest::newRow("no list") << FakeHttpSession::success(200, "{}") << unable;
    }

    void press(const QString& key)
    {
        controller->show();
        keyField()->setText(key);
        QTest::mouseClick(saveButton(), Qt::LeftButton);
    }

    /// The service accepts the key, and the key ring asks the user.
    void waitForTheKeyRingWith(const QString& key)
    {
        secretItems->locked = true;
        const auto asked = secretItems->calls.count(u"unlock"_s);
        press(key);
        session->answerNext(FakeHttpSession::success(200, twoProjects));
        QTRY_COMPARE(secretItems->calls.count(u"unlock"_s), asked + 1);
    }

    [[nodiscard]] static QWidget* panel()
    {
        const QWidgetList widgets = QApplication::topLevelWidgets();
        const auto found = std::ranges::find_if(widgets, [](const QWidget* widget) {
            return widget->windowTitle() == u"Connect Quibel"_s;
        });
        return found == widgets.end() ? nullptr : *found;
    }

    [[nodiscard]] static QLineEdit* keyField()
    {
        return panel()->findChild<QLineEdit*>(u"keyField"_s);
    }
    [[nodiscard]] static QPushButton* saveButton()
    {
        return panel()->findChild<QPushButton*>(u"saveButton"_s);
    }
    [[nodiscard]] static QLabel* label(const char* name)
    {
        return panel()->findChild<QLabel*>(QString::fromLatin1(name));
    }
    [[nodiscard]] static QString errorText() { return label("errorLabel")->text(); }

    std::optional<FakePreferences> preferences;
    std::optional<FakeSecretItems> secretItems;
    std::optional<FakeHttpSession> session;
    QByteArray output;
    std::optional<FakePanelWindows> panelWindows;
    std::optional<FakeWorkspace> workspace;
    std::optional<FakeScreens> screens;
    std::unique_ptr<ProjectStore> store;
    std::unique_ptr<KeychainService> keychain;
    std::unique_ptr<APIKeyPanelController> controller;
};

} // namespace quibel

QTEST_MAIN(quibel::APIKeyPanelControllerTest)
#include "APIKeyPanelControllerTest.moc"
