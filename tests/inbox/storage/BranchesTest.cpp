#include "tests/inbox/agent/SampleDocuments.h"
#include "tests/inbox/storage/BothDatabasesTest.h"

#include <QDateTime>
#include <QSize>

namespace quibel::inbox {

using namespace testing;
using namespace std::chrono_literals;

namespace {

constexpr QSize size(40, 30);

} // namespace

class BranchesTest : public BothDatabasesTest
{
    Q_OBJECT

private Q_SLOTS:
    void givesABranchBackAsItWasSent()
    {
        const auto garden = value(storage->projects.add(owner, u"Garden"_s));
        auto full = sampleDocument(u"'; DROP TABLE branches; -- ? \\' 𝄞\n\"$1"_s);
        full.projectID = garden;
        full.windowTitle = u"notes"_s;
        full.appName = u"Éditeur"_s;
        const auto id = add(full);
        const auto list = all();
        QCOMPARE(list.size(), 1);
        const auto& branch = list.first();
        QCOMPARE(branch.id, id);
        QVERIFY(branch.document == full);
        QCOMPARE(branch.projectName, u"Garden"_s);
        QVERIFY(QDateTime::fromString(branch.receivedAt, Qt::ISODateWithMs).isValid());
        QVERIFY(branch.receivedAt.endsWith(u'Z'));
        QVERIFY(!branch.done);
        QVERIFY(!branch.deleted);
        QVERIFY(!branch.likelyDouble);
        QVERIFY(branch.screenshots.isEmpty());
        const auto one = value(storage->branches.one(owner, id));
        QVERIFY(one->document == full);
        QCOMPARE(one->number, branch.number);
    }

    void keepsWhatIsAbsentApartFromWhatIsEmpty()
    {
        auto empty = sampleDocument(u"x"_s);
        empty.windowTitle = u""_s;
        add(empty);
        add(sampleDocument(u"y"_s));
        const auto list = all();
        QVERIFY(!list.first().document.windowTitle.has_value());
        QVERIFY(!list.first().document.projectID.has_value());
        QVERIFY(list.last().document.windowTitle.has_value());
    }

    void listsBranchesNewestFirstAndPageByPage()
    {
        QStringList ids;
        for (int i = 0; i < 20; ++i)
            ids.prepend(add(sampleDocument(QString::number(i))));
        QStringList found;
        BranchQuery query { .accountID = owner, .limit = 7 };
        for (;;) {
            const auto page = value(storage->branches.find(query));
            QVERIFY(page.size() <= 7);
            for (const auto& branch : page)
                found.append(branch.id);
            if (page.isEmpty())
                break;
            query.before = page.last().number;
        }
        QCOMPARE(found, ids);
    }

    void keepsAccountsApart()
    {
        const auto mine = add(sampleDocument(u"mine"_s));
        const auto other = addOther();
        const auto theirs = value(storage->branches.add(other, sampleDocument(u"theirs"_s)));
        QCOMPARE(found({ .accountID = owner }), QStringList { u"mine"_s });
        QCOMPARE(found({ .accountID = owner, .search = u"theirs"_s }), QStringList());
        QVERIFY(value(storage->branches.has(owner, mine)));
        QVERIFY(!value(storage->branches.has(owner, theirs)));
        QVERIFY(!value(storage->branches.one(owner, theirs)).has_value());
        QVERIFY(!value(storage->branches.setDone(owner, theirs, true)));
        QVERIFY(!value(storage->branches.setDeleted(owner, theirs, true)));
        QVERIFY(!value(storage->branches.setProject(owner, theirs, {})));
        QVERIFY(!value(storage->branches.one(other, theirs))->done);
    }

