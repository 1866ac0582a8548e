#include "tests/inbox/page/PageTest.h"

namespace quibel::inbox {

using namespace testing;

/// Signing in by password and by link.
class SignInPageTest : public PageTest
{
    Q_OBJECT

private Q_SLOTS:
    void signsInByPasswordToThePageThatWasAskedFor()
    {
        setPassword();
        QVERIFY(browser->open(inbox->url(u"/settings"_s)));
        QCOMPARE(browser->address().path(), u"/sign-in"_s);
        QVERIFY(tryPassword(password));
        QVERIFY(browser->waitForText(u"#who"_s, u"Signed in as owner"_s));
        QCOMPARE(browser->address().path(), u"/settings"_s);
    }

    void refusesAWrongPasswordAndKeepsTheAccount()
    {
        expected = { u"401"_s };
        setPassword();
        QVERIFY(browser->open(inbox->url(u"/sign-in"_s)));
        QVERIFY(tryPassword(u"wrong"_s));
        QVERIFY(browser->waitForText(u"#refusal"_s, u"account or the password is not right"_s));
        QCOMPARE(valueOf(u"#account"_s), u"owner"_s);
        // It is selected: typing replaces it.
        QVERIFY(browser->press(password + keys::enter));
        QVERIFY(browser->waitFor(u"#feed"_s));
    }

    void saysWhenThereWereTooManyTries()
    {
        expected = { u"401"_s, u"429"_s };
        setPassword();
        QVERIFY(browser->open(inbox->url(u"/sign-in"_s)));
        const auto refusal = u"document.querySelector('#refusal').textContent"_s;
        QString said;
        for (int i = 0; i < 12 && !said.contains(u"Too many tries"_s); ++i) {
            QVERIFY(tryPassword(u"wrong"_s));
            QVERIFY(browser->waitUntil(refusal + u" !== ''"_s));
            said = browser->evaluate(refusal).toString();
        }
        QVERIFY2(said.contains(u"Too many tries. Try again in "_s), qPrintable(said));
    }

    void saysThatALinkWorksOnce()
    {
        const auto link = inbox->signInLink();
        QVERIFY(browser->open(link));
        QVERIFY(browser->waitFor(u"#feed"_s));
        // A page that is still loading would notice, and lead elsewhere.
        QVERIFY(browser->open(QUrl(u"about:blank"_s)));
        endSession();
        QVERIFY(browser->open(link));
        QVERIFY(browser->waitForText(u"#used-link:not([hidden])"_s, u"quibel-inbox open"_s));
    }

    void leadsNowhereElse_data()
    {
        QTest::addColumn<QString>("next");
        QTest::newRow("another site") << u"https://elsewhere.example/"_s;
        QTest::newRow("another host") << u"//elsewhere.example/"_s;
        QTest::newRow("backslashes") << u"\\\\elsewhere.example/"_s;
        QTest::newRow("a script") << u"javascript:window.ran=1"_s;
        QTest::newRow("no address") << u"http://"_s;
    }
    void leadsNowhereElse()
    {
        QFETCH(QString, next);
        setPassword();
        auto url = inbox->url(u"/sign-in"_s);
        url.setQuery(u"next="_s + QString::fromLatin1(QUrl::toPercentEncoding(next)));
        QVERIFY(browser->open(url));
        QVERIFY(tryPassword(password));
        QVERIFY(browser->waitFor(u"#feed"_s));
        QCOMPARE(browser->address(), inbox->url(u"/"_s));
    }

private:
    void setPassword()
    {
        inbox->run({ u"accounts"_s, u"password"_s, u"owner"_s }, password.toUtf8() + '\n');
    }

    bool tryPassword(const QString& text)
    {
        browser->evaluate(u"document.querySelector('form').reset()"_s);
        return browser->type(u"#account"_s, u"owner"_s)
            && browser->type(u"#password"_s, text + keys::enter);
    }

    QString valueOf(const QString& selector)
    {
        return browser->evaluate(u"document.querySelector(arguments[0]).value"_s, { selector })
            .toString();
    }

    const QString password = u"correct horse battery"_s;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::SignInPageTest)
#include "SignInPageTest.moc"
