#include "app/DoctorCommand.h"

#include "app/ExaminedDesktop.h"
#include "doctor/Doctor.h"
#include "doctor/JsonReport.h"
#include "doctor/TableReport.h"

#include <QDeadlineTimer>
#include <QGuiApplication>

#include <chrono>
#include <cstdio>
#include <memory>

using namespace std::chrono_literals;

namespace quibel {

namespace {

constexpr auto patience = 5s;

void write(const Diagnosis& diagnosis, DoctorReport report)
{
    const QByteArray text
        = report == DoctorReport::json ? jsonReport(diagnosis) : tableReport(diagnosis).toUtf8();
    std::fwrite(text.constData(), 1, static_cast<std::size_t>(text.size()), stdout);
    std::fflush(stdout);
}

} // namespace

int runDoctor(int& argc, char* argv[], DoctorReport report) // NOLINT(modernize-avoid-c-arrays)
{
    const QDeadlineTimer deadline(patience);
    ExaminedDesktop desktop;
    const std::unique_ptr<QCoreApplication> application = desktop.hasDisplay()
        ? std::make_unique<QGuiApplication>(argc, argv)
        : std::make_unique<QCoreApplication>(argc, argv);
    Doctor doctor(desktop.patient());
    doctor.examine(deadline, [report](const Diagnosis& diagnosis) {
        write(diagnosis, report);
        QCoreApplication::exit(isHealthy(diagnosis) ? 0 : 1);
    });
    return QCoreApplication::exec();
}

} // namespace quibel
