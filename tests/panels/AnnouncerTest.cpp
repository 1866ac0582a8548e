#include "panels/Announcer.h"
#include "panels/PanelPart.h"
#include "tests/panels/Announcements.h"

#include <QAccessible>
#include <QTest>

namespace quibel {

using namespace Qt::StringLiterals;
using testing::Announcements;

class AnnouncerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isHeardEachTime()
    {
        PanelPart panel;
        Announcer announcer(&panel);
        panel.show();
        const Announcements announcements;
        announcer.announce(u"one"_s);
        announcer.announce(u"one"_s);
        announcer.announce(u"two"_s);
        QCOMPARE(announcements.heard(), QStringList({ u"one"_s, u"one"_s, u"two"_s }));
    }

    void saysNothingForAnEmptyText()
    {
        PanelPart panel;
        Announcer announcer(&panel);
        panel.show();
        const Announcements announcements;
        announcer.announce(u"one"_s);
        announcer.announce({});
        QCOMPARE(announcements.heard(), QStringList(u"one"_s));
        QVERIFY(!announcer.isVisible());
    }

    void saysNothingWhileThePanelIsHidden()
    {
        PanelPart panel;
        Announcer announcer(&panel);
        const Announcements announcements;
        announcer.announce(u"one"_s);
        QCOMPARE(announcements.heard(), QStringList());
    }

    void isANotification()
    {
        PanelPart panel;
        Announcer announcer(&panel);
        panel.show();
        auto* interface = QAccessible::queryAccessibleInterface(&panel);
        QCOMPARE(interface->childCount(), 0);
        announcer.announce(u"one"_s);
        QCOMPARE(interface->childCount(), 1);
        QCOMPARE(interface->child(0)->role(), QAccessible::Notification);
        QCOMPARE(interface->child(0)->text(QAccessible::Name), u"one"_s);
        QVERIFY(interface->child(0)->state().invisible == 0U);
    }

    void isNotToBeSeen()
    {
        PanelPart panel;
        panel.resize(100, 100);
        panel.show();
        const QImage before = panel.grab().toImage();
        Announcer announcer(&panel);
        announcer.announce(u"one"_s);
        QVERIFY(announcer.isVisible());
        QCOMPARE(panel.grab().toImage(), before);
        QCOMPARE(panel.childAt(1, 1), nullptr);
    }
};

} // namespace quibel

QTEST_MAIN(quibel::AnnouncerTest)
#include "AnnouncerTest.moc"
