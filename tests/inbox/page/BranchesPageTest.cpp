#include "tests/inbox/page/PageTest.h"

#include <QUrlQuery>

namespace quibel::inbox {

using namespace testing;

/// The list of branches, used with the mouse and a keyboard.
class BranchesPageTest : public PageTest
{
    Q_OBJECT

private Q_SLOTS:
    void showsABranchThatComesInAndThenItsPicture()
    {
        QVERIFY(openSignedIn());
        QVERIFY(browser->waitForText(u"#empty"_s, u"No branches yet"_s));
        QVERIFY(browser->evaluate(u"(window.stayed = true)"_s).toBool());

        const auto id = inbox->post(branchOf(u"Look at the cache"_s));
        QVERIFY(shows(titles, { u"Look at the cache"_s }));
        QVERIFY(browser->waitForText(u"#announcer"_s, u"1 new branch"_s));
        QVERIFY(browser->text(u".about"_s).contains(u"Éditeur"_s));
        QVERIFY(browser->text(u".about"_s).contains(u"notes.txt"_s));
        QCOMPARE(browser->attribute(u".about time"_s, u"datetime"_s), u"2026-11-15T22:24:38Z"_s);
        QVERIFY(browser->attribute(u".about time"_s, u"title"_s).contains(u"22:24:38"_s));
        QVERIFY(browser->evaluate(u"document.querySelector('#empty').hidden"_s).toBool());

        QVERIFY(inbox->attach(id, windowPicture(1, { 480, 300 })));
        QVERIFY(browser->waitUntil(
            u"document.querySelector('.thumbnail img')?.naturalWidth === 480"_s));
        QVERIFY(browser->evaluate(u"window.stayed"_s).toBool());
    }

    void keepsThePlaceAndTheFocusWhenABranchComesIn()
    {
        for (int i = 0; i < 20; ++i)
            inbox->post(branchOf(u"Branch %1"_s.arg(i)));
        QVERIFY(openSignedIn());
        QVERIFY(browser->waitFor(u"article:nth-of-type(20)"_s));
        QVERIFY(browser->press(u"jjjjjjjjjjjj"_s));
        QVERIFY(hasFocus(u"Branch 8"_s));
        const auto place = u"document.activeElement.getBoundingClientRect().top"_s;
        const auto before = browser->evaluate(place).toDouble();

        inbox->post(branchOf(u"The newest"_s));
        QVERIFY(browser->waitForText(firstTitle, u"The newest"_s));
        QVERIFY(hasFocus(u"Branch 8"_s));
        QVERIFY(qAbs(browser->evaluate(place).toDouble() - before) < 1.5);
        QVERIFY(browser->waitForText(u"#newer"_s, u"1 new branch"_s));

        QVERIFY(browser->click(u"#newer"_s));
        QVERIFY(hasFocus(u"The newest"_s));
        QVERIFY(browser->waitUntil(u"document.querySelector('#newer').hidden"_s));
    }

    void findsAsOneTypesAndKeepsItOverReloadAndBack()
    {
        inbox->post(branchOf(u"Water the ferns"_s));
        inbox->post(branchOf(u"Look at the cache"_s));
        QVERIFY(openSignedIn());
        QVERIFY(shows(titles, { u"Look at the cache"_s, u"Water the ferns"_s }));
        QVERIFY(browser->type(u"#search"_s, u"fer"_s));
        QVERIFY(shows(titles, { u"Water the ferns"_s }));
        QCOMPARE(QUrlQuery(browser->address()).queryItemValue(u"search"_s), u"fer"_s);

        // Only what the search finds comes in.
        inbox->post(branchOf(u"Read the paper"_s));
        inbox->post(branchOf(u"Repot the fern"_s));
        QVERIFY(shows(titles, { u"Repot the fern"_s, u"Water the ferns"_s }));

        QVERIFY(browser->open(browser->address()));
        QVERIFY(shows(titles, { u"Repot the fern"_s, u"Water the ferns"_s }));
        QCOMPARE(browser->evaluate(u"document.querySelector('#search').value"_s).toString(),
                 u"fer"_s);
        QVERIFY(browser->type(u"#search"_s, u"nx"_s));
        QVERIFY(browser->waitForText(u"#empty"_s, u"Nothing found"_s));
        browser->evaluate(u"history.back()"_s);
        QVERIFY(shows(titles, { u"Repot the fern"_s, u"Water the ferns"_s }));
    }

