#include "tests/inbox/page/PageTest.h"

namespace quibel::inbox {

using namespace testing;

/// Both pages with nothing but keys.
class KeyboardPageTest : public PageTest
{
    Q_OBJECT

private Q_SLOTS:
    void goesThroughTheBranches()
    {
        openThree();
        QVERIFY(browser->press(u"j"_s));
        QVERIFY(isAt(u"Third"_s));
        QVERIFY(browser->press(u"jj"_s));
        QVERIFY(isAt(u"First"_s));
        QVERIFY(browser->press(u"j"_s));
        QVERIFY(isAt(u"First"_s));
        QVERIFY(browser->press(u"k"_s + keys::up + keys::down));
        QVERIFY(isAt(u"Second"_s));
    }

    void doesEverythingToABranch()
    {
        inbox->run({ u"projects"_s, u"add"_s, u"Garden"_s });
        openThree();
        QVERIFY(browser->press(u"je"_s));
        QVERIFY(shows(titles, { u"Second"_s, u"First"_s }));
        QVERIFY(isAt(u"Second"_s));
        QVERIFY(browser->press(u"#"_s));
        QVERIFY(shows(titles, { u"First"_s }));
        QVERIFY(isAt(u"First"_s));
        QVERIFY(browser->press(u"z"_s));
        QVERIFY(shows(titles, { u"Second"_s, u"First"_s }));
        QVERIFY(browser->press(keys::control + u"z"_s));
        QVERIFY(shows(titles, { u"Third"_s, u"Second"_s, u"First"_s }));
        QVERIFY(isAt(u"First"_s));

        QVERIFY(browser->press(u"m"_s));
        QVERIFY(browser->waitFor(u"#move[open]"_s));
        QVERIFY(browser->press(keys::down + keys::enter));
        QVERIFY(browser->waitForText(u"article:last-of-type .of-project"_s, u"Garden"_s));
        QVERIFY(isAt(u"First"_s));
        QVERIFY(browser->press(keys::remove));
        QVERIFY(shows(titles, { u"Third"_s, u"Second"_s }));
        QVERIFY(isAt(u"Second"_s));
    }

    void opensAndClosesThePicture_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("o") << u"o"_s;
        QTest::newRow("Enter") << keys::enter;
    }
    void opensAndClosesThePicture()
    {
        QFETCH(QString, key);
        openThree();
        QVERIFY(browser->press(u"j"_s + key));
        QVERIFY(browser->waitFor(u"#picture[open]"_s));
        QVERIFY(browser->press(keys::escape));
        QVERIFY(browser->waitUntil(u"!document.querySelector('#picture').open"_s));
        QVERIFY(isAt(u"Third"_s));
    }

    void searchesFromAnywhereAndUndoesFromTheBar()
    {
        openThree();
        QVERIFY(browser->press(u"j#"_s));
        QVERIFY(shows(titles, { u"Second"_s, u"First"_s }));
        // The bar is behind everything else in the order of the Tab key.
        browser->evaluate(
            u"document.querySelector('article:last-of-type [data-control=delete]').focus()"_s);
        QVERIFY(browser->press(keys::tab + keys::enter));
        QVERIFY(shows(titles, { u"Third"_s, u"Second"_s, u"First"_s }));
        QVERIFY(browser->press(u"/seco"_s));
        QVERIFY(shows(titles, { u"Second"_s }));
    }

    void takesLettersInAFieldOrWithAModifierForWhatTheyAre()
    {
        openThree();
        const auto before = inbox->run({ u"branches"_s });
        QVERIFY(browser->press(u"j"_s + keys::alt + u"e"_s));
        QVERIFY(browser->press(keys::control + u"e"_s));
        QVERIFY(browser->press(u"/e#mzj"_s));
        QCOMPARE(browser->evaluate(u"document.querySelector('#search').value"_s).toString(),
                 u"e#mzj"_s);
        QVERIFY(browser->waitForText(u"#empty"_s, u"Nothing found"_s));
        QVERIFY(!browser->evaluate(u"document.querySelector('dialog[open]') !== null"_s).toBool());
        QCOMPARE(inbox->run({ u"branches"_s }), before);
        QVERIFY(browser->evaluate(u"document.querySelector('#undo').hidden"_s).toBool());
    }

