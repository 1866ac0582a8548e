#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/page/PageInspection.h"
#include "tests/inbox/page/PageTest.h"
#include "tests/inbox/page/SampleInbox.h"

#include <QDir>

namespace quibel::inbox {

using namespace testing;

/// Whether everybody can read and use the pages, and what they look like.
class LegiblePageTest : public PageTest
{
    Q_OBJECT

private Q_SLOTS:
    void hasEnoughContrastAndANameForEverything_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("opener");
        QTest::newRow("branches") << u"/"_s << QString();
        QTest::newRow("done") << u"/?state=done"_s << QString();
        QTest::newRow("undo") << u"/"_s << u"article [data-control=done]"_s;
        QTest::newRow("nothing found") << u"/?search=zzz"_s << QString();
        QTest::newRow("picture") << u"/"_s << u".thumbnail"_s;
        QTest::newRow("move") << u"/"_s << u"[data-control=move]"_s;
        QTest::newRow("keys") << u"/"_s << u"#show-keys"_s;
        QTest::newRow("settings") << u"/settings"_s << QString();
        QTest::newRow("new key") << u"/settings"_s << u"#create-key button"_s;
        QTest::newRow("renaming") << u"/settings"_s << u"[data-control=rename]"_s;
        QTest::newRow("revoking") << u"/settings"_s << u"#key-list button"_s;
        QTest::newRow("sign-in") << u"/sign-in#link"_s << QString();
    }
    void hasEnoughContrastAndANameForEverything()
    {
        QFETCH(QString, path);
        QFETCH(QString, opener);
        fill();
        QVERIFY(openSignedIn(path));
        settle();
        if (opener.contains(u"create-key"_s))
            QVERIFY(browser->type(u"#create-key input"_s, u"Laptop"_s));
        if (!opener.isEmpty())
            QVERIFY(browser->click(opener));
        for (const auto scheme : { Browser::Scheme::light, Browser::Scheme::dark }) {
            browser->show(scheme, { 1100, 800 });
            settle();
            QCOMPARE(faintTexts(*browser), QStringList());
        }
        QCOMPARE(namelessControls(*browser), QStringList());
    }

