#include "submission/BranchDocument.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace quibel {

class BranchDocumentTest : public QObject
{
    Q_OBJECT

private:
    const CaptureContext context { .appName = u"Editor"_s,
                                   .bundleID = u"org.example.Editor"_s,
                                   .windowTitle = u"notes.txt"_s };
    const QDateTime moment { { 2026, 11, 15 }, { 23, 24, 38, 999 }, QTimeZone(3600) };

    [[nodiscard]] QJsonObject build(const QString& text) const
    {
        return QJsonDocument::fromJson(*buildBranchDocument(text, context, u"p1"_s, false, moment))
            .object();
    }

private Q_SLOTS:
    void hasExactlyTheFieldsOfABranch()
    {
        QCOMPARE(build(u"cache the parser"_s),
                 QJsonObject({
                     { u"title"_s, u"cache the parser"_s },
                     { u"summary"_s, u"Captured a branch to revisit: cache the parser."_s },
                     { u"why_forked"_s,
                       u"This was forked because it would interrupt the current line of work and"
                       u" needs to be revisited separately."_s },
                     { u"expected_future_value"_s, QJsonValue() },
                     { u"project_id"_s, u"p1"_s },
                     { u"context_snapshot"_s,
                       QJsonObject {
                           { u"source"_s, u"desktop-capture"_s },
                           { u"captured_text"_s, u"cache the parser"_s },
                           { u"active_app"_s,
                             QJsonObject { { u"name"_s, u"Editor"_s },
                                           { u"bundle_id"_s, u"org.example.Editor"_s } } },
                           { u"active_window_title"_s, u"notes.txt"_s },
                           { u"captured_at"_s, u"2026-11-15T22:24:38Z"_s },
                       } },
                 }));
    }

    void isCompact()
    {
        const auto document = buildBranchDocument(u"x"_s, context, u"p1"_s, false, moment);
        QVERIFY(!document->contains('\n'));
        QVERIFY(!document->contains("\": "));
    }

    void titlesATextByItsFirstWords_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title");
        QTest::newRow("eight words") << u"  a b c d e f g h "_s << u"a b c d e f g"_s;
        QTest::newRow("seven words") << u" a b c d e f g "_s << u"a b c d e f g"_s;
        QTest::newRow("three words") << u" a b c "_s << u"a b c"_s;
        QTest::newRow("inner blanks stay") << u"a  b\tc"_s << u"a  b\tc"_s;
        QTest::newRow("runs of blanks") << u"a  b\tc\nd\r\ne f g h"_s << u"a b c d e f g"_s;
        QTest::newRow("blanks of other scripts")
            << u"a\u00a0b\u2003c\u3000d\u2028e f g h"_s << u"a b c d e f g"_s;
        QTest::newRow("blanks of other scripts around")
            << u"\u3000\u2029a\u00a0b\u0085\u2003"_s << u"a\u00a0b"_s;
        QTest::newRow("no blanks")
            << u"a\u200bb c\u2060d e-f g.h i,j k l"_s << u"a\u200bb c\u2060d e-f g.h i,j k l"_s;
        QTest::newRow("only blanks") << u" \n\t "_s << u""_s;
        QTest::newRow("nothing") << u""_s << u""_s;
    }

    void titlesATextByItsFirstWords()
    {
        QFETCH(QString, text);
        QFETCH(QString, title);
        QCOMPARE(build(text)[u"title"_s], title);
    }

    void passesTheTextOnAsItIs()
    {
        const QString text = u" \"quoted\" \\ 💡\nnext "_s;
        const QJsonObject document = build(text);
        QCOMPARE(document[u"context_snapshot"_s][u"captured_text"_s], text);
        QCOMPARE(document[u"summary"_s], u"Captured a branch to revisit: "_s + text + u'.');
    }

    void aPlaceholderProjectHasNoIdForTheService()
    {
        const auto json = buildBranchDocument(u"x"_s, context, u"p1"_s, true, moment);
        const QJsonObject document = QJsonDocument::fromJson(*json).object();
        QVERIFY(document.contains(u"project_id"_s));
        QVERIFY(document[u"project_id"_s].isNull());
        QVERIFY(document[u"expected_future_value"_s].isNull());
    }

    void aMissingOrEmptyWindowTitleIsNull_data()
    {
        QTest::addColumn<std::optional<QString>>("title");
        QTest::newRow("missing") << std::optional<QString>();
        QTest::newRow("empty") << std::optional(u""_s);
    }

    void aMissingOrEmptyWindowTitleIsNull()
    {
        QFETCH(std::optional<QString>, title);
        const CaptureContext untitled { .appName = {}, .bundleID = {}, .windowTitle = title };
        const auto json = buildBranchDocument(u"x"_s, untitled, u"p1"_s, false, moment);
        const QJsonValue snapshot = QJsonDocument::fromJson(*json)[u"context_snapshot"_s];
        QVERIFY(snapshot.toObject().contains(u"active_window_title"_s));
        QVERIFY(snapshot[u"active_window_title"_s].isNull());
        QCOMPARE(snapshot[u"active_app"_s],
                 QJsonObject({ { u"name"_s, u""_s }, { u"bundle_id"_s, u""_s } }));
    }

    void brokenTextMakesNoDocument_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<CaptureContext>("seen");
        QTest::addColumn<QString>("projectID");
        const QString high(1, QChar(0xd83d));
        const QString low(1, QChar(0xdca1));
        QTest::newRow("text") << u"a"_s + high << context << u"p1"_s;
        QTest::newRow("text, halves swapped") << low + high << context << u"p1"_s;
        QTest::newRow("application") << u"x"_s << CaptureContext { high, {}, {} } << u"p1"_s;
        QTest::newRow("bundle") << u"x"_s << CaptureContext { {}, low, {} } << u"p1"_s;
        QTest::newRow("window") << u"x"_s << CaptureContext { {}, {}, low } << u"p1"_s;
        QTest::newRow("project") << u"x"_s << context << high;
    }

    void brokenTextMakesNoDocument()
    {
        QFETCH(QString, text);
        QFETCH(CaptureContext, seen);
        QFETCH(QString, projectID);
        QCOMPARE(buildBranchDocument(text, seen, projectID, false, moment), std::nullopt);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::BranchDocumentTest)

#include "BranchDocumentTest.moc"
