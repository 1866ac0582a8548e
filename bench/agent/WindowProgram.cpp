// Shows one picture in a window without a frame until it is ended; tells the window's number when
// it has been painted.
//
//   quibel-bench-window <content> <width> <height>
#include "bench/agent/Pictures.h"

#include <QApplication>
#include <QLabel>
#include <QTimer>

#include <cstdio>

int main(int argc, char* argv[])
{
    const QApplication application(argc, argv);
    const QStringList words = QApplication::arguments();
    if (words.size() != 4)
        return 2;
    QLabel label;
    label.setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    const QSize size(words[2].toInt(), words[3].toInt());
    label.setPixmap(QPixmap::fromImage(quibel::bench::picture(words[1], size)));
    label.setFixedSize(size);
    label.move(0, 0);
    label.show();
    QTimer::singleShot(1000, &label, [&label] {
        std::printf("%llu\n", static_cast<unsigned long long>(label.winId()));
        std::fflush(stdout);
    });
    return QApplication::exec();
}
