/*
 * translators_test.cpp: installing the catalogues (Translations.h): where
 * they are found, which locale finds which, replacing one language by
 * another, a program's own catalogue beside the library's, Qt's own texts,
 * the override folder, and the operator console taking up the operator's
 * locale.
 */
#include "translationtree.h"

#include <MVShared/Translations.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLibraryInfo>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Morvane::installCatalogue;
using Morvane::installTranslators;
using Morvane::translationDirectories;

QString morvane(const char* source)
{
    return QCoreApplication::translate("Morvane", source);
}

bool qtHasCatalogue(const QString& language)
{
    return QFileInfo::exists(QLibraryInfo::location(QLibraryInfo::TranslationsPath) +
                             QStringLiteral("/qtbase_%1.qm").arg(language));
}

/* Sets an environment variable for the life of the object. */
class ScopedVariable
{
public:
    ScopedVariable(const char* name, const QByteArray& value)
        : m_name(name), m_had(qEnvironmentVariableIsSet(name)), m_old(qgetenv(name))
    {
        qputenv(name, value);
    }
    ~ScopedVariable()
    {
        if (m_had)
            qputenv(m_name, m_old);
        else
            qunsetenv(m_name);
    }

private:
    const char* m_name;
    bool m_had;
    QByteArray m_old;
};

class TranslatorsTest : public ::testing::Test
{
protected:
    void SetUp() override { mvtest::useSourceLanguage(); }
    void TearDown() override { mvtest::useSourceLanguage(); }
};

TEST_F(TranslatorsTest, TheBuildTreesCataloguesAreFoundBesideTheLibrary)
{
    const QString built = QDir::cleanPath(QStringLiteral(MV_TRANSLATIONS_BUILD_DIR));
    EXPECT_TRUE(translationDirectories().contains(built)) << translationDirectories().join(QLatin1Char(' ')).toStdString();
    for (const QString& catalogue : mvtest::translationCatalogues())
        for (const QString& language : mvtest::translationLanguages())
            EXPECT_TRUE(QFileInfo::exists(QStringLiteral("%1/%2_%3.qm").arg(built, catalogue, language)))
                << catalogue.toStdString() << "_" << language.toStdString();
}

TEST_F(TranslatorsTest, AGermanLocaleInstallsTheLibrarysGermanTexts)
{
    EXPECT_TRUE(installTranslators(QLocale(QLocale::German, QLocale::Germany)));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Erfolgreich"));
    EXPECT_EQ(morvane("Integrity poll"), QString::fromUtf8("Generalabfrage"));
}

TEST_F(TranslatorsTest, ALocaleOfTheLanguageAloneFindsItsCatalogue)
{
    EXPECT_TRUE(installTranslators(QLocale(QLocale::French, QLocale::Canada)));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Réussi"));
}

TEST_F(TranslatorsTest, EnglishLoadsNothingAndShowsTheSourceTexts)
{
    ASSERT_TRUE(installTranslators(QLocale(QLocale::German, QLocale::Germany)));
    EXPECT_FALSE(installTranslators(QLocale(QLocale::English, QLocale::UnitedKingdom)));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Success"));
}

TEST_F(TranslatorsTest, ALanguageWithoutCatalogueLoadsNothing)
{
    EXPECT_FALSE(installTranslators(QLocale(QLocale::Japanese, QLocale::Japan)));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Success"));
}

