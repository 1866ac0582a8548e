#include "submission/CaptureReport.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class CaptureReportTest : public QObject
{
    Q_OBJECT

private:
    QByteArrayList calls;
    const CaptureReport report { [this](const QByteArray& text) { calls << text; } };

    [[nodiscard]] static QByteArray golden(const QString& name)
    {
        QFile file(QFINDTESTDATA(u"golden/"_s + name));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("there is no such golden file");
        return file.readAll();
    }

    [[nodiscard]] static ScreenshotMetadata complete()
    {
        return { .source = u"desktop"_s,
                 .captureType = u"active_window"_s,
                 .capturedAt = u"2026-11-15T22:24:38Z"_s,
                 .appName = u"Editor"_s,
                 .bundleID = u"org.example.Editor"_s,
                 .windowTitle = u"notes.txt – Editor"_s,
                 .imageFormat = u"png"_s,
                 .imageWidth = 1280,
                 .imageHeight = 800,
                 .byteSize = 123456,
                 .branchID = {},
                 .projectName = u"Atlas"_s };
    }

private Q_SLOTS:
    void init() { calls.clear(); }

    void printsACaptureInOneCall()
    {
        report.captured(complete());
        QCOMPARE(calls, QByteArrayList { golden(u"captured.txt"_s) });
    }

    void printsWhatIsAbsentAsNull()
    {
        ScreenshotMetadata metadata;
        metadata.source = u"desktop"_s;
        metadata.captureType = u"display_fallback"_s;
        metadata.capturedAt = u"2026-11-15T22:24:38Z"_s;
        report.captured(metadata);
        QCOMPARE(calls, QByteArrayList { golden(u"captured-absent.txt"_s) });
    }

    void printsNoDimensionsWhenOneIsAbsent_data()
    {
        QTest::addColumn<bool>("hasWidth");
        QTest::newRow("width alone") << true;
        QTest::newRow("height alone") << false;
    }

    void printsNoDimensionsWhenOneIsAbsent()
    {
        QFETCH(bool, hasWidth);
        ScreenshotMetadata metadata = complete();
        (hasWidth ? metadata.imageHeight : metadata.imageWidth).reset();
        report.captured(metadata);
        QVERIFY(calls.constFirst().contains("\n  dimensions : null\n"));
    }

    void printsAnEmptyNameAsNothing()
    {
        ScreenshotMetadata metadata = complete();
        metadata.appName = u""_s;
        report.captured(metadata);
        QVERIFY(calls.constFirst().contains("\n  app_name   : \n"));
    }

    void printsAFailedCaptureInOneCallWithoutThePicture()
    {
        ScreenshotMetadata metadata = complete();
        metadata.branchID = u"b1"_s;
        report.captureFailed(metadata, u"no permission"_s);
        QCOMPARE(calls, QByteArrayList { golden(u"capture-failed.txt"_s) });
    }

    void printsAFailureWithoutAMessageAsNull()
    {
        report.captureFailed(complete(), {});
        QVERIFY(calls.constFirst().contains("\nerror:\n  message    : null\n"));
    }

    void printsASavedScreenshotLineByLineBetweenTwoRules()
    {
        report.saved(u"b1"_s, u"active_window"_s, 123456);
        QCOMPARE(calls.join(), golden(u"saved.txt"_s));
        QCOMPARE(calls.size(), 7);
        QCOMPARE(calls.at(1).size(), 96 + 1);
        QCOMPARE(calls.at(1), calls.constLast());
    }

    void printsAFailedUploadLineByLineWithoutRules()
    {
        report.uploadFailed(u"b1"_s, u"display_fallback"_s, u"server_error"_s);
        QCOMPARE(calls.join(), golden(u"upload-failed.txt"_s));
        QCOMPARE(calls.size(), 4);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::CaptureReportTest)

#include "CaptureReportTest.moc"
