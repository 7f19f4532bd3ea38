#include "ui/Style.h"

#include "ui/Colors.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QStyleFactory>
#include <QStyleOption>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int scrollBarExtent = 10;
constexpr int shortestHandle = 32;

Appearance appearance;
bool desktopHasPalette = false;

/// The font that the application had at the first call.
const QFont &systemFont()
{
    static const QFont font = QApplication::font();
    return font;
}

bool isFlat(const QStyleOptionButton &button)
{
    return button.features.testFlag(QStyleOptionButton::Flat);
}

bool isPrimary(const QStyleOptionButton &button)
{
    return button.features.testFlag(QStyleOptionButton::DefaultButton);
}

bool showsFocus(const QStyleOption &option)
{
    return option.state.testFlag(QStyle::State_HasFocus) &&
           option.state.testFlag(QStyle::State_KeyboardFocusChange);
}

void drawButton(const QStyleOptionButton &button, QPainter *painter)
{
    const QPalette &palette = button.palette;
    const bool down = button.state.testFlag(QStyle::State_Sunken) || button.state.testFlag(QStyle::State_On);
    const bool over =
        button.state.testFlag(QStyle::State_MouseOver) && button.state.testFlag(QStyle::State_Enabled);
    const QRectF rect = QRectF(button.rect);
    QColor focus = palette.color(QPalette::Highlight);
    if (isPrimary(button)) {
        Style::drawPanel(painter, rect, palette.color(QPalette::Highlight));
        focus = palette.color(QPalette::HighlightedText);
    } else if (!isFlat(button)) {
        Style::drawPanel(painter, rect, palette.color(QPalette::Button), colors::controlOutline(palette));
    }
    // On the accent a light veil would take the text's contrast, so the primary button darkens.
    const QColor veil = isPrimary(button) ? QColor(0, 0, 0, down ? 60 : 25)
                        : down            ? colors::pressed(palette)
                                          : colors::hover(palette);
    if (down || over)
        Style::drawPanel(painter, rect, veil);
    if (showsFocus(button))
        Style::drawFocusRing(painter, isPrimary(button) ? rect.adjusted(2, 2, -2, -2) : rect, focus);
}

void drawScrollBar(const QStyleOptionSlider &bar, const QRect &slider, QPainter *painter)
{
    if (bar.minimum == bar.maximum)
        return;
    const bool active =
        bar.state.testFlag(QStyle::State_MouseOver) || bar.state.testFlag(QStyle::State_Sunken);
    QColor handle = bar.palette.color(QPalette::WindowText);
    handle.setAlphaF(active ? 0.5F : 0.3F);
    const QRectF rect = QRectF(slider).adjusted(3, 2, -2, -2);
    Style::drawPanel(painter, rect, handle, Qt::transparent, std::min(rect.width(), rect.height()) / 2);
}

/// True for a further press of a held key that presses a button or closes something: a held key acts once,
/// wherever the keyboard has moved since its first press.
bool repeatsCommand(const QObject *watched, const QKeyEvent *event)
{
    // On X11 a repeat is a release and a press of one time. Qt marks them only where both have arrived.
    static std::pair<int, quint64> released;
    const std::pair<int, quint64> now(event->key(), event->timestamp());
    if (event->type() == QEvent::KeyRelease)
        released = now;
    if (event->type() == QEvent::KeyRelease ||
        !(event->isAutoRepeat() || (now.second > 0 && now == released)))
        return false;
    return now.first == Qt::Key_Return || now.first == Qt::Key_Enter || now.first == Qt::Key_Escape ||
           (now.first == Qt::Key_Space && qobject_cast<const QAbstractButton *>(watched) != nullptr);
}

} // namespace

void Style::install()
{
    systemFont();
    desktopHasPalette = !colors::isFallback(QApplication::palette());
    auto *const style = new Style;
    QApplication::setStyle(style);
    applyPalette();
    qApp->installEventFilter(style);
}

void Style::setAppearance(const Appearance &wanted)
{
    const Appearance before = std::exchange(appearance, wanted);
    if (before.textScale != wanted.textScale) {
        QFont font = systemFont();
        font.setPointSizeF(QFontInfo(font).pointSizeF() * wanted.textScale);
        QApplication::setFont(font);
    }
    if (before.isDark == wanted.isDark && before.hasHighContrast == wanted.hasHighContrast)
        return;
    colors::setHighContrast(wanted.hasHighContrast);
    applyPalette();
    // Tones that follow from the palette have changed, also where the palette has not.
    const QWidgetList widgets = QApplication::allWidgets();
    for (QWidget *const widget : widgets) {
        QEvent change(QEvent::PaletteChange);
        QCoreApplication::sendEvent(widget, &change);
        widget->update();
    }
}

