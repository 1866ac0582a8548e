#pragma once

#include <QByteArray>

namespace quibel {

/// Opens what this program was started without of standard input, output and error. Otherwise the
/// next file or connection would be in their place, and get what is written to them.
///
/// Thread: main, before anything else is opened.
void openMissingStandardStreams();

/// From now on standard output and error never hold this program up: what a pipe, socket or
/// terminal does not take at once is dropped. Whoever else writes to the same notices nothing.
///
/// Thread: main.
void dropWhatNobodyReads();

/// Writes one piece of text on standard output, at once; a short one as a whole or not at all.
///
/// Thread: any.
void writeToStandardOutput(const QByteArray& text);

} // namespace quibel