    void fitsAScreenOf320Pixels_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("branches") << u"/"_s;
        QTest::newRow("settings") << u"/settings"_s;
        QTest::newRow("sign-in") << u"/sign-in#link"_s;
    }
    void fitsAScreenOf320Pixels()
    {
        QFETCH(QString, path);
        fill();
        inbox->post(branchOf(QString(300, u'W')));
        inbox->run({ u"projects"_s, u"add"_s, QString(100, u'W') });
        browser->show(Browser::Scheme::light, { 320, 640 });
        QVERIFY(openSignedIn(path));
        settle();
        QVERIFY(browser
                    ->evaluate(u"document.documentElement.scrollWidth <= "
                               "document.documentElement.clientWidth"_s)
                    .toBool());
    }

    void showsMarkupAsTextWhereverItComesFrom()
    {
        const auto markup
            = u"<b>x</b><script>window.ran=1</script><img src=x onerror=window.ran=2>"_s;
        const auto project = inbox->run({ u"projects"_s, u"add"_s, markup });
        inbox->run({ u"keys"_s, u"create"_s, u"--name"_s, markup });
        auto branch = branchOf(markup + u" one two three four five six seven eight"_s, project);
        for (const auto& field : { u"title"_s,
                                   u"context_snapshot.active_app.name"_s,
                                   u"context_snapshot.active_app.bundle_id"_s,
                                   u"context_snapshot.active_window_title"_s })
            branch = changed(branch, field, markup);
        QVERIFY(inbox->attach(inbox->post(branch), windowPicture(1, { 64, 40 })));

        QVERIFY(openSignedIn());
        QVERIFY(shows(u"article h2"_s, { markup }));
        QVERIFY(browser->text(u"article .text"_s).startsWith(markup));
        QVERIFY(shows(u"article .of-project, article .window"_s, { markup, markup }));
        QVERIFY(browser->click(u".thumbnail"_s));
        QVERIFY(browser->waitForText(u"#picture h2"_s, markup));
        QVERIFY(browser->press(keys::escape));
        QVERIFY(browser->click(u"[data-control=move]"_s));
        QVERIFY(browser->waitForText(u"#move li:last-child"_s, markup));
        QVERIFY(browser->press(keys::escape));
        QVERIFY(browser->click(u"[data-control=delete]"_s));
        QVERIFY(browser->waitForText(u"#undo p"_s, markup));
        QVERIFY(browser->evaluate(u"window.ran === undefined"_s).toBool());

        QVERIFY(browser->open(inbox->url(u"/settings"_s)));
        QVERIFY(shows(u"#project-list strong"_s, { markup }));
        QVERIFY(shows(u"#key-list strong"_s, { u"Agent"_s, markup }));
        QVERIFY(browser->click(u"#key-list li:last-child button"_s));
        QVERIFY(browser->waitForText(u"#confirm h2"_s, markup));
        QVERIFY(browser
                    ->evaluate(u"window.ran === undefined && "
                               "document.querySelectorAll('main b, dialog b').length === 0"_s)
                    .toBool());
    }

    void asksNobodyButTheInbox()
    {
        fill();
        (void)browser->requests();
        QVERIFY(openSignedIn());
        settle();
        QVERIFY(browser->open(inbox->url(u"/settings"_s)));
        settle();
        QVERIFY(browser->open(inbox->url(u"/sign-in"_s)));
        settle();
        auto requests = browser->requests();
        QVERIFY(requests.filter(u"/assets/"_s).size() > 10);
        requests.removeIf(
            [&](const QString& url) { return url.startsWith(inbox->url(u"/"_s).toString()); });
        QCOMPARE(requests, QStringList());
    }

    void looksAsInThePictures_data()
    {
        QTest::addColumn<Browser::Scheme>("scheme");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QString>("path");
        using enum Browser::Scheme;
        QTest::newRow("inbox-light") << light << QSize(1000, 700) << u"/"_s;
        QTest::newRow("inbox-dark") << dark << QSize(1000, 700) << u"/"_s;
        QTest::newRow("inbox-narrow") << light << QSize(360, 740) << u"/"_s;
        QTest::newRow("inbox-settings") << light << QSize(1000, 1400) << u"/settings"_s;
    }
    /// Writes them into the build tree, for people.
    void looksAsInThePictures()
    {
        QFETCH(Browser::Scheme, scheme);
        QFETCH(QSize, size);
        QFETCH(QString, path);
        fill();
        browser->show(scheme, size);
        QVERIFY(openSignedIn(path));
        settle();
        const QDir directory(qEnvironmentVariable("QUIBEL_TEST_BIN_DIR") + u"/../pictures"_s);
        QVERIFY(directory.mkpath(u"."_s));
        const auto file
            = directory.filePath(QString::fromLatin1(QTest::currentDataTag()) + u".png"_s);
        QVERIFY(browser->savePicture(file));
        QCOMPARE(QImage(file).size(), size);
    }

private:
    void fill()
    {
        fillInbox(*inbox);
        markDone(u"Done already"_s);
    }

    void markDone(const QString& title)
    {
        QVERIFY(openSignedIn());
        QVERIFY(browser->waitForText(u".feed"_s, title));
        browser->evaluate(u"[...document.querySelectorAll('article')].find((one) => "
                          "one.textContent.includes(arguments[0]))"
                          ".querySelector('[data-control=done]').click()"_s,
                          { title });
        QVERIFY(browser->waitFor(u"#undo:not([hidden])"_s));
    }

    /// Waits until the page has loaded everything and stands still.
    void settle()
    {
        QVERIFY(browser->waitUntil(
            u"document.readyState === 'complete' && document.querySelector('[aria-busy=true]') === "
            u"null"
            " && document.querySelector('#who')?.textContent !== '\\u00a0'"
            " && [...document.querySelectorAll('#empty:not([hidden])')].every((one) => "
            "one.textContent)"
            " && document.querySelector('#key-list:empty') === null"
            " && [...document.images].every((one) => one.complete || !one.checkVisibility())"
            " && document.getAnimations().length === 0"_s));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::LegiblePageTest)
#include "LegiblePageTest.moc"
