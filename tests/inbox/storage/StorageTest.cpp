#include "tests/inbox/storage/BothDatabasesTest.h"

#include <QDateTime>

namespace quibel::inbox {

using namespace testing;

class StorageTest : public BothDatabasesTest
{
    Q_OBJECT

private Q_SLOTS:
    void hasOneAccountAtFirst()
    {
        const QList<Account> expected { { .id = owner, .name = u"owner"_s } };
        QCOMPARE(value(storage->accounts.all()), expected);
    }

    void knowsAccountsByNameAndID()
    {
        const auto id = value(storage->accounts.add(u"Zoë ' ?"_s));
        QVERIFY(id.has_value());
        const Account zoe { .id = *id, .name = u"Zoë ' ?"_s };
        QCOMPARE(value(storage->accounts.named(zoe.name)), zoe);
        QCOMPARE(value(storage->accounts.withID(*id)), zoe);
        QVERIFY(!value(storage->accounts.named(u"zoë ' ?"_s)).has_value());
        QVERIFY(!value(storage->accounts.withID(u""_s)).has_value());
        QCOMPARE(value(storage->accounts.all()).last(), zoe);
        QVERIFY(!value(storage->accounts.add(zoe.name)).has_value());
        QCOMPARE(value(storage->accounts.all()).size(), 2);
    }

    void keepsWhatAPasswordIsCheckedAgainst()
    {
        QVERIFY(!value(storage->accounts.passwordHash(owner)).has_value());
        QVERIFY(!storage->accounts.setPasswordHash(owner, u"$argon2id$x"_s));
        QCOMPARE(value(storage->accounts.passwordHash(owner)), u"$argon2id$x"_s);
        QVERIFY(value(storage->accounts.named(u"owner"_s))->hasPassword);
        QVERIFY(storage->accounts.setPasswordHash(u"none"_s, u"x"_s).has_value());
        QVERIFY(!value(storage->accounts.passwordHash(u"none"_s)).has_value());
    }

    void knowsWhoseAKeyIs()
    {
        QVERIFY(!value(storage->keys.any()));
        const auto other = *value(storage->accounts.add(u"other"_s));
        const auto desk = value(storage->keys.add(owner, u"desk"_s, "h1"));
        const auto lap = value(storage->keys.add(other, u"lap"_s, "h2"));
        QVERIFY(value(storage->keys.any()));
        QCOMPARE(value(storage->keys.use("h1")), owner);
        QCOMPARE(value(storage->keys.use("h2")), other);
        QVERIFY(!value(storage->keys.use("h3")).has_value());
        QVERIFY(!value(storage->keys.use("")).has_value());
        (void)failure(storage->keys.add(owner, u"again"_s, "h1"));
        QCOMPARE(value(storage->keys.ofAccount(owner)).size(), 1);

        QVERIFY(!value(storage->keys.revoke(owner, lap)));
        QVERIFY(value(storage->keys.revoke(owner, desk)));
        QVERIFY(!value(storage->keys.revoke(owner, desk)));
        QVERIFY(!value(storage->keys.use("h1")).has_value());
        QCOMPARE(value(storage->keys.use("h2")), other);
    }

    void notesTheLastUseOfAKeyOnceAMinute()
    {
        (void)value(storage->keys.add(owner, u"desk"_s, "h1"));
        auto key = value(storage->keys.ofAccount(owner)).first();
        QVERIFY(QDateTime::fromString(key.createdAt, Qt::ISODateWithMs).isValid());
        QVERIFY(!key.lastUsedAt.has_value());
        useKey();
        key = value(storage->keys.ofAccount(owner)).first();
        const auto used = QDateTime::fromString(*key.lastUsedAt, Qt::ISODate);
        QVERIFY(qAbs(used.secsTo(QDateTime::currentDateTimeUtc())) < 120);
        QCOMPARE(used.time().second(), 0);
        QVERIFY(key.lastUsedAt->endsWith(u'Z'));

        (void)value(database->change(u"UPDATE keys SET last_used_at = ?"_s, { u"long ago"_s }));
        useKey();
        QVERIFY(value(storage->keys.ofAccount(owner)).first().lastUsedAt != u"long ago"_s);
    }

