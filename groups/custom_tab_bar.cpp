#include "groups/custom_tab_bar.h"

#include <QtCore/QEvent>
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
    // The tab under the mouse shows its close button instead of its modified mark.
    setMouseTracking(true);
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
    // Only the mark changes: the tab keeps its size, so nothing to its right moves.
    if (QWidget *button = CloseButton(index))
        button->update();
    update();
}

bool CustomTabBar::IsMarkShown(int index) const
{
    if (!IsTabModified(index))
        return false;
    // Under the mouse the close button is what the user reaches for.
    return !CloseButton(index) || index != m_hoveredIndex;
}

void CustomTabBar::SetAccentColor(const QColor &color)
{
    if (color == m_accentColor)
        return;
    m_accentColor = color;
    update();
}

QWidget *CustomTabBar::CloseButton(int index) const
{
    if (!tabsClosable() || index < 0 || index >= count())
        return nullptr;
    const auto side = static_cast<ButtonPosition>(style()->styleHint(QStyle::SH_TabBar_CloseButtonPosition, nullptr, this));
    return tabButton(index, side);
}

int CustomTabBar::IndexOfCloseButton(const QObject *button) const
{
    for (int i = 0; i < count(); ++i)
        if (CloseButton(i) == button)
            return i;
    return -1;
}

void CustomTabBar::SetHoveredTab(int index)
{
    if (index == m_hoveredIndex)
        return;
    for (int changed : {m_hoveredIndex, index})
        if (QWidget *button = CloseButton(changed))
            button->update();
    m_hoveredIndex = index;
    update();
}

QSize CustomTabBar::tabSizeHint(int index) const
{
    QSize size = QTabBar::tabSizeHint(index);
    // Without close buttons every tab keeps the mark's room, modified or not.
    if (!tabsClosable())
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

void CustomTabBar::childEvent(QChildEvent *event)
{
    // Close buttons are made by the base class (for new tabs, and for all tabs when they are
    // switched on); the mark is painted in their place.
    if (event->added() && event->child()->isWidgetType())
        event->child()->installEventFilter(this);
    QTabBar::childEvent(event);
}

bool CustomTabBar::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_clip && event->type() == QEvent::Resize) {
        Relayout();
        // A group made narrower (a new group beside it, a dragged splitter) keeps its current tab
        // in view: otherwise the tab the user is typing in can sit past the clip's edge.
        EnsureTabVisible(currentIndex());
    } else if (watched != m_clip && (event->type() == QEvent::Paint || event->type() == QEvent::Enter)) {
        const int index = IndexOfCloseButton(watched);
        if (index >= 0 && event->type() == QEvent::Enter) {
            SetHoveredTab(index);
        } else if (index >= 0 && IsMarkShown(index)) {
            auto *button = static_cast<QWidget *>(watched);
            QPainter painter(button);
            PaintMark(painter, button->rect(), palette().color(QPalette::WindowText));
            return true;
        }
    }
    return QTabBar::eventFilter(watched, event);
}

void CustomTabBar::PaintMark(QPainter &painter, const QRect &area, const QColor &color) const
{
    static const QIcon mark(QString::fromLatin1(modifiedIconPath));
    const int side = std::min({int(markSize), area.width(), area.height()});
    const QRect rect(area.center().x() - side / 2 + 1, area.center().y() - side / 2 + 1, side, side);
    if (!mark.availableSizes().isEmpty()) {
        // The mark's shape in the tab's text colour: the icon itself is drawn for a dark tab bar
        // and would vanish on a light one.
        const qreal ratio = painter.device() ? painter.device()->devicePixelRatioF() : 1.0;
        QPixmap tinted = mark.pixmap(rect.size() * ratio);
        tinted.setDevicePixelRatio(ratio);
        {
            QPainter tint(&tinted);
            tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
            tint.fillRect(tinted.rect(), color);
        }
        painter.drawPixmap(rect, tinted);
        return;
    }
    // No icon set installed: a dot in the text colour says the same.
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(rect.adjusted(2, 2, -2, -2));
    painter.restore();
}

void CustomTabBar::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    const bool closable = tabsClosable();
    for (int i = 0; i < count(); ++i) {
        QStyleOptionTab option;
        initStyleOption(&option, i);
        painter.drawControl(QStyle::CE_TabBarTabShape, option);
        QStyleOptionTab label = option;
        // With close buttons the mark is drawn on the button (eventFilter); otherwise in the
        // room every tab keeps for it.
        if (!closable)
            label.rect.setRight(label.rect.right() - markSize - markGap);
        painter.drawControl(QStyle::CE_TabBarTabLabel, label);
        if (!closable && IsTabModified(i))
            PaintMark(painter, QRect(label.rect.right() + 1, option.rect.top(), markSize, option.rect.height()),
                      option.palette.color(QPalette::WindowText));
    }
    // The active group's current tab carries the accent along its top.
    if (m_accentColor.isValid() && currentIndex() >= 0) {
        const QRect current = tabRect(currentIndex());
        painter.fillRect(QRect(current.left(), current.top(), current.width(), accentWidth), m_accentColor);
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
    SetHoveredTab(tabAt(event->pos()));
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

void CustomTabBar::leaveEvent(QEvent *event)
{
    SetHoveredTab(-1);
    QTabBar::leaveEvent(event);
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
