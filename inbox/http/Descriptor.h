#pragma once

namespace quibel::inbox {

/// An open file descriptor, closed with its owner.
class Descriptor
{
public:
    explicit Descriptor(int number)
        : descriptor(number)
    {
    }
    Descriptor(Descriptor&& other) noexcept
        : descriptor(other.release())
    {
    }
    Descriptor& operator=(Descriptor&&) = delete;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();

    [[nodiscard]] bool isOpen() const { return descriptor >= 0; }
    [[nodiscard]] int number() const { return descriptor; }

    /// Hands the descriptor over to whoever closes it from now on.
    [[nodiscard]] int release();

private:
    int descriptor;
};

} // namespace quibel::inbox
