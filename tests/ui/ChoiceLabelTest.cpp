#include "ui/ChoiceLabel.h"

#include <QAccessible>
#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

class ChoiceLabelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emphasisesTheChosenOne_data()
    {
        QTest::addColumn<bool>("chosen");
        QTest::newRow("chosen") << true;
        QTest::newRow("other") << false;
    }

    void emphasisesTheChosenOne()
    {
        QFETCH(const bool, chosen);
        ChoiceLabel label(u"Tea"_s, u"tea"_s, !chosen);
        label.setChosen(chosen);
        QCOMPARE(label.isChosen(), chosen);
        QCOMPARE(label.content().text, u"Tea"_s);
        QCOMPARE(label.content().identity, chosen ? u"tea"_s : u"tea-inactive"_s);
        QCOMPARE(label.content().style.weight, chosen ? QFont::Medium : QFont::Normal);
        QCOMPARE(label.content().style.foreground,
                 chosen ? Foreground::primary : Foreground::secondary);
        QCOMPARE(label.content().style.size, 12);
    }

    void isARadioButtonToAssistiveTools()
    {
        ChoiceLabel label(u"Tea"_s, u"tea"_s, false);
        auto* interface = QAccessible::queryAccessibleInterface(&label);
        QCOMPARE(interface->role(), QAccessible::RadioButton);
        QCOMPARE(interface->text(QAccessible::Name), u"Tea"_s);
        QVERIFY(interface->state().checkable == 1U && interface->state().checked == 0U);
        label.setChosen(true);
        QVERIFY(interface->state().checked == 1U);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::ChoiceLabelTest)
#include "ChoiceLabelTest.moc"
