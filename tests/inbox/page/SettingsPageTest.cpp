#include "tests/inbox/page/PageTest.h"

namespace quibel::inbox {

using namespace testing;

/// Keys, projects, and how to connect the agent.
class SettingsPageTest : public PageTest
{
    Q_OBJECT

private Q_SLOTS:
    void showsANewKeyOnceAndItWorksUntilItIsRevoked()
    {
        inbox->run({ u"projects"_s, u"add"_s, u"Garden"_s });
        QVERIFY(openSignedIn(u"/settings"_s));
        QVERIFY(browser->type(u"#create-key input"_s, u"Laptop"_s));
        QVERIFY(browser->click(u"#create-key button"_s));
        QVERIFY(browser->waitFor(u"#new-key-text"_s));
        const auto key = valueOf(u"#new-key-text"_s);
        QVERIFY(browser->text(u"#new-key"_s).contains(u"shown this once"_s));
        QCOMPARE(inbox->projectsOf(key), { u"Garden"_s });

        browser->command(
            u"Browser.grantPermissions"_s,
            { { u"permissions"_s,
                QJsonArray { u"clipboardReadWrite"_s, u"clipboardSanitizedWrite"_s } } });
        QVERIFY(browser->click(u"#new-key button"_s));
        QVERIFY(browser->waitForText(u"#new-key button"_s, u"Copied"_s));
        QCOMPARE(browser->evaluate(u"navigator.clipboard.readText()"_s).toString(), key);

        QVERIFY(browser->open(inbox->url(u"/settings"_s)));
        QVERIFY(shows(u"#key-list strong"_s, { u"Agent"_s, u"Laptop"_s }));
        QVERIFY(browser->text(u"#key-list li:last-child"_s).contains(u"last used just now"_s));
        QVERIFY(
            !browser->evaluate(u"document.documentElement.outerHTML"_s).toString().contains(key));

        QVERIFY(browser->click(u"#key-list li:last-child button"_s));
        QVERIFY(browser->waitForText(u"#confirm[open]"_s, u"Revoke the key “Laptop”?"_s));
        QVERIFY(browser->click(u"#confirm button:last-child"_s));
        QVERIFY(browser->waitUntil(u"!document.querySelector('#confirm').open"_s));
        QCOMPARE(inbox->projectsOf(key), { u"Garden"_s });
        QVERIFY(browser->click(u"#key-list li:last-child button"_s));
        QVERIFY(browser->click(u"#confirm .danger"_s));
        QVERIFY(shows(u"#key-list strong"_s, { u"Agent"_s }));
        QCOMPARE(inbox->projectsOf(key), { u"401"_s });
    }

    void makesRenamesOrdersAndArchivesProjects()
    {
        const auto key = inbox->run({ u"keys"_s, u"create"_s });
        QVERIFY(openSignedIn(u"/settings"_s));
        QVERIFY(browser->waitForText(u"#no-projects:not([hidden])"_s, u"no projects"_s));
        for (const auto& name : { u"Garden"_s, u"Thesis"_s, u"House"_s }) {
            QVERIFY(browser->type(u"#create-project input"_s, name));
            QVERIFY(browser->click(u"#create-project button"_s));
            QVERIFY(browser->waitFor(u"[aria-label='Rename %1']"_s.arg(name)));
        }
        QVERIFY(browser->click(u"[aria-label='Move House up']"_s));
        QVERIFY(shows(projects, { u"Garden"_s, u"House"_s, u"Thesis"_s }));
        QVERIFY(browser->click(u"[aria-label='Move Garden down']"_s));
        QVERIFY(shows(projects, { u"House"_s, u"Garden"_s, u"Thesis"_s }));
        QCOMPARE(inbox->projectsOf(key), QStringList({ u"House"_s, u"Garden"_s, u"Thesis"_s }));

        QVERIFY(browser->click(u"[aria-label='Archive Garden']"_s));
        QVERIFY(shows(u"#archived-list strong"_s, { u"Garden"_s }));
        QCOMPARE(inbox->projectsOf(key), QStringList({ u"House"_s, u"Thesis"_s }));
        // Past the archived one, which keeps a place between them.
        QVERIFY(browser->click(u"[aria-label='Move Thesis up']"_s));
        QVERIFY(shows(projects, { u"Thesis"_s, u"House"_s }));
        QVERIFY(browser->click(u"[aria-label='Bring Garden back']"_s));
        QVERIFY(browser->waitFor(u"#project-list [aria-label='Rename Garden']"_s));

        QVERIFY(browser->click(u"[aria-label='Rename Thesis']"_s));
        QVERIFY(browser->press(u"Nothing"_s + keys::escape));
        QVERIFY(browser->waitFor(u"[aria-label='Rename Thesis']"_s));
        QVERIFY(browser->click(u"[aria-label='Rename Thesis']"_s));
        QVERIFY(browser->press(u"Doctoral thesis"_s));
        // A change elsewhere leaves the typing alone.
        inbox->run({ u"projects"_s, u"add"_s, u"Attic"_s });
        QVERIFY(
            browser->evaluate(u"document.dispatchEvent(new Event('visibilitychange')) || true"_s)
                .toBool());
        QVERIFY(browser->waitFor(u"[aria-label='Rename Attic']"_s));
        QVERIFY(browser->press(u"!"_s + keys::enter));
        QVERIFY(browser->waitFor(u"[aria-label='Rename Doctoral thesis!']"_s));
        QVERIFY(inbox->projectsOf(key).contains(u"Doctoral thesis!"_s));
    }

