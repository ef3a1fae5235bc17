#include "app/standalone_look.h"

#include <QtGui/QIcon>
#include <QtGui/QPainter>
#include <QtGui/QPalette>
#include <QtWidgets/QApplication>
#include <QtWidgets/QProxyStyle>
#include <QtWidgets/QStyleFactory>
#include <QtWidgets/QStyleOption>

#include <algorithm>

namespace ke2 {

namespace {

// The base style draws a tab's close button in black, which vanishes on the dark tabs: ours is
// drawn light, brighter with a soft square under the mouse.
class StandaloneStyle : public QProxyStyle {
public:
    using QProxyStyle::QProxyStyle;
    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget) const override
    {
        if (element != PE_IndicatorTabClose) {
            QProxyStyle::drawPrimitive(element, option, painter, widget);
            return;
        }
        const bool hovered = (option->state & State_Enabled) && (option->state & State_MouseOver);
        if (hovered) {
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(Qt::NoPen);
            painter->setBrush(QColor(255, 255, 255, 40));
            painter->drawRoundedRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
            painter->restore();
        }
        static const QIcon normal(QStringLiteral(":/ke2_icons/close.png"));
        static const QIcon bright(QStringLiteral(":/ke2_icons/close_white.png"));
        const int side = std::min(option->rect.width(), option->rect.height()) - 4;
        const QRect icon(option->rect.center() - QPoint(side / 2, side / 2), QSize(side, side));
        (hovered ? bright : normal).paint(painter, icon);
    }
};

} // namespace

void applyStandaloneLook(QApplication &app)
{
    if (QStyle *style = QStyleFactory::create(QStringLiteral("Fusion")))
        app.setStyle(new StandaloneStyle(style)); // the application owns it
    const QColor window(0x44, 0x44, 0x44);
    const QColor base(0x2b, 0x2b, 0x2b);
    const QColor text(0xdd, 0xdd, 0xdd);
    const QColor dimmed(0x80, 0x80, 0x80);
    const QColor highlight(0x52, 0x85, 0xa6);
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor(0x33, 0x33, 0x33));
    palette.setColor(QPalette::ToolTipBase, QColor(0x3a, 0x3a, 0x3a));
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x4b, 0x4b, 0x4b));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Light, QColor(0x5d, 0x5d, 0x5d));
    palette.setColor(QPalette::Midlight, QColor(0x50, 0x50, 0x50));
    palette.setColor(QPalette::Mid, QColor(0x38, 0x38, 0x38));
    palette.setColor(QPalette::Dark, QColor(0x2a, 0x2a, 0x2a));
    palette.setColor(QPalette::Shadow, QColor(0x1a, 0x1a, 0x1a));
    palette.setColor(QPalette::Highlight, highlight);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, highlight.lighter(130));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, dimmed);
    app.setPalette(palette);
}

} // namespace ke2
