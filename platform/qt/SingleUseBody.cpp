#include "platform/qt/SingleUseBody.h"

#include <utility>

namespace quibel {

SingleUseBody::SingleUseBody(HttpBody body)
    : content(std::move(body))
{
    open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

qint64 SingleUseBody::readData(char* data, qint64 limit)
{
    return content.copy(pos(), data, limit);
}

qint64 SingleUseBody::writeData(const char* /*data*/, qint64 /*size*/)
{
    return -1;
}

} // namespace quibel