void Style::applyPalette()
{
    if (!desktopHasPalette) {
        QApplication::setPalette(appearance.isDark ? colors::darkPalette() : colors::lightPalette());
        return;
    }
    // Only these two roles are set, so that the others go on following the desktop.
    const QPalette accented = colors::withAccent(QApplication::palette());
    if (accented.color(QPalette::Highlight) == QApplication::palette().color(QPalette::Highlight))
        return;
    QPalette change;
    for (const auto role : {QPalette::Highlight, QPalette::HighlightedText})
        change.setColor(role, accented.color(role));
    QApplication::setPalette(change);
}

bool Style::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ApplicationPaletteChange && desktopHasPalette)
        applyPalette();
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
        if (static_cast<QKeyEvent *>(event)->key() == Qt::Key_Alt)
            showMnemonics(QApplication::activeWindow(), event->type() == QEvent::KeyPress);
        if (repeatsCommand(watched, static_cast<QKeyEvent *>(event)))
            return true;
        // As Space does. Qt has that in dialogs; elsewhere its setting also moves the look of the primary
        // button to whichever has the focus.
        auto *const button = qobject_cast<QAbstractButton *>(watched);
        const int key = static_cast<QKeyEvent *>(event)->key();
        if (button != nullptr && event->type() == QEvent::KeyPress &&
            (key == Qt::Key_Return || key == Qt::Key_Enter)) {
            button->click();
            return true;
        }
    } else if (event->type() == QEvent::WindowDeactivate) {
        showMnemonics(qobject_cast<QWidget *>(watched), false);
    }
    auto *const window =
        event->type() == QEvent::ApplicationFontChange ? qobject_cast<QWidget *>(watched) : nullptr;
    if (window != nullptr && window->isWindow()) {
        // Qt tells windows alone, but a text with a size of its own must find it again.
        const QList<QWidget *> parts = window->findChildren<QWidget *>();
        for (QWidget *const part : parts)
            QCoreApplication::sendEvent(part, event);
    }
    return QProxyStyle::eventFilter(watched, event);
}

void Style::showMnemonics(QWidget *window, bool shown)
{
    if (window == nullptr || std::exchange(showsMnemonics, shown) == shown)
        return;
    const QList<QWidget *> parts = window->findChildren<QWidget *>();
    for (QWidget *const part : parts)
        part->update();
}

QFont Style::font(TextRole role)
{
    QFont font = QApplication::font();
    const auto scale = [&font](qreal factor) {
        if (font.pointSizeF() > 0)
            font.setPointSizeF(font.pointSizeF() * factor);
        else
            font.setPixelSize(qRound(font.pixelSize() * factor));
    };
    const bool isHeading = role == TextRole::Title || role == TextRole::Status;
    if (isHeading)
        font.setWeight(QFont::DemiBold);
    if (role != TextRole::Body)
        scale(role == TextRole::Title ? 1.6 : isHeading ? 1.25 : 0.85);
    return font;
}

void Style::drawFocusRing(QPainter *painter, const QRectF &rect, const QColor &color, qreal corner)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(color, 2));
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(rect.adjusted(1, 1, -1, -1), corner - 1, corner - 1);
    painter->restore();
}

void Style::drawPanel(QPainter *painter, const QRectF &rect, const QColor &fill, const QColor &outline,
                      qreal corner)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const bool outlined = outline.alpha() > 0;
    painter->setPen(outlined ? QPen(outline, 1) : QPen(Qt::NoPen));
    painter->setBrush(fill);
    const qreal inset = outlined ? 0.5 : 0;
    painter->drawRoundedRect(rect.adjusted(inset, inset, -inset, -inset), corner - inset, corner - inset);
    painter->restore();
}

Style::Style() : QProxyStyle(QStyleFactory::create(u"Fusion"_s)) {}

void Style::drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                          const QWidget *widget) const
{
    if (element == PE_PanelLineEdit) {
        const QPalette &palette = option->palette;
        drawPanel(painter, option->rect, palette.color(QPalette::Base), colors::controlOutline(palette));
        if (option->state.testFlag(State_HasFocus))
            drawFocusRing(painter, option->rect, palette.color(QPalette::Highlight));
    } else if (element != PE_FrameFocusRect) {
        // Only push buttons ask for that frame, and their panel shows the focus itself.
        QProxyStyle::drawPrimitive(element, option, painter, widget);
    }
}

