#include "platform/x11/XcbKeyboard.h"
#include "tests/desktop/RunOnDesktop.h"

#include <QGuiApplication>
#include <QRasterWindow>
#include <QSignalSpy>
#include <QTest>

#include <array>

#include <xkbcommon/xkbcommon-keysyms.h>

namespace quibel {

namespace {

/// A key that carries nothing.
constexpr xcb_keycode_t spare = 248;

} // namespace

class XcbKeyboardTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { mean(XKB_KEY_NoSymbol); }

    void followsAChange();
    void gathersChanges();
    void asksNothingWhileThisProgramIsTypedInto();

private:
    /// Gives the spare key another symbol, as another program.
    void mean(xcb_keysym_t symbol)
    {
        const std::array<xcb_keysym_t, 1> symbols { symbol };
        xcb_change_keyboard_mapping(other->get(), 1, spare, symbols.size(), symbols.data());
        const auto done
            = xcbReply(xcb_get_input_focus_reply, other->get(), xcb_get_input_focus(other->get()));
    }
    void pressManyThatNoKeyCarries()
    {
        for (int character = 0; character < 20; ++character) {
            mean(XKB_KEY_eacute);
            mean(XKB_KEY_NoSymbol);
            // As between two presses: what has come by now is dealt with.
            QCoreApplication::processEvents();
        }
    }
    /// How many requests the connection has sent so far, this one too.
    [[nodiscard]] std::uint32_t countOfRequests()
    {
        const auto cookie = xcb_get_input_focus(x->get());
        xcb_discard_reply(x->get(), cookie.sequence);
        return cookie.sequence;
    }

    std::unique_ptr<XcbConnection> other = XcbConnection::open();
    std::unique_ptr<XcbConnection> x = XcbConnection::open();
    XcbKeyboard keyboard { *x };
};

void XcbKeyboardTest::followsAChange()
{
    QVERIFY(keyboard.keycodesOf(XKB_KEY_eacute).empty());
    mean(XKB_KEY_eacute);
    QTRY_COMPARE(keyboard.keycodesOf(XKB_KEY_eacute), std::vector<xcb_keycode_t> { spare });
    mean(XKB_KEY_NoSymbol);
    QTRY_VERIFY(keyboard.keycodesOf(XKB_KEY_eacute).empty());
}

void XcbKeyboardTest::gathersChanges()
{
    const QSignalSpy changes(&keyboard, &XcbKeyboard::changed);
    pressManyThatNoKeyCarries();
    mean(XKB_KEY_egrave);
    QTRY_COMPARE(keyboard.keycodesOf(XKB_KEY_egrave), std::vector<xcb_keycode_t> { spare });
    QVERIFY2(changes.size() < 10, qPrintable(QString::number(changes.size())));
}

void XcbKeyboardTest::asksNothingWhileThisProgramIsTypedInto()
{
    QRasterWindow panel;
    panel.setFlags(Qt::X11BypassWindowManagerHint);
    panel.show();
    panel.requestActivate();
    QTRY_COMPARE(QGuiApplication::focusWindow(), &panel);
    const QSignalSpy events(x.get(), &XcbConnection::received);
    const std::uint32_t before = countOfRequests();
    pressManyThatNoKeyCarries();
    mean(XKB_KEY_egrave);
    QTRY_VERIFY(events.size() > 40);
    QCOMPARE(countOfRequests(), before + 1);

    panel.hide();
    QTRY_COMPARE(keyboard.keycodesOf(XKB_KEY_egrave), std::vector<xcb_keycode_t> { spare });
}

} // namespace quibel

int main(int argc, char* argv[])
{
    return quibel::testing::runOnDesktop<quibel::XcbKeyboardTest, QGuiApplication>(
        argc, argv, { .windowManager = {} });
}

#include "XcbKeyboardTest.moc"
