#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/page/PageTest.h"

#include <QDateTime>
#include <QDir>

namespace quibel::inbox {

using namespace testing;

namespace {

/// Every text on the page whose contrast to what is behind it is below 4.5, with the figure.
///
/// Source: https://www.w3.org/TR/WCAG22/#dfn-contrast-ratio
const auto faintTexts = uR"js((() => {
    const channels = (color) => color.match(/[\d.]+/g).map(Number);
    const linear = (c) => (c /= 255) <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
    const luminance = ([r, g, b]) => 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
    const isClear = (color) => channels(color)[3] === 0;
    const behind = (one) => {
        for (; one; one = one.parentElement)
            if (!isClear(getComputedStyle(one).backgroundColor)) return getComputedStyle(one).backgroundColor;
        return getComputedStyle(document.body).backgroundColor;
    };
    const ratio = (front, back) => {
        const [low, high] = [luminance(channels(front)), luminance(channels(back))].sort((a, b) => a - b);
        return (high + 0.05) / (low + 0.05);
    };
    const faint = [];
    const look = (text, one, color) => {
        const found = ratio(color, behind(one));
        if (!(found >= 4.5)) faint.push(`${text}: ${found.toFixed(2)}`);
    };
    let looked = 0;
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    for (let node = walker.nextNode(); node; node = walker.nextNode()) {
        const one = node.parentElement;
        if (!node.data.trim() || !one.checkVisibility() || one.closest('[aria-disabled=true], noscript, option')) continue;
        looked += 1;
        look(node.data.trim().slice(0, 40), one, getComputedStyle(one).color);
    }
    for (const field of document.querySelectorAll('input, select')) {
        if (!field.checkVisibility() || field.type === 'radio' || field.type === 'checkbox') continue;
        look(`value of ${field.name || field.id}`, field, getComputedStyle(field).color);
        if (field.placeholder) look(`placeholder of ${field.name}`, field, getComputedStyle(field, '::placeholder').color);
    }
    return looked > 3 ? faint : ['nothing to look at'];
})())js"_s;

} // namespace