void Style::drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                        const QWidget *widget) const
{
    const auto *button = qstyleoption_cast<const QStyleOptionButton *>(option);
    if (element == CE_PushButtonBevel && button != nullptr) {
        // Fusion draws no panel for a flat button that is not pressed, which would hide its hover and its
        // focus.
        drawButton(*button, painter);
    } else if (element == CE_PushButtonLabel && button != nullptr) {
        QStyleOptionButton label = *button;
        const QColor text = isPrimary(label) ? label.palette.color(QPalette::HighlightedText)
                            : isFlat(label)  ? colors::quietText(label.palette)
                                             : label.palette.color(QPalette::ButtonText);
        label.palette.setColor(QPalette::ButtonText, text);
        QProxyStyle::drawControl(element, &label, painter, widget);
    } else {
        QProxyStyle::drawControl(element, option, painter, widget);
    }
}

void Style::drawComplexControl(ComplexControl control, const QStyleOptionComplex *option, QPainter *painter,
                               const QWidget *widget) const
{
    const auto *slider = qstyleoption_cast<const QStyleOptionSlider *>(option);
    if (control == CC_ScrollBar && slider != nullptr)
        drawScrollBar(*slider, subControlRect(control, option, SC_ScrollBarSlider, widget), painter);
    else
        QProxyStyle::drawComplexControl(control, option, painter, widget);
}

QRect Style::subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl subControl,
                            const QWidget *widget) const
{
    const auto *bar = qstyleoption_cast<const QStyleOptionSlider *>(option);
    if (control != CC_ScrollBar || bar == nullptr)
        return QProxyStyle::subControlRect(control, option, subControl, widget);
    // No arrows: their room lies outside the bar.
    const bool horizontal = bar->orientation == Qt::Horizontal;
    const QSize arrow(horizontal ? scrollBarExtent : 0, horizontal ? 0 : scrollBarExtent);
    QStyleOptionSlider longer = *bar;
    longer.rect = QRect(QPoint(), bar->rect.size() + 2 * arrow);
    return QProxyStyle::subControlRect(control, &longer, subControl, widget)
        .translated(-arrow.width(), -arrow.height());
}

QSize Style::sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &contents,
                              const QWidget *widget) const
{
    QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
    if (type == CT_PushButton)
        return {contents.width() + 2 * spaceL,
                std::max(contents.height(), option->fontMetrics.height()) + 2 * spaceS};
    if (type == CT_LineEdit)
        size.setHeight(option->fontMetrics.height() + 2 * spaceS + 2);
    return size;
}

int Style::styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                     QStyleHintReturn *returnData) const
{
    return hint == SH_UnderlineShortcut ? static_cast<int>(showsMnemonics)
                                        : QProxyStyle::styleHint(hint, option, widget, returnData);
}

QIcon Style::standardIcon(StandardPixmap picture, const QStyleOption *option, const QWidget *widget) const
{
    // Every menu bar asks for it as it is made, and Qt loads its picture plugins to find it. The bar has one
    // menu: there is never more of it than fits.
    return picture == SP_ToolBarHorizontalExtensionButton
               ? QIcon()
               : QProxyStyle::standardIcon(picture, option, widget);
}

int Style::pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const
{
    switch (metric) {
    case PM_ScrollBarExtent:
    case PM_ScrollView_ScrollBarOverlap:
        // The bar lies over what it scrolls, so that nothing moves sideways when it comes and goes.
        return scrollBarExtent;
    case PM_ScrollBarSliderMin:
        return shortestHandle;
    // A layout that wants a margin says so itself.
    case PM_LayoutLeftMargin:
    case PM_LayoutTopMargin:
    case PM_LayoutRightMargin:
    case PM_LayoutBottomMargin:
    case PM_ButtonShiftHorizontal:
    case PM_ButtonShiftVertical:
        return 0;
    case PM_LayoutHorizontalSpacing:
    case PM_LayoutVerticalSpacing:
        return spaceS;
    case PM_DefaultFrameWidth:
        // Room between the rounded edge of a field and its text.
        if (qobject_cast<const QLineEdit *>(widget) != nullptr)
            return spaceS;
        break;
    default:
        break;
    }
    return QProxyStyle::pixelMetric(metric, option, widget);
}

} // namespace velmora
