#include "platform/SecretText.h"

#include <cstring>

namespace quibel {

void overwrite(void* memory, std::size_t size)
{
    explicit_bzero(memory, size);
}

} // namespace quibel
