#include "platform/freedesktop/KeyNames.h"

#include <QCoreApplication>

#include <string_view>

using namespace Qt::StringLiterals;

namespace quibel {

KeyNames::KeyNames()
{
    QCoreApplication::installTranslator(this);
}

QString KeyNames::translate(const char* context,
                            const char* sourceText,
                            const char* /*disambiguation*/,
                            int /*n*/) const
{
    // Source: the contexts and texts of the toolkit's own translations; null is "not translated".
    const bool isMeta
        = std::string_view(context) == "QShortcut" && std::string_view(sourceText) == "Meta";
    return isMeta ? u"Super"_s : QString();
}

} // namespace quibel
