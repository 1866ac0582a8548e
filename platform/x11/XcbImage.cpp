#include "platform/x11/XcbImage.h"

#include <optional>
#include <utility>

#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <xcb/shm.h>

namespace quibel {

namespace {

constexpr std::uint32_t allPlanes = ~0U;

struct PixelLayout
{
    QImage::Format format = QImage::Format_Invalid;
    int bytesPerPixel = 0;
    std::uint8_t depth = 0;

    [[nodiscard]] int bytesPerLine(int width) const { return (width * bytesPerPixel + 3) / 4 * 4; }
};

QImage::Format formatOf(std::uint8_t depth, const xcb_visualtype_t& visual)
{
    if (visual.red_mask == 0xff0000 && visual.green_mask == 0xff00 && visual.blue_mask == 0xff) {
        if (depth == 24)
            return QImage::Format_RGB32;
        return depth == 32 ? QImage::Format_ARGB32_Premultiplied : QImage::Format_Invalid;
    }
    if (depth == 30 && visual.red_mask == 0x3ff00000)
        return QImage::Format_RGB30;
    if (depth == 16 && visual.red_mask == 0xf800)
        return QImage::Format_RGB16;
    return QImage::Format_Invalid;
}

int bitsPerPixel(const xcb_setup_t* setup, std::uint8_t depth)
{
    for (auto format = xcb_setup_pixmap_formats_iterator(setup); format.rem > 0;
         xcb_format_next(&format))
        if (format.data->depth == depth)
            return format.data->bits_per_pixel;
    return 0;
}

struct DeepVisual
{
    std::uint8_t depth = 0;
    const xcb_visualtype_t* type = nullptr; ///< Null when the server has no such visual.
};

DeepVisual findVisual(const xcb_setup_t* setup, xcb_visualid_t wanted)
{
    for (auto screen = xcb_setup_roots_iterator(setup); screen.rem > 0; xcb_screen_next(&screen))
        for (auto depth = xcb_screen_allowed_depths_iterator(screen.data); depth.rem > 0;
             xcb_depth_next(&depth))
            for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
                 xcb_visualtype_next(&visual))
                if (visual.data->visual_id == wanted)
                    return { .depth = depth.data->depth, .type = visual.data };
    return {};
}

std::optional<PixelLayout> layoutOf(const xcb_setup_t* setup, xcb_visualid_t wanted)
{
    const int ownOrder
        = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? XCB_IMAGE_ORDER_LSB_FIRST : XCB_IMAGE_ORDER_MSB_FIRST;
    const DeepVisual visual = findVisual(setup, wanted);
    if (visual.type == nullptr || setup->image_byte_order != ownOrder)
        return std::nullopt;
    const QImage::Format format = formatOf(visual.depth, *visual.type);
    const int bits = bitsPerPixel(setup, visual.depth);
    if (format == QImage::Format_Invalid || bits != QImage::toPixelFormat(format).bitsPerPixel())
        return std::nullopt;
    return PixelLayout { .format = format, .bytesPerPixel = bits / 8, .depth = visual.depth };
}

/// Whether descriptors can be sent to the server. libxcb shuts a connection down on which they
/// cannot, so this is asked before.
bool isLocal(xcb_connection_t* connection)
{
    sockaddr_storage address {};
    socklen_t length = sizeof address;
    return getsockname(
               xcb_get_file_descriptor(connection), reinterpret_cast<sockaddr*>(&address), &length)
        == 0
        && address.ss_family == AF_UNIX;
}

bool sharesMemory(xcb_connection_t* connection)
{
    const auto* extension = xcb_get_extension_data(connection, &xcb_shm_id);
    if (extension == nullptr || extension->present == 0 || !isLocal(connection))
        return false;
    const auto version
        = xcbReply(xcb_shm_query_version_reply, connection, xcb_shm_query_version(connection));
    return version
        && std::pair(version->major_version, version->minor_version)
        >= std::pair<std::uint16_t, std::uint16_t>(1, 2);
}

/// Anonymous memory with a descriptor, so that the server can have it too.
class SharedMemory
{
public:
    explicit SharedMemory(std::size_t size)
        : bytes(size)
        , descriptor(memfd_create("quibel-screenshot", MFD_CLOEXEC))
    {
        if (descriptor < 0 || ftruncate(descriptor, static_cast<off_t>(bytes)) != 0)
            return;
        void* mapped = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
        address = mapped == MAP_FAILED ? nullptr : mapped;
    }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    ~SharedMemory()
    {
        if (address != nullptr)
            munmap(address, bytes);
        if (descriptor >= 0)
            close(descriptor);
    }

