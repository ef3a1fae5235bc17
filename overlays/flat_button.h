#pragma once

#include <QtWidgets/QToolButton>

namespace ke2 {

// A small frameless icon button for the overlays' option toggles and commands: flat until
// hovered, sunken while checked.
class FlatButton : public QToolButton {
    Q_OBJECT
public:
    FlatButton(const QString &iconPath, const QString &name, bool checkable, QWidget *parent = nullptr);
};

} // namespace ke2