/// Whether everybody can read and use the pages, and what they look like.
class LegiblePageTest : public PageTest
{
    Q_OBJECT

private Q_SLOTS:
    void hasEnoughContrastAndANameForEverything_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<Browser::Scheme>("scheme");
        QTest::addColumn<QString>("opener");
        using enum Browser::Scheme;
        for (const auto scheme : { light, dark }) {
            const auto* const name = scheme == light ? "light" : "dark";
            QTest::addRow("branches, %s", name) << u"/"_s << scheme << QString();
            QTest::addRow("done, %s", name) << u"/?state=done"_s << scheme << QString();
            QTest::addRow("undo, %s", name) << u"/"_s << scheme << u"article [data-control=done]"_s;
            QTest::addRow("nothing found, %s", name) << u"/?search=zzz"_s << scheme << QString();
            QTest::addRow("picture, %s", name) << u"/"_s << scheme << u".thumbnail"_s;
            QTest::addRow("move, %s", name) << u"/"_s << scheme << u"[data-control=move]"_s;
            QTest::addRow("keys, %s", name) << u"/"_s << scheme << u"#show-keys"_s;
            QTest::addRow("settings, %s", name) << u"/settings"_s << scheme << QString();
            QTest::addRow("new key, %s", name)
                << u"/settings"_s << scheme << u"#create-key button"_s;
            QTest::addRow("renaming, %s", name)
                << u"/settings"_s << scheme << u"[data-control=rename]"_s;
            QTest::addRow("revoking, %s", name)
                << u"/settings"_s << scheme << u"#key-list button"_s;
            QTest::addRow("sign-in, %s", name) << u"/sign-in#link"_s << scheme << QString();
        }
    }
    void hasEnoughContrastAndANameForEverything()
    {
        QFETCH(QString, path);
        QFETCH(Browser::Scheme, scheme);
        QFETCH(QString, opener);
        fill();
        browser->show(scheme, { 1100, 800 });
        QVERIFY(openSignedIn(path));
        settle();
        if (opener.contains(u"create-key"_s))
            QVERIFY(browser->type(u"#create-key input"_s, u"Laptop"_s));
        if (!opener.isEmpty())
            QVERIFY(browser->click(opener));
        settle();
        QCOMPARE(browser->evaluate(faintTexts).toVariant().toStringList(), QStringList());
        QCOMPARE(namelessControls(), QStringList());
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
    /// What somebody may have in their inbox.
    void fill()
    {
        const auto garden = inbox->run({ u"projects"_s, u"add"_s, u"Garden"_s });
        const auto thesis = inbox->run({ u"projects"_s, u"add"_s, u"Thesis"_s });
        struct Sample
        {
            QString text;
            QString project;
            QString app;
            QString window;
            int minutesAgo;
            bool pictured;
        };
        const QList<Sample> samples {
            { u"Ask Mira whether the seeds need light"_s,
              garden,
              u"Firefox"_s,
              u"Sowing calendar"_s,
              6000,
              false },
            { u"Compare both layouts for narrow windows and write down what each of them costs"_s,
              {},
              u"Inkscape"_s,
              u"layouts.svg"_s,
              1500,
              true },
            { u"Sent twice"_s, {}, u"Terminal"_s, u"~/thesis"_s, 300, false },
            { u"Sent twice"_s, {}, u"Terminal"_s, u"~/thesis"_s, 300, false },
            { u"Repot the ferns in spring"_s, garden, u"Evince"_s, u"ferns.pdf"_s, 130, true },
            { u"Why is the second request not sent over the same connection?"_s,
              thesis,
              u"Terminal"_s,
              u"~/thesis/measurements"_s,
              47,
              true },
            { u"Look up who said that"_s,
              thesis,
              u"LibreOffice Writer"_s,
              u"chapter-2.odt"_s,
              12,
              false },
            { u"Done already"_s, thesis, u"Kate"_s, u"notes.txt"_s, 11, false },
            { u"The figure needs units on both axes"_s,
              thesis,
              u"Evince"_s,
              u"chapter-3.pdf"_s,
              3,
              true },
        };
        const auto now = QDateTime::currentDateTimeUtc();
        int seed = 1;
        for (const auto& sample : samples) {
            auto branch
                = branchOf(sample.text, sample.project.isEmpty() ? QJsonValue() : sample.project);
            branch = changed(branch, u"context_snapshot.active_app.name"_s, sample.app);
            branch = changed(branch, u"context_snapshot.active_window_title"_s, sample.window);
            branch = changed(branch,
                             u"context_snapshot.captured_at"_s,
                             now.addSecs(-60 * sample.minutesAgo).toString(Qt::ISODate));
            const auto id = inbox->post(branch);
            if (sample.pictured)
                QVERIFY(inbox->attach(id, windowPicture(seed, { 960, 600 })));
            ++seed;
        }
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

    /// What a screen reader could only call by its kind.
    QStringList namelessControls()
    {
        static const QStringList kinds { u"button"_s,        u"link"_s,      u"textbox"_s,
                                         u"searchbox"_s,     u"combobox"_s,  u"checkbox"_s,
                                         u"radio"_s,         u"dialog"_s,    u"article"_s,
                                         u"feed"_s,          u"group"_s,     u"search"_s,
                                         u"MenuListPopup"_s, u"navigation"_s };
        const auto nodes = browser->command(u"Accessibility.getFullAXTree"_s)[u"nodes"_s].toArray();
        QStringList nameless;
        int named = 0;
        for (const auto& node : nodes) {
            const auto kind = node[u"role"_s][u"value"_s].toString();
            if (node[u"ignored"_s].toBool() || !kinds.contains(kind))
                continue;
            const bool hasName = !node[u"name"_s][u"value"_s].toString().trimmed().isEmpty();
            if (hasName || kind == u"MenuListPopup" || kind == u"search")
                ++named;
            else
                nameless.append(kind);
        }
        return named > 1 ? nameless : QStringList { u"nothing to look at"_s };
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::LegiblePageTest)
#include "LegiblePageTest.moc"
