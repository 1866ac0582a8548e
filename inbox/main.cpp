#include "inbox/CommandLine.h"
#include "inbox/Commands.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    using namespace quibel::inbox;

    const QCoreApplication application(argc, argv);
    const auto parsed = CommandLine::parse(QCoreApplication::arguments());
    if (const auto* line = std::get_if<CommandLine>(&parsed))
        return run(*line);

    const auto& notice = std::get<CommandLine::Notice>(parsed);
    const bool answer = notice.kind == CommandLine::Notice::Kind::answer;
    std::fputs(qUtf8Printable(notice.text), answer ? stdout : stderr);
    return answer ? 0 : 2;
}
