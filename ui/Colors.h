#pragma once

#include <QPalette>

/// The tones that every part of the window shares. They follow from a palette: the application's, or that of
/// a filled area, whose `Window` is the fill. The accent is the palette's `Highlight`.
namespace velmora::colors {

/// Contrast ratio as WCAG 2 defines it, from 1 to 21.
double contrast(const QColor &one, const QColor &other);
/// The least contrast of text with what it stands on.
inline constexpr double readable = 4.5;

/// Makes outlines and quiet text reach `highContrast` with what they stand on.
void setHighContrast(bool wanted);
inline constexpr double highContrast = 7;

QColor quietText(const QPalette &palette);
QColor outline(const QPalette &palette);
/// Outline of a control that takes input and must stand out from its surroundings.
QColor controlOutline(const QPalette &palette);
/// Veils under a control that the pointer is over or that is pressed.
QColor hover(const QPalette &palette);
QColor pressed(const QPalette &palette);
/// Fill that says "protected", and the text on it.
QColor protectedFill(const QPalette &palette);
QColor onProtected();

/// The palette of an area that is filled with `fill` and carries `text`; the accent in it is the text's
/// colour. It sets these roles only: the others are still inherited.
QPalette onFill(const QColor &fill, const QColor &text);

/// The palettes for a desktop that has none of its own.
QPalette lightPalette();
QPalette darkPalette();
/// True where Qt got no palette from the desktop and fell back to its own.
bool isFallback(const QPalette &desktop);
/// The same palette with the product's accent, tuned for its light or dark ground.
QPalette withAccent(QPalette palette);

} // namespace velmora::colors
