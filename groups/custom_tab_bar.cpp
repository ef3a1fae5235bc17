#include "groups/custom_tab_bar.h"

#include <QtCore/QMimeData>
#include <QtGui/QDrag>
#include <QtGui/QIcon>
#include <QtGui/QMouseEvent>
#include <QtGui/QPainter>
#include <QtGui/QWheelEvent>
#include <QtWidgets/QApplication>
#include <QtWidgets/QStyleOptionTab>
#include <QtWidgets/QStylePainter>

#include <algorithm>

namespace ke2 {

const char *const CustomTabBar::modifiedIconPath = ":/ke2_icons/modified.png";


CustomTabBar::CustomTabBar(QWidget *clip)
    : QTabBar(clip), m_clip(clip)
{
    setUsesScrollButtons(false);
    setExpanding(false);
    setElideMode(Qt::ElideNone);
    setDrawBase(false);
    setDocumentMode(true);
    // An empty bar keeps the height of a tab, so that the strip does not jump with the first tab.
    addTab(QStringLiteral("X"));
    m_clip->setMinimumHeight(QTabBar::tabSizeHint(0).height());
    removeTab(0);
    m_scrollTimer.setInterval(scrollInterval);
    connect(&m_scrollTimer, &QTimer::timeout, this, &CustomTabBar::ScrollStep);
    connect(this, &QTabBar::currentChanged, this, &CustomTabBar::EnsureTabVisible);
    m_clip->installEventFilter(this);
}

bool CustomTabBar::IsTabModified(int index) const
{
    return tabData(index).toBool();
}

void CustomTabBar::SetTabModified(int index, bool modified)
{
    if (index < 0 || index >= count() || IsTabModified(index) == modified)
        return;
    setTabData(index, modified);
    // The mark widens the tab; the bar keeps its tab rectangles until a tab's text changes, so
    // setting the same text again makes it ask for the new size hint.
    setTabText(index, tabText(index));
    Relayout();
    update();
}

QSize CustomTabBar::tabSizeHint(int index) const
{
    QSize size = QTabBar::tabSizeHint(index);
    if (IsTabModified(index))
        size.rwidth() += markSize + markGap;
    return size;
}

QSize CustomTabBar::sizeHint() const
{
    int width = 0, height = 0;
    for (int i = 0; i < count(); ++i) {
        const QSize tab = tabSizeHint(i);
        width += tab.width();
        height = std::max(height, tab.height());
    }
    if (height == 0)
        height = QTabBar::sizeHint().height();
    return {width, height};
}

QSize CustomTabBar::minimumSizeHint() const
{
    return {0, sizeHint().height()};
}

int CustomTabBar::MaximumScrollOffset() const
{
    return std::max(0, sizeHint().width() - m_clip->width());
}

void CustomTabBar::SetScrollOffset(int offset)
{
    m_scrollOffset = std::clamp(offset, 0, MaximumScrollOffset());
    move(-m_scrollOffset, 0);
}

void CustomTabBar::EnsureTabVisible(int index)
{
    if (index < 0 || index >= count())
        return;
    const QRect rect = tabRect(index);
    if (rect.left() < m_scrollOffset)
        SetScrollOffset(rect.left());
    else if (rect.right() - m_scrollOffset >= m_clip->width())
        SetScrollOffset(rect.right() + 1 - m_clip->width());
}

void CustomTabBar::BeginScrollingLeft()
{
    m_scrollDirection = -1;
    ScrollStep();
    m_scrollTimer.start();
}

void CustomTabBar::BeginScrollingRight()
{
    m_scrollDirection = 1;
    ScrollStep();
    m_scrollTimer.start();
}

void CustomTabBar::EndScrolling()
{
    m_scrollTimer.stop();
    m_scrollDirection = 0;
}

void CustomTabBar::ScrollStep()
{
    SetScrollOffset(m_scrollOffset + m_scrollDirection * scrollStep);
}

void CustomTabBar::Relayout()
{
    // At least as wide as the clip, so that the empty zone to the right of the tabs belongs to
    // the bar (double-click and context menu there).
    resize(std::max(sizeHint().width(), m_clip->width()), m_clip->height());
    SetScrollOffset(m_scrollOffset);
}

void CustomTabBar::tabLayoutChange()
{
    QTabBar::tabLayoutChange();
    Relayout();
}

bool CustomTabBar::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_clip && event->type() == QEvent::Resize)
        Relayout();
    return QTabBar::eventFilter(watched, event);
}

void CustomTabBar::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    const QIcon mark(QString::fromLatin1(modifiedIconPath));
    for (int i = 0; i < count(); ++i) {
        QStyleOptionTab option;
        initStyleOption(&option, i);
        const bool modified = IsTabModified(i);
        painter.drawControl(QStyle::CE_TabBarTabShape, option);
        QStyleOptionTab label = option;
        if (modified)
            label.rect.setRight(label.rect.right() - markSize - markGap);
        painter.drawControl(QStyle::CE_TabBarTabLabel, label);
        if (!modified)
            continue;
        const QRect markRect(label.rect.right() + 1, option.rect.center().y() - markSize / 2 + 1,
                             markSize, markSize);
        if (!mark.availableSizes().isEmpty()) {
            mark.paint(&painter, markRect);
        } else {
            // No icon set installed: a dot in the text colour says the same.
            painter.save();
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(Qt::NoPen);
            painter.setBrush(option.palette.color(QPalette::WindowText));
            painter.drawEllipse(markRect.adjusted(2, 2, -2, -2));
            painter.restore();
        }
    }
}

QMimeData *CustomTabBar::CreateDragMimeData(int) const
{
    return nullptr;
}

void CustomTabBar::mousePressEvent(QMouseEvent *event)
{
    m_pressedIndex = event->button() == Qt::LeftButton ? tabAt(event->pos()) : -1;
    m_pressPosition = event->pos();
    QTabBar::mousePressEvent(event);
}

void CustomTabBar::mouseMoveEvent(QMouseEvent *event)
{
    if (m_pressedIndex < 0 || !(event->buttons() & Qt::LeftButton)
        || (event->pos() - m_pressPosition).manhattanLength() < QApplication::startDragDistance()) {
        QTabBar::mouseMoveEvent(event);
        return;
    }
    const int index = m_pressedIndex;
    m_pressedIndex = -1;
    QMimeData *mime = CreateDragMimeData(index);
    if (!mime) {
        QTabBar::mouseMoveEvent(event);
        return;
    }
    auto *drag = new QDrag(this);
    drag->setMimeData(mime);
    const QRect rect = tabRect(index);
    drag->setPixmap(grab(rect));
    drag->setHotSpot(m_pressPosition - rect.topLeft());
    // The bar never sees the release that ends the drag; it must not stay in a pressed state.
    QMouseEvent release(QEvent::MouseButtonRelease, m_pressPosition, Qt::LeftButton, Qt::NoButton,
                        Qt::NoModifier);
    QTabBar::mouseReleaseEvent(&release);
    drag->exec(Qt::MoveAction);
}

void CustomTabBar::mouseReleaseEvent(QMouseEvent *event)
{
    m_pressedIndex = -1;
    QTabBar::mouseReleaseEvent(event);
}

void CustomTabBar::wheelEvent(QWheelEvent *event)
{
    const QPoint delta = event->angleDelta();
    const int step = delta.y() != 0 ? delta.y() : delta.x();
    if (step == 0 || MaximumScrollOffset() == 0) {
        event->ignore();
        return;
    }
    SetScrollOffset(m_scrollOffset - step / 4);
    event->accept();
}

} // namespace ke2