    void refusesAProjectOfSomebodyElse()
    {
        const auto other = addOther();
        const auto theirs = value(storage->projects.add(other, u"Theirs"_s));
        auto document = sampleDocument(u"x"_s);
        for (const auto& project : { theirs, u"none"_s }) {
            document.projectID = project;
            (void)failure(storage->branches.add(owner, document));
            const auto id = add(sampleDocument(u"y"_s));
            (void)failure(storage->branches.setProject(owner, id, project));
        }
        QCOMPARE(all().size(), 2);
    }

    void findsByStateAndProject()
    {
        const auto garden = value(storage->projects.add(owner, u"Garden"_s));
        const auto attic = value(storage->projects.add(owner, u"Attic"_s));
        const auto a = add(sampleDocument(u"a"_s));
        const auto b = add(sampleDocument(u"b"_s));
        const auto c = add(sampleDocument(u"c"_s));
        QVERIFY(value(storage->branches.setProject(owner, b, garden)));
        QVERIFY(value(storage->branches.setProject(owner, c, garden)));
        QVERIFY(value(storage->branches.setDone(owner, c, true)));
        QVERIFY(value(storage->branches.setDone(owner, a, true)));

        using State = BranchQuery::State;
        const BranchQuery::NoProject none;
        QCOMPARE(found({ .accountID = owner }), QStringList { u"b"_s });
        QCOMPARE(found({ .accountID = owner, .state = State::done }),
                 (QStringList { u"c"_s, u"a"_s }));
        QCOMPARE(found({ .accountID = owner, .project = garden, .state = State::any }),
                 (QStringList { u"c"_s, u"b"_s }));
        QCOMPARE(found({ .accountID = owner, .project = none, .state = State::any }),
                 QStringList { u"a"_s });
        QCOMPARE(found({ .accountID = owner, .project = attic, .state = State::any }),
                 QStringList());
        QVERIFY(value(storage->branches.setProject(owner, b, {})));
        QVERIFY(value(storage->branches.setDone(owner, c, false)));
        QCOMPARE(found({ .accountID = owner, .project = garden }), QStringList { u"c"_s });
        QCOMPARE(value(storage->branches.one(owner, c))->projectName, u"Garden"_s);
    }

    void hidesWhatIsDeletedUntilThatIsUndone()
    {
        const auto id = add(sampleDocument(u"x"_s));
        QVERIFY(value(storage->branches.setDeleted(owner, id, true)));
        QVERIFY(all().isEmpty());
        QCOMPARE(found({ .accountID = owner, .search = u"x"_s }), QStringList());
        QVERIFY(value(storage->branches.has(owner, id)));
        QVERIFY(value(storage->branches.one(owner, id))->deleted);
        QVERIFY(value(storage->branches.setDeleted(owner, id, false)));
        QCOMPARE(all().first().id, id);
        QCOMPARE(found({ .accountID = owner, .search = u"x"_s }), QStringList { u"x"_s });
    }

    void marksLikelyDoubles()
    {
        const auto document = sampleDocument(u"twice"_s);
        const auto first = add(document);
        const auto isDouble = [&](const QString& id) {
            return value(storage->branches.one(owner, id))->likelyDouble;
        };
        auto elsewhere = document;
        elsewhere.windowTitle = u""_s;
        add(elsewhere);
        auto later = document;
        later.capturedAt = u"2026-11-15T22:24:39Z"_s;
        add(later);
        auto moved = document;
        std::swap(moved.appName, moved.summary);
        add(moved);
        const auto other = addOther();
        (void)value(storage->branches.add(other, document));
        QVERIFY(!isDouble(first));

        const auto second = add(document);
        QVERIFY(isDouble(first));
        QVERIFY(isDouble(second));
        QVERIFY(value(storage->branches.setDeleted(owner, first, true)));
        QVERIFY(!isDouble(second));
    }

