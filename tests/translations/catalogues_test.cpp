/*
 * catalogues_test.cpp: the translation sources in the tree (translations/
 * <catalogue>_<language>.ts), read as XML: one file per catalogue and
 * language, every entry finished (nothing unfinished, vanished or obsolete),
 * placeholders and accelerators kept in every translation; and lupdate run
 * over the sources would change nothing, so every text of the code is in
 * them and none is left over.
 */
#include "translationtree.h"
#include "tsfile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

namespace {

struct Catalogue {
    QString name;
    QString language;
};

void PrintTo(const Catalogue& catalogue, std::ostream* out)
{
    *out << catalogue.name.toStdString() << "_" << catalogue.language.toStdString();
}

std::vector<Catalogue> allCatalogues()
{
    std::vector<Catalogue> all;
    for (const QString& name : mvtest::translationCatalogues())
        for (const QString& language : mvtest::translationLanguages())
            all.push_back({name, language});
    return all;
}

std::string describe(const mvtest::TsMessage& message)
{
    return message.context.toStdString() + " \"" + message.source.toStdString() + "\"";
}

QStringList translationsOf(const mvtest::TsMessage& message)
{
    return message.numerus ? message.numerusForms : QStringList{message.translation};
}

class CatalogueTest : public ::testing::TestWithParam<Catalogue>
{
protected:
    void SetUp() override
    {
        m_ts = mvtest::readTsFile(mvtest::tsPath(GetParam().name, GetParam().language));
        ASSERT_TRUE(m_ts.error.isEmpty()) << m_ts.error.toStdString();
    }