    void offersArchivedProjectsApart()
    {
        inbox->run({ u"projects"_s, u"add"_s, u"Garden"_s });
        inbox->run({ u"projects"_s, u"add"_s, u"Thesis"_s });
        QVERIFY(openSignedIn(u"/settings"_s));
        QVERIFY(browser->click(u"[aria-label='Archive Garden']"_s));
        QVERIFY(browser->waitFor(u"[aria-label='Bring Garden back']"_s));
        QVERIFY(browser->open(inbox->url(u"/"_s)));
        QVERIFY(shows(u"#project > option"_s, { u"All projects"_s, u"No project"_s, u"Thesis"_s }));
        QVERIFY(shows(u"#project > optgroup[label=Archived] > option"_s, { u"Garden"_s }));
    }

    void tellsTheAgentsBaseURL()
    {
        QVERIFY(openSignedIn(u"/settings"_s));
        const auto url = inbox->url().toString();
        QVERIFY(browser->waitUntil(u"document.querySelector('#base-url').value === arguments[0]"_s,
                                   { url }));
        QVERIFY(
            browser->text(u"#preference"_s).contains(u"\"quibel.apiBaseURL\": \""_s + url + u'"'));
        QVERIFY(browser->text(u"#environment"_s).contains(u"QUIBEL_API_BASE_URL="_s + url + u' '));
    }

    void keepsWhatWasTypedWhenItIsRefusedOrTheSessionHasEnded()
    {
        expected = { u"400"_s, u"401"_s };
        inbox->run({ u"accounts"_s, u"password"_s, u"owner"_s }, "correct horse battery\n");
        QVERIFY(openSignedIn(u"/settings"_s));
        QVERIFY(browser->type(u"#create-project input"_s, u"   "_s));
        QVERIFY(browser->click(u"#create-project button"_s));
        QVERIFY(browser->waitForText(u"#problem"_s, u"No project was made. "_s));
        QCOMPARE(valueOf(u"#create-project input"_s), u"   "_s);

        QVERIFY(browser->type(u"#create-project input"_s, u"Garden"_s));
        endSession();
        // The page may have noticed by itself, and be gone.
        browser->evaluate(u"document.querySelector('#create-project button')?.click()"_s);
        QVERIFY(browser->type(u"#account"_s, u"owner"_s));
        QVERIFY(browser->type(u"#password"_s, u"correct horse battery"_s + keys::enter));
        QVERIFY(browser->waitFor(u"#create-project"_s));
        QCOMPARE(browser->address(), inbox->url(u"/settings"_s));
        QVERIFY(browser->waitUntil(
            u"document.querySelector('#create-project input').value.trim() === 'Garden'"_s));
    }

    void signsOut()
    {
        expected = { u"401"_s };
        QVERIFY(openSignedIn(u"/settings"_s));
        QVERIFY(browser->waitForText(u"#who"_s, u"Signed in as owner"_s));
        QVERIFY(browser->click(u"#sign-out"_s));
        QVERIFY(browser->waitFor(u"#sign-in"_s));
        QVERIFY(browser->open(inbox->url(u"/settings"_s)));
        QCOMPARE(browser->address().path(), u"/sign-in"_s);
    }

private:
    QString valueOf(const QString& selector)
    {
        return browser->evaluate(u"document.querySelector(arguments[0]).value"_s, { selector })
            .toString();
    }

    const QString projects = u"#project-list strong"_s;
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::SettingsPageTest)
#include "SettingsPageTest.moc"
