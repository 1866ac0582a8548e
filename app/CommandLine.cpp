#include "app/CommandLine.h"

#include <QCommandLineParser>

#include <algorithm>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

/// One line of the help, and how the command is asked for.
struct Form
{
    CommandLine::Command command;
    QString option;
    QString help;
    QStringList operands {};  ///< One of these words belongs to it; empty for none.
    bool tellsAsJson = false; ///< "--json" may stand beside it.
};

const QList<Form>& forms()
{
    using enum CommandLine::Command;
    static const QList<Form> all {
        { sendBranch, u"send-branch"_s, u"open the panel, as the menu's \"Send Branch\""_s },
        { capture,
          u"capture"_s,
          u"do what the hot key does, for a desktop that has key bindings of its own"_s },
        { connectAccount, u"connect-account"_s, u"ask for the API key"_s },
        { quit, u"quit"_s, u"end the agent that runs"_s },
        { autostart,
          u"autostart"_s,
          u"start it at login, or not, or say whether it is"_s,
          { u"on"_s, u"off"_s, u"status"_s } },
        { .command = doctor,
          .option = u"doctor"_s,
          .help = u"say what works on this desktop and what does not; --json for programs"_s,
          .tellsAsJson = true },
    };
    return all;
}

constexpr int helpColumn = 32;

QString helpLine(const QString& option, const QString& help)
{
    return (u"  --"_s + option).leftJustified(helpColumn) + help + u'\n';
}

CommandLine::Notice usage()
{
    QString text
        = u"Usage: quibel-capture-agent [COMMAND]\n\n"
          "Branches off a thought with one keystroke: press Super+Shift+B, type, press"
          " Return.\nThe preference quibel.hotKey chooses another hot key.\nWithout a command it starts and waits in the tray; if it runs already, it opens the panel.\n\n"_s;
    for (const Form& form : forms())
        text += helpLine(form.option
                             + (form.operands.isEmpty() ? u""_s : u' ' + form.operands.join(u'|')),
                         form.help);
    text += helpLine(u"version"_s, u"show the version"_s);
    text += helpLine(u"help"_s, u"show this"_s);
    return { .kind = CommandLine::Notice::Kind::answer, .text = text };
}

CommandLine::Notice version()
{
    return { .kind = CommandLine::Notice::Kind::answer,
             .text = u"quibel-capture-agent "_s + QUIBEL_VERSION + u'\n' };
}

CommandLine::Notice misuse(const QString& problem)
{
    return { .kind = CommandLine::Notice::Kind::misuse,
             .text
             = u"quibel-capture-agent: %1\nTry: quibel-capture-agent --help\n"_s.arg(problem) };
}

} // namespace

std::variant<CommandLine, CommandLine::Notice> CommandLine::parse(const QStringList& arguments)
{
    QCommandLineParser options;
    options.addOptions({ { QStringList { u"h"_s, u"help"_s }, {} },
                         { QStringList { u"v"_s, u"version"_s }, {} },
                         { u"json"_s, {} } });
    for (const Form& form : forms())
        options.addOption(QCommandLineOption(form.option, {}, form.operands.join(u'|')));
    if (!options.parse(arguments))
        return misuse(options.errorText());
    if (options.isSet(u"help"_s))
        return usage();
    if (options.isSet(u"version"_s))
        return version();
    if (!options.positionalArguments().isEmpty())
        return misuse(
            u"there is no command \"%1\""_s.arg(options.positionalArguments().constFirst()));

    auto asked = options.optionNames();
    if (asked.isEmpty())
        return CommandLine {};
    const auto form = std::ranges::find_if(
        forms(), [&](const Form& candidate) { return asked.contains(candidate.option); });
    if (form == forms().end())
        return misuse(u"--%1 is no command"_s.arg(asked.constFirst()));
    asked.removeOne(form->option);
    const bool json = form->tellsAsJson && asked.removeOne(u"json"_s);
    if (!asked.isEmpty())
        return misuse(u"--%1 does not go with --%2"_s.arg(asked.constFirst(), form->option));
    const bool takesOperand = !form->operands.isEmpty();
    const QString operand = takesOperand ? options.value(form->option) : QString();
    if (takesOperand && !form->operands.contains(operand))
        return misuse(
            u"--%1 takes one of these: %2"_s.arg(form->option, form->operands.join(u", "_s)));
    return CommandLine { .command = form->command, .operand = operand, .json = json };
}

} // namespace quibel
