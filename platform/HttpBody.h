#pragma once

#include <QByteArray>

#include <vector>

namespace quibel {

/// What a request carries: pieces of bytes, one behind the other, each as it is or in Base64.
///
/// Base64 comes into being as it is read, so a large piece is neither copied nor encoded at one go.
class HttpBody
{
public:
    HttpBody() = default;
    HttpBody(const QByteArray& bytes) { append(bytes); }

    void append(const QByteArray& bytes);
    /// Appends bytes that are sent as Base64, without line breaks.
    void appendAsBase64(const QByteArray& bytes);

    /// Units: bytes as they are sent.
    [[nodiscard]] qint64 size() const;

    /// Copies what is sent from `offset` on, at most `limit` bytes, and returns how many.
    qint64 copy(qint64 offset, char* to, qint64 limit) const;

    /// All that is sent.
    [[nodiscard]] QByteArray joined() const;

    bool operator==(const HttpBody&) const = default;

private:
    struct Piece
    {
        QByteArray bytes;
        bool asBase64 = false;

        [[nodiscard]] qint64 size() const;
        qint64 copy(qint64 offset, char* to, qint64 limit) const;

        bool operator==(const Piece&) const = default;
    };

    std::vector<Piece> pieces;
};

} // namespace quibel
