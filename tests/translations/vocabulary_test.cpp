/*
 * vocabulary_test.cpp: the code vocabulary (MorvaneTexts.h) in every
 * language of the catalogue.
 *
 * Rather than a list of chosen codes, every vocabulary function is swept over
 * all codes its tables can hold (0 to 64, and 9990 to 10030 where the
 * driver's and the server's codes live): each text the source language shows
 * must come back translated, except the one fallback that is shown as it
 * stands. The texts the sweep meets must then be exactly the catalogue's
 * entries under "Morvane", so a table entry beyond the sweep, or a catalogue
 * entry no code shows, is caught as well.
 */
#include "translationtree.h"
#include "tsfile.h"

#include <MVShared/MorvaneTexts.h>
#include <MVShared/Translations.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QSet>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

using namespace Morvane;

struct Vocabulary {
    const char* name;
    std::function<QString(int)> text;
};

const std::vector<Vocabulary>& vocabularies()
{
    static const std::vector<Vocabulary> all = {
        {"driverErrorString", [](int c) { return driverErrorString(static_cast<DriverErrorResult>(c)); }},
        {"operationResultString", operationResultString},
        {"rtuControlCodeString", rtuControlCodeString},
        {"controlResultString", controlResultString},
        {"activateDriverResultString", activateDriverResultString},
        {"activeChennelString", activeChennelString},
        {"analogAlarmString", analogAlarmString},
        {"originString", originString},
        {"otherStatusString", otherStatusString},
        {"processStateString", processStateString},
        {"scanModeString", scanModeString},
        {"dayString", dayString},
        {"systemString", [](int) { return systemString(); }},
        {"logDataKindString", [](int c) { return logDataKindString(static_cast<DataKindType>(c)); }},
    };
    return all;
}

std::vector<int> sweptCodes()
{
    std::vector<int> codes;
    for (int code = 0; code <= 64; ++code)
        codes.push_back(code);
    for (int code = 9990; code <= 10030; ++code)
        codes.push_back(code);
    return codes;
}

/* Unknown RTU commands show "Not Defined" untranslated, on purpose. */
bool isUntranslatedFallback(const Vocabulary& vocabulary, int code)
{
    return QLatin1String(vocabulary.name) == QLatin1String("rtuControlCodeString") && code > DeactivateRtu;
}

/* Every function's text for every swept code, in the installed language. */
std::vector<std::vector<QString>> sweep()
{
    std::vector<std::vector<QString>> texts;
    for (const Vocabulary& vocabulary : vocabularies()) {
        std::vector<QString> row;
        for (int code : sweptCodes())
            row.push_back(vocabulary.text(code));
        texts.push_back(row);
    }
    return texts;
}

QSet<QString> catalogueSources(const QString& language, const QString& context)
{
    const mvtest::TsFile ts = mvtest::readTsFile(mvtest::tsPath(QStringLiteral("mvshared"), language));
    EXPECT_TRUE(ts.error.isEmpty()) << ts.error.toStdString();
    QSet<QString> sources;
    for (const mvtest::TsMessage& message : ts.messages)
        if (message.context == context)
            sources.insert(message.source);
    return sources;
}

class VocabularyTranslationTest : public ::testing::TestWithParam<QString>
{
protected:
    void TearDown() override { mvtest::useSourceLanguage(); }
};

TEST_P(VocabularyTranslationTest, EveryCodeTextComesBackTranslated)
{
    mvtest::useSourceLanguage();
    const std::vector<std::vector<QString>> source = sweep();
    ASSERT_TRUE(installTranslators(QLocale(GetParam()))) << GetParam().toStdString();
    const std::vector<std::vector<QString>> translated = sweep();

    const std::vector<int> codes = sweptCodes();
    int checked = 0;
    for (std::size_t v = 0; v < vocabularies().size(); ++v) {
        const Vocabulary& vocabulary = vocabularies()[v];
        for (std::size_t i = 0; i < codes.size(); ++i) {
            const QString& english = source[v][i];
            const QString& shown = translated[v][i];
            const std::string where = std::string(vocabulary.name) + "(" + std::to_string(codes[i]) + ")";
            if (english.isEmpty()) {
                EXPECT_TRUE(shown.isEmpty()) << where;
            } else if (isUntranslatedFallback(vocabulary, codes[i])) {
                EXPECT_EQ(shown, QStringLiteral("Not Defined")) << where;
            } else {
                EXPECT_NE(shown, english) << where << " left as \"" << english.toStdString() << "\"";
                EXPECT_FALSE(shown.isEmpty()) << where;
                EXPECT_EQ(shown, QCoreApplication::translate("Morvane", english.toUtf8().constData())) << where;
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 0);
}

TEST_P(VocabularyTranslationTest, TheSweptTextsAreExactlyTheCataloguesEntries)
{
    mvtest::useSourceLanguage();
    QSet<QString> shown;
    for (const std::vector<QString>& row : sweep())
        for (const QString& text : row)
            if (!text.isEmpty())
                shown.insert(text);

    const QSet<QString> catalogue = catalogueSources(GetParam(), QStringLiteral("Morvane"));
    for (const QString& text : catalogue)
        EXPECT_TRUE(shown.contains(text)) << "no code shows the catalogue entry \"" << text.toStdString() << "\"";
    for (const QString& text : shown)
        EXPECT_TRUE(catalogue.contains(text)) << "\"" << text.toStdString() << "\" is missing from the catalogue";
}

INSTANTIATE_TEST_SUITE_P(Languages, VocabularyTranslationTest, ::testing::ValuesIn(mvtest::translationLanguages()),
                         [](const ::testing::TestParamInfo<QString>& info) { return info.param.toStdString(); });

} // namespace
