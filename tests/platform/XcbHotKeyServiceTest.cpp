#include "platform/freedesktop/KeyNames.h"
#include "platform/x11/XcbHotKeyService.h"
#include "tests/desktop/RunOnDesktop.h"
#include "tests/platform/ClientWindow.h"
#include "tests/platform/Keyboard.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryFile>
#include <QTest>

#include <cstdio>

#include <unistd.h>

using namespace Qt::StringLiterals;
using quibel::testing::ClientWindow;
using quibel::testing::Keyboard;
using quibel::testing::VirtualDesktop;

namespace quibel {

namespace {

constexpr HotKeyID agentKey { .signature = 0x5142484B, .id = 1 };
constexpr QKeyCombination superShiftB = Qt::META | Qt::SHIFT | Qt::Key_B;
constexpr std::uint16_t superShift = XCB_MOD_MASK_4 | XCB_MOD_MASK_SHIFT;

/// What goes to standard error while it lives.
class StandardError
{
public:
    StandardError()
        : original(dup(STDERR_FILENO))
    {
        static_cast<void>(file.open());
        dup2(file.handle(), STDERR_FILENO);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;
    ~StandardError()
    {
        dup2(original, STDERR_FILENO);
        close(original);
    }

    [[nodiscard]] QByteArray text() const
    {
        std::fflush(stderr);
        QFile written(file.fileName());
        return written.open(QIODevice::ReadOnly) ? written.readAll() : QByteArray();
    }

private:
    QTemporaryFile file;
    int original;
};

} // namespace

class XcbHotKeyServiceTest : public QObject
{
    Q_OBJECT

public:
    explicit XcbHotKeyServiceTest(VirtualDesktop& virtualDesktop)
        : desktop(virtualDesktop)
    {
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void callsTheHandlerOncePerPress();
    void keepsTheKeyFromTheApplicationInFront();
    void leavesOtherCombinationsAlone_data();
    void leavesOtherCombinationsAlone();
    void worksWhateverLocksAreOn_data();
    void worksWhateverLocksAreOn();
    void worksWithScrollLockOnWhereThatHasAModifier();
    void followsTheSuperKeysToAnotherModifier();
    void worksWithEitherOfTwoSuperKeysOnModifiersOfTheirOwn_data();
    void worksWithEitherOfTwoSuperKeysOnModifiersOfTheirOwn();
    void findsTheKeyInTheLayout_data();
    void findsTheKeyInTheLayout();
    void takesAnyKeyWithModifiers_data();
    void takesAnyKeyWithModifiers();
    void knowsWhichKeysThereAre_data();
    void knowsWhichKeysThereAre();
    void staysInItsPlaceInALayoutWithoutTheKey();
    void followsAChangeOfLayout();
    void followsAToggleBetweenLayouts();
    void takesAHeldKeyForOnePress();
    void letsTypingBehindThePressWaitForTheHandler();
    void letsKeysThroughThatArePressedWhileItIsHeld();
    void runsOnWhenAnotherProgramHasTheKey();
    void keepsWhatCombinationsItCanGet();
    void isNotRegisteredWithLockKeysOnly();
    void triesAgainWhenTheLayoutChanges();
    void givesTheKeyUpWhenItIsUnregistered();
    void givesTheKeyUpWhenTheServiceEnds();
    void callsNoHandlerThatWasRemoved();
    void tellsWhetherTheKeyIsToBeHad_data();
    void tellsWhetherTheKeyIsToBeHad();

private:
    void setLayout(const QStringList& arguments)
    {
        QVERIFY(desktop.output(u"setxkbmap"_s, QStringList { u"-option"_s, {} } + arguments));
    }
    void registerKey(QKeyCombination key = superShiftB)
    {
        handler = service->installHandler([this](std::optional<HotKeyID> id) {
            QCOMPARE(id, std::optional(agentKey));
            ++presses;
        });
        hotKey = service->registerHotKey(key, agentKey);
    }
    void pressHotKey(xcb_keycode_t key = Keyboard::b)
    {
        keyboard.type({ Keyboard::super, Keyboard::shift, key });
    }
    /// Presses a key and waits until the application in front has it: all that was pressed earlier
    /// has been dealt with by then.
    [[nodiscard]] bool settle()
    {
        const auto before = editor->pressedKeys().size();
        keyboard.type({ Keyboard::space });
        return QTest::qWaitFor([&] {
            const auto& keys = editor->pressedKeys();
            return keys.size() > before && keys.back() == Keyboard::space;
        });
    }
    [[nodiscard]] auto countInEditor(int key) const
    {
        return std::ranges::count(editor->pressedKeys(), static_cast<xcb_keycode_t>(key));
    }
    [[nodiscard]] bool reachesHandler(xcb_keycode_t key)
    {
        const int before = presses;
        pressHotKey(key);
        return settle() && presses == before + 1;
    }
    [[nodiscard]] bool reachesEditor(xcb_keycode_t key)
    {
        const auto before = countInEditor(key);
        pressHotKey(key);
        return settle() && countInEditor(key) == before + 1;
    }
    void giveFocus(const ClientWindow& window)
    {
        xcb_set_input_focus(x->get(), XCB_INPUT_FOCUS_PARENT, window.id(), XCB_CURRENT_TIME);
        x->flush();
        QTRY_VERIFY(window.hasFocus());
    }
    [[nodiscard]] bool grab(xcb_keycode_t key, std::uint16_t modifiers)
    {
        const auto request = xcb_grab_key_checked(
            x->get(), 0, x->root(), modifiers, key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        return XcbOwned<xcb_generic_error_t>(xcb_request_check(x->get(), request)) == nullptr;
    }
    void ungrabAll()
    {
        xcb_ungrab_key(x->get(), XCB_GRAB_ANY, x->root(), XCB_MOD_MASK_ANY);
        x->flush();
        QVERIFY(grab(Keyboard::a, XCB_MOD_MASK_5));
        xcb_ungrab_key(x->get(), XCB_GRAB_ANY, x->root(), XCB_MOD_MASK_ANY);
    }

    VirtualDesktop& desktop;
    KeyNames keyNames;
    Keyboard keyboard;
    std::unique_ptr<XcbConnection> x = XcbConnection::open(); ///< Another program.
    std::unique_ptr<ClientWindow> editor;
    std::unique_ptr<XcbConnection> connection;
    std::unique_ptr<XcbHotKeyService> service;
    std::optional<HotKeyHandlerRef> handler;
    std::optional<HotKeyRef> hotKey;
    int presses = 0;
};

void XcbHotKeyServiceTest::init()
{
    editor = std::make_unique<ClientWindow>(ClientWindow::Options {});
    editor->map();
    giveFocus(*editor);
    presses = 0;
    connection = XcbConnection::open();
    service = std::make_unique<XcbHotKeyService>(*connection);
}

void XcbHotKeyServiceTest::cleanup()
{
    service.reset();
    connection.reset();
    editor.reset();
    ungrabAll();
    QVERIFY(desktop.output(u"setxkbmap"_s, { u"-option"_s, u""_s, u"us"_s }));
}

void XcbHotKeyServiceTest::callsTheHandlerOncePerPress()
{
    registerKey();
    QVERIFY(handler);
    QVERIFY(hotKey);
    pressHotKey();
    QTRY_COMPARE(presses, 1);
    pressHotKey();
    QTRY_COMPARE(presses, 2);
    // The modifiers stay down, as a person does who presses again at once.
    keyboard.press(Keyboard::super);
    keyboard.press(Keyboard::shift);
    keyboard.type({ Keyboard::b });
    keyboard.type({ Keyboard::b });
    keyboard.release(Keyboard::shift);
    keyboard.release(Keyboard::super);
    QTRY_COMPARE(presses, 4);
    QVERIFY(settle());
    QCOMPARE(presses, 4);
}

void XcbHotKeyServiceTest::keepsTheKeyFromTheApplicationInFront()
{
    registerKey();
    pressHotKey();
    QTRY_COMPARE(presses, 1);
    QVERIFY(settle());
    QCOMPARE(countInEditor(Keyboard::b), 0);
}

void XcbHotKeyServiceTest::leavesOtherCombinationsAlone_data()
{
    QTest::addColumn<QList<int>>("keys");
    QTest::newRow("b") << QList<int> { Keyboard::b };
    QTest::newRow("Shift B") << QList<int> { Keyboard::shift, Keyboard::b };
    QTest::newRow("Super B") << QList<int> { Keyboard::super, Keyboard::b };
    QTest::newRow("Super Shift N") << QList<int> { Keyboard::super, Keyboard::shift, Keyboard::n };
    QTest::newRow("Control Super Shift B")
        << QList<int> { Keyboard::control, Keyboard::super, Keyboard::shift, Keyboard::b };
}

void XcbHotKeyServiceTest::leavesOtherCombinationsAlone()
{
    QFETCH(const QList<int>, keys);
    registerKey();
    for (const int key : keys)
        keyboard.press(static_cast<xcb_keycode_t>(key));
    for (const int key : keys)
        keyboard.release(static_cast<xcb_keycode_t>(key));
    QVERIFY(settle());
    QCOMPARE(presses, 0);
    QCOMPARE(countInEditor(keys.back()), 1);
}

void XcbHotKeyServiceTest::worksWhateverLocksAreOn_data()
{
    QTest::addColumn<QList<int>>("locks");
    QTest::newRow("Caps Lock") << QList<int> { Keyboard::capsLock };
    QTest::newRow("Num Lock") << QList<int> { Keyboard::numLock };
    QTest::newRow("Scroll Lock") << QList<int> { Keyboard::scrollLock };
    QTest::newRow("all") << QList<int> { Keyboard::capsLock,
                                         Keyboard::numLock,
                                         Keyboard::scrollLock };
}

void XcbHotKeyServiceTest::worksWhateverLocksAreOn()
{
    QFETCH(const QList<int>, locks);
    registerKey();
    for (const int lock : locks)
        keyboard.type({ static_cast<xcb_keycode_t>(lock) });
    pressHotKey();
    for (const int lock : locks)
        keyboard.type({ static_cast<xcb_keycode_t>(lock) });
    QVERIFY(settle());
    QCOMPARE(presses, 1);
}

void XcbHotKeyServiceTest::worksWithScrollLockOnWhereThatHasAModifier()
{
    QVERIFY(desktop.output(u"xmodmap"_s, { u"-e"_s, u"add mod3 = Scroll_Lock"_s }));
    registerKey();
    QTRY_VERIFY(reachesHandler(Keyboard::b));
    const auto modifiers = [this] {
        return xcbReply(xcb_query_pointer_reply, x->get(), xcb_query_pointer(x->get(), x->root()))
            ->mask;
    };
    keyboard.type({ Keyboard::scrollLock });
    QTRY_COMPARE(modifiers() & XCB_MOD_MASK_3, static_cast<int>(XCB_MOD_MASK_3));
    QTRY_VERIFY(reachesHandler(Keyboard::b));
    keyboard.type({ Keyboard::scrollLock });
}

void XcbHotKeyServiceTest::followsTheSuperKeysToAnotherModifier()
{
    registerKey();
    QVERIFY(desktop.output(
        u"xmodmap"_s,
        { u"-e"_s, u"remove mod4 = Super_L Super_R"_s, u"-e"_s, u"add mod3 = Super_L Super_R"_s }));
    QTRY_VERIFY(reachesHandler(Keyboard::b));
}

void XcbHotKeyServiceTest::worksWithEitherOfTwoSuperKeysOnModifiersOfTheirOwn_data()
{
    QTest::addColumn<int>("super");
    QTest::newRow("left") << int { Keyboard::super };
    QTest::newRow("right") << int { Keyboard::rightSuper };
}

void XcbHotKeyServiceTest::worksWithEitherOfTwoSuperKeysOnModifiersOfTheirOwn()
{
    QFETCH(const int, super);
    registerKey();
    QVERIFY(desktop.output(
        u"xmodmap"_s, { u"-e"_s, u"remove mod4 = Super_R"_s, u"-e"_s, u"add mod3 = Super_R"_s }));
    const auto reachesHandlerBySuper = [&] {
        const int before = presses;
        keyboard.type({ static_cast<xcb_keycode_t>(super), Keyboard::shift, Keyboard::b });
        return settle() && presses == before + 1;
    };
    QTRY_VERIFY(reachesHandlerBySuper());
    service.reset();
    QVERIFY2(grab(Keyboard::b, XCB_MOD_MASK_ANY), "something was kept");
}

void XcbHotKeyServiceTest::findsTheKeyInTheLayout_data()
{
    QTest::addColumn<QStringList>("layout");
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("other");
    QTest::newRow("us") << QStringList { u"us"_s } << int { Keyboard::b } << int { Keyboard::n };
    QTest::newRow("de") << QStringList { u"de"_s } << int { Keyboard::b } << int { Keyboard::n };
    QTest::newRow("fr") << QStringList { u"fr"_s } << int { Keyboard::b } << int { Keyboard::n };
    QTest::newRow("dvorak") << QStringList { u"us"_s, u"-variant"_s, u"dvorak"_s }
                            << int { Keyboard::n } << int { Keyboard::b };
    QTest::newRow("bépo") << QStringList { u"fr"_s, u"-variant"_s, u"bepo"_s }
                          << int { Keyboard::q } << int { Keyboard::b };
    QTest::newRow("ru, which has none")
        << QStringList { u"ru"_s } << int { Keyboard::b } << int { Keyboard::n };
    QTest::newRow("gr, which has none")
        << QStringList { u"gr"_s } << int { Keyboard::b } << int { Keyboard::n };
}

void XcbHotKeyServiceTest::findsTheKeyInTheLayout()
{
    QFETCH(const QStringList, layout);
    QFETCH(const int, key);
    QFETCH(const int, other);
    setLayout(layout);
    registerKey();
    QVERIFY(hotKey);
    QTRY_VERIFY(reachesHandler(static_cast<xcb_keycode_t>(key)));
    QVERIFY(!reachesHandler(static_cast<xcb_keycode_t>(other)));
}

void XcbHotKeyServiceTest::takesAnyKeyWithModifiers_data()
{
    QTest::addColumn<QKeyCombination>("key");
    QTest::addColumn<QStringList>("layout");
    QTest::addColumn<QList<int>>("pressed");
    const QStringList us { u"us"_s };
    const auto odiaeresis = Qt::META | Qt::SHIFT | Qt::Key_Odiaeresis;
    const QList<int> rightOfL { Keyboard::super, Keyboard::shift, Keyboard::semicolon };
    QTest::newRow("Ctrl+Alt+Space")
        << (Qt::CTRL | Qt::ALT | Qt::Key_Space) << us
        << QList<int> { Keyboard::control, Keyboard::alt, Keyboard::space };
    QTest::newRow("Super+F9") << (Qt::META | Qt::Key_F9) << us
                              << QList<int> { Keyboard::super, Keyboard::f9 };
    QTest::newRow("Alt+Q in a French layout") << (Qt::ALT | Qt::Key_Q) << QStringList { u"fr"_s }
                                              << QList<int> { Keyboard::alt, Keyboard::a };
    QTest::newRow("Super+Shift+Ö") << odiaeresis << QStringList { u"de"_s } << rightOfL;
    QTest::newRow("Super+Shift+Ö while another layout is in use")
        << odiaeresis << QStringList { u"us,de"_s } << rightOfL;
    QTest::newRow("Super+Т in a Cyrillic layout")
        << (Qt::META | static_cast<Qt::Key>(0x422)) << QStringList { u"ru"_s }
        << QList<int> { Keyboard::super, Keyboard::n };
}

void XcbHotKeyServiceTest::takesAnyKeyWithModifiers()
{
    QFETCH(const QKeyCombination, key);
    QFETCH(const QStringList, layout);
    QFETCH(const QList<int>, pressed);
    setLayout(layout);
    const auto press = [this](const QList<int>& keys) {
        for (const int each : keys)
            keyboard.press(static_cast<xcb_keycode_t>(each));
        for (const int each : keys)
            keyboard.release(static_cast<xcb_keycode_t>(each));
        return settle();
    };
    service = std::make_unique<XcbHotKeyService>(*connection);
    registerKey(key);
    QVERIFY(hotKey);
    QVERIFY(press(pressed));
    QCOMPARE(presses, 1);
    QVERIFY(press(pressed.sliced(1)));
    QVERIFY(press({ Keyboard::super, Keyboard::shift, Keyboard::b }));
    QCOMPARE(presses, 1);
}

void XcbHotKeyServiceTest::knowsWhichKeysThereAre_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::addColumn<QString>("layout");
    QTest::addColumn<bool>("isThere");
    QTest::newRow("n") << Qt::Key_N << u"us"_s << true;
    QTest::newRow("n, Cyrillic") << Qt::Key_N << u"ru"_s << false;
    QTest::newRow("n, Latin beside Cyrillic") << Qt::Key_N << u"ru,us"_s << true;
    QTest::newRow("b, Cyrillic") << Qt::Key_B << u"ru"_s << true;
    QTest::newRow("ö") << Qt::Key_Odiaeresis << u"us"_s << false;
    QTest::newRow("F9") << Qt::Key_F9 << u"ru"_s << true;
    QTest::newRow("F35") << Qt::Key_F35 << u"us"_s << false;
    QTest::newRow("Page Up") << Qt::Key_PageUp << u"us"_s << true;
    QTest::newRow("no symbol") << Qt::Key_Dead_Grave << u"us"_s << false;
    QTest::newRow("typed with Shift only") << Qt::Key_Exclam << u"us"_s << false;
}

void XcbHotKeyServiceTest::knowsWhichKeysThereAre()
{
    QFETCH(const Qt::Key, key);
    QFETCH(const QString, layout);
    QFETCH(const bool, isThere);
    setLayout({ layout });
    QCOMPARE(XcbHotKeyService(*connection).hasKey(key), isThere);
}

void XcbHotKeyServiceTest::staysInItsPlaceInALayoutWithoutTheKey()
{
    setLayout({ u"de"_s });
    QTRY_VERIFY(service->hasKey(Qt::Key_Odiaeresis));
    registerKey(Qt::META | Qt::SHIFT | Qt::Key_Odiaeresis);
    setLayout({ u"us"_s });
    QTRY_VERIFY(!service->hasKey(Qt::Key_Odiaeresis));
    QVERIFY(reachesHandler(Keyboard::semicolon));
}

void XcbHotKeyServiceTest::followsAChangeOfLayout()
{
    registerKey();
    setLayout({ u"us"_s, u"-variant"_s, u"dvorak"_s });
    QTRY_VERIFY(reachesHandler(Keyboard::n));
    QVERIFY(!reachesHandler(Keyboard::b));
    setLayout({ u"ru"_s });
    QTRY_VERIFY(reachesHandler(Keyboard::b));
    QVERIFY(!reachesHandler(Keyboard::n));
}

void XcbHotKeyServiceTest::followsAToggleBetweenLayouts()
{
    QVERIFY(desktop.output(
        u"setxkbmap"_s,
        { u"us,us,ru"_s, u"-variant"_s, u",dvorak,"_s, u"-option"_s, u"grp:menu_toggle"_s }));
    constexpr xcb_keycode_t menu = 135;
    registerKey();
    QTRY_VERIFY(reachesHandler(Keyboard::b));
    keyboard.type({ menu });
    QTRY_VERIFY(reachesHandler(Keyboard::n));
    QVERIFY(!reachesHandler(Keyboard::b));
    keyboard.type({ menu });
    QTRY_VERIFY(reachesHandler(Keyboard::b));
    QVERIFY(!reachesHandler(Keyboard::n));
}

void XcbHotKeyServiceTest::takesAHeldKeyForOnePress()
{
    QVERIFY(desktop.output(u"xset"_s, { u"r"_s, u"rate"_s, u"50"_s, u"100"_s }));
    registerKey();
    // How long some repetitions take here and now.
    QElapsedTimer timer;
    timer.start();
    keyboard.press(Keyboard::a);
    QTRY_VERIFY(editor->pressedKeys().size() > 10);
    keyboard.release(Keyboard::a);
    const auto whileRepeating = static_cast<int>(timer.elapsed());

    keyboard.press(Keyboard::super);
    keyboard.press(Keyboard::shift);
    keyboard.press(Keyboard::b);
    QTRY_COMPARE(presses, 1);
    QTest::qWait(whileRepeating);
    QCOMPARE(presses, 1);
    keyboard.release(Keyboard::b);
    keyboard.type({ Keyboard::b });
    QTRY_COMPARE(presses, 2);
    keyboard.release(Keyboard::shift);
    keyboard.release(Keyboard::super);
    QVERIFY(settle());
    QCOMPARE(presses, 2);
    QCOMPARE(countInEditor(Keyboard::b), 0);
}

void XcbHotKeyServiceTest::letsTypingBehindThePressWaitForTheHandler()
{
    ClientWindow panel({ .overrideRedirect = true });
    panel.map();
    static_cast<void>(service->installHandler([&](std::optional<HotKeyID>) {
        // Whoever types fast has typed by now.
        giveFocus(panel);
    }));
    QVERIFY(service->registerHotKey(superShiftB, agentKey));
    pressHotKey();
    keyboard.type({ Keyboard::a });
    keyboard.type({ Keyboard::n });
    QTRY_COMPARE(panel.pressedKeys(), (std::vector<xcb_keycode_t> { Keyboard::a, Keyboard::n }));
    QCOMPARE(countInEditor(Keyboard::a), 0);
}

void XcbHotKeyServiceTest::letsKeysThroughThatArePressedWhileItIsHeld()
{
    registerKey();
    keyboard.press(Keyboard::super);
    keyboard.press(Keyboard::shift);
    keyboard.press(Keyboard::b);
    QTRY_COMPARE(presses, 1);
    keyboard.release(Keyboard::shift);
    keyboard.release(Keyboard::super);
    keyboard.type({ Keyboard::a });
    QTRY_COMPARE(countInEditor(Keyboard::a), 1);
    keyboard.release(Keyboard::b);
    pressHotKey();
    QTRY_COMPARE(presses, 2);
    QVERIFY(settle());
}

void XcbHotKeyServiceTest::runsOnWhenAnotherProgramHasTheKey()
{
    QVERIFY(grab(Keyboard::b, XCB_MOD_MASK_ANY));
    const StandardError errors;
    registerKey();
    QVERIFY(!hotKey);
    QVERIFY(errors.text().contains("Super+Shift+B is taken by another program"));
    QVERIFY(errors.text().contains("quibel.hotKey"));
    QCOMPARE(errors.text().count('\n'), 1);
}

void XcbHotKeyServiceTest::keepsWhatCombinationsItCanGet()
{
    QVERIFY(grab(Keyboard::b, superShift | XCB_MOD_MASK_LOCK));
    {
        const StandardError errors;
        registerKey();
        QVERIFY(hotKey);
        QCOMPARE(errors.text().count('\n'), 1);
    }
    pressHotKey();
    QTRY_COMPARE(presses, 1);
    keyboard.type({ Keyboard::capsLock });
    pressHotKey();
    keyboard.type({ Keyboard::capsLock });
    QVERIFY(settle());
    QCOMPARE(presses, 1);
}

void XcbHotKeyServiceTest::isNotRegisteredWithLockKeysOnly()
{
    QVERIFY(grab(Keyboard::b, superShift));
    registerKey();
    QVERIFY(!hotKey);
    keyboard.type({ Keyboard::capsLock });
    pressHotKey();
    keyboard.type({ Keyboard::capsLock });
    QVERIFY(settle());
    QCOMPARE(presses, 1);
    service.reset();
    ungrabAll();
    QVERIFY2(grab(Keyboard::b, XCB_MOD_MASK_ANY), "something was kept");
}

void XcbHotKeyServiceTest::triesAgainWhenTheLayoutChanges()
{
    QVERIFY(grab(Keyboard::n, XCB_MOD_MASK_ANY));
    registerKey();
    const StandardError errors;
    setLayout({ u"us"_s, u"-variant"_s, u"dvorak"_s });
    QTRY_COMPARE(errors.text().count('\n'), 1);
    QVERIFY(!reachesHandler(Keyboard::b));
    ungrabAll();
    setLayout({ u"us"_s, u"-variant"_s, u"dvorak"_s, u"-option"_s, u"compose:menu"_s });
    QTRY_VERIFY(reachesHandler(Keyboard::n));
    QCOMPARE(errors.text().count('\n'), 1);
}

void XcbHotKeyServiceTest::givesTheKeyUpWhenItIsUnregistered()
{
    registerKey();
    QVERIFY(!grab(Keyboard::b, superShift));
    service->unregisterHotKey(*hotKey);
    QTRY_VERIFY(reachesEditor(Keyboard::b));
    QCOMPARE(presses, 0);
    QVERIFY(grab(Keyboard::b, XCB_MOD_MASK_ANY));
}

void XcbHotKeyServiceTest::givesTheKeyUpWhenTheServiceEnds()
{
    registerKey();
    service.reset();
    QTRY_VERIFY(reachesEditor(Keyboard::b));
    QCOMPARE(presses, 0);
    QVERIFY(grab(Keyboard::b, XCB_MOD_MASK_ANY));
}

void XcbHotKeyServiceTest::callsNoHandlerThatWasRemoved()
{
    registerKey();
    service->removeHandler(*handler);
    pressHotKey();
    QVERIFY(settle());
    QCOMPARE(presses, 0);
}

void XcbHotKeyServiceTest::tellsWhetherTheKeyIsToBeHad_data()
{
    QTest::addColumn<std::optional<std::uint16_t>>("grabbed");
    QTest::addColumn<HotKeyAvailability>("availability");
    using Modifiers = std::optional<std::uint16_t>;
    QTest::newRow("free") << Modifiers() << HotKeyAvailability::available;
    QTest::newRow("taken") << Modifiers(XCB_MOD_MASK_ANY) << HotKeyAvailability::taken;
    QTest::newRow("taken without lock keys") << Modifiers(superShift) << HotKeyAvailability::taken;
    QTest::newRow("taken with a lock key on")
        << Modifiers(superShift | XCB_MOD_MASK_LOCK) << HotKeyAvailability::partlyTaken;
}

void XcbHotKeyServiceTest::tellsWhetherTheKeyIsToBeHad()
{
    QFETCH(const std::optional<std::uint16_t>, grabbed);
    QFETCH(const HotKeyAvailability, availability);
    if (grabbed)
        QVERIFY(grab(Keyboard::b, *grabbed));
    const StandardError errors;
    QCOMPARE(service->availability(superShiftB), availability);
    QCOMPARE(errors.text(), QByteArray());
    ungrabAll();
    QVERIFY2(grab(Keyboard::b, XCB_MOD_MASK_ANY), "something was kept");
}

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::XcbHotKeyServiceTest>(
        argc, argv, { .windowManager = {} });
}

#include "XcbHotKeyServiceTest.moc"
