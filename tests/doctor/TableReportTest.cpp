#include "doctor/TableReport.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class TableReportTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesALineForEachCheck()
    {
        const Diagnosis diagnosis {
            { .name = u"display"_s, .title = u"display"_s, .finding = { .text = u"X11"_s } },
            { .name = u"tray"_s,
              .title = u"tray"_s,
              .finding = { .verdict = Verdict::warning,
                           .text = u"there is none"_s,
                           .advice = u"Start one."_s } },
            { .name = u"hotKey"_s,
              .title = u"hot key"_s,
              .finding
              = { .verdict = Verdict::failure, .text = u"taken"_s, .advice = u"Free it."_s } },
        };
        QCOMPARE(tableReport(diagnosis),
                 u"ok    display         X11\n"
                 "warn  tray            there is none\n"
                 "                      -> Start one.\n"
                 "FAIL  hot key         taken\n"
                 "                      -> Free it.\n"
                 "\n"
                 "Branching off a thought does not wholly work yet: hot key.\n"_s);
    }

    void saysThatAllIsWell()
    {
        const Diagnosis diagnosis {
            { .name = u"tray"_s,
              .title = u"tray"_s,
              .finding = { .verdict = Verdict::warning, .text = u"there is none"_s } },
        };
        QVERIFY(tableReport(diagnosis).endsWith(
            u"\n\nEverything that branching off a thought needs works.\n"_s));
    }

    void breaksLinesForATerminal()
    {
        const QString words = u"seven77 "_s.repeated(12).trimmed();
        const Diagnosis diagnosis {
            { .name = u"x"_s, .title = u"x"_s, .finding = { .text = words, .advice = words } }
        };
        const QStringList lines = tableReport(diagnosis).split(u'\n');
        const QString margin(22, u' ');
        QCOMPARE(lines.at(0), u"ok    x               "_s + words.first(55));
        QCOMPARE(lines.at(1), margin + words.sliced(56));
        QVERIFY(lines.at(2).startsWith(margin + u"-> seven77"_s));
        QVERIFY(lines.at(3).startsWith(margin + u"seven77"_s));
        for (const QString& line : lines)
            QVERIFY(line.size() <= 80);
    }

    void fillsALineToItsEnd()
    {
        const auto firstLine = [](const QString& text) {
            return tableReport({ { .name = u"x"_s, .title = u"x"_s, .finding = { .text = text } } })
                .section(u'\n', 0, 0);
        };
        const QString word(50, u'w');
        QCOMPARE(firstLine(word + u" 1234567"_s).size(), 80);
        QVERIFY(!firstLine(word + u" 12345678"_s).contains(u'1'));
    }

    void keepsALongWordWhole()
    {
        const QString path(200, u'p');
        const Diagnosis diagnosis {
            { .name = u"x"_s, .title = u"x"_s, .finding = { .text = path + u" here"_s } }
        };
        const QStringList lines = tableReport(diagnosis).split(u'\n');
        QVERIFY(lines.at(0).endsWith(path));
        QCOMPARE(lines.at(1).trimmed(), u"here"_s);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::TableReportTest)
#include "TableReportTest.moc"
