/*
 * translationtree.h: the catalogues and languages the build knows
 * (translations/catalogues.cmake), where their sources and compiled files
 * are, and a way back to the source language after a test.
 */
#ifndef MVTEST_TRANSLATIONTREE_H
#define MVTEST_TRANSLATIONTREE_H

#include <MVShared/Translations.h>

#include <QtCore/QLocale>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <ostream>

/* Test names and failure messages show a language as its text. */
inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << text.toStdString();
}

namespace mvtest {

inline QStringList translationLanguages()
{
    return QString::fromLatin1(MV_TRANSLATION_LANGUAGES).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

inline QStringList translationCatalogues()
{
    return QString::fromLatin1(MV_TRANSLATION_CATALOGUES).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

/* The .ts file of a catalogue and language in the source tree. */
inline QString tsPath(const QString& catalogue, const QString& language)
{
    return QStringLiteral(MV_TRANSLATIONS_SOURCE_DIR "/%1_%2.ts").arg(catalogue, language);
}

/* Removes every catalogue a test may have installed: the texts show as the
 * code writes them. */
inline void useSourceLanguage()
{
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    Morvane::installTranslators(english);
    for (const QString& catalogue : translationCatalogues())
        Morvane::installCatalogue(catalogue, english);
}

} // namespace mvtest

#endif