TEST_F(TranslatorsTest, InstallingAgainReplacesTheLanguageInstalledBefore)
{
    ASSERT_TRUE(installTranslators(QLocale(QLocale::German, QLocale::Germany)));
    ASSERT_TRUE(installTranslators(QLocale(QLocale::French, QLocale::France)));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Réussi"));
    /* Had the German catalogue stayed installed, it would answer now. */
    installTranslators(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Success"));
}

TEST_F(TranslatorsTest, QtsOwnTextsComeInTheSameLanguage)
{
    if (!qtHasCatalogue(QStringLiteral("de")))
        GTEST_SKIP() << "Qt's German catalogue is not installed (qttranslations5-l10n)";
    ASSERT_EQ(QCoreApplication::translate("QPlatformTheme", "Cancel"), QString::fromUtf8("Cancel"));
    installTranslators(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(QCoreApplication::translate("QPlatformTheme", "Cancel"), QString::fromUtf8("Abbrechen"));
}

#ifdef MVCONSOLE_PATH
TEST_F(TranslatorsTest, AProgramsCatalogueIsInstalledBesideTheLibrarys)
{
    ASSERT_TRUE(installTranslators(QLocale(QLocale::German, QLocale::Germany)));
    EXPECT_TRUE(installCatalogue(QStringLiteral("mvconsole"), QLocale(QLocale::German, QLocale::Germany)));
    EXPECT_EQ(QCoreApplication::translate("ConsoleWindow", "Operator console"), QString::fromUtf8("Bedienplatz"));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Erfolgreich"));
}
#endif

TEST_F(TranslatorsTest, AnUnknownCatalogueIsNotFound)
{
    EXPECT_FALSE(installCatalogue(QStringLiteral("nosuchcatalogue"), QLocale(QLocale::German, QLocale::Germany)));
}

TEST_F(TranslatorsTest, ACatalogueNameWithAFolderIsRefused)
{
    const QLocale german(QLocale::German, QLocale::Germany);
    EXPECT_FALSE(installCatalogue(QString(), german));
    EXPECT_FALSE(installCatalogue(QStringLiteral(".."), german));
    EXPECT_FALSE(installCatalogue(QStringLiteral("../translations/mvshared"), german));
    EXPECT_FALSE(installCatalogue(QStringLiteral(MV_TRANSLATIONS_BUILD_DIR "/mvshared"), german));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Success"));
}

TEST_F(TranslatorsTest, TheOverrideFolderIsSearchedFirst)
{
    /* A site's own wording: here the German catalogue standing in for the
     * French one, so the French locale shows German texts. */
    QTemporaryDir site;
    ASSERT_TRUE(site.isValid());
    ASSERT_TRUE(QFile::copy(QStringLiteral(MV_TRANSLATIONS_BUILD_DIR "/mvshared_de.qm"),
                            site.filePath(QStringLiteral("mvshared_fr.qm"))));
    const ScopedVariable variable("MVSHARED_TRANSLATIONS", QFile::encodeName(site.path()) + ":/nonexistent/folder");

    const QStringList directories = translationDirectories();
    ASSERT_FALSE(directories.isEmpty());
    EXPECT_EQ(directories.first(), QDir::cleanPath(site.path()));
    EXPECT_FALSE(directories.contains(QStringLiteral("/nonexistent/folder")));
    EXPECT_TRUE(installTranslators(QLocale(QLocale::French, QLocale::France)));
    EXPECT_EQ(morvane("Success"), QString::fromUtf8("Erfolgreich"));
}

#ifdef MVCONSOLE_PATH
/* The console installs the translators for the operator's locale before it
 * reads its command line, so its help comes in German under a German LANG. */
TEST_F(TranslatorsTest, TheConsoleSpeaksTheOperatorsLanguage)
{
    if (!qtHasCatalogue(QStringLiteral("de")))
        GTEST_SKIP() << "Qt's German catalogue is not installed (qttranslations5-l10n)";
    const char english[] = "Displays help on commandline options.";
    installTranslators(QLocale(QLocale::German, QLocale::Germany));
    const QString german = QCoreApplication::translate("QCommandLineParser", english);
    ASSERT_NE(german, QLatin1String(english));

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("LC_ALL"));
    environment.remove(QStringLiteral("LC_MESSAGES"));
    environment.remove(QStringLiteral("LANGUAGE"));
    environment.insert(QStringLiteral("LANG"), QStringLiteral("de_DE.UTF-8"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    QProcess console;
    console.setProcessEnvironment(environment);
    console.start(QStringLiteral(MVCONSOLE_PATH), {QStringLiteral("--help")});
    ASSERT_TRUE(console.waitForFinished(30000)) << console.errorString().toStdString();
    const QString out = QString::fromLocal8Bit(console.readAllStandardOutput());
    EXPECT_EQ(console.exitCode(), 0);
    EXPECT_TRUE(out.contains(german)) << out.toStdString();
}
#endif

} // namespace
