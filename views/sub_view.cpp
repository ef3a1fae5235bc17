#include "views/sub_view.h"

#include <QtCore/QEvent>
#include <QtGui/QIcon>
#include <QtGui/QMouseEvent>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {

SubView::SubView(const QString &title, QWidget *body, bool *expandedSetting, QWidget *parent)
    : QWidget(parent), m_header(new QWidget(this)), m_headerLayout(new QHBoxLayout(m_header)),
      m_arrow(new QToolButton(m_header)), m_title(new QLabel(title, m_header)), m_body(body),
      m_expandedSetting(expandedSetting)
{
    m_header->setObjectName(QStringLiteral("SubViewHeader"));
    m_header->setCursor(Qt::PointingHandCursor);
    m_headerLayout->setContentsMargins(2, 1, 4, 1);
    m_headerLayout->setSpacing(2);
    m_arrow->setAutoRaise(true);
    m_arrow->setIconSize(QSize(16, 16));
    m_arrow->setFocusPolicy(Qt::NoFocus);
    // Small caps-like headers, so that a narrow side bar still shows the whole title.
    QFont font = m_title->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 0.85);
    m_title->setFont(font);
    m_title->setMinimumWidth(0);
    m_headerLayout->addWidget(m_arrow);
    m_headerLayout->addWidget(m_title);
    m_headerLayout->addStretch(1);
    m_header->installEventFilter(this);
    m_title->installEventFilter(this);
    connect(m_arrow, &QToolButton::clicked, this, &SubView::ToggleExpanded);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_header);
    if (m_body) {
        m_body->setParent(this);
        layout->addWidget(m_body, 1);
    }
    m_expanded = !(m_expandedSetting && !*m_expandedSetting);
    if (m_body)
        m_body->setVisible(m_expanded);
    m_arrow->setIcon(QIcon(m_expanded ? QStringLiteral(":/ke2_icons/view_expanded.png")
                                      : QStringLiteral(":/ke2_icons/view_collapsed.png")));
}

QString SubView::Title() const
{
    return m_title->text();
}

void SubView::SetTitle(const QString &title)
{
    m_title->setText(title);
}

QToolButton *SubView::AddButton(const QString &iconPath, const QString &toolTip)
{
    auto *button = new QToolButton(m_header);
    button->setIcon(QIcon(iconPath));
    button->setToolTip(toolTip);
    button->setAutoRaise(true);
    button->setIconSize(QSize(16, 16));
    button->setFocusPolicy(Qt::NoFocus);
    m_headerLayout->addWidget(button);
    return button;
}

void SubView::AddHeaderWidget(QWidget *widget)
{
    m_headerLayout->addWidget(widget);
}

int SubView::HeaderHeight() const
{
    return m_header->sizeHint().height();
}

int SubView::HeaderWidth() const
{
    return m_header->sizeHint().width();
}

void SubView::SetExpanded(bool expanded)
{
    if (expanded == m_expanded)
        return;
    m_expanded = expanded;
    if (m_expandedSetting)
        *m_expandedSetting = expanded;
    if (m_body)
        m_body->setVisible(expanded);
    m_arrow->setIcon(QIcon(expanded ? QStringLiteral(":/ke2_icons/view_expanded.png")
                                    : QStringLiteral(":/ke2_icons/view_collapsed.png")));
    emit ExpandedChanged(expanded);
}

bool SubView::eventFilter(QObject *watched, QEvent *event)
{
    if ((watched == m_header || watched == m_title) && event->type() == QEvent::MouseButtonPress
        && static_cast<QMouseEvent *>(event)->button() == Qt::LeftButton) {
        ToggleExpanded();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ke2
