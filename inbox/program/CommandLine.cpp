#include "inbox/program/CommandLine.h"

#include "inbox/api/Name.h"

#include <QCommandLineParser>
#include <QStandardPaths>

#include <algorithm>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

const auto usage = uR"(Usage: quibel-inbox COMMAND [OPTIONS]

Keeps the branches that the capture agent sends, and shows them on a web page.

Serving:
  serve                         answer the agent and the page until told to end
    --listen HOST:PORT          by default 127.0.0.1:8787; port 0 takes a free one
    --tls-certificate FILE      certificate chain and
    --tls-key FILE              private key, both PEM; read again on SIGHUP
    --behind-proxy              a proxy in front speaks TLS and names the client
                                Without TLS or a proxy it listens on this machine only.
  open [--print]                sign in to the page on this machine by a link that works once:
                                open it in the browser, or only print it

Keeping:
  keys create [--name NAME]     make a key for an agent and print it, this once
  keys list                     list the keys and when they were last used
  keys revoke KEY_ID            make a key worthless
  projects add NAME             add a project and print its id
  projects list                 list the projects, one a line
  branches [--json]             list the branches, newest first
  screenshot BRANCH_ID [--output FILE]
                                write a branch's latest screenshot, a PNG
  accounts add NAME             add an account for somebody else
  accounts list                 list the accounts
  accounts password NAME        set the password for the page; it is read from the terminal,
                                or is the first line of standard input
  backup FILE                   copy the SQLite database, also while it is served
  export DIRECTORY              write everything as JSON, with the pictures as files

Options of every command:
  --data DIR            where everything is kept, by default
                        %1
  --database URL        keep everything in PostgreSQL instead, as in
                        postgresql://user@host/database; a password is better kept in
                        ~/.pgpass. QUIBEL_INBOX_DATABASE in the environment says the same.
  --account NAME        whose keys, projects and branches, by default "owner"
  --help, --version     show this, or the version
)"_s;

/// What one command is called, and what may stand behind it.
struct Form
{
    CommandLine::Command command;
    QStringList words;
    QString operand; ///< What the one word behind it is; empty when there is none.
    QStringList options;
    bool reads = false; ///< It wants what is there: a mistyped place is no empty inbox.
};

const QList<Form>& forms()
{
    using enum CommandLine::Command;
    const auto none = QString();
    const auto account = u"account"_s;
    static const QList<Form> all {
        { serve,
          { u"serve"_s },
          none,
          { u"listen"_s, u"tls-certificate"_s, u"tls-key"_s, u"behind-proxy"_s } },
        { openPage, { u"open"_s }, none, { u"print"_s, account }, true },
        { addAccount, { u"accounts"_s, u"add"_s }, u"a name"_s, {} },
        { listAccounts, { u"accounts"_s, u"list"_s }, none, {}, true },
        { setPassword, { u"accounts"_s, u"password"_s }, u"the name of an account"_s, {}, true },
        { createKey, { u"keys"_s, u"create"_s }, none, { u"name"_s, account } },
        { listKeys, { u"keys"_s, u"list"_s }, none, { account }, true },
        { revokeKey, { u"keys"_s, u"revoke"_s }, u"the id of a key"_s, { account }, true },
        { addProject, { u"projects"_s, u"add"_s }, u"a name"_s, { account } },
        { listProjects, { u"projects"_s, u"list"_s }, none, { account }, true },
        { listBranches, { u"branches"_s }, none, { u"json"_s, account }, true },
        { writeScreenshot,
          { u"screenshot"_s },
          u"the id of a branch"_s,
          { u"output"_s, account },
          true },
        { backUp, { u"backup"_s }, u"a file"_s, {}, true },
        { exportAll, { u"export"_s }, u"a directory"_s, {}, true },
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
             .text = u"quibel-inbox: %1\nTry: quibel-inbox --help\n"_s.arg(problem) };
}

bool isAboutName(const Form& form)
{
    using enum CommandLine::Command;
    return form.command == addProject || form.command == addAccount || form.command == setPassword;
}

std::optional<QString> complainAboutNames(const QCommandLineParser& options, const Form& form)
{
    auto names = QStringList { options.value(u"name"_s), options.value(u"account"_s) };
    if (isAboutName(form))
        names.append(options.positionalArguments().last());
    if (std::ranges::all_of(names, &std::optional<QString>::has_value, toName))
        return {};
    return u"a name must be "_s + nameRule;
}

/// The word behind the command; a name as it is kept, anything else as it was typed.
QString readOperand(const QCommandLineParser& options, const Form& form)
{
    if (form.operand.isEmpty())
        return {};
    const auto typed = options.positionalArguments().last();
    return isAboutName(form) ? toName(typed).value_or(QString()) : typed;
}

