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
    static MString toMString(const QString &qstr) { const QByteArray utf8 = qstr.toUtf8(); return MString(utf8.constData(), utf8.size()); }
    static QString toQString(const MString &mstr) { return QString::fromUtf8(mstr.asUTF8()); }
};
