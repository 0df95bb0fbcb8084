/*
 * serversetting_test.cpp: the server address dialog in German and French on
 * the offscreen platform: its title, group box and labels from the library's
 * catalogue (the group title keeping its leading blank), its buttons from
 * Qt's own.
 */
#include "translationtree.h"

#include <MVShared/MorvaneRTServerSetting.h>
#include <MVShared/Translations.h>

#include <QtCore/QFileInfo>
#include <QtCore/QLibraryInfo>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

#include <gtest/gtest.h>

#include <memory>

namespace {

struct DialogTexts {
    QString language;
    QString title;
    QString group;
    QString first;
    QString second;
    QString cancel;
};

void PrintTo(const DialogTexts& texts, std::ostream* out)
{
    *out << texts.language.toStdString();
}

class ServerSettingTranslationTest : public ::testing::TestWithParam<DialogTexts>
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Morvane::installTranslators(QLocale(GetParam().language))) << GetParam().language.toStdString();
        m_dialog = std::make_unique<MorvaneRTServerSetting>();
    }
    void TearDown() override
    {
        m_dialog.reset();
        mvtest::useSourceLanguage();
    }

    template <typename T>
    T* child(const char* name) const
    {
        return m_dialog->findChild<T*>(QString::fromLatin1(name));
    }

    std::unique_ptr<MorvaneRTServerSetting> m_dialog;
};

TEST_P(ServerSettingTranslationTest, TitleGroupAndLabelsAreTranslated)
{
    const DialogTexts& expected = GetParam();
    ASSERT_NE(child<QGroupBox>("groupBox"), nullptr);
    ASSERT_NE(child<QLabel>("label"), nullptr);
    ASSERT_NE(child<QLabel>("label_2"), nullptr);
    EXPECT_EQ(m_dialog->windowTitle(), expected.title);
    EXPECT_EQ(child<QGroupBox>("groupBox")->title(), expected.group);
    EXPECT_TRUE(child<QGroupBox>("groupBox")->title().startsWith(QLatin1Char(' ')));
    EXPECT_EQ(child<QLabel>("label")->text(), expected.first);
    EXPECT_EQ(child<QLabel>("label_2")->text(), expected.second);
}

TEST_P(ServerSettingTranslationTest, TheButtonsComeFromQtsCatalogue)
{
    const DialogTexts& expected = GetParam();
    if (!QFileInfo::exists(QLibraryInfo::location(QLibraryInfo::TranslationsPath) +
                           QStringLiteral("/qtbase_%1.qm").arg(expected.language)))
        GTEST_SKIP() << "Qt's catalogue is not installed (qttranslations5-l10n)";
    auto* buttons = child<QDialogButtonBox>("buttonBox");
    ASSERT_NE(buttons, nullptr);
    QPushButton* cancel = buttons->button(QDialogButtonBox::Cancel);
    ASSERT_NE(cancel, nullptr);
    EXPECT_EQ(cancel->text().remove(QLatin1Char('&')), expected.cancel);
}

INSTANTIATE_TEST_SUITE_P(
    Languages, ServerSettingTranslationTest,
    ::testing::Values(DialogTexts{QStringLiteral("de"), QStringLiteral("Einstellung der Serveradressen"),
                                  QStringLiteral(" Adresseinstellung"), QStringLiteral("Adresse Server 1:"),
                                  QStringLiteral("Adresse Server 2:"), QStringLiteral("Abbrechen")},
                      DialogTexts{QStringLiteral("fr"), QStringLiteral("Réglage des adresses des serveurs"),
                                  QStringLiteral(" Réglage des adresses"), QStringLiteral("Adresse du serveur 1 :"),
                                  QStringLiteral("Adresse du serveur 2 :"), QStringLiteral("Annuler")}),
    [](const ::testing::TestParamInfo<DialogTexts>& info) { return info.param.language.toStdString(); });

} // namespace