    void showsOneProjectOrNoneAndOpenOrDone()
    {
        const auto garden = inbox->run({ u"projects"_s, u"add"_s, u"Garden"_s });
        inbox->post(branchOf(u"Water the ferns"_s, garden));
        inbox->post(branchOf(u"Look at the cache"_s));
        QVERIFY(openSignedIn());
        QVERIFY(shows(u"#project option"_s, { u"All projects"_s, u"No project"_s, u"Garden"_s }));
        choose(u"#project"_s, garden);
        QVERIFY(shows(titles, { u"Water the ferns"_s }));
        choose(u"#project"_s, u"none"_s);
        QVERIFY(shows(titles, { u"Look at the cache"_s }));
        QVERIFY(browser->click(u"[data-control=done]"_s));
        QVERIFY(shows(titles, {}));
        QVERIFY(browser->click(u"[value=any]"_s));
        QVERIFY(shows(titles, { u"Look at the cache"_s }));
        QVERIFY(browser->click(u"[value=done]"_s));
        choose(u"#project"_s, {});
        QVERIFY(shows(titles, { u"Look at the cache"_s }));

        const QUrlQuery query(browser->address());
        QCOMPARE(query.queryItemValue(u"state"_s), u"done"_s);
        QVERIFY(browser->open(browser->address()));
        QVERIFY(shows(titles, { u"Look at the cache"_s }));
        browser->evaluate(u"history.back()"_s);
        QVERIFY(browser->waitUntil(u"document.querySelector('#project').value === 'none'"_s));
        browser->evaluate(u"history.go(-2)"_s);
        QVERIFY(shows(titles, {}));
    }

    void marksAsDoneMovesAndDeletesAndTakesEachBack()
    {
        const auto garden = inbox->run({ u"projects"_s, u"add"_s, u"Garden"_s });
        inbox->post(branchOf(u"First"_s));
        inbox->post(branchOf(u"Second"_s));
        QVERIFY(openSignedIn());
        QVERIFY(shows(titles, { u"Second"_s, u"First"_s }));

        QVERIFY(browser->click(u"[data-control=move]"_s));
        QVERIFY(browser->click(u"#move li:nth-child(2) button"_s));
        QVERIFY(browser->waitForText(u".of-project"_s, u"Garden"_s));
        QVERIFY(browser->waitForText(u"#undo p"_s, u"Moved “Second” to Garden"_s));
        QVERIFY(browser->click(u"[data-control=done]"_s));
        QVERIFY(shows(titles, { u"First"_s }));
        QVERIFY(browser->click(u"[data-control=delete]"_s));
        QVERIFY(shows(titles, {}));
        QVERIFY(browser->waitForText(u"#undo p"_s, u"Deleted “First”"_s));
        QVERIFY(!inbox->run({ u"branches"_s }).contains(u"First"_s));

        QVERIFY(browser->click(u"#undo [data-control=undo]"_s));
        QVERIFY(shows(titles, { u"First"_s }));
        QVERIFY(inbox->run({ u"branches"_s }).contains(u"First"_s));
        QVERIFY(browser->click(u"#undo [data-control=undo]"_s));
        QVERIFY(shows(titles, { u"Second"_s, u"First"_s }));
        QVERIFY(browser->click(u"#undo [data-control=undo]"_s));
        QVERIFY(browser->waitForText(u".of-project"_s, u"No project"_s));
        QVERIFY(browser->waitUntil(u"document.querySelector('#undo').hidden"_s));
    }

    void opensThePictureAndGivesTheFocusBack()
    {
        const auto id = inbox->post(branchOf(u"Look at the cache"_s));
        QVERIFY(inbox->attach(id, windowPicture(2, { 1600, 1000 })));
        QVERIFY(openSignedIn());
        QVERIFY(browser->click(u".thumbnail"_s));
        QVERIFY(
            browser->waitUntil(u"document.querySelector('#picture img')?.naturalWidth === 1600"_s));
        const auto link = browser->attribute(u"#picture a"_s, u"href"_s);
        QVERIFY(link.startsWith(u"/pictures/"_s));
        QVERIFY(browser->press(keys::escape));
        QVERIFY(browser->waitUntil(u"!document.querySelector('#picture').open"_s));
        QVERIFY(browser->waitUntil(u"document.activeElement.className === 'thumbnail'"_s));
        // The browser's own page around a picture has a style that the policy forbids.
        expected = { link, u"favicon.ico"_s };
        QVERIFY(browser->open(inbox->url(link)));
        QCOMPARE(browser->evaluate(u"document.contentType"_s).toString(), u"image/png"_s);
    }

    void marksWhatWasLikelySentTwice()
    {
        inbox->post(branchOf(u"Only once"_s));
        QVERIFY(openSignedIn());
        QVERIFY(shows(titles, { u"Only once"_s }));
        QVERIFY(shows(u".mark.warn"_s, {}));
        inbox->post(branchOf(u"Only once"_s));
        QVERIFY(shows(u".mark.warn"_s, { u"Likely a double"_s, u"Likely a double"_s }));
    }

