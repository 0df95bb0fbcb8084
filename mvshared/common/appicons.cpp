/*
 * appicons.cpp: the multi-size application icon (declared in AppIcons.h).
 */
#include <MVShared/AppIcons.h>

#include <QtCore/QFile>
#include <QtGui/QPixmap>
#include <QtWidgets/QApplication>

namespace {

/* The sizes offered besides the base size, as steps of a quarter of it:
 * 1x, 1.25x, 1.5x, 1.75x and 2x, one per common desktop scaling. */
const int kQuarterSteps = 5;

} // namespace

QIcon Morvane::getAppIconSet(const QString& base, int size)
{
    QIcon icon;
    for (int i = 0; i < kQuarterSteps; ++i) {
        const int pixels = static_cast<int>((1.0 + 0.25 * i) * size);
        const QString fileName = QStringLiteral("%1_%2.png").arg(base).arg(pixels);
        if (QFile::exists(fileName))
            icon.addPixmap(QPixmap(fileName), QIcon::Normal, QIcon::Off);
    }
    return icon;
}

void Morvane::setWindowIcon(const QString& base)
{
    QApplication::setWindowIcon(getAppIconSet(base, 16));
}
