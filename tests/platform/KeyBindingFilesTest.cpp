#include "platform/freedesktop/KeyBindingFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class KeyBindingFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder = std::make_unique<QTemporaryDir>();
        qputenv("XDG_CONFIG_HOME", folder->path().toUtf8());
        qputenv("XDG_CONFIG_DIRS", (folder->path() + u"/nowhere"_s).toUtf8());
    }

    void findsNobodyWithoutFiles() { QCOMPARE(programsThatBindTheHotKey(), QStringList()); }

    void findsWhoBindsTheKey_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("programs");
        const auto openbox = u"openbox/rc.xml"_s;
        const auto xfce = u"xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml"_s;
        QTest::newRow("Openbox") << openbox << QByteArray(R"(<keybind key="W-S-b"><action/>)")
                                 << QStringList { u"Openbox"_s };
        QTest::newRow("Openbox, the other way round")
            << openbox << QByteArray(R"(<keybind key="S-W-B">)") << QStringList { u"Openbox"_s };
        QTest::newRow("Openbox, another key")
            << openbox << QByteArray(R"(<keybind key="W-b"><keybind key="W-S-bracketleft">)")
            << QStringList();
        QTest::newRow("Xfce") << xfce
                              << QByteArray(
                                     R"(<property name="&lt;Shift&gt;&lt;Super&gt;b" value="x"/>)")
                              << QStringList { u"Xfce"_s };
        QTest::newRow("Xfce, another key")
            << xfce << QByteArray(R"(<property name="&lt;Super&gt;b" value="x"/>)")
            << QStringList();
        QTest::newRow("i3") << u"i3/config"_s
                            << QByteArray("set $mod Mod4\n  bindsym $mod+Shift+b exec x\n")
                            << QStringList { u"i3"_s };
        QTest::newRow("i3, a comment")
            << u"i3/config"_s << QByteArray("# bindsym $mod+Shift+b exec x\n") << QStringList();
        QTest::newRow("sxhkd") << u"sxhkd/sxhkdrc"_s << QByteArray("super + shift + b\n\tx\n")
                               << QStringList { u"sxhkd"_s };
    }

    void findsWhoBindsTheKey()
    {
        QFETCH(const QString, path);
        QFETCH(const QByteArray, content);
        QFETCH(const QStringList, programs);
        QFile file(folder->filePath(path));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        QCOMPARE(programsThatBindTheHotKey(), programs);
    }

private:
    std::unique_ptr<QTemporaryDir> folder;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::KeyBindingFilesTest)
#include "KeyBindingFilesTest.moc"
