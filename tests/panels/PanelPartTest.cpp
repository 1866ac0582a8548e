#include "panels/PanelPart.h"

#include <QAccessible>
#include <QLabel>
#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

QStringList namesOfChildren(QWidget& widget)
{
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&widget);
    QStringList names;
    for (int index = 0; index < interface->childCount(); ++index) {
        QAccessibleInterface* child = interface->child(index);
        names << child->text(QAccessible::Name);
        if (interface->indexOfChild(child) != index || child->parent() != interface)
            return { u"child and parent do not agree"_s };
    }
    return names;
}

} // namespace

class PanelPartTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsOnlyWhatIsShown()
    {
        PanelPart panel;
        QLabel first(u"first"_s, &panel);
        QLabel second(u"second"_s, &panel);
        const QWidget dialog(&panel, Qt::Dialog);
        PanelPart::setShown(first, false);
        QCOMPARE(namesOfChildren(panel), QStringList(u"second"_s));
        panel.show();
        QCOMPARE(namesOfChildren(panel), QStringList(u"second"_s));
        QVERIFY(!first.isVisible());
        PanelPart::setShown(first, true);
        PanelPart::setShown(second, false);
        QCOMPARE(namesOfChildren(panel), QStringList(u"first"_s));
        QVERIFY(first.isVisible() && !second.isVisible());

        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&panel);
        QCOMPARE(interface->child(1), nullptr);
        QCOMPARE(interface->child(-1), nullptr);
        QCOMPARE(interface->indexOfChild(QAccessible::queryAccessibleInterface(&second)), -1);
    }

    void isADialogAsAWindowAndAGroupWithinOne()
    {
        PanelPart panel;
        PanelPart part(&panel);
        QCOMPARE(QAccessible::queryAccessibleInterface(&panel)->role(), QAccessible::Dialog);
        QCOMPARE(QAccessible::queryAccessibleInterface(&part)->role(), QAccessible::Client);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::PanelPartTest)
#include "PanelPartTest.moc"
