#pragma once

#include "platform/HttpBody.h"

#include <QIODevice>

namespace quibel {

/// A request's body that can be read only once.
///
/// The toolkit sends a request again, whatever its method, when the connection ends before the
/// answer; it gives that up when the body cannot be rewound.
class SingleUseBody final : public QIODevice
{
    Q_OBJECT

public:
    explicit SingleUseBody(HttpBody body);

    [[nodiscard]] qint64 size() const override { return content.size(); }
    bool reset() override { return false; }

protected:
    qint64 readData(char* data, qint64 limit) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    HttpBody content;
};

} // namespace quibel
