#include "inbox/program/PasswordInput.h"

#include <cstdio>

#include <termios.h>
#include <unistd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype shortest = 10;
constexpr qsizetype longest = 1000; ///< In bytes; keeps a mistaken redirection from being hashed.

/// The terminal shows nothing of what is typed as long as this lives.
class HiddenInput
{
public:
    HiddenInput()
    {
        if (::tcgetattr(STDIN_FILENO, &before) != 0)
            return;
        auto hidden = before;
        hidden.c_lflag &= ~tcflag_t { ECHO };
        changed = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden) == 0;
    }
    Q_DISABLE_COPY_MOVE(HiddenInput)
    ~HiddenInput()
    {
        if (changed)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    }

private:
    termios before {};
    bool changed = false;
};

QByteArray readLine()
{
    QByteArray line;
    for (int c = std::getchar(); c != EOF && c != '\n' && line.size() <= longest;
         c = std::getchar())
        line.append(static_cast<char>(c));
    return line;
}

QByteArray ask(const char* question)
{
    std::fputs(question, stderr);
    const HiddenInput hidden;
    auto answer = readLine();
    std::fputc('\n', stderr);
    return answer;
}

} // namespace

std::variant<QString, PasswordProblem> readNewPassword()
{
    const bool terminal = ::isatty(STDIN_FILENO) == 1;
    const auto typed = terminal ? ask("New password: ") : readLine();
    auto password = QString::fromUtf8(typed);
    if (typed.size() > longest)
        return PasswordProblem { u"a password has at most %1 bytes"_s.arg(longest) };
    if (password.size() < shortest)
        return PasswordProblem { u"a password has at least %1 characters"_s.arg(shortest) };
    if (terminal && ask("The same again: ") != typed)
        return PasswordProblem { u"the two passwords differ; nothing was changed"_s };
    return password;
}

} // namespace quibel::inbox
