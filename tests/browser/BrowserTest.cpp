#include "tests/browser/Browser.h"
#include "tests/service/ScriptedService.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace quibel::testing {

/// What the tests of pages rely on.
class BrowserTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(browser.start({ 800, 600 })); }
    void cleanup() { (void)browser.complaints(); }

    void doesWhatAPersonDoesWithAPage()
    {
        open("<title>t</title><input id=name><button id=go>Go</button><p id=said></p>"
             "<script>go.onclick = () => said.textContent = 'Hello ' + "
             "document.querySelector('input').value;"
             "addEventListener('keydown', (e) => { if (e.ctrlKey && e.key === 'y') "
             "said.textContent = 'undone' })</script>");
        QVERIFY(browser.type(u"#name"_s, u"Zoë"_s));
        QVERIFY(browser.press(keys::tab + keys::enter));
        QVERIFY(browser.waitForText(u"#said"_s, u"Hello Zoë"_s));
        QVERIFY(browser.press(keys::control + u"y"_s));
        QVERIFY(browser.waitForText(u"#said"_s, u"undone"_s));
        QVERIFY(browser.click(u"#go"_s));
        QVERIFY(browser.waitForText(u"#said"_s, u"Hello Zoë"_s));
        QCOMPARE(browser.texts(u"button, p"_s), QStringList({ u"Go"_s, u"Hello Zoë"_s }));
        QCOMPARE(browser.attribute(u"#said"_s, u"id"_s), u"said"_s);
        QCOMPARE(browser.complaints(), QStringList());
    }

    void tellsErrorsOfThePage()
    {
        open("<title>t</title><script>null.nothing</script>");
        QStringList said;
        QTRY_COMPARE((said += browser.complaints()).filter(u"TypeError"_s).size(), 1);
    }

    void tellsViolationsOfThePolicy()
    {
        open("<meta http-equiv=Content-Security-Policy content=\"default-src 'self'\">"
             "<title>t</title><script>window.ran = true</script>");
        QStringList said;
        QTRY_COMPARE((said += browser.complaints()).filter(u"Content Security Policy"_s).size(), 1);
        QVERIFY(browser.evaluate(u"window.ran === undefined"_s).toBool());
    }

    void tellsWhatWasAskedForAndReachesNobodyElse()
    {
        (void)browser.requests();
        open("<title>t</title><img src='http://elsewhere.example/x.png' onerror='window.failed = "
             "true'>");
        QVERIFY(browser.waitUntil(u"window.failed === true"_s));
        const auto requests = browser.requests();
        QVERIFY(requests.contains(service.url(u"/"_s).toString()));
        QVERIFY(requests.contains(u"http://elsewhere.example/x.png"_s));
    }

    void showsThePageInTheSizeAndColoursAskedFor()
    {
        open("<title>t</title><style>@media (prefers-color-scheme: dark) { body { background: #000 "
             "} }</style>");
        browser.show(Browser::Scheme::dark, { 320, 500 });
        const auto path = directory.filePath(u"dark.png"_s);
        QVERIFY(browser.savePicture(path));
        const QImage picture(path);
        QCOMPARE(picture.size(), QSize(320, 500));
        QCOMPARE(picture.pixelColor(10, 10), QColor(Qt::black));
        browser.show(Browser::Scheme::light, { 640, 400 });
        QCOMPARE(browser.evaluate(u"innerWidth"_s).toInt(), 640);
    }

    void goesFromWindowToWindow()
    {
        open("<title>first</title>");
        const auto first = browser.openWindow();
        open("<title>second</title>");
        QCOMPARE(browser.text(u"title"_s), u"second"_s);
        const auto second = browser.useWindow(first);
        QCOMPARE(browser.text(u"title"_s), u"first"_s);
        QVERIFY(!browser.evaluate(u"document.hidden"_s).toBool());
        browser.useWindow(second);
        browser.closeWindow(first);
        QCOMPARE(browser.text(u"title"_s), u"first"_s);
    }

    void leavesNoProcessBehind()
    {
        auto other = std::make_unique<Browser>();
        QVERIFY(other->start());
        const auto words = other->command(u"Browser.getBrowserCommandLine"_s)[u"arguments"_s];
        const auto profile
            = words.toVariant().toStringList().filter(u"--user-data-dir="_s).value(0);
        QVERIFY(!profile.isEmpty());
        QVERIFY(processesOf(profile) > 0);
        other.reset();
        QTRY_COMPARE(processesOf(profile), 0);
    }

private:
    void open(const QByteArray& page)
    {
        service.answer(
            "/", Answer::reply(200, page, { { "Content-Type", "text/html; charset=utf-8" } }));
        service.answer("/favicon.ico", Answer::reply(204));
        QVERIFY(browser.open(service.url(u"/"_s)));
    }

    static int processesOf(const QString& word)
    {
        int count = 0;
        const auto names = QDir(u"/proc"_s).entryList(QDir::Dirs);
        for (const auto& name : names) {
            QFile file(u"/proc/%1/cmdline"_s.arg(name));
            count += file.open(QFile::ReadOnly) && file.readAll().contains(word.toUtf8()) ? 1 : 0;
        }
        return count;
    }

    ScriptedService service;
    QTemporaryDir directory;
    Browser browser;
};

} // namespace quibel::testing

QTEST_GUILESS_MAIN(quibel::testing::BrowserTest)
#include "BrowserTest.moc"
