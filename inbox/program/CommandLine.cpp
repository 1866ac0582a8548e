#include "inbox/program/CommandLine.h"

#include <QCommandLineParser>
#include <QStandardPaths>

#include <algorithm>
#include <array>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestName = 200;

const auto usage = uR"(Usage: quibel-inbox COMMAND [OPTIONS]

Keeps the branches that the capture agent sends.

Commands:
  serve [--listen HOST:PORT]             answer the agent, by default on 127.0.0.1:8787;
                                         port 0 takes a free one
  keys create [--name NAME]              make a key for an agent and print it, this once
  projects add NAME                      add a project and print its id
  projects list                          list the projects, one a line
  branches [--json]                      list the branches, newest first
  screenshot BRANCH_ID [--output FILE]   write a branch's latest screenshot, a PNG

Options:
  --data DIR    where everything is kept, by default %1
  --help        show this
  --version     show the version
)"_s;

/// What one command is called, and what may stand behind it.
struct Form
{
    CommandLine::Command command;
    QStringList words;
    qsizetype operands;
    QStringList options;
};

const QList<Form>& forms()
{
    using enum CommandLine::Command;
    static const QList<Form> all {
        { serve, { u"serve"_s }, 0, { u"listen"_s } },
        { createKey, { u"keys"_s, u"create"_s }, 0, { u"name"_s } },
        { addProject, { u"projects"_s, u"add"_s }, 1, {} },
        { listProjects, { u"projects"_s, u"list"_s }, 0, {} },
        { listBranches, { u"branches"_s }, 0, { u"json"_s } },
        { writeScreenshot, { u"screenshot"_s }, 1, { u"output"_s } },
    };
    return all;
}

QString defaultDirectory()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + u"/quibel/inbox"_s;
}

CommandLine::Notice misuse(const QString& problem)
{
    return { .kind = CommandLine::Notice::Kind::misuse,
             .text = u"quibel-inbox: %1\n\n"_s.arg(problem) + usage.arg(defaultDirectory()) };
}

bool isName(const QString& text)
{
    return !text.trimmed().isEmpty() && text.size() <= longestName && text.isValidUtf16()
        && std::ranges::none_of(text, [](QChar c) { return c.category() == QChar::Other_Control; });
}

/// What is wrong with the values; none when all can be used.
std::optional<QString> complaint(const QCommandLineParser& options, const Form& form)
{
    const auto names = options.optionNames();
    for (const auto& option : names)
        if (option != u"data" && !form.options.contains(option))
            return u"--%1 does not belong to \"%2\""_s.arg(option, form.words.join(u' '));
    if (options.value(u"data"_s).isEmpty())
        return u"--data needs a directory"_s;
    if (!ListenAddress::parse(options.value(u"listen"_s)))
        return u"--listen needs a numeric address and a port, as in 127.0.0.1:8787 or [::1]:8787"_s;
    if (options.isSet(u"output"_s) && options.value(u"output"_s).isEmpty())
        return u"--output needs a file"_s;
    const auto name = form.command == CommandLine::Command::addProject
        ? options.positionalArguments().last()
        : options.value(u"name"_s);
    if (!isName(name))
        return u"a name has 1 to %1 characters and no control characters"_s.arg(longestName);
    return {};
}

CommandLine assemble(const QCommandLineParser& options, const Form& form)
{
    const auto operand = form.operands > 0 ? options.positionalArguments().last() : QString();
    CommandLine line;
    line.command = form.command;
    line.dataDirectory = options.value(u"data"_s);
    line.listen = ListenAddress::parse(options.value(u"listen"_s)).value_or(ListenAddress {});
    line.name
        = form.command == CommandLine::Command::addProject ? operand : options.value(u"name"_s);
    line.json = options.isSet(u"json"_s);
    if (form.command == CommandLine::Command::writeScreenshot)
        line.branchID = operand;
    if (options.isSet(u"output"_s))
        line.outputFile = options.value(u"output"_s);
    return line;
}

} // namespace

std::variant<CommandLine, CommandLine::Notice> CommandLine::parse(const QStringList& arguments)
{
    QCommandLineParser options;
    options.addOptions({ { u"data"_s, {}, u"DIR"_s, defaultDirectory() },
                         { u"listen"_s, {}, u"HOST:PORT"_s, u"127.0.0.1:8787"_s },
                         { u"name"_s, {}, u"NAME"_s, u"agent"_s },
                         { u"output"_s, {}, u"FILE"_s },
                         { u"json"_s, {} },
                         { u"help"_s, {} },
                         { u"version"_s, {} } });
    if (!options.parse(arguments))
        return misuse(options.errorText());
    if (options.isSet(u"help"_s))
        return Notice { Notice::Kind::answer, usage.arg(defaultDirectory()) };
    if (options.isSet(u"version"_s))
        return Notice { Notice::Kind::answer, u"quibel-inbox %1\n"_s.arg(u"" QUIBEL_VERSION ""_s) };

    const auto words = options.positionalArguments();
    if (words.isEmpty())
        return misuse(u"no command given"_s);
    const auto form = std::ranges::find_if(forms(), [&](const Form& candidate) {
        return words.mid(0, candidate.words.size()) == candidate.words;
    });
    if (form == forms().end())
        return misuse(u"there is no command \"%1\""_s.arg(words.join(u' ')));
    if (words.size() != form->words.size() + form->operands)
        return misuse(u"\"%1\" takes %2 more"_s.arg(
            form->words.join(u' '), form->operands == 0 ? u"nothing"_s : u"exactly one word"_s));
    if (const auto problem = complaint(options, *form))
        return misuse(*problem);
    return assemble(options, *form);
}

} // namespace quibel::inbox
