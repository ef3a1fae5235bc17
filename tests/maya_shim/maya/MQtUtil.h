#pragma once

#include <maya/MString.h>

#include <QtCore/QString>

class QWidget;

class OPENMAYA_EXPORT MQtUtil {
public:
    static QWidget *mainWindow();
    static QWidget *getCurrentParent();
    static QWidget *findControl(const MString &controlName, const QWidget *parent = nullptr);
    static bool addWidgetToMayaLayout(QWidget *control, QWidget *layout);
    static MString toMString(const QString &qstr);
    static QString toQString(const MString &mstr);
};
