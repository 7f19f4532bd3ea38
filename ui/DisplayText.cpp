#include "ui/DisplayText.h"

#include <QRegularExpression>

namespace velmora {

using namespace Qt::StringLiterals;

QString displayText(const QString &text)
{
    static const QRegularExpression separator(u"[\\x{2028}\\x{2029}]"_s);
    static const QRegularExpression control(u"(?!\\n)\\p{Cc}"_s);
    static const QRegularExpression directional(u"[\\x{202A}-\\x{202E}\\x{2066}-\\x{2069}]"_s);
    QString shown = text;
    return shown.replace(separator, u"\n"_s).replace(control, u" "_s).replace(directional, u"\uFFFD"_s);
}

} // namespace velmora
