#include "doctor/JsonReport.h"

#include <QJsonDocument>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class JsonReportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesEachCheckUnderItsName()
    {
        const Diagnosis diagnosis {
            { .name = u"tray"_s,
              .title = u"tray"_s,
              .finding = { .verdict = Verdict::warning,
                           .text = u"there is none"_s,
                           .advice = u"Start one."_s,
                           .details = { { u"kind"_s, u"none"_s } } } },
            { .name = u"display"_s, .title = u"display"_s, .finding = { .text = u"X11"_s } },
        };
        const QJsonObject tray { { u"verdict"_s, u"warning"_s },
                                 { u"finding"_s, u"there is none"_s },
                                 { u"advice"_s, u"Start one."_s },
                                 { u"kind"_s, u"none"_s } };
        const QJsonObject display { { u"verdict"_s, u"ok"_s },
                                    { u"finding"_s, u"X11"_s },
                                    { u"advice"_s, QString() } };
        const QJsonObject expected {
            { u"healthy"_s, true },
            { u"checks"_s, QJsonObject { { u"tray"_s, tray }, { u"display"_s, display } } }
        };
        const QByteArray report = jsonReport(diagnosis);
        QCOMPARE(QJsonDocument::fromJson(report).object(), expected);
        QVERIFY(report.endsWith('\n'));
    }

    void isNotHealthyWithAFailure()
    {
        const Diagnosis diagnosis {
            { .name = u"a"_s, .title = u"a"_s, .finding = { .text = u"fine"_s } },
            { .name = u"b"_s,
              .title = u"b"_s,
              .finding = { .verdict = Verdict::failure, .text = u"bad"_s } },
        };
        const QJsonObject report = QJsonDocument::fromJson(jsonReport(diagnosis)).object();
        QCOMPARE(report.value(u"healthy"_s), QJsonValue(false));
        QCOMPARE(report[u"checks"_s][u"b"_s][u"verdict"_s].toString(), u"failure"_s);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::JsonReportTest)
#include "JsonReportTest.moc"
