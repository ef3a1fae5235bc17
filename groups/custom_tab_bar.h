#pragma once

#include <QtCore/QPoint>
#include <QtCore/QTimer>
#include <QtGui/QColor>
#include <QtWidgets/QTabBar>

class QMimeData;
class QPainter;

namespace ke2 {

// A tab bar that never squeezes its tabs: it sits in a clipping parent at its natural width
// and scrolls inside it (wheel, held scroll buttons, and to keep the current tab in view). Tabs
// show their icon, title and, when modified, a modified mark; a tab dragged off the bar starts
// a drag carrying what `CreateDragMimeData` gives (nothing, by default).
class CustomTabBar : public QTabBar {
    Q_OBJECT
public:
    // Pixels per step while a scroll button is held, and the step interval.
    static constexpr int scrollStep = 12;
    static constexpr int scrollInterval = 20; // ms
    static const char *const modifiedIconPath;
    // The modified mark's size and its gap to the title; without close buttons every tab is
    // wider by both, modified or not.
    static constexpr int markSize = 10;
    static constexpr int markGap = 6;

    // `clip` is the widget the bar scrolls inside; it becomes the bar's parent.
    explicit CustomTabBar(QWidget *clip);

    bool IsTabModified(int index) const;
    void SetTabModified(int index, bool modified);
    // Whether tab `index` shows its modified mark now (rather than its close button).
    bool IsMarkShown(int index) const;

    // A line across the top of the current tab in `color`; an invalid colour draws none.
    void SetAccentColor(const QColor &color);
    static constexpr int accentWidth = 2;

    // How far the bar is scrolled to the left, in pixels; kept within what the tabs need.
    int ScrollOffset() const { return m_scrollOffset; }
    void SetScrollOffset(int offset);
    int MaximumScrollOffset() const;
    void EnsureTabVisible(int index);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

public slots:
    void BeginScrollingLeft();
    void BeginScrollingRight();
    void EndScrolling();

protected:
    // The data a drag of tab `index` carries; null means the tab cannot be dragged out.
    virtual QMimeData *CreateDragMimeData(int index) const;

    QSize tabSizeHint(int index) const override;
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void leaveEvent(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void tabLayoutChange() override;
    void childEvent(QChildEvent *event) override;

private:
    void Relayout();
    void ScrollStep();
    QWidget *CloseButton(int index) const;
    int IndexOfCloseButton(const QObject *button) const;
    void SetHoveredTab(int index);
    void PaintMark(QPainter &painter, const QRect &rect, const QColor &color) const;

    QWidget *m_clip;
    int m_scrollOffset = 0;
    int m_scrollDirection = 0;
    QTimer m_scrollTimer;
    int m_pressedIndex = -1;
    QPoint m_pressPosition;
    int m_hoveredIndex = -1;
    QColor m_accentColor;
};

} // namespace ke2
