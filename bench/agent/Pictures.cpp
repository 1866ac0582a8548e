#include "bench/agent/Pictures.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <random>

using namespace Qt::StringLiterals;

namespace quibel::bench {

namespace {

constexpr unsigned seed = 20'240'229;

QFont letters(int pixels)
{
    QFont font(u"DejaVu Sans Mono"_s);
    font.setPixelSize(pixels);
    return font;
}

QString words(std::mt19937& random, int count)
{
    QString line;
    for (int i = 0; i < count; ++i) {
        for (unsigned letter = 2 + random() % 8; letter > 0; --letter)
            line += QChar(u'a' + static_cast<char16_t>(random() % 26));
        line += u' ';
    }
    return line;
}

void drawFlat(QImage& image)
{
    std::mt19937 random(seed);
    QPainter painter(&image);
    painter.setFont(letters(14));
    image.fill(QColor(240, 240, 243));
    painter.fillRect(0, 0, image.width(), 40, QColor(52, 58, 70));
    painter.fillRect(0, 40, 220, image.height(), QColor(225, 227, 232));
    for (int y = 60; y < image.height(); y += 90)
        for (int x = 240; x < image.width(); x += 420) {
            painter.fillRect(x, y, 400, 70, Qt::white);
            painter.setPen(QColor(200, 202, 208));
            painter.drawRect(x, y, 400, 70);
            painter.fillRect(x + 12,
                             y + 12,
                             46,
                             46,
                             QColor::fromHsv(static_cast<int>(random() % 360), 120, 200));
            painter.setPen(QColor(40, 44, 52));
            painter.drawText(x + 72, y + 40, words(random, 4));
        }
}

void drawText(QImage& image)
{
    std::mt19937 random(seed);
    QPainter painter(&image);
    painter.setFont(letters(13));
    image.fill(Qt::white);
    painter.setPen(QColor(30, 30, 30));
    for (int y = 18; y < image.height(); y += 18)
        painter.drawText(8, y, words(random, image.width() / 52));
}

void drawPhoto(QImage& image)
{
    std::mt19937 random(seed);
    constexpr int grain = 5;
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        const double v = static_cast<double>(y) / image.height();
        for (int x = 0; x < image.width(); ++x) {
            const double u = static_cast<double>(x) / image.width();
            const double light
                = 128 + 60 * std::sin(7 * u + 3 * v) + 50 * std::cos(5 * v * v + 2 * u);
            const auto channel = [&](double shift) {
                const int noise = static_cast<int>(random() % (2 * grain + 1)) - grain;
                return std::clamp(
                    static_cast<int>(light + shift * std::sin(9 * u * v)) + noise, 0, 255);
            };
            const int red = channel(40);
            const int green = channel(-20);
            row[x] = qRgb(red, green, channel(25));
        }
    }
}

void drawNoise(QImage& image)
{
    std::mt19937 random(seed);
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        std::generate(row, row + image.width(), [&] { return 0xFF000000U | random(); });
    }
}

} // namespace

QImage picture(const QString& content, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    if (content == u"flat")
        drawFlat(image);
    else if (content == u"text")
        drawText(image);
    else if (content == u"photo")
        drawPhoto(image);
    else if (content == u"noise")
        drawNoise(image);
    else
        qFatal("no such content");
    return image;
}

} // namespace quibel::bench
