#include "views/panel_group.h"

#include <QtWidgets/QApplication>
#include <QtWidgets/QVBoxLayout>

namespace ke2 {

PanelGroup::PanelGroup(QWidget *parent) : QWidget(parent), m_layout(new QVBoxLayout(this))
{
    setObjectName(QStringLiteral("PanelGroup"));
    setMinimumHeight(100);
    m_layout->setContentsMargins(0, 0, 0, 0);
    m_layout->setSpacing(0);
    connect(qApp, &QApplication::focusChanged, this, &PanelGroup::OnFocusChanged);
}

PanelGroup::~PanelGroup()
{
    disconnect(qApp, &QApplication::focusChanged, this, &PanelGroup::OnFocusChanged);
}

void PanelGroup::SetPanel(QWidget *panel)
{
    if (m_panel == panel)
        return;
    delete m_panel;
    m_panel = panel;
    if (panel)
        m_layout->addWidget(panel);
}

void PanelGroup::UpdateLayout(bool vertical, bool topLeft)
{
    m_vertical = vertical;
    m_topLeft = topLeft;
    emit LayoutChanged(vertical, topLeft);
}

void PanelGroup::OnFocusChanged(QWidget *old, QWidget *now)
{
    const bool wasInside = old && (old == this || isAncestorOf(old));
    const bool isInside = now && (now == this || isAncestorOf(now));
    if (isInside && !wasInside)
        emit ReceivedFocus();
}

} // namespace ke2
