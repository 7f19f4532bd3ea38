#include "tests/support/Scenes.h"
#include "ui/Colors.h"
#include "ui/IconButton.h"
#include "ui/IconView.h"
#include "ui/ModalPanel.h"
#include "ui/Style.h"
#include "ui/TableView.h"

#include <QApplication>
#include <QHash>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QTest>

using namespace velmora;
using namespace Qt::StringLiterals;

namespace {

/// Drawn so large, a stroke is wide enough to show its own colour between its soft edges.
constexpr int scale = 4;
/// The least contrast of what is not text (WCAG 2, success criterion 1.4.11).
constexpr double readableIcon = 3;

struct Part
{
    QString what;
    QRect rect;
    double wanted;
};

/// Where this widget has a text or an icon of one colour, in its own coordinates; nothing where it has none.
std::optional<Part> partOf(const QWidget *widget)
{
    const auto inner = [widget](int margin) {
        return widget->rect().adjusted(margin, margin, -margin, -margin);
    };
    const auto *label = qobject_cast<const QLabel *>(widget);
    if (label != nullptr && !label->text().isEmpty()) {
        // The line alone: above and below it may be what is around a filled row.
        const int spare =
            label->wordWrap() ? 0 : std::max(0, label->height() - label->fontMetrics().height());
        return Part{label->text(), label->rect().adjusted(0, spare / 2, 0, -spare / 2), colors::readable};
    }
    if (const auto *button = qobject_cast<const QPushButton *>(widget))
        return Part{button->text(), inner(Style::spaceXs), colors::readable};
    if (const auto *field = qobject_cast<const QLineEdit *>(widget);
        field != nullptr && !(field->text() + field->placeholderText()).isEmpty())
        return Part{field->text() + field->placeholderText(), inner(Style::spaceXs), colors::readable};
    if (const auto *icon = qobject_cast<const IconButton *>(widget))
        return Part{icon->imageName(), inner(Style::spaceXs), readableIcon};
    if (const auto *icon = qobject_cast<const IconView *>(widget); icon != nullptr && !icon->isColoured())
        return Part{icon->imageName(), widget->rect(), readableIcon};
    const auto *list = qobject_cast<const TableView *>(widget);
    if (list != nullptr && list->rowCount() == 0)
        return Part{list->emptyText(), list->viewport()->geometry(), colors::readable};
    return std::nullopt;
}

/// The colour that there is most of and, of what is on it, the one that there is most of or, for an icon of
/// thin strokes, the one that stands out most.
std::pair<QColor, QColor> groundAndInk(const QImage &image, bool isIcon)
{
    QHash<QRgb, int> counts;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            ++counts[image.pixel(x, y)];
    }
    const auto takeMost = [&counts](auto weight) {
        QRgb most = counts.cbegin().key();
        for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
            if (weight(it.key()) > weight(most))
                most = it.key();
        }
        return most;
    };
    const QRgb ground = takeMost([&counts](QRgb colour) { return counts.value(colour); });
    const int all = counts.take(ground);
    if (counts.isEmpty())
        return {QColor(ground), QColor(ground)};
    const QRgb ink = takeMost([&](QRgb colour) {
        const int count = counts.value(colour);
        return isIcon ? (count > all / 1000 ? colors::contrast(QColor(colour), QColor(ground)) : 0) : count;
    });
    return {QColor(ground), QColor(ink)};
}

/// What of `shown` is too faint, and how many parts were looked at.
struct Look
{
    explicit Look(QWidget &shown)
    {
        QImage image(shown.size() * scale, QImage::Format_RGB32);
        image.setDevicePixelRatio(scale);
        shown.render(&image);
        image.setDevicePixelRatio(1);
        const QWidget *top = &shown;
        for (const ModalPanel *const panel : shown.findChildren<ModalPanel *>()) {
            if (panel->isVisible())
                top = panel;
        }
        for (const QWidget *const widget : top->findChildren<QWidget *>()) {
            const std::optional<Part> part = widget->isVisible() ? partOf(widget) : std::nullopt;
            const QRect seen = part ? (widget->visibleRegion() & part->rect).boundingRect() : QRect();
            // Of what is half out of its list another row has a whole one.
            if (seen.isEmpty() || seen.size() != part->rect.size())
                continue;
            const QRect where(widget->mapTo(&shown, seen.topLeft()) * scale, seen.size() * scale);
            const auto [ground, ink] = groundAndInk(image.copy(where), part->wanted == readableIcon);
            const double contrast = colors::contrast(ground, ink);
            ++parts;
            if (contrast < part->wanted)
                faint << u"“%1” %2: %3 on %4"_s.arg(part->what)
                             .arg(contrast, 0, 'f', 2)
                             .arg(ink.name(), ground.name());
        }
    }

    int parts = 0;
    QStringList faint;
};

} // namespace

/// Whether everything that is written can be read, on what it really stands on.
class ContrastTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Style::install(); }
    void cleanup() { Style::setDark(false); }

    void textsAreReadableWhereTheyStand_data();
    void textsAreReadableWhereTheyStand();
    void aFaintTextIsFound();
};

void ContrastTest::textsAreReadableWhereTheyStand_data()
{
    QTest::addColumn<bool>("isDark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
}

void ContrastTest::textsAreReadableWhereTheyStand()
{
    QFETCH(const bool, isDark);
    Style::setDark(isDark);
    QStringList faint;
    int scenesSeen = 0;
    scenes::showAll([&](QWidget &shown, const QString &name) {
        const Look look(shown);
        ++scenesSeen;
        if (look.parts < 3)
            faint << name + u": nothing to read"_s;
        for (const QString &each : look.faint)
            faint << name + u": "_s + each;
    });
    QVERIFY(scenesSeen >= 15);
    QVERIFY2(faint.isEmpty(), qPrintable(faint.join(u'\n')));

    // What no scene shows: tool tips, menus, fields with a selection or a hint.
    using P = QPalette;
    const P palette = QApplication::palette();
    for (const auto &[text, ground] :
         {std::pair(P::ToolTipText, P::ToolTipBase), std::pair(P::PlaceholderText, P::Base),
          std::pair(P::Text, P::AlternateBase), std::pair(P::ButtonText, P::Button),
          std::pair(P::Link, P::Window), std::pair(P::Link, P::Base),
          std::pair(P::HighlightedText, P::Highlight)})
        QVERIFY2(colors::contrast(palette.color(text), palette.color(ground)) >= colors::readable,
                 qPrintable(QVariant::fromValue(text).toString()));
}

void ContrastTest::aFaintTextIsFound()
{
    QWidget shown;
    QLabel label(u"Hardly to be seen"_s, &shown);
    label.setPalette(
        colors::onFill(QApplication::palette().color(QPalette::Window), QColor(0x90, 0x90, 0x90)));
    shown.show();
    QCOMPARE(Look(shown).faint.size(), 1);
}

QTEST_MAIN(ContrastTest)
#include "ContrastTest.moc"
