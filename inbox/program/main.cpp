#include "inbox/program/CommandLine.h"
#include "inbox/program/Commands.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    using namespace quibel::inbox;

    const QCoreApplication application(argc, argv);
    const auto parsed = CommandLine::parse(QCoreApplication::arguments());
    if (const auto* notice = std::get_if<CommandLine::Notice>(&parsed)) {
        const bool answer = notice->kind == CommandLine::Notice::Kind::answer;
        std::fputs(qUtf8Printable(notice->text), answer ? stdout : stderr);
        return answer ? 0 : 2;
    }
    return run(*std::get_if<CommandLine>(&parsed));
}
