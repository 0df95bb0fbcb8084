/*
 * translations.cpp: finding and installing the translation catalogues of the
 * library, of Qt and of the programs (declared in Translations.h).
 *
 * Each catalogue has at most one translator installed at a time: installing
 * it again removes and frees the one installed before, so a program that
 * switches the operator's language does not pile translators up, and a
 * switch back to English leaves the source texts. The translators belong to
 * the application object and go with it.
 */
#include <MVShared/Translations.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QLibraryInfo>
#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>
#include <QtCore/QPointer>
#include <QtCore/QTranslator>

#include <dlfcn.h>

namespace Morvane {
namespace {

const char kLibraryCatalogue[] = "mvshared";
const char kQtCatalogue[] = "qtbase";
const char kOverrideVariable[] = "MVSHARED_TRANSLATIONS";

/* The translator installed for each catalogue, by catalogue name. The
 * pointers go null when the application object takes its translators with
 * it. */
struct InstalledTranslators {
    QMutex mutex;
    QHash<QString, QPointer<QTranslator>> byCatalogue;
};

InstalledTranslators& installed()
{
    static InstalledTranslators translators;
    return translators;
}

/* The folder this library was loaded from, or an empty text when the
 * dynamic loader cannot tell. */
QString libraryDirectory()
{
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&libraryDirectory), &info) || !info.dli_fname)
        return QString();
    return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
}

/* A catalogue name is a bare file name stem: a folder or a parent reference
 * in it would look for files outside the translation folders. */
bool isCatalogueName(const QString& catalogue)
{
    return !catalogue.isEmpty() && !catalogue.contains(QLatin1Char('/')) &&
           !catalogue.contains(QLatin1Char('\\')) && catalogue != QLatin1String(".") &&
           catalogue != QLatin1String("..");
}

/* Removes and frees the translator installed for catalogue, if any. */
void removeTranslator(InstalledTranslators& translators, const QString& catalogue)
{
    QPointer<QTranslator> previous = translators.byCatalogue.take(catalogue);
    if (previous) {
        QCoreApplication::removeTranslator(previous);
        delete previous;
    }
}

/* Replaces the translator of catalogue by the first file of it for locale
 * found in directories; true when one was found and installed. */
bool replaceTranslator(const QString& catalogue, const QLocale& locale, const QStringList& directories)
{
    QCoreApplication* application = QCoreApplication::instance();
    if (!application || !isCatalogueName(catalogue))
        return false;
    InstalledTranslators& translators = installed();
    QMutexLocker lock(&translators.mutex);
    removeTranslator(translators, catalogue);
    for (const QString& directory : directories) {
        auto* translator = new QTranslator(application);
        if (translator->load(locale, catalogue, QStringLiteral("_"), directory) &&
            QCoreApplication::installTranslator(translator)) {
            translators.byCatalogue.insert(catalogue, translator);
            return true;
        }
        delete translator;
    }
    return false;
}

void appendDirectory(QStringList& directories, const QString& path)
{
    if (path.isEmpty())
        return;
    const QFileInfo info(path);
    if (!info.isDir())
        return;
    const QString clean = QDir::cleanPath(info.absoluteFilePath());
    if (!directories.contains(clean))
        directories.append(clean);
}

} // namespace

QStringList translationDirectories()
{
    QStringList directories;
    const QString overrides = qEnvironmentVariable(kOverrideVariable);
    for (const QString& path : overrides.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        appendDirectory(directories, path);
    const QString library = libraryDirectory();
    if (!library.isEmpty())
        appendDirectory(directories, library + QLatin1Char('/') + QLatin1String(MVSHARED_TRANSLATIONS_RELATIVE));
    appendDirectory(directories, QStringLiteral(MVSHARED_TRANSLATIONS_INSTALLED));
    return directories;
}

bool installTranslators(const QLocale& locale)
{
    replaceTranslator(QLatin1String(kQtCatalogue), locale,
                      {QLibraryInfo::location(QLibraryInfo::TranslationsPath)});
    return replaceTranslator(QLatin1String(kLibraryCatalogue), locale, translationDirectories());
}

bool installCatalogue(const QString& catalogue, const QLocale& locale)
{
    return replaceTranslator(catalogue, locale, translationDirectories());
}

} // namespace Morvane
