#include "inbox/http/Descriptor.h"

#include <utility>

#include <unistd.h>

namespace quibel::inbox {

Descriptor::~Descriptor()
{
    if (isOpen())
        ::close(descriptor);
}

int Descriptor::release()
{
    return std::exchange(descriptor, -1);
}

} // namespace quibel::inbox
