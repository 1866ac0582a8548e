#include "app/AutostartCommand.h"

#include <cstdio>

using namespace Qt::StringLiterals;

namespace quibel {

int runAutostart(LoginItem& loginItem, const QString& operand)
{
    if (operand == u"status"_s) {
        const bool on = loginItem.isOn();
        std::puts(on ? "on" : "off");
        return on ? 0 : 1;
    }
    const auto problem = operand == u"on"_s ? loginItem.turnOn() : loginItem.turnOff();
    if (!problem)
        return 0;
    std::fprintf(stderr, "quibel-capture-agent: %s\n", qUtf8Printable(*problem));
    return 1;
}

} // namespace quibel