    void showsItsKeysAndLetsSingleLettersBeSwitchedOff()
    {
        openThree();
        QVERIFY(browser->press(u"?"_s));
        QVERIFY(browser->waitForText(u"#keys[open]"_s, u"takes the last change back"_s));
        QVERIFY(browser->click(u"#letters"_s));
        QVERIFY(browser->press(keys::escape));
        QVERIFY(browser->waitUntil(u"!document.querySelector('#keys').open"_s));
        QVERIFY(browser->press(u"j"_s));
        QVERIFY(
            browser->evaluate(u"document.activeElement.closest('article') === null"_s).toBool());
        QVERIFY(browser->click(u"#show-keys"_s));
        QVERIFY(browser->click(u"#letters"_s));
        QVERIFY(browser->press(keys::escape + u"j"_s));
        QVERIFY(isAt(u"Third"_s));
    }

    void makesKeysAndProjectsAndPutsThemInOrder()
    {
        inbox->run({ u"projects"_s, u"add"_s, u"Garden"_s });
        inbox->run({ u"projects"_s, u"add"_s, u"Thesis"_s });
        QVERIFY(openSignedIn(u"/settings"_s));
        QVERIFY(shows(projects, { u"Garden"_s, u"Thesis"_s }));
        QVERIFY(tabTo(u"#create-key input"_s));
        QVERIFY(browser->press(u"Laptop"_s + keys::enter));
        QVERIFY(browser->waitFor(u"#new-key-text"_s));
        QVERIFY(tabTo(u"#project-list [data-control=down]"_s));
        QVERIFY(browser->press(keys::enter));
        QVERIFY(shows(projects, { u"Thesis"_s, u"Garden"_s }));
        QVERIFY(browser->waitUntil(
            u"document.activeElement.getAttribute('aria-label') === 'Move Garden down'"_s));
        QVERIFY(tabTo(u"[aria-label='Rename Garden']"_s));
        QVERIFY(browser->press(keys::enter + u"Back garden"_s + keys::enter));
        QVERIFY(shows(projects, { u"Thesis"_s, u"Back garden"_s }));
        QVERIFY(tabTo(u"[aria-label='Archive Back garden']"_s));
        QVERIFY(browser->press(keys::enter));
        QVERIFY(shows(u"#archived-list strong"_s, { u"Back garden"_s }));

        QVERIFY(browser->open(inbox->url(u"/settings"_s)));
        QVERIFY(shows(u"#key-list strong"_s, { u"Agent"_s, u"Laptop"_s }));
        QVERIFY(tabTo(u"[aria-label='Revoke the key Laptop']"_s));
        QVERIFY(browser->press(keys::enter));
        QVERIFY(browser->waitFor(u"#confirm[open]"_s));
        QVERIFY(tabTo(u"#confirm .danger"_s));
        QVERIFY(browser->press(keys::enter));
        QVERIFY(shows(u"#key-list strong"_s, { u"Agent"_s }));
    }

private:
    void openThree()
    {
        for (const auto& title : { u"First"_s, u"Second"_s })
            inbox->post(branchOf(title));
        QVERIFY(inbox->attach(inbox->post(branchOf(u"Third"_s)), windowPicture(3, { 64, 40 })));
        QVERIFY(openSignedIn());
        QVERIFY(shows(titles, { u"Third"_s, u"Second"_s, u"First"_s }));
        QVERIFY(browser->waitFor(u".thumbnail"_s));
    }

    bool isAt(const QString& title)
    {
        return browser->waitUntil(
            u"document.activeElement.matches('article') && "
            "document.activeElement.querySelector('h2').textContent === arguments[0]"_s,
            { title });
    }

    /// Presses Tab until the focus is there.
    bool tabTo(const QString& selector)
    {
        const auto arrived = u"document.activeElement.matches(arguments[0])"_s;
        for (int i = 0; i < 80 && !browser->evaluate(arrived, { selector }).toBool(); ++i)
            if (!browser->press(keys::tab))
                return false;
        return browser->evaluate(arrived, { selector }).toBool();
    }

    const QString titles = u".feed > article h2"_s;
    const QString projects = u"#project-list strong"_s;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::KeyboardPageTest)
#include "KeyboardPageTest.moc"
