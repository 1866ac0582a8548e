#include "ui/ScreenshotMode.h"

#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

class ScreenshotModeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isReadFromItsRawValueOnly_data()
    {
        QTest::addColumn<QString>("rawText");
        QTest::addColumn<std::optional<ScreenshotMode>>("mode");
        QTest::newRow("on") << u"on"_s << std::optional(ScreenshotMode::on);
        QTest::newRow("off") << u"off"_s << std::optional(ScreenshotMode::off);
        for (const auto& other : { u"On"_s, u"ON"_s, u"Off"_s, u""_s, u"yes"_s, u" on"_s, u"1"_s })
            QTest::addRow("'%s'", qPrintable(other)) << other << std::optional<ScreenshotMode>();
    }

    void isReadFromItsRawValueOnly()
    {
        QFETCH(const QString, rawText);
        QFETCH(const std::optional<ScreenshotMode>, mode);
        QCOMPARE(screenshotModeFromRawValue(rawText), mode);
        if (mode)
            QCOMPARE(rawValue(*mode), rawText);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ScreenshotModeTest)
#include "ScreenshotModeTest.moc"
