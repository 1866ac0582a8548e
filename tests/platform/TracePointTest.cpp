#include "platform/TracePoint.h"
#include "tests/account/CapturedOutput.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class TracePointTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLoggingCategory::setFilterRules({}); }

    void saysNothingUnlessItIsAskedTo()
    {
        CapturedOutput standardError(stderr);
        tracePoint("map");
        QCOMPARE(standardError.text(), QByteArray());
    }

    void tellsTheTimeAndTheName()
    {
        QLoggingCategory::setFilterRules(u"quibel.trace.debug=true"_s);
        CapturedOutput standardError(stderr);
        tracePoint("key store");
        tracePoint("map");
        const QRegularExpression form(
            u"^quibel\\.trace: (\\d+) key store\nquibel\\.trace: (\\d+) map\n$"_s);
        const auto match = form.match(QString::fromUtf8(standardError.text()));
        QVERIFY2(match.hasMatch(), "not what was traced");
        QVERIFY(match.captured(2).toLongLong() >= match.captured(1).toLongLong());
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::TracePointTest)

#include "TracePointTest.moc"