    void keepsEqualPicturesOnce()
    {
        const auto one = add(sampleDocument(u"one"_s));
        const auto two = add(sampleDocument(u"two"_s));
        // Every byte, among them those that a text could not hold.
        QByteArray picture(512, '\0');
        for (int i = 0; i < picture.size(); ++i)
            picture[i] = static_cast<char>(i);
        const auto another = samplePng(size, 11);
        (void)value(storage->screenshots.add(sampleShot(one, picture), size));
        const auto id = value(storage->screenshots.add(sampleShot(two, picture), size));
        (void)value(storage->screenshots.add(sampleShot(two, another), size));

        const auto list = all();
        const auto& ofTwo = list.first().screenshots;
        QCOMPARE(ofTwo.size(), 2);
        QCOMPARE(ofTwo.first().id, id);
        QCOMPARE(ofTwo.first().sha256, list.last().screenshots.first().sha256);
        QCOMPARE(QSize(ofTwo.first().width, ofTwo.first().height), size);
        QCOMPARE(ofTwo.last().byteSize, another.size());
        QCOMPARE(ofTwo.last().captureType, u"active_window"_s);
        QCOMPARE(ofTwo.last().capturedAt, u"2026-11-15T22:24:39Z"_s);
        QCOMPARE(value(storage->screenshots.picture(owner, ofTwo.first().sha256)), picture);
        QCOMPARE(value(storage->screenshots.picture(owner, ofTwo.last().sha256)), another);
        const auto other = addOther();
        QVERIFY(!value(storage->screenshots.picture(other, ofTwo.last().sha256)).has_value());
        QVERIFY(!value(storage->screenshots.picture(owner, u"none"_s)).has_value());
        QCOMPARE(count(u"pictures"_s), 2);
    }

    void keepsNothingOfAScreenshotWithoutItsBranch()
    {
        (void)failure(storage->screenshots.add(sampleShot(u"none"_s, samplePng(size)), size));
        QCOMPARE(count(u"pictures"_s), 0);
        const auto branch = add(sampleDocument(u"goes on"_s));
        (void)value(storage->screenshots.add(sampleShot(branch, samplePng(size, 99)), size));
        QCOMPARE(count(u"pictures"_s), 1);
    }

    void purgesWhatWasDeletedLongAgo()
    {
        const auto kept = add(sampleDocument(u"kept"_s));
        const auto gone = add(sampleDocument(u"gone"_s));
        const auto recent = add(sampleDocument(u"recent"_s));
        (void)value(storage->screenshots.add(sampleShot(kept, "shared"), size));
        (void)value(storage->screenshots.add(sampleShot(gone, "shared"), size));
        (void)value(storage->screenshots.add(sampleShot(gone, "alone"), size));
        (void)value(storage->screenshots.add(sampleShot(recent, "recent"), size));
        QVERIFY(value(storage->branches.setDeleted(owner, gone, true)));
        QVERIFY(value(storage->branches.setDeleted(owner, recent, true)));
        (void)value(database->change(u"UPDATE branches SET deleted_at = ? WHERE id = ?"_s,
                                     { u"2020-01-01T00:00:00.000Z"_s, gone }));

        QCOMPARE(value(storage->branches.purge(24h)), 1);
        QVERIFY(value(storage->branches.has(owner, kept)));
        QVERIFY(!value(storage->branches.has(owner, gone)));
        QVERIFY(value(storage->branches.has(owner, recent)));
        QCOMPARE(count(u"pictures"_s), 2);
        QCOMPARE(count(u"screenshots"_s), 2);
        QCOMPARE(found({ .accountID = owner, .search = u"gone"_s }), QStringList());
        QCOMPARE(value(storage->branches.purge(24h)), 0);
    }

