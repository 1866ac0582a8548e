#pragma once

#include "tests/browser/Browser.h"
#include "tests/inbox/page/InboxUnderTest.h"

#include <QJsonArray>
#include <QObject>
#include <QTest>

#include <memory>

namespace quibel::inbox::testing {

using namespace Qt::StringLiterals;

using Browser = quibel::testing::Browser;
namespace keys = quibel::testing::keys;

/// One browser for all tests of a class, and for each test an inbox of its own.
///
/// A test fails when its page wrote anything to the console that the test did not expect.
class PageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        browser = std::make_unique<Browser>();
        QVERIFY(browser->start());
    }
    void init()
    {
        expected.clear();
        inbox = std::make_unique<InboxUnderTest>();
        QVERIFY(inbox->start());
        browser->show(Browser::Scheme::light, { 1100, 800 });
        (void)browser->requests();
        (void)browser->complaints();
    }
    void cleanup()
    {
        auto complaints = browser->complaints();
        for (const auto& text : std::as_const(expected))
            complaints.removeIf([&](const QString& one) { return one.contains(text); });
        QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join(u'\n')));
        QVERIFY(browser->open(QUrl(u"about:blank"_s)));
        inbox.reset();
    }

protected:
    /// Opens a page of the inbox as its owner.
    bool openSignedIn(const QString& path = u"/"_s)
    {
        return browser->open(inbox->signInLink())
            && (path == u"/" || browser->open(inbox->url(path)));
    }

    /// The session ends, as after a long time.
    void endSession() { browser->forgetCookies(); }

    /// Waits until there are exactly these texts, in this order.
    bool shows(const QString& selector, const QStringList& texts)
    {
        return browser->waitUntil(
            u"JSON.stringify([...document.querySelectorAll(arguments[0])].map((one) => "
            "one.textContent)) === JSON.stringify(arguments[1])"_s,
            { selector, QJsonArray::fromStringList(texts) });
    }

    /// Parts of what a page may write to the console in this test.
    QStringList expected;
    std::unique_ptr<InboxUnderTest> inbox;
    std::unique_ptr<Browser> browser;
};

} // namespace quibel::inbox::testing
