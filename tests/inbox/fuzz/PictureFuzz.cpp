#include "inbox/agent/PngPicture.h"
#include "tests/inbox/fuzz/FuzzInput.h"

#include <QtEndian>

#include <zlib.h>

using namespace quibel::inbox;
using namespace quibel::inbox::testing;

namespace {

/// The same chunks with the checksums that belong to them, which no fuzzer would guess.
QByteArray withChecksums(QByteArray picture)
{
    constexpr qsizetype signature = 8;
    constexpr qsizetype frame = 12;
    for (auto at = signature; at + frame <= picture.size();) {
        const auto length = qsizetype(qFromBigEndian<quint32>(picture.constData() + at));
        if (length > picture.size() - at - frame)
            break;
        const auto* checked = reinterpret_cast<const Bytef*>(picture.constData() + at + 4);
        const auto sum = quint32(crc32_z(0, checked, z_size_t(length + 4)));
        qToBigEndian(sum, picture.data() + at + 8 + length);
        at += frame + length;
    }
    return picture;
}

void check(const QByteArray& picture)
{
    const auto size = checkPng(picture);
    require(!size || (size->width() > 0 && size->height() > 0));
    require(!size || picture.endsWith(QByteArrayView("IEND\xae\x42\x60\x82", 8)));
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const auto picture = toInput(bytes, size);
    check(picture);
    check(withChecksums(picture));
    return 0;
}
