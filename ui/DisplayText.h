#pragma once

#include <QString>

namespace velmora {

/// A text of the service as it is shown: its characters and nothing that acts on the text around it. Each
/// line or paragraph separator is a line feed, each other control character a space, and a replacement
/// character stands for each directional embedding, override and isolate (Unicode Standard Annex #9), which
/// would show letters in another order than they have.
QString displayText(const QString &text);

} // namespace velmora
