#include "ui/OneLineValidator.h"

#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

class OneLineValidatorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void makesEachLineBreakOneSpace_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("newPosition");
        QTest::newRow("none") << u"a  b\tc "_s << 3 << u"a  b\tc "_s << 3;
        QTest::newRow("unix") << u"a\nb\n"_s << 4 << u"a b "_s << 4;
        QTest::newRow("windows") << u"a\r\nb"_s << 4 << u"a b"_s << 3;
        QTest::newRow("old mac") << u"a\rb"_s << 1 << u"a b"_s << 1;
        QTest::newRow("empty line") << u"a\n\nb"_s << 4 << u"a  b"_s << 4;
        QTest::newRow("vertical") << u"a\vb\fc"_s << 3 << u"a b c"_s << 3;
        QTest::newRow("unicode") << u"a\u2028b\u2029c\u0085d"_s << 7 << u"a b c d"_s << 7;
        QTest::newRow("empty") << u""_s << 0 << u""_s << 0;
    }

    void makesEachLineBreakOneSpace()
    {
        QFETCH(QString, input);
        QFETCH(int, position);
        QFETCH(const QString, line);
        QFETCH(const int, newPosition);
        const OneLineValidator validator;
        QCOMPARE(validator.validate(input, position), QValidator::Acceptable);
        QCOMPARE(input, line);
        QCOMPARE(position, newPosition);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::OneLineValidatorTest)
#include "OneLineValidatorTest.moc"
