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

    void findsNobodyWithoutFiles() { QVERIFY(bindingsOf(superShiftB).empty()); }

    void findsWhoBindsTheKey_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("programs");
        QTest::addColumn<QStringList>("toAgent");
        const auto openbox = u"openbox/rc.xml"_s;
        const auto xfce = u"xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml"_s;
        const QStringList nobody;
        const QStringList openboxIt { u"Openbox"_s };
        const QStringList xfceIt { u"Xfce"_s };
        const QStringList i3It { u"i3"_s };
        const QStringList sxhkdIt { u"sxhkd"_s };
        const auto row
            = [](const char* name, const QString& path, const QByteArray& content) -> QTestData& {
            return QTest::newRow(name) << path << content;
        };
        row("Openbox", openbox, R"(<keybind key="W-S-b"><action/>)") << openboxIt << nobody;
        row("Openbox, the other way round", openbox, R"(<keybind key="S-W-B">)")
            << openboxIt << nobody;
        row("Openbox, another key",
            openbox,
            R"(<keybind key="W-b"><keybind key="W-S-bracketleft">)")
            << nobody << nobody;
        row("Openbox, to the agent",
            openbox,
            "<keybind key=\"W-S-b\">\n <action name=\"Execute\">\n"
            "<command>/usr/bin/quibel-capture-agent --capture</command></action></keybind>")
            << nobody << openboxIt;
        row("Openbox, another key to the agent",
            openbox,
            "<keybind key=\"W-S-b\"><action/></keybind>\n<keybind key=\"W-c\">"
            "<command>quibel-capture-agent --capture</command></keybind>")
            << openboxIt << nobody;
        row("Openbox, to the agent and to something else",
            openbox,
            "<keybind key=\"W-S-b\">quibel-capture-agent --capture</keybind>"
            "<keybind key=\"S-W-b\">x</keybind>")
            << openboxIt << nobody;
        row("Openbox, another command of the agent",
            openbox,
            R"(<keybind key="W-S-b"><command>quibel-capture-agent --quit</command></keybind>)")
            << openboxIt << nobody;
        row("Openbox, a comment",
            openbox,
            "<!-- one\n<keybind key=\"W-S-b\"><action/></keybind> -->\n<!-- two -->")
            << nobody << nobody;
        row("Openbox, between comments",
            openbox,
            R"(<!-- one --><keybind key="W-S-b"><action/></keybind><!-- two -->)")
            << openboxIt << nobody;
        row("Xfce", xfce, R"(<property name="&lt;Shift&gt;&lt;Super&gt;b" value="x"/>)")
            << xfceIt << nobody;
        row("Xfce, to the agent",
            xfce,
            R"(<property name="&lt;Shift&gt;&lt;Super&gt;b" value="quibel-capture-agent --capture"/>)")
            << nobody << xfceIt;
        row("Xfce, another key", xfce, R"(<property name="&lt;Super&gt;b" value="x"/>)")
            << nobody << nobody;
        row("Xfce, a comment",
            xfce,
            R"(<!--<property name="&lt;Shift&gt;&lt;Super&gt;b" value="x"/>-->)")
            << nobody << nobody;
        const auto i3 = u"i3/config"_s;
        row("i3", i3, "set $mod Mod4\n  bindsym $mod+Shift+b exec x\n") << i3It << nobody;
        row("i3, by the modifier itself", i3, "bindsym --release Shift+Mod4+b exec x\n")
            << i3It << nobody;
        row("i3, to the agent",
            i3,
            "set $mod Mod4\nbindsym $mod+Shift+b exec --no-startup-id "
            "quibel-capture-agent --capture\n")
            << nobody << i3It;
        row("i3, Alt is its modifier", i3, "set $mod Mod1\nbindsym $mod+Shift+b exec x\n")
            << nobody << nobody;
        row("i3, with another modifier as well", i3, "bindsym Control+Mod4+Shift+b exec x\n")
            << nobody << nobody;
        row("i3, a comment", i3, "set $mod Mod4\n# bindsym $mod+Shift+b exec x\n")
            << nobody << nobody;
        const auto sxhkd = u"sxhkd/sxhkdrc"_s;
        row("sxhkd", sxhkd, "super + shift + b\n\tx\n") << sxhkdIt << nobody;
        row("sxhkd, to the agent", sxhkd, "super + shift + b\n\tquibel-capture-agent --capture\n")
            << nobody << sxhkdIt;
        row("sxhkd, another key to the agent",
            sxhkd,
            "super + shift + b\n\tx\n\nsuper + c\n\tquibel-capture-agent --capture\n")
            << sxhkdIt << nobody;
    }

    void findsWhoBindsTheKey()
    {
        QFETCH(const QString, path);
        QFETCH(const QByteArray, content);
        QFETCH(const QStringList, programs);
        QFETCH(const QStringList, toAgent);
        write(path, content);
        QStringList all;
        QStringList agents;
        for (const HotKeyBinding& binding : bindingsOf(superShiftB))
            (binding.isToAgent ? agents : all).append(binding.program);
        QCOMPARE(all, programs);
        QCOMPARE(agents, toAgent);
    }

    void findsAnyKeyAsItIsSpeltThere_data()
    {
        QTest::addColumn<QKeyCombination>("hotKey");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("content");
        const auto openbox = u"openbox/rc.xml"_s;
        const auto xfce = u"xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml"_s;
        const auto i3 = u"i3/config"_s;
        const auto sxhkd = u"sxhkd/sxhkdrc"_s;
        const auto ctrlAltSpace = Qt::CTRL | Qt::ALT | Qt::Key_Space;
        const auto superPageUp = Qt::META | Qt::Key_PageUp;
        QTest::newRow("Openbox, Space")
            << ctrlAltSpace << openbox << R"(<keybind key="C-A-space">)"_ba;
        QTest::newRow("Xfce, Space")
            << ctrlAltSpace << xfce
            << R"(<property name="&lt;Primary&gt;&lt;Alt&gt;space" value="x"/>)"_ba;
        QTest::newRow("i3, Space")
            << ctrlAltSpace << i3 << "set $mod Mod1\nbindsym Control+$mod+space exec x\n"_ba;
        QTest::newRow("sxhkd, Space") << ctrlAltSpace << sxhkd << "ctrl + alt + space\n\tx\n"_ba;
        QTest::newRow("Openbox, Page Up")
            << superPageUp << openbox << R"(<keybind key="W-Prior">)"_ba;
        QTest::newRow("Xfce, Page Up")
            << superPageUp << xfce << R"(<property name="&lt;Super&gt;Page_Up" type="empty"/>)"_ba;
        QTest::newRow("i3, Page Up") << superPageUp << i3 << "bindsym Mod4+Prior exec x\n"_ba;
        QTest::newRow("i3, a letter of another alphabet")
            << (Qt::META | Qt::Key_Odiaeresis) << i3 << "bindsym Mod4+odiaeresis exec x\n"_ba;
        QTest::newRow("sxhkd, a sign")
            << (Qt::META | Qt::Key_Plus) << sxhkd << "super + plus\n\tx\n"_ba;
        QTest::newRow("Openbox, a function key")
            << (Qt::META | Qt::Key_F9) << openbox << R"(<keybind key="W-F9">)"_ba;
    }

    void findsAnyKeyAsItIsSpeltThere()
    {
        QFETCH(const QKeyCombination, hotKey);
        QFETCH(const QString, path);
        QFETCH(const QByteArray, content);
        write(path, content);
        QCOMPARE(bindingsOf(hotKey).size(), 1U);
        QVERIFY(bindingsOf(superShiftB).empty());
        const auto modifiers = hotKey.keyboardModifiers() | Qt::ShiftModifier;
        QVERIFY(bindingsOf(QKeyCombination(modifiers, hotKey.key())).empty());
    }

private:
    static constexpr QKeyCombination superShiftB = Qt::META | Qt::SHIFT | Qt::Key_B;

    void write(const QString& path, const QByteArray& content) const
    {
        QFile file(folder->filePath(path));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    std::unique_ptr<QTemporaryDir> folder;
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::KeyBindingFilesTest)
#include "KeyBindingFilesTest.moc"