    void writesNothingWhenAKeyIsUsedAgainWithinAMinute()
    {
        (void)value(storage->keys.add(owner, u"desk"_s, "h1"));
        // Not at the end of a minute.
        QTRY_VERIFY_WITH_TIMEOUT(QTime::currentTime().second() < 58, 5000);
        useKey();
        const auto before = changes();
        useKey();
        QCOMPARE(changes(), before);
    }

    void listsProjectsInTheOrderOfTheirOwner()
    {
        const auto other = *value(storage->accounts.add(u"other"_s));
        const auto zoo = value(storage->projects.add(owner, u"Zoo"_s));
        (void)value(storage->projects.add(other, u"Theirs"_s));
        const auto attic = value(storage->projects.add(owner, u"Attic"_s));
        const auto garden = value(storage->projects.add(owner, u"Garden"_s));
        QCOMPARE(names(), (QStringList { u"Zoo"_s, u"Attic"_s, u"Garden"_s }));

        QVERIFY(value(storage->projects.moveTo(owner, garden, 0)));
        QCOMPARE(names(), (QStringList { u"Garden"_s, u"Zoo"_s, u"Attic"_s }));
        QVERIFY(value(storage->projects.moveTo(owner, zoo, 99)));
        QCOMPARE(names(), (QStringList { u"Garden"_s, u"Attic"_s, u"Zoo"_s }));
        QVERIFY(value(storage->projects.moveTo(owner, zoo, -1)));
        QCOMPARE(names(), (QStringList { u"Zoo"_s, u"Garden"_s, u"Attic"_s }));
        (void)value(storage->projects.add(owner, u"Last"_s));
        QCOMPARE(names().last(), u"Last"_s);
        QVERIFY(!value(storage->projects.moveTo(other, attic, 0)));
        QVERIFY(!value(storage->projects.moveTo(owner, u"none"_s, 0)));
    }

    void renamesAndArchivesOnlyOnesOwnProjects()
    {
        const auto other = *value(storage->accounts.add(u"other"_s));
        const auto zoo = value(storage->projects.add(owner, u"Zoo"_s));
        QVERIFY(value(storage->projects.has(owner, zoo)));
        QVERIFY(!value(storage->projects.has(other, zoo)));
        QVERIFY(!value(storage->projects.rename(other, zoo, u"Taken"_s)));
        QVERIFY(!value(storage->projects.setArchived(other, zoo, true)));
        QVERIFY(value(storage->projects.rename(owner, zoo, u"Animals"_s)));
        QVERIFY(value(storage->projects.setArchived(owner, zoo, true)));
        const QList<StoredProject> expected { { zoo, u"Animals"_s, true } };
        QCOMPARE(value(storage->projects.ofAccount(owner)), expected);
        QVERIFY(value(storage->projects.has(owner, zoo)));
        QVERIFY(value(storage->projects.setArchived(owner, zoo, false)));
        QVERIFY(!value(storage->projects.ofAccount(owner)).first().archived);
    }

    void knowsWhoIsSignedIn()
    {
        QVERIFY(!storage->sessions.begin(owner, "s1"));
        QVERIFY(!storage->sessions.begin(owner, "s2"));
        QCOMPARE(value(storage->sessions.use("s1"))->name, u"owner"_s);
        QVERIFY(!value(storage->sessions.use("s3")).has_value());
        QVERIFY(!storage->sessions.end("s1"));
        QVERIFY(!value(storage->sessions.use("s1")).has_value());
        QVERIFY(value(storage->sessions.use("s2")).has_value());
        QVERIFY(!storage->sessions.endAll(owner));
        QVERIFY(!value(storage->sessions.use("s2")).has_value());
    }

