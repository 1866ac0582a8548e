#include "inbox/program/BranchListing.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

StoredBranch branch(const QString& title)
{
    StoredBranch result;
    result.id = u"b1"_s;
    result.document.title = title;
    result.document.capturedText = u"whole\ntext"_s;
    result.document.appName = u"Editor"_s;
    result.document.projectID = u"p1"_s;
    result.document.capturedAt = u"2026-11-15T22:24:38Z"_s;
    result.projectName = u"Garden"_s;
    result.receivedAt = u"2026-11-15T22:24:39.120Z"_s;
    result.screenshots = { { .id = u"s1"_s,
                             .sha256 = u"ab"_s,
                             .width = 4,
                             .height = 3,
                             .byteSize = 77,
                             .captureType = u"active_window"_s,
                             .capturedAt = u"2026-11-15T22:24:40Z"_s } };
    return result;
}

} // namespace

class BranchListingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesUpTheTable()
    {
        auto plain = branch(u"Second"_s);
        plain.projectName.reset();
        plain.screenshots.clear();
        QCOMPARE(QString::fromUtf8(toTable({ branch(u"First"_s), plain })),
                 u"ID  RECEIVED              PROJECT  APPLICATION  SCREENSHOT  TITLE\n"
                 "b1  2026-11-15T22:24:39Z  Garden   Editor       4x3         First\n"
                 "b1  2026-11-15T22:24:39Z  none     Editor       none        Second\n"_s);
    }

    void letsNoControlCharacterReachTheTerminal()
    {
        const auto table = QString::fromUtf8(toTable({ branch(u"a\x1b]0;owned\x07"
                                                              u"b\nc\u009b2Jd\u202e"_s) }));
        QVERIFY(table.contains(u"a ]0;owned b c 2Jd\n"));
        QCOMPARE(table.count(u'\n'), 2);
    }

    void keepsLettersBeyondTheBasicPlaneWhole()
    {
        const auto table = QString::fromUtf8(toTable({ branch(u"Ship 🎉 𠮷野"_s) }));
        QVERIFY(table.contains(u"Ship 🎉 𠮷野\n"));
        const auto cut = QString::fromUtf8(toTable({ branch(u"🎉"_s.repeated(500)) }));
        QVERIFY(cut.contains(u"🎉"_s.repeated(47) + u"…\n"_s));
    }

    void cutsALongTitle()
    {
        const auto table = QString::fromUtf8(toTable({ branch(QString(500, u'x')) }));
        QVERIFY(table.contains(QString(47, u'x') + u"…\n"_s));
    }

    void writesEveryFieldAsJson()
    {
        const auto list = QJsonDocument::fromJson(toJson({ branch(u"First"_s) })).array();
        QCOMPARE(list.size(), 1);
        const auto object = list.first().toObject();
        QCOMPARE(object.value(u"id"), u"b1"_s);
        QCOMPARE(object.value(u"project_id"), u"p1"_s);
        QCOMPARE(object.value(u"project_name"), u"Garden"_s);
        QCOMPARE(object.value(u"captured_text"), u"whole\ntext"_s);
        QCOMPARE(object.value(u"window_title"), QJsonValue(QJsonValue::Null));
        QCOMPARE(object.value(u"received_at"), u"2026-11-15T22:24:39.120Z"_s);
        QCOMPARE(object.value(u"done"), false);
        QCOMPARE(object.size(), 14);
        const QJsonObject screenshot { { u"id"_s, u"s1"_s },
                                       { u"sha256"_s, u"ab"_s },
                                       { u"width"_s, 4 },
                                       { u"height"_s, 3 },
                                       { u"byte_size"_s, 77 },
                                       { u"capture_type"_s, u"active_window"_s },
                                       { u"captured_at"_s, u"2026-11-15T22:24:40Z"_s } };
        QCOMPARE(object.value(u"screenshots"), QJsonArray { screenshot });
    }

    void writesAnEmptyListAsJson()
    {
        QCOMPARE(QJsonDocument::fromJson(toJson({})), QJsonDocument(QJsonArray()));
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::BranchListingTest)
#include "BranchListingTest.moc"
