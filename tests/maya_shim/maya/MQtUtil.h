#pragma once

#include <maya/MString.h>

class QObject;
class QString;
class QWidget;

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYAUI_EXPORT MQtUtil {
public:
    static QWidget *findControl(MString controlName, const QWidget *ancestor = nullptr);
    static QWidget *findLayout(MString layoutName, const QWidget *ancestor = nullptr);
    static QWidget *findWindow(MString windowName);
    static MString fullName(const QObject *uiElement);
    static QWidget *getParent(MString uiElement);
    // The control's full name; empty when it could not be added.
    static MString addWidgetToMayaLayout(QWidget *control, QWidget *layout, const MString &uiType = MString());
    static QWidget *getCurrentParent();
    static QWidget *mainWindow();
    static MString toMString(const QString &qstr);
    static QString toQString(const MString &mstr);
};

OPENMAYA_NAMESPACE_CLOSE
