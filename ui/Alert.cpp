#include "ui/Alert.h"

#include "ui/DisplayText.h"
#include "ui/Labels.h"

#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QResizeEvent>
#include <QScreen>
#include <QTextBlock>
#include <QVBoxLayout>

#include <algorithm>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

constexpr int dialogWidth = 360;
constexpr int maximumTextHeight = 400;
/// The rest is there to be read in the view.
constexpr qsizetype spokenCharacters = 1000;
/// The height of the dialog without its text, with the title bar.
constexpr int surroundings = 200;
/// A longer paragraph is broken into pieces, because each is laid out as a whole as soon as a line of it is
/// on screen.
constexpr qsizetype pieceCharacters = 4000;

QString inPieces(const QString &text)
{
    QString pieces;
    for (QStringView line : QStringView(text).tokenize(u'\n')) {
        while (line.size() > pieceCharacters) {
            const QStringView piece = line.first(pieceCharacters);
            const qsizetype blank = piece.lastIndexOf(u' ');
            const qsizetype end =
                blank > 0 ? blank : pieceCharacters - (piece.last().isHighSurrogate() ? 1 : 0);
            pieces.append(line.first(end)).append(u'\n');
            line = line.sliced(end);
        }
        pieces.append(line).append(u'\n');
    }
    pieces.chop(1);
    return pieces;
}

/// A text that can be read, scrolled and copied.
class MessageView final : public QPlainTextEdit
{
public:
    MessageView(const QString &text, QWidget *parent) : QPlainTextEdit(parent)
    {
        setReadOnly(true);
        setTabChangesFocus(true);
        setAccessibleName(u"Message"_s);
        setFrameShape(QFrame::NoFrame);
        setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        document()->setDocumentMargin(0);
        // Room for the scroll bar, which lies over what it scrolls.
        setViewportMargins(0, 0, Style::spaceM, 0);
        viewport()->setAutoFillBackground(false);
        setPlainText(inPieces(displayText(text)));
    }

    /// Makes the view as high as the text is at this width, up to `maximum`.
    void claimHeight(int width, int maximum)
    {
        resize(width, maximum);
        // A hidden view does not lay out its text by itself.
        QResizeEvent resized(size(), {});
        event(&resized);
        resizeEvent(&resized);
        maximum -= maximum % fontMetrics().lineSpacing();
        qreal height = 0;
        for (QTextBlock block = document()->begin(); block.isValid() && height < maximum;
             block = block.next())
            height += document()->documentLayout()->blockBoundingRect(block).height();
        if (height <= maximum)
            setFocusPolicy(Qt::NoFocus);
        // With less, the last line counts as hidden.
        setFixedHeight(std::min(qCeil(height), maximum) + 1);
    }
};

} // namespace

MessageDialog::MessageDialog(QWidget *parent, const QString &heading, const QString &text,
                             const QString &button)
    : QDialog(parent)
{
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(Style::spaceXl, Style::spaceXl, Style::spaceXl, Style::spaceL);
    column->setSpacing(Style::spaceM);
    auto *const headingLabel = new TextLabel(this);
    headingLabel->setRole(Style::TextRole::Status);
    headingLabel->setText(heading);
    column->addWidget(headingLabel);
    auto *const view = new MessageView(text, this);
    const int room = std::min(maximumTextHeight, screen()->availableSize().height() - surroundings);
    view->claimHeight(dialogWidth - 2 * Style::spaceXl, room);
    view->setVisible(!text.isEmpty());
    // A screen reader reads no text view of a dialog that opens, but its description where it has no other
    // label; the buddy is the name of the view.
    headingLabel->setBuddy(view);
    setAccessibleDescription(displayText(text).left(spokenCharacters));
    column->addWidget(view);
    auto *const dismiss = new QPushButton(button, this);
    dismiss->setDefault(true);
    connect(dismiss, &QPushButton::clicked, this, &QDialog::accept);
    column->addWidget(dismiss, 0, Qt::AlignRight);
    dismiss->setFocus();
    resize(dialogWidth, sizeHint().height());
}

void runAlert(QWidget *parent, const QString &informativeText)
{
    const bool hadKeyboard = parent != nullptr && parent->isActiveWindow();
    const QPointer<QWidget> window(parent);
    // The parent may go while the alert is open, and takes it along.
    const QPointer<MessageDialog> alert(new MessageDialog(parent, u"Alert"_s, informativeText, u"OK"_s));
    alert->setWindowTitle(u"Alert"_s);
    alert->exec();
    delete alert;
    // Not every window manager returns the keyboard to the window beneath.
    if (hadKeyboard && window != nullptr)
        window->activateWindow();
}

} // namespace velmora
