#pragma once

#include <QString>
#include <QStringList>

namespace quibel {

/// What was asked of several fakes, in order across all of them.
struct Journal
{
    QStringList entries;
};

/// Notes `entry` where a journal is kept.
inline void note(Journal* journal, const QString& entry)
{
    if (journal != nullptr)
        journal->entries << entry;
}

} // namespace quibel
