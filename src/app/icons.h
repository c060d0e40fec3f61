#pragma once

#include <QIcon>
#include <QString>

// The program's own pictures, by name: new, open, save, print, offlineedit,
// upload, download, targetboard, kestro.
QIcon kestroIcon(const QString &name);