    void findsTypedWords_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("fits");
        const auto row
            = [](const char* name, const QString& text, const QString& typed, bool fits) {
                  QTest::newRow(name) << text << typed << fits;
              };
        row("whole word", u"look at the cache"_s, u"cache"_s, true);
        row("beginning", u"look at the cache"_s, u"ca"_s, true);
        row("one letter", u"look at the cache"_s, u"c"_s, true);
        row("not the middle", u"look at the cache"_s, u"ache"_s, false);
        row("all words", u"look at the cache"_s, u"cache look"_s, true);
        row("one word is not there", u"look at the cache"_s, u"cache book"_s, false);
        row("every word is a beginning", u"look at the cache"_s, u"lo ca"_s, true);
        row("case", u"STRASSE Éditeur"_s, u"straße éDITEUR"_s, true);
        row("typed without marks", u"café naïve"_s, u"cafe naive"_s, true);
        row("typed with marks", u"cafe"_s, u"café"_s, true);
        row("decomposed marks", u"cafe\u0301"_s, u"caf\u00e9"_s, true);
        row("full width", u"ＣＡＣＨＥ"_s, u"cache"_s, true);
        row("ligature", u"oﬃce"_s, u"office"_s, true);
        row("Greek final sigma", u"ΟΔΟΣ"_s, u"οδος"_s, true);
        row("Turkish", u"İstanbul"_s, u"istanbul"_s, true);
        row("Cyrillic", u"Привет мир"_s, u"привет"_s, true);
        row("Chinese within a sentence", u"今天天气很好"_s, u"天气"_s, true);
        row("Chinese that is not there", u"今天天气很好"_s, u"明天"_s, false);
        row("Japanese", u"カタカナとひらがな"_s, u"ひらがな"_s, true);
        row("Korean", u"안녕하세요 세계"_s, u"안녕"_s, true);
        row("Thai", u"สวัสดีครับ"_s, u"ครับ"_s, true);
        row("Hindi", u"नमस्ते दुनिया"_s, u"नमस्ते"_s, true);
        row("Gothic, beyond 16 bits", u"𐌰𐌱𐌲 word"_s, u"𐌰𐌱"_s, true);
        row("emoji only", u"no signs"_s, u"🎉🎉"_s, true);
        row("emoji beside a word", u"party🎉time"_s, u"time 🎉"_s, true);
        row("number", u"issue 4711"_s, u"47"_s, true);
        row("letters and digits", u"abc123 1e5 0x1f v2.0"_s, u"abc1 1e5 0x1 v2"_s, true);
        row("address", u"see https://example.org/a_b-c?d=e"_s, u"example org a b c d e"_s, true);
        row("address as typed",
            u"see https://example.org/a_b"_s,
            u"https://example.org/a_b"_s,
            true);
        row("mail", u"to jane.doe@example.org"_s, u"doe@exa"_s, true);
        row("hyphen", u"well-known"_s, u"known"_s, true);
        row("apostrophe", u"don't"_s, u"don't"_s, true);
        row("only blanks", u"x"_s, u"   \t\n"_s, true);
        row("only signs", u"x"_s, u"\"*()-+:^{}'&|!<>%_\\;,?"_s, true);
        row("open quote", u"x cache"_s, u"\"cache"_s, true);
        row("single quote", u"x cache"_s, u"'cache"_s, true);
        row("star first", u"cache"_s, u"*cache"_s, true);
        row("words that are operators", u"this AND that OR NOT NEAR"_s, u"AND OR NOT NEAR"_s, true);
        row("an operator that is not there", u"this that"_s, u"this AND that"_s, false);
        row("column of the index", u"cache"_s, u"words:cache"_s, false);
        row("operators of the other", u"a b"_s, u"a & !b:* <-> (b)"_s, true);
        row("backslashes", u"c:\\temp"_s, u"c:\\te"_s, true);
        row("marks of values", u"what ?"_s, u"what ? $1 :a"_s, false);
        row("alone a mark", u"cafe"_s, u"\u0301"_s, true);
        row("NUL", u"cache"_s, u"ca\0che"_s.left(3), true);
        row("half a letter", u"cache"_s, QString(QChar(0xd83d)) + u"cache"_s, true);
        row("word over the longest", QString(3000, u'a'), QString(1500, u'a'), true);
        row("very long typed text", u"aaaa"_s, u"aaaa "_s.repeated(200'000), true);
        row("many words", u"w1 w2"_s, manyWords(5'000), false);
    }

    void findsTypedWords()
    {
        QFETCH(QString, text);
        QFETCH(QString, typed);
        QFETCH(bool, fits);
        auto document = sampleDocument(u"t"_s);
        document.capturedText = text;
        add(document);
        QCOMPARE(found({ .accountID = owner, .search = typed }).size(), fits ? 1 : 0);
    }

    void searchesWhatThePageShows()
    {
        auto document = sampleDocument(u"alpha"_s);
        document.capturedText = u"beta"_s;
        document.appName = u"gamma"_s;
        document.windowTitle = u"delta"_s;
        document.summary = u"hidden"_s;
        add(document);
        for (const auto& word : { u"alpha"_s, u"beta"_s, u"gamma"_s, u"delta"_s })
            QCOMPARE(found({ .accountID = owner, .search = word }).size(), 1);
        QCOMPARE(found({ .accountID = owner, .search = u"hidden"_s }).size(), 0);
    }

    void searchesWithinTheOtherConditions()
    {
        const auto garden = value(storage->projects.add(owner, u"Garden"_s));
        QStringList expected;
        for (int i = 0; i < 30; ++i) {
            const auto text = u"common %1"_s.arg(i);
            const auto id = add(sampleDocument(text));
            if (i % 2 != 0)
                QVERIFY(value(storage->branches.setProject(owner, id, garden)));
            if (i % 3 != 0)
                QVERIFY(value(storage->branches.setDone(owner, id, true)));
            if (i % 2 != 0 && i % 3 != 0)
                expected.prepend(text);
        }
        BranchQuery query { .accountID = owner,
                            .search = u"comm"_s,
                            .project = garden,
                            .state = BranchQuery::State::done,
                            .limit = 4 };
        QStringList texts;
        for (;;) {
            const auto page = value(storage->branches.find(query));
            for (const auto& branch : page)
                texts.append(branch.document.title);
            if (page.isEmpty())
                break;
            query.before = page.last().number;
        }
        QCOMPARE(texts, expected);
    }

    void takesAMebibyteOfDifferentWords()
    {
        auto document = sampleDocument(u"t"_s);
        document.capturedText = manyWords(150'000);
        QVERIFY(document.capturedText.size() >= 1024LL * 1024);
        add(document);
        document.capturedText.clear();
        for (char32_t letter = 0x20000; document.capturedText.size() < 1024LL * 1024; ++letter)
            document.capturedText += QChar::fromUcs4(0x20000 + (letter % 0xa000));
        add(document);
        document.capturedText = QString(100'000, QChar(0xfdfa)); // each becomes 18 letters
        add(document);
        QCOMPARE(all().size(), 3);
        QCOMPARE(found({ .accountID = owner, .search = u"w77"_s }).size(), 1);
    }

private:
    [[nodiscard]] QString addOther() { return *value(storage->accounts.add(u"other"_s)); }

    QString add(const BranchDocument& document)
    {
        return value(storage->branches.add(owner, document));
    }

    QList<StoredBranch> all()
    {
        return value(storage->branches.find(
            { .accountID = owner, .state = BranchQuery::State::any, .limit = 1000 }));
    }

    QStringList found(const BranchQuery& query)
    {
        QStringList titles;
        const auto list = value(storage->branches.find(query));
        for (const auto& branch : list)
            titles.append(branch.document.title);
        return titles;
    }

    int count(const QString& table)
    {
        return value(database->rows(u"SELECT count(*) FROM "_s + table)).first().first().toInt();
    }

    static QString manyWords(int number)
    {
        QString text;
        for (int i = 0; i < number; ++i)
            text += u'w' + QString::number(i) + u' ';
        return text;
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::BranchesTest)
#include "BranchesTest.moc"
