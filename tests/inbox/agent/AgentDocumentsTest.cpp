#include "inbox/agent/AgentDocuments.h"
#include "tests/inbox/agent/SampleDocuments.h"

#include <QJsonArray>
#include <QTest>

namespace quibel::inbox {

using namespace testing;

namespace {

constexpr QSize size(40, 30);

QJsonObject goodScreenshot()
{
    return sampleScreenshot(u"b1"_s, samplePng(size), size);
}

QString branchProblem(const QJsonObject& object)
{
    const auto decoded = decodeBranch(toBytes(object));
    const auto* error = std::get_if<DocumentError>(&decoded);
    return error ? error->message : QString();
}

QString screenshotProblem(const QJsonObject& object)
{
    const auto decoded = decodeScreenshot(toBytes(object));
    const auto* error = std::get_if<DocumentError>(&decoded);
    return error ? error->message : QString();
}

void addRow(const QString& path, const QJsonValue& value, bool taken, const char* how)
{
    QTest::addRow("%s %s", qPrintable(path), how) << path << value << taken;
}

/// A row for every field: missing, of a wrong type, null, beside an unknown one.
void addRowsForEveryField(const QJsonObject& good, const QStringList& mayBeNull)
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<bool>("taken");
    const auto paths = allPaths(good);
    for (const auto& path : paths) {
        addRow(path, QJsonValue(QJsonValue::Undefined), false, "missing");
        addRow(path, true, false, "a flag");
        addRow(path, QJsonArray {}, false, "a list");
        addRow(path, 1.5, false, "a fraction");
        addRow(path, QJsonValue::Null, mayBeNull.contains(path), "null");
        addRow(path + u"_too"_s, u"x"_s, false, "unknown");
    }
}

} // namespace

class AgentDocumentsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsABranch()
    {
        const auto decoded = decodeBranch(toBytes(sampleBranch(u"p1"_s)));
        const BranchDocument expected {
            .title = u"Look at the cache"_s,
            .summary = u"Captured a branch to revisit: Look at the cache."_s,
            .whyForked = u"Later."_s,
            .projectID = u"p1"_s,
            .capturedText = u"Look at the cache"_s,
            .appName = u"Éditeur"_s,
            .bundleID = u"org.editor"_s,
            .windowTitle = u"notes.txt"_s,
            .capturedAt = u"2026-11-15T22:24:38Z"_s,
        };
        QVERIFY(std::holds_alternative<BranchDocument>(decoded));
        QVERIFY(std::get<BranchDocument>(decoded) == expected);
    }

    void readsAScreenshot()
    {
        const auto decoded = decodeScreenshot(toBytes(goodScreenshot()));
        const ScreenshotDocument expected {
            .picture = samplePng(size),
            .captureType = u"active_window"_s,
            .capturedAt = u"2026-11-15T22:24:39Z"_s,
            .branchID = u"b1"_s,
            .width = 40,
            .height = 30,
            .byteSize = samplePng(size).size(),
        };
        QVERIFY(std::holds_alternative<ScreenshotDocument>(decoded));
        QVERIFY(std::get<ScreenshotDocument>(decoded) == expected);
    }

    void namesTheFieldOfABranchThatIsWrong_data()
    {
        addRowsForEveryField(sampleBranch(u"p1"_s),
                             { u"expected_future_value"_s,
                               u"project_id"_s,
                               u"context_snapshot.active_window_title"_s });
        addRow(u"title"_s, u""_s, true, "empty");
        addRow(u"title"_s, u"a\0b"_s, false, "with NUL");
        addRow(u"context_snapshot.captured_text"_s, QString(QChar(0xd800)), false, "half a pair");
        addRow(u"context_snapshot.captured_text"_s, u"𝄞 \n\t"_s, true, "beyond the basic plane");
        addRow(u"context_snapshot.active_window_title"_s, u"a\0b"_s, false, "with NUL");
        addRow(u"context_snapshot.active_app.name"_s, u""_s, true, "empty");
        addRow(u"context_snapshot.source"_s, u"desktop"_s, false, "of another document");
        addRow(u"expected_future_value"_s, u"much"_s, false, "a text");
        const auto time = u"context_snapshot.captured_at"_s;
        addRow(time, u"2026-11-15T22:24:38+01:00"_s, false, "not in UTC");
        addRow(time, u"2026-11-15T22:24:38"_s, false, "without zone");
        addRow(time, u"2026-11-15 22:24:38Z"_s, false, "with a blank");
        addRow(time, u"2026-02-30T22:24:38Z"_s, false, "a day that never comes");
        addRow(time, u"2026-11-15T25:24:38Z"_s, false, "an hour that never comes");
        addRow(time, u"2026-11-15T22:24:38Z\n"_s, false, "with a line break");
        addRow(time, u"2028-02-29T00:00:00Z"_s, true, "a leap day");
    }
    void namesTheFieldOfABranchThatIsWrong()
    {
        QFETCH(QString, path);
        QFETCH(QJsonValue, value);
        QFETCH(bool, taken);
        const auto problem = branchProblem(changed(sampleBranch(u"p1"_s), path, value));
        QCOMPARE(problem.isEmpty(), taken);
        QVERIFY2(taken || problem.startsWith(path + u' '), qPrintable(problem));
        QCOMPARE(problem.endsWith(u" is missing"), value.isUndefined());
    }

    void namesTheFieldOfAScreenshotThatIsWrong_data()
    {
        const auto image = u"metadata.image."_s;
        addRowsForEveryField(goodScreenshot(),
                             { u"metadata.app_name"_s,
                               u"metadata.bundle_id"_s,
                               u"metadata.window_title"_s,
                               u"metadata.branch.project"_s,
                               image + u"format"_s,
                               image + u"width"_s,
                               image + u"height"_s,
                               image + u"byte_size"_s });
        addRow(image + u"width"_s, 0, false, "zero");
        addRow(image + u"width"_s, -1, false, "negative");
        addRow(image + u"width"_s, u"40"_s, false, "a text");
        addRow(image + u"width"_s, 1e300, false, "beyond any picture");
        addRow(image + u"width"_s, 2147483647.0, true, "the largest");
        addRow(image + u"width"_s, 2147483648.0, false, "one too large");
        addRow(image + u"format"_s, u"jpeg"_s, false, "another");
        addRow(u"metadata.source"_s, u"desktop-capture"_s, false, "of another document");
        addRow(u"metadata.capture_type"_s, u"display_fallback"_s, true, "of a display");
        addRow(u"metadata.capture_type"_s, u"video"_s, false, "another");
        addRow(u"metadata.captured_at"_s, u"now"_s, false, "not a time");
        addRow(u"image_base64"_s, u"QUJD"_s, true, "whole");
        addRow(u"image_base64"_s, u"QUI="_s, true, "padded");
        addRow(u"image_base64"_s, u"QUI"_s, false, "without padding");
        addRow(u"image_base64"_s, u"QUI=="_s, false, "with too much padding");
        addRow(u"image_base64"_s, u"QUJ\nD"_s, false, "with a line break");
        addRow(u"image_base64"_s, u"Q-_D"_s, false, "for URLs");
        addRow(u"image_base64"_s, u"QUJ="_s, false, "with bits left over");
        addRow(u"image_base64"_s, u"ĀQUJD"_s, false, "beyond Latin");
    }
    void namesTheFieldOfAScreenshotThatIsWrong()
    {
        QFETCH(QString, path);
        QFETCH(QJsonValue, value);
        QFETCH(bool, taken);
        const auto problem = screenshotProblem(changed(goodScreenshot(), path, value));
        QCOMPARE(problem.isEmpty(), taken);
        QVERIFY2(taken || problem.startsWith(path + u' '), qPrintable(problem));
        QCOMPARE(problem.endsWith(u" is missing"), value.isUndefined());
    }

    void refusesWhatIsNotAJsonObject_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("a list") << QByteArray("[]");
        QTest::newRow("a text") << QByteArray("\"title\"");
        QTest::newRow("null") << QByteArray("null");
        QTest::newRow("cut off") << toBytes(sampleBranch()).chopped(1);
        QTest::newRow("with more behind it") << toBytes(sampleBranch()) + "{}";
        QTest::newRow("NUL") << QByteArray("\0", 1);
        QTest::newRow("NUL behind it") << toBytes(sampleBranch()) + QByteArray("\0", 1);
        QTest::newRow("not UTF-8") << toBytes(sampleBranch()).replace("cache", "\xff\xfe");
        QTest::newRow("UTF-16") << QByteArray("{\0}\0", 4);
        QTest::newRow("nested lists") << QByteArray(500'000, '[');
        QTest::newRow("nested objects") << QByteArray("{\"a\":").repeated(200'000);
    }
    void refusesWhatIsNotAJsonObject()
    {
        QFETCH(QByteArray, body);
        const auto branch = decodeBranch(body);
        const auto screenshot = decodeScreenshot(body);
        QVERIFY(std::holds_alternative<DocumentError>(branch));
        QVERIFY(std::get<DocumentError>(branch).message.startsWith(u"the body "));
        QVERIFY(std::holds_alternative<DocumentError>(screenshot));
    }

    void keepsAMessageShortWhenAnUnknownFieldIsLong()
    {
        const auto problem = branchProblem(changed(sampleBranch(), QString(100'000, u'x'), 1));
        QVERIFY(problem.startsWith(u"xxx"));
        QVERIFY(problem.size() < 200);
    }
};

} // namespace quibel::inbox

QTEST_GUILESS_MAIN(quibel::inbox::AgentDocumentsTest)
#include "AgentDocumentsTest.moc"