    [[nodiscard]] uchar* data() const { return static_cast<uchar*>(address); }
    /// To be closed by the one who takes it.
    [[nodiscard]] int takeDescriptor() { return std::exchange(descriptor, -1); }

private:
    std::size_t bytes;
    int descriptor;
    void* address = nullptr;
};

QImage
readShared(xcb_connection_t* connection, const XcbImageSource& source, const PixelLayout& layout)
{
    const QRect& area = source.area;
    const int bytesPerLine = layout.bytesPerLine(area.width());
    auto memory = std::make_unique<SharedMemory>(static_cast<std::size_t>(bytesPerLine)
                                                 * static_cast<std::size_t>(area.height()));
    if (memory->data() == nullptr)
        return {};
    const xcb_shm_seg_t segment = xcb_generate_id(connection);
    xcb_shm_attach_fd(connection, segment, memory->takeDescriptor(), 0);
    const auto cookie = xcb_shm_get_image(connection,
                                          source.drawable,
                                          static_cast<std::int16_t>(area.x()),
                                          static_cast<std::int16_t>(area.y()),
                                          static_cast<std::uint16_t>(area.width()),
                                          static_cast<std::uint16_t>(area.height()),
                                          allPlanes,
                                          XCB_IMAGE_FORMAT_Z_PIXMAP,
                                          segment,
                                          0);
    xcb_shm_detach(connection, segment);
    const auto reply = xcbReply(xcb_shm_get_image_reply, connection, cookie);
    if (!reply || reply->depth != layout.depth)
        return {};
    uchar* pixels = memory->data();
    return { pixels,          area.width(),
             area.height(),   bytesPerLine,
             layout.format,   [](void* owner) { delete static_cast<SharedMemory*>(owner); },
             memory.release() };
}

QImage readOverConnection(xcb_connection_t* connection,
                          const XcbImageSource& source,
                          const PixelLayout& layout)
{
    const QRect& area = source.area;
    const int bytesPerLine = layout.bytesPerLine(area.width());
    auto reply = xcbReply(xcb_get_image_reply,
                          connection,
                          xcb_get_image(connection,
                                        XCB_IMAGE_FORMAT_Z_PIXMAP,
                                        source.drawable,
                                        static_cast<std::int16_t>(area.x()),
                                        static_cast<std::int16_t>(area.y()),
                                        static_cast<std::uint16_t>(area.width()),
                                        static_cast<std::uint16_t>(area.height()),
                                        allPlanes));
    if (!reply || reply->depth != layout.depth
        || std::int64_t { 4 } * reply->length < std::int64_t { bytesPerLine } * area.height())
        return {};
    uchar* pixels = xcb_get_image_data(reply.get());
    return { pixels,         area.width(),  area.height(),
             bytesPerLine,   layout.format, [](void* owner) { XcbFree {}(owner); },
             reply.release() };
}

} // namespace

QImage readImage(xcb_connection_t* connection, const XcbImageSource& source)
{
    const auto layout = layoutOf(xcb_get_setup(connection), source.visual);
    if (!layout || source.area.isEmpty())
        return {};
    QImage image;
    if (sharesMemory(connection))
        image = readShared(connection, source, *layout);
    if (image.isNull())
        image = readOverConnection(connection, source, *layout);
    if (layout->format == QImage::Format_RGB32
        || layout->format == QImage::Format_ARGB32_Premultiplied)
        return image;
    return image.convertToFormat(QImage::Format_RGB32);
}

} // namespace quibel