    void endsASessionThatIsNotUsed()
    {
        QVERIFY(!storage->sessions.begin(owner, "s1"));
        lastUse("s1", Sessions::lifetime - std::chrono::minutes(1));
        QVERIFY(value(storage->sessions.use("s1")).has_value());
        // That was a use, so it lives on.
        lastUse("s1", Sessions::lifetime + std::chrono::minutes(1));
        QVERIFY(!value(storage->sessions.use("s1")).has_value());
        QVERIFY(!storage->sessions.begin(owner, "s2"));
        QCOMPARE(value(database->rows(u"SELECT sha256 FROM sessions"_s)).size(), 1);
    }

    void notesTheUseOfASessionOnceAnHour()
    {
        QVERIFY(!storage->sessions.begin(owner, "s1"));
        lastUse("s1", std::chrono::minutes(59));
        auto before = changes();
        useSession();
        QCOMPARE(changes(), before);
        lastUse("s1", std::chrono::minutes(61));
        before = changes();
        useSession();
        QVERIFY(changes() != before);
    }

    void signsInOnceByALink()
    {
        QVERIFY(!storage->sessions.addLink(owner, "l1"));
        QCOMPARE(value(storage->sessions.takeLink("l1")), owner);
        QVERIFY(!value(storage->sessions.takeLink("l1")).has_value());
        QVERIFY(!value(storage->sessions.takeLink("l2")).has_value());
    }

    void takesNoLinkThatIsTooOld()
    {
        QVERIFY(!storage->sessions.addLink(owner, "l1"));
        const auto old = QDateTime::currentDateTimeUtc().addSecs(-5 * 60 - 1);
        (void)value(database->change(u"UPDATE sign_in_links SET created_at = ?"_s,
                                     { old.toString(Qt::ISODateWithMs) }));
        QVERIFY(!value(storage->sessions.takeLink("l1")).has_value());
        QVERIFY(!storage->sessions.addLink(owner, "l2"));
        QCOMPARE(value(database->rows(u"SELECT sha256 FROM sign_in_links"_s)).size(), 1);
    }

    void remembersSettings()
    {
        QVERIFY(!value(storage->settings.value(u"port"_s)).has_value());
        QVERIFY(!storage->settings.setValue(u"port"_s, u"1"_s));
        QVERIFY(!storage->settings.setValue(u"port"_s, u"2"_s));
        QVERIFY(!storage->settings.setValue(u"empty"_s, {}));
        QCOMPARE(value(storage->settings.value(u"port"_s)), u"2"_s);
        QCOMPARE(value(storage->settings.value(u"empty"_s)), u""_s);
    }

private:
    void useKey()
    {
        QVERIFY(value(storage->keys.use("h1")).has_value());
        QVERIFY(!storage->keys.noteUses());
    }
    void useSession()
    {
        QVERIFY(value(storage->sessions.use("s1")).has_value());
        QVERIFY(!storage->sessions.noteUses());
    }
    QStringList names()
    {
        QStringList list;
        const auto projects = value(storage->projects.ofAccount(owner));
        for (const auto& project : projects)
            list.append(project.name);
        return list;
    }

    void lastUse(const QByteArray& session, std::chrono::seconds ago)
    {
        const auto then = QDateTime::currentDateTimeUtc().addSecs(-ago.count());
        QCOMPARE(value(database->change(
                     u"UPDATE sessions SET used_at = ? WHERE sha256 = ?"_s,
                     { then.toString(Qt::ISODateWithMs), QString::fromLatin1(session) })),
                 1);
    }

    /// Grows with every row that this connection writes.
    QVariant changes()
    {
        QFETCH_GLOBAL(BothDatabases::Kind, kind);
        return value(database->rows(kind == BothDatabases::Kind::sqlite
                                        ? u"SELECT total_changes()"_s
                                        : u"SELECT max(CAST(CAST(xmin AS text) AS bigint)) FROM "
                                          u"(SELECT xmin FROM keys UNION ALL "
                                          u"SELECT xmin FROM sessions) AS rows"_s))
            .first()
            .first();
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::StorageTest)
#include "StorageTest.moc"
