#include "platform/qt/SingleUseBody.h"

#include <algorithm>

namespace quibel {

SingleUseBody::SingleUseBody(QByteArray content)
    : bytes(std::move(content))
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

qint64 SingleUseBody::readData(char* data, qint64 limit)
{
    const qint64 count = std::clamp<qint64>(bytes.size() - pos(), 0, limit);
    std::copy_n(bytes.constData() + pos(), count, data);
    return count;
}

qint64 SingleUseBody::writeData(const char* /*data*/, qint64 /*size*/)
{
    return -1;
}

} // namespace quibel
