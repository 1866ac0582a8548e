#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <utility>

namespace quibel {

/// Overwrites memory, even where the compiler sees that it is never read again.
void overwrite(void* memory, std::size_t size);

/// Empties `text`, and overwrites what it held unless another one shares that.
template <typename Text>
void wipe(Text& text)
{
    if (text.isDetached())
        overwrite(text.data(),
                  static_cast<std::size_t>(text.capacity()) * sizeof(typename Text::value_type));
    text.clear();
}

/// A text or bytes that must not stay in memory: the last one to hold them overwrites them.
template <typename Text>
class Secret
{
public:
    Secret() = default;
    Secret(Text secret)
        : text(std::move(secret))
    {
    }
    Secret(const Secret&) = default;
    Secret(Secret&&) noexcept = default;
    Secret& operator=(const Secret& other)
    {
        Secret copy(other);
        std::swap(text, copy.text);
        return *this;
    }
    Secret& operator=(Secret&& other) noexcept
    {
        std::swap(text, other.text);
        return *this;
    }
    ~Secret() { wipe(text); }

    operator const Text&() const { return text; }
    const Text* operator->() const { return &text; }

    bool operator==(const Secret&) const = default;

private:
    Text text;
};

using SecretText = Secret<QString>;
using SecretBytes = Secret<QByteArray>;

} // namespace quibel
