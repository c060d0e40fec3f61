#include "icons.h"

#include <QFile>
#include <QPainter>
#include <QPixmap>

#ifdef KESTRO_HAVE_SVG
#include <QSvgRenderer>
#endif

// Resources of a static library must be registered by name from inside it.
static void initIconResources()
{
    Q_INIT_RESOURCE(icons);
}

QIcon kestroIcon(const QString &name)
{
    static const bool registered = (initIconResources(), true);
    Q_UNUSED(registered);
    const QString path = QStringLiteral(":/icons/") + name + QStringLiteral(".svg");
#ifdef KESTRO_HAVE_SVG
    QSvgRenderer renderer(path);
    if (!renderer.isValid())
        return QIcon();
    QIcon icon;
    for (int size : {16, 24, 32, 48}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
#else
    return QIcon(path);
#endif
}
