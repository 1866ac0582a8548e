#include "tests/inbox/page/PageInspection.h"

namespace quibel::inbox::testing {

using namespace Qt::StringLiterals;

namespace {

const QString findFaintTexts = uR"js((() => {
    const channels = (color) => color.match(/[\d.]+/g).map(Number);
    const linear = (c) => (c /= 255) <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
    const luminance = ([r, g, b]) => 0.2126 * linear(r) + 0.7152 * linear(g) + 0.0722 * linear(b);
    const isClear = (color) => channels(color)[3] === 0;
    const behind = (one) => {
        for (; one; one = one.parentElement)
            if (!isClear(getComputedStyle(one).backgroundColor)) return getComputedStyle(one).backgroundColor;
        return getComputedStyle(document.body).backgroundColor;
    };
    const ratio = (front, back) => {
        const [low, high] = [luminance(channels(front)), luminance(channels(back))].sort((a, b) => a - b);
        return (high + 0.05) / (low + 0.05);
    };
    const faint = [];
    const look = (text, one, color) => {
        const found = ratio(color, behind(one));
        if (!(found >= 4.5)) faint.push(`${text}: ${found.toFixed(2)}`);
    };
    let looked = 0;
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    for (let node = walker.nextNode(); node; node = walker.nextNode()) {
        const one = node.parentElement;
        if (!node.data.trim() || !one.checkVisibility() || one.closest('[aria-disabled=true], noscript, option')) continue;
        looked += 1;
        look(node.data.trim().slice(0, 40), one, getComputedStyle(one).color);
    }
    for (const field of document.querySelectorAll('input, select')) {
        if (!field.checkVisibility() || field.type === 'radio' || field.type === 'checkbox') continue;
        look(`value of ${field.name || field.id}`, field, getComputedStyle(field).color);
        if (field.placeholder) look(`placeholder of ${field.name}`, field, getComputedStyle(field, '::placeholder').color);
    }
    return looked > 3 ? faint : ['nothing to look at'];
})())js"_s;

} // namespace

QStringList faintTexts(quibel::testing::Browser& browser)
{
    return browser.evaluate(findFaintTexts).toVariant().toStringList();
}

QStringList namelessControls(quibel::testing::Browser& browser)
{
    static const QStringList kinds { u"button"_s,   u"link"_s,     u"textbox"_s, u"searchbox"_s,
                                     u"combobox"_s, u"checkbox"_s, u"radio"_s,   u"dialog"_s,
                                     u"article"_s,  u"feed"_s,     u"group"_s,   u"navigation"_s };
    const auto nodes = browser.command(u"Accessibility.getFullAXTree"_s)[u"nodes"_s].toArray();
    QStringList nameless;
    int named = 0;
    for (const auto& node : nodes) {
        const auto kind = node[u"role"_s][u"value"_s].toString();
        if (node[u"ignored"_s].toBool() || !kinds.contains(kind))
            continue;
        if (node[u"name"_s][u"value"_s].toString().trimmed().isEmpty())
            nameless.append(kind);
        else
            ++named;
    }
    return named > 1 ? nameless : QStringList { u"nothing to look at"_s };
}

} // namespace quibel::inbox::testing
