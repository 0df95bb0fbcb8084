/*
 * Translations.h: puts the translations of the library's display texts, of
 * Qt's own texts and of a program's own texts into the application, in the
 * operator's language.
 *
 * The library's texts (the code vocabulary under the context "Morvane", the
 * server address dialog, the results of remote commands) come in the
 * catalogue "mvshared"; a program built on the library brings its own
 * catalogue beside it (the operator console's is "mvconsole"). A catalogue
 * is a set of Qt .qm files named "<catalogue>_<language>.qm", mvshared_de.qm
 * or mvconsole_fr.qm, looked up for a locale the way Qt looks up its own
 * (de_DE finds mvshared_de_DE.qm, then mvshared_de.qm), in these folders in
 * turn:
 *   - each folder of $MVSHARED_TRANSLATIONS (a ':'-separated list), when set,
 *     so that a site can bring its own wording;
 *   - share/mvshared/translations beside the library, which is where the
 *     build tree and an installed copy both keep them;
 *   - share/mvshared/translations of the prefix the library was built for.
 * Qt's own catalogue ("qtbase_<language>.qm": the OK and Cancel of dialog
 * buttons, the standard dialogs) comes from Qt's translations folder.
 *
 * English is the source language: for it (or any locale without a
 * catalogue) nothing is loaded and the texts show as they are written.
 * Installing a catalogue again, for another locale, replaces the one
 * installed before. Call these on the application's thread, after the
 * QCoreApplication (or QApplication) exists; without one nothing is
 * installed and they return false.
 */
#ifndef MVSHARED_TRANSLATIONS_H
#define MVSHARED_TRANSLATIONS_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QLocale>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Morvane {

/* The folders catalogues are looked up in, in the order above; folders that
 * do not exist are left out. */
MVSHARED_EXPORT QStringList translationDirectories();

/* Installs the library's catalogue and Qt's own for locale. True when the
 * library's catalogue was found and installed; Qt's is installed when
 * present and does not change the result. */
MVSHARED_EXPORT bool installTranslators(const QLocale& locale = QLocale());

/* Installs a program's own catalogue (a bare name such as "mvconsole", no
 * folder and no suffix) for locale from translationDirectories(). True when
 * it was found and installed; false for a locale without it, and for an
 * empty name or one with a folder in it. */
MVSHARED_EXPORT bool installCatalogue(const QString& catalogue, const QLocale& locale = QLocale());

} // namespace Morvane

#endif
