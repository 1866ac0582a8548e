#include "platform/HttpBody.h"

#include <algorithm>

namespace quibel {

namespace {

// Base64 turns each group of three bytes, the last of which may be shorter, into four characters.
constexpr qint64 groupBytes = 3;
constexpr qint64 groupCharacters = 4;

} // namespace

void HttpBody::append(const QByteArray& bytes)
{
    if (!bytes.isEmpty())
        pieces.push_back({ .bytes = bytes, .asBase64 = false });
}

void HttpBody::appendAsBase64(const QByteArray& bytes)
{
    if (!bytes.isEmpty())
        pieces.push_back({ .bytes = bytes, .asBase64 = true });
}

qint64 HttpBody::size() const
{
    qint64 sum = 0;
    for (const Piece& piece : pieces)
        sum += piece.size();
    return sum;
}

qint64 HttpBody::copy(qint64 offset, char* to, qint64 limit) const
{
    qint64 copied = 0;
    for (const Piece& piece : pieces) {
        copied += piece.copy(std::max<qint64>(offset, 0), to + copied, limit - copied);
        offset -= piece.size();
    }
    return copied;
}

QByteArray HttpBody::joined() const
{
    QByteArray all(size(), Qt::Uninitialized);
    copy(0, all.data(), all.size());
    return all;
}

qint64 HttpBody::Piece::size() const
{
    return asBase64 ? (bytes.size() + groupBytes - 1) / groupBytes * groupCharacters : bytes.size();
}

qint64 HttpBody::Piece::copy(qint64 offset, char* to, qint64 limit) const
{
    const qint64 count = std::clamp<qint64>(size() - offset, 0, limit);
    if (count == 0)
        return 0;
    if (!asBase64) {
        std::copy_n(bytes.constData() + offset, count, to);
        return count;
    }
    const qint64 firstGroup = offset / groupCharacters;
    const qint64 endGroup = (offset + count + groupCharacters - 1) / groupCharacters;
    const qint64 begin = firstGroup * groupBytes;
    const qint64 end = std::min<qint64>(endGroup * groupBytes, bytes.size());
    const auto text = QByteArray::fromRawData(bytes.constData() + begin, end - begin).toBase64();
    std::copy_n(text.constData() + (offset - firstGroup * groupCharacters), count, to);
    return count;
}

} // namespace quibel