    void loadsMoreAsOneComesToTheEnd()
    {
        for (int i = 1; i <= 60; ++i)
            inbox->post(branchOf(u"Branch %1"_s.arg(i)));
        QVERIFY(openSignedIn());
        const auto count = u"document.querySelectorAll('article').length"_s;
        QVERIFY(browser->waitUntil(count + u" === 50"_s));
        browser->evaluate(u"scrollTo(0, document.body.scrollHeight)"_s);
        QVERIFY(browser->waitUntil(count + u" === 60"_s));
        QVERIFY(browser->waitUntil(u"document.querySelector('#more').hidden"_s));
        QCOMPARE(browser->text(u"article:last-of-type h2"_s), u"Branch 1"_s);
    }

    void keepsTwoWindowsEqual()
    {
        inbox->post(branchOf(u"First"_s));
        inbox->post(branchOf(u"Second"_s));
        QVERIFY(openSignedIn());
        QVERIFY(shows(titles, { u"Second"_s, u"First"_s }));
        const auto one = browser->openWindow();
        QVERIFY(browser->open(inbox->url(u"/"_s)));
        QVERIFY(shows(titles, { u"Second"_s, u"First"_s }));
        QVERIFY(browser->click(u"[data-control=delete]"_s));
        QVERIFY(shows(titles, { u"First"_s }));
        const auto other = browser->useWindow(one);
        QVERIFY(shows(titles, { u"First"_s }));
        QVERIFY(browser->click(u"#undo, [data-control=done]"_s));
        QVERIFY(shows(titles, {}));
        browser->useWindow(other);
        QVERIFY(shows(titles, {}));
        QVERIFY(browser->click(u"#undo [data-control=undo]"_s));
        QVERIFY(shows(titles, { u"Second"_s }));
        browser->closeWindow(one);
        QVERIFY(shows(titles, { u"Second"_s }));
    }

    void saysThatTheConnectionIsLostAndCatchesUp()
    {
        // The browser names a lost connection by what its socket was just doing.
        expected = { u"net::ERR_"_s };
        inbox->post(branchOf(u"Before"_s));
        QVERIFY(openSignedIn());
        QVERIFY(shows(titles, { u"Before"_s }));
        inbox->stop();
        QVERIFY(browser->waitForText(u"#connection"_s, u"The connection is lost"_s));
        QVERIFY(browser->click(u"[data-control=done]"_s));
        QVERIFY(browser->waitForText(u"#problem"_s,
                                     u"The branch was not marked as done. "
                                     "The inbox cannot be reached."_s));
        QVERIFY(shows(titles, { u"Before"_s }));
        for (const auto& state : { u"[value=done]"_s, u"[value=open]"_s }) {
            QVERIFY(browser->click(state));
            QVERIFY(browser->waitForText(u"#problem"_s, u"The branches could not be loaded."_s));
            QVERIFY(browser->waitUntil(u"document.querySelector('[aria-busy=true]') === null"_s));
        }
        QVERIFY(inbox->start());
        inbox->post(branchOf(u"Meanwhile"_s));
        QVERIFY(shows(titles, { u"Meanwhile"_s, u"Before"_s }));
        QVERIFY(shows(u"#connection"_s, { QString() }));
    }

    void comesBackAfterSigningInAnew()
    {
        expected = { u"401"_s };
        inbox->run({ u"accounts"_s, u"password"_s, u"owner"_s }, "correct horse battery\n");
        inbox->post(branchOf(u"Water the ferns"_s));
        QVERIFY(openSignedIn());
        QVERIFY(shows(titles, { u"Water the ferns"_s }));
        QVERIFY(browser->type(u"#search"_s, u"ferns"_s));
        QVERIFY(browser->waitUntil(u"location.search === '?state=open&search=ferns' || "
                                   "location.search === '?search=ferns'"_s));
        endSession();
        browser->evaluate(noticeIt);
        QVERIFY(browser->type(u"#account"_s, u"owner"_s));
        QVERIFY(browser->type(u"#password"_s, u"correct horse battery"_s + keys::enter));
        QVERIFY(shows(titles, { u"Water the ferns"_s }));
        QCOMPARE(QUrlQuery(browser->address()).queryItemValue(u"search"_s), u"ferns"_s);
    }

private:
    bool hasFocus(const QString& title)
    {
        return browser->waitUntil(
            u"document.activeElement.querySelector('h2')?.textContent === arguments[0]"_s,
            { title });
    }

    void choose(const QString& selector, const QString& value)
    {
        browser->evaluate(u"((list) => { list.value = arguments[1]; "
                          "list.dispatchEvent(new Event('change')); })"
                          "(document.querySelector(arguments[0]))"_s,
                          { selector, value });
    }

    /// The page may have noticed by itself that the session has ended, and be gone.
    const QString noticeIt = u"document.querySelector('[data-control=done]')?.click()"_s;
    const QString titles = u".feed > article h2"_s;
    const QString firstTitle = u".feed > article h2"_s;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::BranchesPageTest)
#include "BranchesPageTest.moc"
