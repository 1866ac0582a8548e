#include "inbox/program/CommandLine.h"
#include "inbox/program/Commands.h"

#include <QCoreApplication>

#include <cstdio>

#include <malloc.h>

int main(int argc, char* argv[])
{
    using namespace quibel::inbox;

    // Left to itself, glibc soon takes what a screenshot needs from its heap, which then stays as
    // large as several of them: 68 MiB after the largest ones, instead of 19.
    constexpr int largestOfHeap = 128 * 1024;
    mallopt(M_MMAP_THRESHOLD, largestOfHeap); // NOLINT(concurrency-mt-unsafe): one thread yet

    const QCoreApplication application(argc, argv);
    const auto parsed = CommandLine::parse(QCoreApplication::arguments());
    if (const auto* notice = std::get_if<CommandLine::Notice>(&parsed)) {
        const bool answer = notice->kind == CommandLine::Notice::Kind::answer;
        std::fputs(qUtf8Printable(notice->text), answer ? stdout : stderr);
        return answer ? 0 : 2;
    }
    return run(*std::get_if<CommandLine>(&parsed));
}
