/*
 * pixmapfiles.h: image files that the pixmap and icon tests write into a
 * temporary directory of their own, each a square of a size the test can
 * recognise after loading.
 */
#ifndef MVTEST_PIXMAPFILES_H
#define MVTEST_PIXMAPFILES_H

#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

namespace mvtest {

/* A temporary directory holding square PNG files. */
class PixmapFiles
{
public:
    bool isValid() const { return m_dir.isValid(); }
    /* dir/<name> */
    QString path(const QString& name) const { return m_dir.filePath(name); }
    /* Writes dir/<name> as a side x side PNG; true when written. */
    bool write(const QString& name, int side) const;

private:
    QTemporaryDir m_dir;
};

} // namespace mvtest

#endif
