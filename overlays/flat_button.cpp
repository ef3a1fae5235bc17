#include "overlays/flat_button.h"

namespace ke2 {

FlatButton::FlatButton(const QString &iconPath, const QString &name, bool checkable, QWidget *parent)
    : QToolButton(parent)
{
    setObjectName(name);
    setIcon(QIcon(iconPath));
    setToolTip(name);
    setAccessibleName(name);
    setCheckable(checkable);
    setAutoRaise(true);
    setFocusPolicy(Qt::NoFocus);
    setIconSize(QSize(16, 16));
}

} // namespace ke2
