#include "ui/DisplayText.h"

#include <algorithm>

namespace velmora {

namespace {

bool isDirectional(QChar character)
{
    return (character >= QChar(0x202A) && character <= QChar(0x202E)) ||
           (character >= QChar(0x2066) && character <= QChar(0x2069));
}

QChar shown(QChar character)
{
    switch (character.category()) {
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return u'\n';
    case QChar::Other_Control:
        return character == u'\n' ? character : u' ';
    case QChar::Other_Format:
        return isDirectional(character) ? QChar(QChar::ReplacementCharacter) : character;
    default:
        return character;
    }
}

} // namespace

QString displayText(const QString &text)
{
    QString result = text;
    std::transform(text.cbegin(), text.cend(), result.begin(), shown);
    return result;
}

} // namespace velmora
