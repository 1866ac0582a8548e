#pragma once

#include <QByteArray>
#include <QTemporaryFile>

#include <cstdio>

#include <unistd.h>

namespace quibel {

/// Diverts a standard stream of this process while it lives; then what was written goes its way, so
/// that no failure of a test is lost.
class CapturedOutput
{
public:
    explicit CapturedOutput(std::FILE* diverted)
        : stream(diverted)
        , original(dup(fileno(diverted)))
    {
        if (!file.open())
            qFatal("no temporary file");
        std::fflush(stream);
        dup2(file.handle(), fileno(stream));
    }

    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    ~CapturedOutput()
    {
        std::fflush(stream);
        dup2(original, fileno(stream));
        close(original);
        std::fputs(text().constData(), stream);
    }

    /// What was written and flushed so far.
    [[nodiscard]] QByteArray text()
    {
        file.seek(0);
        return file.readAll();
    }

private:
    std::FILE* stream;
    int original;
    QTemporaryFile file;
};

} // namespace quibel
