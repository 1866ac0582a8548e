#include "inbox/storage/SearchText.h"

#include <QChar>
#include <QSet>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestText = 100'000;
constexpr qsizetype longestTypedText = 2'000;
constexpr qsizetype longestWord = 64;
constexpr qsizetype mostTypedWords = 32;
constexpr qsizetype pieceLength = 64;

bool isMark(char32_t letter)
{
    const auto category = QChar::category(letter);
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining
        || category == QChar::Mark_Enclosing;
}

bool isOfScriptWithoutBlanks(char32_t letter)
{
    switch (QChar::script(letter)) {
    case QChar::Script_Han:
    case QChar::Script_Hiragana:
    case QChar::Script_Katakana:
    case QChar::Script_Bopomofo:
    case QChar::Script_Yi:
    case QChar::Script_Thai:
    case QChar::Script_Lao:
    case QChar::Script_Khmer:
    case QChar::Script_Myanmar:
    case QChar::Script_Tibetan:
        return true;
    default:
        return false;
    }
}

/// Takes letters one by one and keeps the different words that they make, in their order.
class Words
{
public:
    void add(char32_t letter)
    {
        if (isMark(letter))
            return;
        const bool single = isOfScriptWithoutBlanks(letter);
        if (single || !QChar::isLetterOrNumber(letter))
            finish();
        if (QChar::isLetterOrNumber(letter) && length++ < longestWord)
            word += QChar::fromUcs4(letter);
        if (single)
            finish();
    }

    void finish()
    {
        if (!word.isEmpty() && !known.contains(word)) {
            known.insert(word);
            list.append(word);
        }
        word.clear();
        length = 0;
    }

    [[nodiscard]] const QStringList& all() const { return list; }

private:
    QString word;
    qsizetype length = 0;
    QSet<QString> known;
    QStringList list;
};

QList<uint> plainLetters(const QList<uint>& letters)
{
    // Compatibility forms find their plain letters. Upper case first: folding alone leaves the
    // letters alone that have two in upper case.
    return QString::fromUcs4(reinterpret_cast<const char32_t*>(letters.constData()), letters.size())
        .normalized(QString::NormalizationForm_KD)
        .toUpper()
        .toCaseFolded()
        .normalized(QString::NormalizationForm_KD)
        .toUcs4();
}

QStringList wordsOf(const QString& text, qsizetype longest)
{
    const auto letters = text.left(longest).toUcs4();
    Words words;
    qsizetype taken = 0;
    // Piece by piece: Qt's normalising takes quadratic time where letters become more than one.
    for (qsizetype i = 0; i < letters.size() && taken < longest; i += pieceLength) {
        const auto plain = plainLetters(letters.mid(i, pieceLength));
        for (const auto letter : plain)
            words.add(letter);
        taken += plain.size();
    }
    words.finish();
    return words.all();
}

} // namespace

QString searchWords(const BranchDocument& document)
{
    const QStringList texts { document.title,
                              document.appName,
                              document.windowTitle.value_or(QString()),
                              document.capturedText };
    return wordsOf(texts.join(u' '), longestText).join(u' ');
}

QStringList typedWords(const QString& text)
{
    return wordsOf(text, longestTypedText).mid(0, mostTypedWords);
}

} // namespace quibel::inbox