std::optional<QString> complainAboutServing(const QCommandLineParser& options)
{
    if (!ListenAddress::parse(options.value(u"listen"_s)))
        return u"--listen needs a numeric address and a port, as in 127.0.0.1:8787 or [::1]:8787"_s;
    const bool certificate = !options.value(u"tls-certificate"_s).isEmpty();
    const bool key = !options.value(u"tls-key"_s).isEmpty();
    if (certificate != key || options.isSet(u"tls-certificate"_s) != certificate
        || options.isSet(u"tls-key"_s) != key)
        return u"--tls-certificate and --tls-key need a file each, and belong together"_s;
    if (certificate && options.isSet(u"behind-proxy"_s))
        return u"behind a proxy the proxy speaks TLS; leave --tls-certificate and --tls-key out"_s;
    return {};
}

std::optional<QString> complainAboutDatabase(const QCommandLineParser& options, const QUrl& server)
{
    if (options.value(u"data"_s).isEmpty())
        return u"--data needs a directory"_s;
    if (options.isSet(u"data"_s) && options.isSet(u"database"_s))
        return u"--data and --database name two places; take one"_s;
    const auto scheme = server.scheme();
    if (!server.isEmpty()
        && (!server.isValid() || (scheme != u"postgresql" && scheme != u"postgres")
            || server.path().size() < 2))
        return u"the database needs a URL as in postgresql://user@host/database"_s;
    return {};
}

/// What is wrong with the values; none when all can be used.
std::optional<QString>
complaint(const QCommandLineParser& options, const Form& form, const QUrl& server)
{
    for (const auto& option : options.optionNames())
        if (option != u"data" && option != u"database" && !form.options.contains(option))
            return u"--%1 does not belong to \"%2\""_s.arg(option, form.words.join(u' '));
    if (options.isSet(u"output"_s) && options.value(u"output"_s).isEmpty())
        return u"--output needs a file"_s;
    if (!form.operand.isEmpty() && options.positionalArguments().last().isEmpty())
        return u"\"%1\" takes %2"_s.arg(form.words.join(u' '), form.operand);
    if (auto problem = complainAboutDatabase(options, server))
        return problem;
    if (auto problem = complainAboutServing(options))
        return problem;
    return complainAboutNames(options, form);
}

/// Where the database is: the option, or else the environment unless a directory is given.
QUrl readServer(const QCommandLineParser& options)
{
    if (options.isSet(u"database"_s))
        return { options.value(u"database"_s), QUrl::StrictMode };
    if (options.isSet(u"data"_s))
        return {};
    return { qEnvironmentVariable("QUIBEL_INBOX_DATABASE"), QUrl::StrictMode };
}

CommandLine assemble(const QCommandLineParser& options, const Form& form, const QUrl& server)
{
    CommandLine line;
    line.command = form.command;
    line.database.directory = options.value(u"data"_s);
    line.database.server = server;
    line.database.mustExist = form.reads;
    line.account = toName(options.value(u"account"_s)).value_or(QString());
    line.operand = readOperand(options, form);
    line.keyName = toName(options.value(u"name"_s)).value_or(QString());
    line.json = options.isSet(u"json"_s);
    line.printOnly = options.isSet(u"print"_s);
    if (options.isSet(u"output"_s))
        line.outputFile = options.value(u"output"_s);
    line.listen = ListenAddress::parse(options.value(u"listen"_s)).value_or(ListenAddress {});
    line.certificateFile = options.value(u"tls-certificate"_s);
    line.privateKeyFile = options.value(u"tls-key"_s);
    line.behindProxy = options.isSet(u"behind-proxy"_s);
    return line;
}

} // namespace

std::variant<CommandLine, CommandLine::Notice> CommandLine::parse(const QStringList& arguments)
{
    QCommandLineParser options;
    options.addOptions({ { u"data"_s, {}, u"DIR"_s, defaultDirectory() },
                         { u"database"_s, {}, u"URL"_s },
                         { u"account"_s, {}, u"NAME"_s, u"owner"_s },
                         { u"listen"_s, {}, u"HOST:PORT"_s, u"127.0.0.1:8787"_s },
                         { u"tls-certificate"_s, {}, u"FILE"_s },
                         { u"tls-key"_s, {}, u"FILE"_s },
                         { u"behind-proxy"_s, {} },
                         { u"print"_s, {} },
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
    const auto operands = words.size() - form->words.size();
    if (operands != (form->operand.isEmpty() ? 0 : 1))
        return misuse(u"\"%1\" takes %2"_s.arg(
            form->words.join(u' '), form->operand.isEmpty() ? u"no more words"_s : form->operand));
    const auto server = readServer(options);
    if (const auto problem = complaint(options, *form, server))
        return misuse(*problem);
    return assemble(options, *form, server);
}

} // namespace quibel::inbox
