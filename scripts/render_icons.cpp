// Renders the icon sources (resources/icons/*.svg, listed with their sizes in sizes.txt) to PNG at
// 1x and 2x, and writes the resource file that serves them under ":/ke2_icons/". The PNGs are kept
// in the repository so that building the editor needs no SVG support; `./ke2 icons` reruns this.
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTextStream>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtSvg/QSvgRenderer>

#include <cstdio>

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: render_icons RESOURCES_DIR\n");
        return 2;
    }
    const QDir resources(QString::fromLocal8Bit(argv[1]));
    QFile list(resources.filePath(QStringLiteral("icons/sizes.txt")));
    if (!list.open(QIODevice::ReadOnly | QIODevice::Text)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(list.fileName()));
        return 1;
    }
    resources.mkpath(QStringLiteral("icons/png"));
    QString qrc = QStringLiteral("<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n  <qresource prefix=\"/ke2_icons\">\n");
    QTextStream in(&list);
    while (!in.atEnd()) {
        const QStringList fields = in.readLine().split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (fields.size() != 2)
            continue;
        const QString &name = fields.at(0);
        QSvgRenderer renderer(resources.filePath(QStringLiteral("icons/%1.svg").arg(name)));
        if (!renderer.isValid()) {
            std::fprintf(stderr, "invalid icon source %s\n", qPrintable(name));
            return 1;
        }
        for (int scale = 1; scale <= 2; ++scale) {
            const int size = fields.at(1).toInt() * scale;
            QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            renderer.render(&painter);
            painter.end();
            const QString file = scale == 1 ? QStringLiteral("%1.png").arg(name) : QStringLiteral("%1@2x.png").arg(name);
            if (!image.save(resources.filePath(QStringLiteral("icons/png/") + file))) {
                std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
                return 1;
            }
            qrc += QStringLiteral("    <file alias=\"%1\">icons/png/%1</file>\n").arg(file);
        }
    }
    qrc += QStringLiteral("  </qresource>\n</RCC>\n");
    QFile out(resources.filePath(QStringLiteral("ke2_icons.qrc")));
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text) || out.write(qrc.toUtf8()) < 0) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(out.fileName()));
        return 1;
    }
    return 0;
}