    mvtest::TsFile m_ts;
};

TEST_P(CatalogueTest, IsOfItsLanguageFromEnglishAndNotEmpty)
{
    EXPECT_TRUE(m_ts.language == GetParam().language || m_ts.language.startsWith(GetParam().language + QLatin1Char('_')))
        << m_ts.language.toStdString();
    EXPECT_EQ(m_ts.sourceLanguage, QStringLiteral("en"));
    EXPECT_FALSE(m_ts.messages.isEmpty());
}

TEST_P(CatalogueTest, EveryEntryIsFinished)
{
    for (const mvtest::TsMessage& message : m_ts.messages) {
        EXPECT_TRUE(message.type.isEmpty()) << describe(message) << " is " << message.type.toStdString();
        for (const QString& translation : translationsOf(message))
            EXPECT_FALSE(translation.isEmpty()) << describe(message) << " has no translation";
    }
}

TEST_P(CatalogueTest, EachSourceTextIsListedOncePerContext)
{
    QSet<QString> seen;
    for (const mvtest::TsMessage& message : m_ts.messages) {
        const QString key = message.context + QLatin1Char('\n') + message.source;
        EXPECT_FALSE(seen.contains(key)) << describe(message) << " is listed twice";
        seen.insert(key);
    }
}

TEST_P(CatalogueTest, PlaceholdersMatchTheSourceText)
{
    for (const mvtest::TsMessage& message : m_ts.messages)
        for (const QString& translation : translationsOf(message))
            EXPECT_EQ(mvtest::placeholders(translation), mvtest::placeholders(message.source))
                << describe(message) << " -> \"" << translation.toStdString() << "\"";
}

TEST_P(CatalogueTest, AcceleratorsMatchTheSourceText)
{
    for (const mvtest::TsMessage& message : m_ts.messages)
        for (const QString& translation : translationsOf(message))
            EXPECT_EQ(mvtest::acceleratorCount(translation), mvtest::acceleratorCount(message.source))
                << describe(message) << " -> \"" << translation.toStdString() << "\"";
}

/* Blanks at either end of a text belong to it (the address dialog's group
 * title starts with one): the translation keeps them. */
TEST_P(CatalogueTest, LeadingAndTrailingBlanksAreKept)
{
    for (const mvtest::TsMessage& message : m_ts.messages)
        for (const QString& translation : translationsOf(message)) {
            EXPECT_EQ(translation.startsWith(QLatin1Char(' ')), message.source.startsWith(QLatin1Char(' ')))
                << describe(message);
            EXPECT_EQ(translation.endsWith(QLatin1Char(' ')), message.source.endsWith(QLatin1Char(' ')))
                << describe(message);
        }
}

INSTANTIATE_TEST_SUITE_P(Catalogues, CatalogueTest, ::testing::ValuesIn(allCatalogues()),
                         [](const ::testing::TestParamInfo<Catalogue>& info) {
                             return (info.param.name + QLatin1Char('_') + info.param.language).toStdString();
                         });

/* The catalogues of one catalogue name list the same texts in every
 * language. */
TEST(CatalogueLanguages, EveryLanguageListsTheSameTexts)
{
    for (const QString& name : mvtest::translationCatalogues()) {
        QSet<QString> first;
        QString firstLanguage;
        for (const QString& language : mvtest::translationLanguages()) {
            const mvtest::TsFile ts = mvtest::readTsFile(mvtest::tsPath(name, language));
            ASSERT_TRUE(ts.error.isEmpty()) << ts.error.toStdString();
            QSet<QString> texts;
            for (const mvtest::TsMessage& message : ts.messages)
                texts.insert(message.context + QLatin1Char('\n') + message.source);
            if (firstLanguage.isEmpty()) {
                first = texts;
                firstLanguage = language;
            } else {
                EXPECT_EQ(texts, first) << name.toStdString() << ": " << language.toStdString() << " and "
                                        << firstLanguage.toStdString() << " differ";
            }
        }
    }
}

/* What lupdate would put into the catalogues differs from the tree: the
 * texts it added or dropped, for the failure message. */
std::string differences(const QString& tree, const QString& updated)
{
    auto texts = [](const QString& path) {
        QSet<QString> all;
        for (const mvtest::TsMessage& message : mvtest::readTsFile(path).messages)
            all.insert(message.context + QStringLiteral(": \"") + message.source + QStringLiteral("\"") +
                       (message.type.isEmpty() ? QString() : QStringLiteral(" (") + message.type + QLatin1Char(')')));
        return all;
    };
    const QSet<QString> before = texts(tree);
    const QSet<QString> after = texts(updated);
    std::string out;
    for (const QString& text : after - before)
        out += "\n  new: " + text.toStdString();
    for (const QString& text : before - after)
        out += "\n  gone: " + text.toStdString();
    return out;
}

TEST(CatalogueUpdate, LupdateOverTheSourcesChangesNothing)
{
    if (!QFileInfo(QStringLiteral(MV_LUPDATE)).isExecutable())
        GTEST_SKIP() << "lupdate is not installed (qttools5-dev-tools)";
    QTemporaryDir copy;
    ASSERT_TRUE(copy.isValid());
    for (const Catalogue& catalogue : allCatalogues()) {
        const QString name = QStringLiteral("%1_%2.ts").arg(catalogue.name, catalogue.language);
        ASSERT_TRUE(QFile::copy(mvtest::tsPath(catalogue.name, catalogue.language), copy.filePath(name)));
    }

    QProcess update;
    update.setProcessChannelMode(QProcess::MergedChannels);
    update.start(QStringLiteral(MV_CMAKE_COMMAND),
                 {QStringLiteral("-DLUPDATE=" MV_LUPDATE), QStringLiteral("-DTS_DIR=") + copy.path(),
                  QStringLiteral("-P"), QStringLiteral(MV_TRANSLATIONS_SOURCE_DIR "/update.cmake")});
    ASSERT_TRUE(update.waitForFinished(120000)) << update.errorString().toStdString();
    const QByteArray output = update.readAll();
    ASSERT_EQ(update.exitStatus(), QProcess::NormalExit);
    ASSERT_EQ(update.exitCode(), 0) << output.toStdString();

    for (const Catalogue& catalogue : allCatalogues()) {
        const QString tree = mvtest::tsPath(catalogue.name, catalogue.language);
        const QString updated = copy.filePath(QStringLiteral("%1_%2.ts").arg(catalogue.name, catalogue.language));
        QFile a(tree);
        QFile b(updated);
        ASSERT_TRUE(a.open(QIODevice::ReadOnly) && b.open(QIODevice::ReadOnly));
        EXPECT_TRUE(a.readAll() == b.readAll())
            << tree.toStdString() << " is not up to date with the sources (make translations)"
            << differences(tree, updated);
    }
}

} // namespace
