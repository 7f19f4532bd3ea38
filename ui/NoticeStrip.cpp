#include "ui/NoticeStrip.h"

#include "ui/Announcement.h"
#include "ui/Labels.h"
#include "ui/Style.h"

#include <QApplication>
#include <QVBoxLayout>

#include <utility>

namespace velmora {

using namespace Qt::StringLiterals;

namespace {

/// Process-wide, because what the strips say is not about one screen or window.
struct Notices
{
    QStringList lines;
    QList<NoticeStrip *> strips;
};

Notices &notices()
{
    static Notices instance;
    return instance;
}

/// The names of packages are not broken at their hyphens.
QString withWholeWords(QString line)
{
    const QChar joiner(0x2060);
    return line.replace(u'-', joiner + QString(u'-') + joiner);
}

} // namespace

void NoticeStrip::setLines(const QStringList &lines)
{
    const QStringList before = std::exchange(notices().lines, lines);
    for (NoticeStrip *const strip : std::as_const(notices().strips))
        strip->showLines();
    for (const QString &line : lines) {
        if (!before.contains(line))
            announce(QApplication::activeWindow(), line);
    }
}

NoticeStrip::NoticeStrip(QWidget *parent) : Card(parent)
{
    setAccessibleName(u"Needs attention"_s);
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(Style::spaceM, Style::spaceS, Style::spaceM, Style::spaceS);
    row->setSpacing(Style::spaceS);
    auto *const icon = new IconView(this);
    icon->setImageNamed(u"attention"_s);
    row->addWidget(icon, 0, Qt::AlignTop);
    column = new QVBoxLayout;
    column->setSpacing(Style::spaceXs);
    row->addLayout(column, 1);
    notices().strips.append(this);
    showLines();
}

NoticeStrip::~NoticeStrip()
{
    notices().strips.removeOne(this);
}

void NoticeStrip::showLines()
{
    while (QLayoutItem *const item = column->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const QString &line : std::as_const(notices().lines)) {
        auto *const label = new TextLabel(this);
        label->setRole(Style::TextRole::Quiet);
        label->setWordWrap(true);
        label->setText(withWholeWords(line));
        label->setAccessibleName(line);
        column->addWidget(label);
    }
    const bool says = !notices().lines.isEmpty();
    setVisible(says);
    claimHeight();
}

void NoticeStrip::claimHeight()
{
    // Before the first layout the width says nothing.
    if (isVisible())
        setMinimumHeight(column->isEmpty() ? 0 : layout()->totalHeightForWidth(width()));
}

void NoticeStrip::resizeEvent(QResizeEvent *event)
{
    Card::resizeEvent(event);
    claimHeight();
}

bool NoticeStrip::event(QEvent *event)
{
    // The lines or their font have changed.
    if (event->type() == QEvent::LayoutRequest)
        claimHeight();
    return Card::event(event);
}

} // namespace velmora
